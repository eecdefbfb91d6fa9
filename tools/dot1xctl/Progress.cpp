#include "Progress.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include <unistd.h>

namespace Dot1xCtl {

namespace {

constexpr std::chrono::milliseconds patience( 500 );
constexpr std::chrono::milliseconds betweenDrawings( 100 );

} // namespace

Progress::Progress( std::string what, bool wanted )
   : what_( std::move( what ) ), wanted_( wanted && ::isatty( STDERR_FILENO ) == 1 ),
     next_( Clock::now() + patience ) {}

void Progress::at( std::uint64_t done, std::uint64_t all ) {
   if ( !wanted_ || all == 0 || Clock::now() < next_ ) {
      return;
   }
   constexpr std::uint64_t width = 40;
   std::uint64_t const filled = std::min( done, all ) * width / all;
   std::string const percent = std::to_string( std::min( done, all ) * 100 / all );
   std::cerr << '\r' << what_ << " [" << std::string( filled, '#' )
             << std::string( width - filled, ' ' ) << "] " << percent << '%' << std::flush;
   shown_ = true;
   next_ = Clock::now() + betweenDrawings;
}

void Progress::hide() {
   if ( std::exchange( shown_, false ) ) {
      std::cerr << "\r\x1b[K" << std::flush;
   }
}

} // namespace Dot1xCtl
