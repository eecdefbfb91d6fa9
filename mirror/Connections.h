#pragma once

#include <bit>
#include <cstdint>

namespace Mirror {

/// A set of connections, a bit for each: its width limits the followers of a leader.
using Connections = std::uint64_t;
inline constexpr unsigned maxConnections = 64;

/// Calls \p f with the number of each bit.
template<class F>
void forEachBit( Connections set, F f ) {
   for ( ; set != 0; set &= set - 1 ) {
      f( static_cast<unsigned>( std::countr_zero( set ) ) );
   }
}

} // namespace Mirror
