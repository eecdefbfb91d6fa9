#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace Dot1xCtl {

/// A bar on standard error that shows the progress of a long operation. It appears after half a
/// second, if standard error is a terminal, and is erased at the end.
class Progress {
public:
   /// Shows no bar unless \p wanted.
   explicit Progress( std::string what, bool wanted = true );
   ~Progress() { hide(); }
   Progress( Progress const& ) = delete;
   Progress& operator=( Progress const& ) = delete;

   /// Shows \p done of \p all; cheap enough to be called for each packet.
   void at( std::uint64_t done, std::uint64_t all );
   /// Erases the bar, for other output on the terminal.
   void hide();

private:
   using Clock = std::chrono::steady_clock;

   std::string const what_;
   bool const wanted_;
   bool shown_ = false;
   Clock::time_point next_;
};

} // namespace Dot1xCtl
