#pragma once

#include <optional>
#include <string_view>
#include <type_traits>

#include "Qel/HashMap2018Generic.h"
#include "framework/declare/Attributes.h"
#include "framework/declare/MapMember.h"

/// Values that have a part elsewhere in memory: asking for that part, so that it is there when the
/// value is written.
namespace Qel {

namespace Internal {

template<class T>
struct Elsewhere {
   static constexpr bool any = false;
   static void ask( T const& ) {}
};

/// Texts, octets and sequences.
template<class T>
   requires requires( T const& v ) {
      v.data();
      v.size();
      requires !requires { std::tuple_size<T>::value; };
   }
struct Elsewhere<T> {
   static constexpr bool any = true;
   static void ask( T const& v ) {
      // What is short is mostly within the value itself, where asking does no harm.
      prefetch( v.data(), v.size() * sizeof( *v.data() ) );
   }
};

template<class T>
struct Elsewhere<std::optional<T>> {
   static constexpr bool any = Elsewhere<T>::any;
   static void ask( std::optional<T> const& v ) {
      if ( v ) {
         Elsewhere<T>::ask( *v );
      }
   }
};

template<class K, class V>
struct Elsewhere<MapMember<K, V>> {
   static constexpr bool any = Elsewhere<V>::any;
   static void ask( MapMember<K, V> const& v ) { Elsewhere<V>::ask( v.value ); }
};

/// Value types.
template<class T>
   requires requires { T::qelBinding(); } && (!std::is_base_of_v<Entity, T>)
struct Elsewhere<T> {
   static constexpr bool any = [] {
      bool found = false;
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( Stored<D> ) {
            found = found || Elsewhere<typename D::Field>::any;
         }
      } );
      return found;
   }();
   static void ask( T const& v ) {
      forEachAttribute<T>( [&]<class D>( D ) {
         if constexpr ( Stored<D> ) {
            Elsewhere<typename D::Field>::ask( D::get( v ) );
         }
      } );
   }
};

template<class T>
concept HasElsewhere = Elsewhere<T>::any;

} // namespace Internal

} // namespace Qel
