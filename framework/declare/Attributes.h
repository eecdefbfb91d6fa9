#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Qel/Entity.h"
#include "Varek/Failures.h"
#include "framework/declare/DeclarationChecks.h"
#include "framework/inspect/Iteration.h"
#include "framework/records/Records.h"
#include "framework/records/ValueTable.h"

/// From declarations to records. A declaration gives its class a static function
/// attribute( Id<n> ), whose result is a Descriptor: the attribute as the compiler knows it. Ids
/// are dense, so asking for n = first, first + 1, ... until there is no such function finds them
/// all, in order; a number given twice does not compile. The name of an entity, with its number
/// from before that range, is asked for by itself.
namespace Qel {

template<std::uint16_t number>
struct Id {};

/// An attribute of \p Owner: its kind, its number and the member that holds it.
template<class Owner, AttributeKind attributeKind, std::uint16_t number, auto member>
struct Descriptor {
   using Field = std::remove_cvref_t<decltype( std::declval<Owner&>().*member )>;
   static constexpr AttributeKind kind = attributeKind;
   static constexpr Varek::FieldId id{ number };

   std::string_view name;

   static Field const& get( Owner const& owner ) { return owner.*member; }
   static Field& get( Owner& owner ) { return owner.*member; }
};

/// An attribute of \p Owner that is not stored: its kind, its number, its type and the type of its
/// keys (void without keys). Owner::qelCompute( Id<number>, owner [, key] ) computes its value.
template<class Owner, AttributeKind attributeKind, std::uint16_t number, class V, class K = void>
struct ComputedDescriptor {
   using Value = V;
   using Key = K;
   static constexpr AttributeKind kind = attributeKind;
   static constexpr Varek::FieldId id{ number };

   std::string_view name;
};

/// The descriptors of stored attributes.
template<class D>
concept Stored = requires { typename D::Field; };

template<class T>
inline constexpr std::uint16_t firstId =
   ( std::is_base_of_v<Entity, T> ? Varek::firstEntityFieldId : Varek::firstValueFieldId ).value();

template<class T, std::uint16_t number>
concept HasAttribute = requires { T::attribute( Id<number>{} ); };

namespace Internal {

template<class T, std::uint16_t number = firstId<T>>
constexpr std::size_t countAttributes() {
   if constexpr ( HasAttribute<T, number> ) {
      return 1 + countAttributes<T, number + 1>();
   } else {
      return 0;
   }
}

template<class T, std::uint16_t end, std::size_t... ahead>
constexpr bool noneBeyond( std::index_sequence<ahead...> ) {
   return !( HasAttribute<T, static_cast<std::uint16_t>( end + 1 + ahead )> || ... );
}

template<class T>
constexpr bool isNamed() {
   return std::is_base_of_v<Entity, T> && HasAttribute<T, Varek::nameStringId.value()>;
}

template<class T>
constexpr std::size_t attributeCount() {
   constexpr std::size_t count = countAttributes<T>();
   constexpr bool isLast = noneBeyond<T, firstId<T> + count>( std::make_index_sequence<32>() );
   static_assert( FieldIdsAreDense<T, firstId<T> + count, isLast>::yes );
   // The log keeps bits for each, see FlowOut.
   static_assert( !std::is_base_of_v<Entity, T> || count + isNamed<T>() <= 64,
                  "an entity has at most 64 attributes" );
   return count + isNamed<T>();
}

/// The id of attribute number \p i of \p T, in id order.
template<class T>
constexpr std::uint16_t idAt( std::size_t i ) {
   if ( isNamed<T>() && i == 0 ) {
      return Varek::nameStringId.value();
   }
   return static_cast<std::uint16_t>( firstId<T> + i - isNamed<T>() );
}

} // namespace Internal

/// Calls f( descriptor ) for each attribute of \p T, in id order.
template<class T, class F>
constexpr void forEachAttribute( F&& f ) {
   []<std::size_t... i>( F& call, std::index_sequence<i...> ) {
      ( call( T::attribute( Id<Internal::idAt<T>( i )>{} ) ), ... );
   }( f, std::make_index_sequence<Internal::attributeCount<T>()>() );
}

/// Whether \p T has an attribute of any of the \p kinds.
template<class T, AttributeKind... kinds>
constexpr bool hasKind() {
   bool found = false;
   forEachAttribute<T>( [&]( auto descriptor ) {
      found = found || ( ( decltype( descriptor )::kind == kinds ) || ... );
   } );
   return found;
}

/// The object of type \p Owner whose address the functions of a record receive.
template<class Owner>
Owner const& ownerAt( void const* object ) {
   if constexpr ( std::is_base_of_v<Entity, Owner> ) {
      return static_cast<Owner const&>( *static_cast<Entity const*>( object ) );
   } else {
      return *static_cast<Owner const*>( object );
   }
}

namespace Internal {

template<class T>
inline constexpr Varek::Inspect::AtomicFnTable const* valueTable =
   &Varek::Inspect::InspectAtomicFnTable<T>::table;

template<class Owner, class D>
constexpr AttributeRecord baseRecord( D descriptor ) {
   AttributeRecord record;
   record.id = D::id;
   record.name = descriptor.name;
   record.kind = D::kind;
   record.onWire =
      Stored<D> && ( D::kind != AttributeKind::parameter || !std::is_base_of_v<Entity, Owner> );
   return record;
}

template<class Owner, class D>
constexpr void singleRecord( AttributeRecord& record ) {
   record.value = valueTable<typename D::Field>;
   record.read = []( void const* object ) {
      return static_cast<void const*>( &D::get( ownerAt<Owner>( object ) ) );
   };
   if constexpr ( D::kind == AttributeKind::plain && HasText<typename D::Field> ) {
      record.defaultText = [] { return textOf( Owner::qelDefault( Id<D::id.value()>{} ) ); };
   }
}

template<class Value>
inline constexpr bool isEntityPtr = false;
template<std::derived_from<Entity> T>
inline constexpr bool isEntityPtr<Varek::Ptr<T>> = true;

template<class Owner, class D>
constexpr void computedRecord( AttributeRecord& record ) {
   using Value = typename D::Value;
   using Key = typename D::Key;
   record.value = valueTable<Value>;
   if constexpr ( isEntityPtr<Value> ) {
      record.computedEntity = []( void const* result ) {
         return static_cast<Entity*>( static_cast<Value const*>( result )->get() );
      };
   }
   if constexpr ( std::is_void_v<Key> ) {
      record.compute = []( void const* object, void const*, void* result ) {
         Owner const& owner = ownerAt<Owner>( object );
         if constexpr ( requires { Owner::qelComputable( Id<D::id.value()>{}, owner ); } ) {
            if ( !Owner::qelComputable( Id<D::id.value()>{}, owner ) ) {
               return false;
            }
         }
         *static_cast<Value*>( result ) = Owner::qelCompute( Id<D::id.value()>{}, owner );
         return true;
      };
   } else {
      record.key = valueTable<Key>;
      record.compute = []( void const* object, void const* key, void* result ) {
         *static_cast<Value*>( result ) = Owner::qelCompute(
            Id<D::id.value()>{}, ownerAt<Owner>( object ), *static_cast<Key const*>( key ) );
         return true;
      };
   }
   if constexpr ( D::kind == AttributeKind::constant && HasText<Value> ) {
      record.defaultText = [] { return textOf( Owner::qelDefault( Id<D::id.value()>{} ) ); };
   }
}

template<class Owner, class D>
constexpr void childRecord( AttributeRecord& record ) {
   record.childType = [] { return D::Field::Child::qelBinding(); };
   record.read = []( void const* object ) {
      return static_cast<void const*>( &D::get( ownerAt<Owner>( object ) ).child );
   };
   record.child = []( void const* object ) {
      return static_cast<Entity*>( D::get( ownerAt<Owner>( object ) ).child.get() );
   };
}

template<class Owner, class D, class Iteration>
constexpr void manyRecord( AttributeRecord& record ) {
   record.size = []( void const* object ) {
      return static_cast<std::uint32_t>( D::get( ownerAt<Owner>( object ) ).size() );
   };
   record.iterate = []( void const* object, void const* startKey ) {
      return Iteration::make( D::get( ownerAt<Owner>( object ) ), startKey );
   };
   record.iterator = &Iteration::table;
}

/// The record of elements that are held by key: in a hash table or, ordered, in a tree.
template<class Owner, class D>
constexpr void keyedRecord( AttributeRecord& record ) {
   using Field = typename D::Field;
   record.key = valueTable<typename Field::Key>;
   if constexpr ( D::kind == AttributeKind::ordered ) {
      using Iteration = OrderedIteration<Field>;
      record.value = valueTable<typename Iteration::Object>;
      manyRecord<Owner, D, Iteration>( record );
   } else {
      using Iteration = MapIteration<Field>;
      record.salt = Field::hashSalt;
      record.salted = true;
      if constexpr ( D::kind == AttributeKind::children ) {
         record.childType = [] { return Field::value_type::Child::qelBinding(); };
      } else {
         record.value = valueTable<typename Iteration::Object>;
      }
      manyRecord<Owner, D, Iteration>( record );
   }
}

template<class Owner, class D>
constexpr AttributeRecord makeRecord( D descriptor ) {
   AttributeRecord record = baseRecord<Owner>( descriptor );
   if constexpr ( !Stored<D> ) {
      computedRecord<Owner, D>( record );
   } else if constexpr ( D::kind == AttributeKind::parameter || D::kind == AttributeKind::plain ) {
      singleRecord<Owner, D>( record );
   } else if constexpr ( D::kind == AttributeKind::child ) {
      childRecord<Owner, D>( record );
   } else if constexpr ( D::kind == AttributeKind::sequence || D::kind == AttributeKind::array ) {
      using Field = typename D::Field;
      record.value = valueTable<typename Field::value_type>;
      if constexpr ( D::kind == AttributeKind::array ) {
         record.key = valueTable<std::uint32_t>; // of its changes
      }
      manyRecord<Owner, D, SequenceIteration<Field>>( record );
   } else {
      keyedRecord<Owner, D>( record );
   }
   return record;
}

template<class T>
constexpr auto makeRecords() {
   std::array<AttributeRecord, attributeCount<T>()> records{};
   std::size_t i = 0;
   forEachAttribute<T>( [&]( auto descriptor ) { records[i++] = makeRecord<T>( descriptor ); } );
   return records;
}

} // namespace Internal

/// The attribute records of \p T, in id order.
template<class T>
inline constexpr auto attributeRecords = Internal::makeRecords<T>();

namespace Internal {

template<class T>
constexpr std::size_t parameterCount() {
   std::size_t count = 0;
   forEachAttribute<T>(
      [&]( auto d ) { count += decltype( d )::kind == AttributeKind::parameter; } );
   return count;
}

/// The descriptor of the only constructor parameter of \p T.
template<class T, std::size_t i = 0>
constexpr auto onlyParameter() {
   constexpr auto descriptor = T::attribute( Id<idAt<T>( i )>{} );
   if constexpr ( decltype( descriptor )::kind == AttributeKind::parameter ) {
      return descriptor;
   } else {
      return onlyParameter<T, i + 1>();
   }
}

template<class T>
auto const& parameterOf( T const& object ) {
   return decltype( onlyParameter<T>() )::get( object );
}

} // namespace Internal

/// The type of the constructor parameter of \p T.
template<class T>
using ParameterType = typename decltype( Internal::onlyParameter<T>() )::Field;

/// Gives \p object its constructor parameter.
template<class T, class Given>
void parameterIs( T& object, Given const& given ) {
   decltype( Internal::onlyParameter<T>() )::get( object ) = given;
}

} // namespace Qel
