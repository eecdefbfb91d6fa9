#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Varek/Export.h"

/// Faults of a capture, and their places.
namespace Capture {

enum class ProblemKind : std::uint8_t {
   file,      ///< The file cannot be read, at all or to its end.
   cut,       ///< A packet was cut at capture.
   fragment,  ///< A datagram came in fragments.
   malformed, ///< Wrong headers below RADIUS.
   radius,    ///< Wrong RADIUS.
};

/// The start from which an offset counts.
enum class OffsetIn : std::uint8_t { file, packet, radius };

struct Offset {
   OffsetIn in = OffsetIn::file;
   std::uint64_t octets = 0;
};

/// A fault, with its place: the packet of the file (from 1), and the octet.
struct Problem {
   ProblemKind kind = ProblemKind::file;
   std::uint64_t packet = 0;     ///< 0 where the fault is in no packet.
   std::optional<Offset> offset; ///< Nothing where it has none, as a file that cannot be opened.
   std::string what;             ///< A sentence without its full stop.
};

/// "cut"
VAREK_EXPORT std::string_view nameOf( ProblemKind );
/// "RADIUS packet"
VAREK_EXPORT std::string_view nameOf( OffsetIn );

} // namespace Capture
