#include "Pallo/Pages.h"

#include <cstdint>
#include <cstdlib>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace Pallo {

#ifdef __linux__

void* pagesTake( std::size_t size, [[maybe_unused]] bool atOnce ) noexcept {
   // Twice as much has a part that is aligned; what is around it is given back.
   void* const all =
      ::mmap( nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
   if ( all == MAP_FAILED ) {
      return nullptr;
   }
   auto* const first = static_cast<char*>( all );
   std::size_t const before = -reinterpret_cast<std::uintptr_t>( first ) & ( size - 1 );
   if ( before != 0 ) {
      ::munmap( first, before );
   }
   ::munmap( first + before + size, size - before );
#ifdef MADV_POPULATE_WRITE
   if ( atOnce ) {
      ::madvise( first + before, size, MADV_POPULATE_WRITE ); // without it, it is slower, no more
   }
#endif
   return first + before;
}

void pagesGive( void* pages, std::size_t size ) noexcept { ::munmap( pages, size ); }

#else

void* pagesTake( std::size_t size, bool ) noexcept { return std::aligned_alloc( size, size ); }

void pagesGive( void* pages, std::size_t ) noexcept { std::free( pages ); }

#endif

} // namespace Pallo
