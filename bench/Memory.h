#pragma once

#include <cstddef>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>

#include "Pallo/Pallo.h"
#include "bench/Processes.h"

/// What memory a process has, and what single things take of it.
namespace Bench {

struct Memory {
   std::size_t heap;     ///< In use, heads of blocks and slabs in full included.
   std::size_t live;     ///< The same with only what is in use of slabs.
   std::size_t resident; ///< Pages in memory.
};

inline Memory memory() {
   Memory all{};
   auto const info = mallinfo2();
   all.heap = info.uordblks + info.hblkhd;
   auto const slabs = Pallo::usage();
   all.live = all.heap - slabs.regionBytes + slabs.liveBytes;
   std::FILE* const file = std::fopen( "/proc/self/statm", "r" );
   require( file != nullptr, "there is no /proc/self/statm" );
   bool const read = std::fscanf( file, "%*s %zu", &all.resident ) == 1;
   std::fclose( file );
   require( read, "/proc/self/statm is not to be read" );
   all.resident *= static_cast<std::size_t>( sysconf( _SC_PAGESIZE ) );
   return all;
}

/// What Pallo takes for \p size bytes.
inline double pallo( std::size_t size ) {
   return static_cast<double>( size <= Pallo::largestSize ? ( size + 15 ) / 16 * 16 : size );
}

/// What a HashMap2018 has allocated.
template<class Map>
double mapBytes( Map const& map ) {
   std::size_t const positions = map.positions();
   return positions == 0 ? 0
                         : pallo( 16 + ( positions + 14 ) / 15 * 16 +
                                  positions * sizeof( typename Map::value_type ) );
}

/// What a std::vector with storage from Pallo has allocated.
template<class Sequence>
double sequenceBytes( Sequence const& sequence ) {
   return sequence.capacity() == 0
             ? 0
             : pallo( sequence.capacity() * sizeof( typename Sequence::value_type ) );
}

/// What a std::string of \p capacity takes of the heap: blocks are of 32 bytes and then every 16,
/// 8 of them for the head.
inline double textBytes( std::size_t capacity ) {
   return capacity <= 15 ? 0 : static_cast<double>( ( capacity + 1 + 8 + 15 ) / 16 * 16 );
}

} // namespace Bench
