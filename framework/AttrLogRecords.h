#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "framework/Ahead.h"
#include "framework/Arrays.h"
#include "framework/AttributeLog.h"
#include "framework/KeyedLog.h"
#include "framework/Mutators.h"
#include "framework/SingleChild.h"
#include "framework/ValueWire.h"

/// Fills the part of the records that serves the attribute log: a handful of functions for each
/// attribute, which know the types. AttrLog.cpp uses them. Collections are in KeyedLog.h.
namespace Qel::Internal {

/// Attributes that are written as a whole.
template<class Owner, class D>
struct SingleLog {
   using Field = typename D::Field;

   static bool write( EntityQelNboAttrLogSa const& sa, void const*, bool ) {
      Field const& value = D::get( std::as_const( ownerOf<Owner>( sa ) ) );
      if ( !singletonSerializeCheck<D>( sa, Wire<Field>::size( value ) ) ) {
         return false;
      }
      sa.out().outSmCommitMessage( Wire<Field>::put( sa.out().cursor(), value ) );
      return true;
   }
   static void apply( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      auto const value = NboAttrLog::valueOf<Field>( in );
      in.expectEnd();
      Owner& entity = ownerOf<Owner>( sa );
      if constexpr ( D::kind == AttributeKind::array ) {
         Ptr<Entity> const keepAlive( &entity );
         FirstFailure failure; // if an observer throws, the rest is applied all the same
         for ( std::size_t i = 0; i < value.size(); ++i ) {
            failure.guard(
               [&] { arrayIs<Writer::log>( entity, D::id, D::get( entity ), i, value[i] ); } );
         }
         failure.rethrow();
      } else {
         plainIs<Writer::log>( entity, D::id, D::get( entity ), value );
      }
   }
   static constexpr AttributeLog log() { return { Wire<Field>::form, write, apply }; }
};

/// A single child that its owner creates.
template<class Owner, class D>
struct ChildLog {
   using Child = typename D::Field::Child;

   static bool write( EntityQelNboAttrLogSa const& sa, void const*, bool held ) {
      if ( auto const& child = D::get( std::as_const( ownerOf<Owner>( sa ) ) ).child ) {
         return sa.stream().childAnnounce( sa, D::id, *child );
      }
      if ( !held ) {
         return true;
      }
      if ( !collSerializeCheck<D>( sa, true, 0 ) ) {
         return false;
      }
      sa.out().outSmCommitMessage();
      return true;
   }
   static void apply( EntityQelNboAttrLogSa const&, NboAttrLog::In& in ) {
      in.fail( "a child entity is announced, it has no value" );
   }
   static void remove( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in ) {
      in.expectEnd();
      Ptr<Child> const before = D::get( ownerOf<Owner>( sa ) ).child;
      FirstFailure failure;
      failure.guard( [&] {
         childDel<Writer::log>( ownerOf<Owner>( sa ), D::id, D::get( ownerOf<Owner>( sa ) ) );
      } );
      childRemoved( sa, before.get() );
      failure.rethrow();
   }
   static Entity* child( EntityQelNboAttrLogSa const& sa, NboAttrLog::In& in,
                         FirstFailure& failure ) {
      auto& held = D::get( ownerOf<Owner>( sa ) );
      return withParameter<Child>( in, [&]( auto const&... parameter ) -> Entity* {
         Ptr<Entity> const keepAlive( &sa.entity() );
         Ptr<Child> const before = held.child;
         failure.guard(
            [&] { childIs<Writer::log>( ownerOf<Owner>( sa ), D::id, held, parameter... ); } );
         if ( before && before->parent() != &sa.entity() ) {
            childRemoved( sa, before.get() );
         }
         return childFits( held, parameter... ) ? held.child.get() : nullptr;
      } );
   }
   static void visit( Entity const& entity, void ( *f )( Entity&, void* ), void* context ) {
      if ( auto const& child = D::get( static_cast<Owner const&>( entity ) ).child ) {
         f( *child, context );
      }
   }
   static Entity* oldChild( void const* old ) {
      return static_cast<Ptr<Child> const*>( old )->get();
   }
   static void prefetch( Entity const& entity, bool below ) {
      auto const& child = D::get( static_cast<Owner const&>( entity ) ).child;
      if ( !child ) {
         return;
      }
      if ( below ) {
         prefetchContents( typeRecord( Child::qelBinding() ), *child, false );
      } else {
         Internal::prefetch( child.get(), sizeof( Child ) );
      }
   }
   static void form( Varek::String& text ) { text.append( typeName<Child> ); }
   static constexpr AttributeLog log() {
      AttributeLog made{ form, write, apply, remove };
      made.child = child;
      made.visit = visit;
      made.oldChild = oldChild;
      made.prefetch = prefetch;
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
      return KeyedLog<Owner, D>::log();
   }
}

template<class Owner, class D>
inline constexpr AttributeLog attributeLog = makeAttributeLog<Owner, D>();

/// The constructor parameters of entity type \p T.
template<class T>
struct ParametersLog {
   template<class F>
   static auto with( Entity const& entity, F f ) {
      if constexpr ( parameterCount<T>() == 0 ) {
         return f();
      } else {
         return f( parameterOf( static_cast<T const&>( entity ) ) );
      }
   }
   static std::size_t size( Entity const& entity ) {
      return with( entity, []<class... P>( P const&... parameter ) {
         return ( std::size_t{ 0 } + ... + Wire<P>::size( parameter ) );
      } );
   }
   static std::uint8_t* put( std::uint8_t* to, Entity const& entity ) {
      with( entity, [&]<class... P>( P const&... parameter ) {
         ( ( to = Wire<P>::put( to, parameter ) ), ... );
      } );
      return to;
   }
   static Ptr<Entity> make( NboAttrLog::In& in ) {
      return withParameter<T>(
         in, []( auto const&... parameter ) -> Ptr<Entity> { return T::qelMake( parameter... ); } );
   }
   static bool equal( Entity const& entity, NboAttrLog::In& in ) {
      return withParameter<T>( in, [&]( auto const&... given ) {
         return with( entity,
                      [&]( auto const&... held ) { return ( same( held, given ) && ... ); } );
      } );
   }
};

template<class T>
inline constexpr ConstructorLog constructorLog{ ParametersLog<T>::size, ParametersLog<T>::put,
                                                ParametersLog<T>::make, ParametersLog<T>::equal };

template<class T>
inline constexpr ValueLog valueLog{
   []( void const* value ) { return Wire<T>::size( *static_cast<T const*>( value ) ); },
   []( std::uint8_t* to, void const* value ) {
      return Wire<T>::put( to, *static_cast<T const*>( value ) );
   },
   []( NboAttrLog::In& in, void* value ) { Wire<T>::read( in, *static_cast<T*>( value ) ); } };

} // namespace Qel::Internal
