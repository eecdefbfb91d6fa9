#pragma once

#include <cstddef>

/// Memory straight from the system, where it can be had. All that Linux has to give for it is here.
namespace Pallo {

/// \p size bytes at an address that is a multiple of it, which is a power of two; null if there are
/// none. With \p huge the system is asked for huge pages: a large tree takes fewer faults to build, and
/// fewer misses of the address cache to walk.
void* pagesTake( std::size_t size, bool huge ) noexcept;
void pagesGive( void* pages, std::size_t size ) noexcept;

} // namespace Pallo
