#pragma once

#include <utility>

#include "framework/records/Same.h"

namespace Qel {

/// A member of a map of plain values: the key and the value.
template<class K, class V>
struct MapMember {
   K key{};
   V value{};

   MapMember() = default;
   MapMember( K k, V v ) : key( std::move( k ) ), value( std::move( v ) ) {}
   friend bool operator==( MapMember const& a, MapMember const& b ) {
      return same( a.key, b.key ) && same( a.value, b.value );
   }
};

template<class K, class V>
struct MapMemberKey {
   using Key = K;
   Key const& operator()( MapMember<K, V> const& member ) const { return member.key; }
};

} // namespace Qel
