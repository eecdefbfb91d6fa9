#pragma once

#include <cstddef>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>

#include "Pallo/Pallo.h"
#include "bench/Processes.h"

/// The memory of a process, and of single objects in it.
namespace Bench {

struct Memory {
   std::size_t heap;     ///< Bytes in use, with heads of blocks and whole slabs.
   std::size_t live;     ///< The same, but of slabs only the bytes in use.
   std::size_t resident; ///< Bytes of the pages in memory.
};

inline Memory memory() {
   Memory all{};
   auto const info = mallinfo2();
   auto const slabs = Pallo::usage();
   std::size_t const blocks = info.uordblks + info.hblkhd;
   all.heap = blocks + slabs.regionBytes;
   all.live = blocks + slabs.liveBytes;
   std::FILE* const file = std::fopen( "/proc/self/statm", "r" );
   require( file != nullptr, "there is no /proc/self/statm" );
   bool const read = std::fscanf( file, "%*s %zu", &all.resident ) == 1;
   std::fclose( file );
   require( read, "/proc/self/statm is not to be read" );
   all.resident *= static_cast<std::size_t>( sysconf( _SC_PAGESIZE ) );
   return all;
}

/// The bytes that Pallo takes for \p size bytes.
inline double pallo( std::size_t size ) {
   return static_cast<double>( size <= Pallo::largestSize ? ( size + 15 ) / 16 * 16 : size );
}

/// The bytes that a HashMap2018 has allocated.
template<class Map>
double mapBytes( Map const& map ) {
   std::size_t const positions = map.positions();
   return positions == 0 ? 0
                         : pallo( 16 + ( positions + 14 ) / 15 * 16 +
                                  positions * sizeof( typename Map::value_type ) );
}

/// The bytes that a std::vector with storage from Pallo has allocated.
template<class Sequence>
double sequenceBytes( Sequence const& sequence ) {
   return sequence.capacity() == 0
             ? 0
             : pallo( sequence.capacity() * sizeof( typename Sequence::value_type ) );
}

/// The bytes of the heap that a std::string of \p capacity takes: blocks have 32 bytes or more, in
/// steps of 16, of which the head takes 8.
inline double textBytes( std::size_t capacity ) {
   return capacity <= 15 ? 0 : static_cast<double>( ( capacity + 1 + 8 + 15 ) / 16 * 16 );
}

} // namespace Bench
