#pragma once

#include <cstddef>

/// Memory straight from the system, where it can be had. All that Linux has to give for it is here.
namespace Pallo {

/// \p size bytes at an address that is a multiple of it, which is a power of two; null if there are
/// none. With \p atOnce all pages are there when it returns, where the system can do that: a page that
/// comes when it is first touched takes three times as long.
void* pagesTake( std::size_t size, bool atOnce ) noexcept;
void pagesGive( void* pages, std::size_t size ) noexcept;

} // namespace Pallo
