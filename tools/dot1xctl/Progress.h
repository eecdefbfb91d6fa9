#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace Dot1xCtl {

/// A bar on standard error that says how far something long is. Appears after half a second, if
/// standard error is a terminal, and goes without a trace.
class Progress {
public:
   /// Without \p wanted there is none.
   explicit Progress( std::string what, bool wanted = true );
   ~Progress() { hide(); }
   Progress( Progress const& ) = delete;
   Progress& operator=( Progress const& ) = delete;

   /// \p done of \p all; cheap enough for each packet.
   void at( std::uint64_t done, std::uint64_t all );
   /// Makes room for something else on the terminal.
   void hide();

private:
   using Clock = std::chrono::steady_clock;

   std::string const what_;
   bool const wanted_;
   bool shown_ = false;
   Clock::time_point next_;
};

} // namespace Dot1xCtl
