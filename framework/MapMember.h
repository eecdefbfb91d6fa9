#pragma once

#include <utility>

namespace Qel {

/// A member of a map of plain values: the value beside its key.
template<class K, class V>
struct MapMember {
   K key{};
   V value{};

   MapMember() = default;
   MapMember( K k, V v ) : key( std::move( k ) ), value( std::move( v ) ) {}
   friend bool operator==( MapMember const&, MapMember const& ) = default;
};

template<class K, class V>
struct MapMemberKey {
   using Key = K;
   Key const& operator()( MapMember<K, V> const& member ) const { return member.key; }
};

} // namespace Qel
