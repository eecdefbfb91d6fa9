#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What is wrong with a capture, and where.
namespace Capture {

enum class ProblemKind : std::uint8_t {
   file,      ///< The file cannot be read, or not to its end.
   cut,       ///< A packet was cut at capture.
   fragment,  ///< A datagram came in fragments.
   malformed, ///< Wrong headers below RADIUS.
   radius,    ///< Wrong RADIUS.
};

/// What an offset counts from the beginning of.
enum class OffsetIn : std::uint8_t { file, packet, radius };

struct Offset {
   OffsetIn in = OffsetIn::file;
   std::uint64_t octets = 0;
};

/// One fault. Where it is: in the file, in which packet of it (from 1), at which octet of that.
struct Problem {
   ProblemKind kind = ProblemKind::file;
   std::uint64_t packet = 0;     ///< 0 where the fault is in no packet.
   std::optional<Offset> offset; ///< Nothing where it has none, as a file that cannot be opened.
   std::string what;             ///< A sentence without its full stop.
};

/// "cut"
std::string_view nameOf( ProblemKind );
/// "RADIUS packet"
std::string_view nameOf( OffsetIn );

} // namespace Capture
