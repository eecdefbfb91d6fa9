#include "capture/Problem.h"

#include <cstddef>

namespace Capture {

std::string_view nameOf( ProblemKind kind ) {
   static constexpr std::string_view names[] = { "file", "cut", "fragment", "malformed", "radius" };
   return names[static_cast<std::size_t>( kind )];
}

std::string_view nameOf( OffsetIn in ) {
   return in == OffsetIn::file ? "file" : in == OffsetIn::packet ? "packet" : "RADIUS packet";
}

} // namespace Capture
