#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "Varek/ByteOrder.h"
#include "framework/declare/Arrays.h"
#include "framework/declare/Mutators.h"
#include "framework/declare/SingleChild.h"
#include "framework/wire/AttributeLog.h"
#include "framework/wire/Elsewhere.h"
#include "framework/wire/KeyForm.h"
#include "framework/wire/KeyedLog.h"
#include "framework/wire/ValueWire.h"

/// Fills the part of the records that serves the attribute log: a handful of functions for each
/// attribute, which know the types. AttrLog.cpp uses them. Collections are in KeyedLog.h.
namespace Qel::Internal {

/// Fields of one type, whatever attribute they are.
template<class Field>
struct FieldLog {
   [[gnu::noinline]] static bool write( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                        Field const& value ) {
      if ( !singletonSerializeCheck( sa, id, Wire<Field>::size( value ) ) ) {
         return false;
      }
      sa.out().outSmCommitMessage( Wire<Field>::put( sa.out().cursor(), value ) );
      return true;
   }
   [[gnu::noinline]] static void apply( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                        Field& held, NboAttrLog::In& in ) {
      auto value = NboAttrLog::valueOf<Field>( in );
      in.expectEnd();
      if ( sa.entity().unobserved() ) {
         if ( !same( held, value ) ) {
            held = std::move( value );
         }
         return;
      }
      plainIs<Writer::log>( sa.entity(), id, held, value );
   }
   static void append( Varek::String& to, Field const& value ) {
      std::size_t const before = to.size();
      to.resize( before + Wire<Field>::size( value ) );
      Wire<Field>::put( reinterpret_cast<std::uint8_t*>( to.data() ) + before, value );
   }
};

/// Attributes that are written as a whole.
template<class Owner, class D>
struct SingleLog {
   using Field = typename D::Field;

   static Field const& in( Entity const& entity ) {
      return D::get( static_cast<Owner const&>( entity ) );
   }
   static Field byDefault() {
      if constexpr ( D::kind == AttributeKind::array ) {
         return Field{};
      } else {
         return Owner::qelDefault( Id<D::id.value()>{} );
      }
   }
   static bool write( EntityQelNboAttrLogSa const& sa ) {
      return FieldLog<Field>::write( sa, D::id, in( sa.entity() ) );
   }
   static void defaultAppend( Varek::String& to ) { FieldLog<Field>::append( to, byDefault() ); }
   static void apply( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& from ) {
      Owner& entity = ownerOf<Owner>( sa );
      if constexpr ( D::kind == AttributeKind::array ) {
         auto const value = NboAttrLog::valueOf<Field>( from );
         from.expectEnd();
         Ptr<Entity> const keepAlive( &entity );
         FirstFailure failure; // if an observer throws, the rest is applied all the same
         for ( std::size_t i = 0; i < value.size(); ++i ) {
            failure.guard(
               [&] { arrayIs<Writer::log>( entity, D::id, D::get( entity ), i, value[i] ); } );
         }
         failure.rethrow();
      } else {
         FieldLog<Field>::apply( sa, D::id, D::get( entity ), from );
      }
   }
   static constexpr AttributeLog log() {
      AttributeLog made{ Wire<Field>::form, apply, write, defaultAppend };
      if constexpr ( HasElsewhere<Field> ) {
         made.ask = []( Entity const& entity ) { Elsewhere<Field>::ask( in( entity ) ); };
      }
      return made;
   }
};

/// A single child that its owner creates.
template<class Owner, class D>
struct ChildLog {
   using Child = typename D::Field::Child;

   static void childIs( Entity& entity, [[maybe_unused]] void const* parameter ) {
      auto& held = D::get( static_cast<Owner&>( entity ) );
      if constexpr ( MadeFromNothing<Child> ) {
         Qel::childIs<Writer::log>( entity, D::id, held );
      } else {
         Qel::childIs<Writer::log>( entity, D::id, held,
                                    *static_cast<ParameterType<Child> const*>( parameter ) );
      }
   }
   static void childDel( Entity& entity ) {
      Qel::childDel<Writer::log>( entity, D::id, D::get( static_cast<Owner&>( entity ) ) );
   }
   static Entity* oldChild( void const* old ) {
      return static_cast<Ptr<Child> const*>( old )->get();
   }
   static void form( Varek::String& text ) { formAppend( text, typeName<Child> ); }
   static constexpr AttributeLog log() {
      AttributeLog made{ form, childApply };
      made.childIs = childIs;
      made.childDel = childDel;
      made.oldChild = oldChild;
      return made;
   }
};

template<class Owner, class D>
constexpr AttributeLog makeAttributeLog() {
   if constexpr ( D::kind == AttributeKind::plain || D::kind == AttributeKind::array ) {
      return SingleLog<Owner, D>::log();
   } else if constexpr ( D::kind == AttributeKind::child ) {
      return ChildLog<Owner, D>::log();
   } else {
      return CollectionLog<Owner, D>::log();
   }
}

/// The values of a type at once: what is inlined here is called for each new entity.
template<class T>
struct AllValues {
   template<class Visit>
   static void forEach( Visit visit ) {
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( D::kind == AttributeKind::plain || D::kind == AttributeKind::array ) {
            visit( D{}, contentsBit( D::id ) );
         }
      } );
   }
   static std::size_t size( Entity const& entity, std::uint64_t always, std::uint64_t& given ) {
      std::size_t sum = 0;
      auto const& of = static_cast<T const&>( entity );
      forEach( [&]<class D>( D, std::uint64_t bit ) {
         auto const& value = D::get( of );
         if ( !same( value, SingleLog<T, D>::byDefault() ) || ( always & bit ) != 0 ) {
            given |= bit;
            sum += Wire<typename D::Field>::size( value );
         }
      } );
      return sum;
   }
   static std::uint8_t* put( std::uint8_t* to, Entity const& entity, std::uint64_t given ) {
      auto const& of = static_cast<T const&>( entity );
      forEach( [&]<class D>( D, std::uint64_t bit ) {
         if ( ( given & bit ) != 0 ) {
            to = Wire<typename D::Field>::put( to, D::get( of ) );
         }
      } );
      return to;
   }
   static std::size_t sizeOf( Entity const& entity, std::uint64_t wanted ) {
      std::size_t sum = 0;
      auto const& of = static_cast<T const&>( entity );
      forEach( [&]<class D>( D, std::uint64_t bit ) {
         sum += bit == wanted ? Wire<typename D::Field>::size( D::get( of ) ) : 0;
      } );
      return sum;
   }
};
template<class T>
inline constexpr ValuesLog valuesLog{ AllValues<T>::size, AllValues<T>::put, AllValues<T>::sizeOf };

template<class Owner, class D>
inline constexpr AttributeLog attributeLog = makeAttributeLog<Owner, D>();

template<class T>
constexpr ConstructorLog makeConstructorLog() {
   if constexpr ( parameterCount<T>() == 0 ) {
      return {};
   } else {
      return { &KeyFormOf<ParameterType<T>>::form, []( Entity const& entity ) -> void const* {
                 return &parameterOf( static_cast<T const&>( entity ) );
              } };
   }
}
template<class T>
inline constexpr ConstructorLog constructorLog = makeConstructorLog<T>();

template<class Number>
std::size_t enumerationSize( void const* ) {
   return sizeof( std::uint32_t );
}
template<class Number>
std::uint8_t* enumerationPut( std::uint8_t* to, void const* value ) {
   Number number;
   std::memcpy( &number, value, sizeof number );
   return Varek::putBigEndian( to, std::uint32_t{ number } );
}
template<class Number>
void enumerationRead( NboAttrLog::In& in, void* value ) {
   auto const number = static_cast<Number>( in.get32() );
   std::memcpy( value, &number, sizeof number );
}

template<class T>
constexpr ValueLog makeValueLog() {
   if constexpr ( std::is_enum_v<T> ) {
      // Once for all of the same width.
      using Number = std::underlying_type_t<T>;
      return { enumerationSize<Number>, enumerationPut<Number>, enumerationRead<Number> };
   } else {
      return { []( void const* value ) { return Wire<T>::size( *static_cast<T const*>( value ) ); },
               []( std::uint8_t* to, void const* value ) {
                  return Wire<T>::put( to, *static_cast<T const*>( value ) );
               },
               []( NboAttrLog::In& in, void* value ) {
                  Wire<T>::read( in, *static_cast<T*>( value ) );
               } };
   }
}
template<class T>
inline constexpr ValueLog valueLog = makeValueLog<T>();

} // namespace Qel::Internal
