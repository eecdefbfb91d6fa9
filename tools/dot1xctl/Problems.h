#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

/// Bad input: told on standard error as it is met, and counted.
///
/// A capture may hold one fault a thousand times (every packet cut by the same snap length). Of
/// each kind the first few of a file are told in full and the rest as one count when the file is
/// done, so that the rare fault is not lost among the frequent one. The output for programs
/// (Output.h) has all of them.
namespace Dot1xCtl {

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

class Problems {
public:
   static constexpr std::size_t shownPerKind = 5;

   explicit Problems( std::ostream& out ) : out_( out ) {}

   /// Called before something is told, if set.
   std::function<void()> beforeOutput;

   /// Begins the next file, after done() with the one before.
   void file( std::string const& name );
   void add( Problem const& );
   /// Says how many of the current file's problems were not told.
   void done();
   /// Of all files.
   std::size_t count() const { return count_; }

private:
   void aboutToTell() const;

   static constexpr std::size_t kinds = static_cast<std::size_t>( ProblemKind::radius ) + 1;

   std::ostream& out_;
   std::string file_; // as it is printed
   std::array<std::size_t, kinds> ofKind_{};
   std::size_t count_ = 0;
};

} // namespace Dot1xCtl
