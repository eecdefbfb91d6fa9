#include "Progress.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <string_view>
#include <utility>

#include <fmt/core.h>
#include <unistd.h>

namespace Dot1xCtl {

namespace {

constexpr std::chrono::milliseconds patience( 500 );
constexpr std::chrono::milliseconds betweenDrawings( 100 );
constexpr std::string_view erasing = "\r\x1b[K";
constexpr int endings[] = { SIGINT, SIGTERM };

extern "C" void eraseAndEnd( int signal ) {
   (void)!::write( STDERR_FILENO, erasing.data(), erasing.size() );
   ::signal( signal, SIG_DFL );
   ::raise( signal ); // blocked until the handler returns
}

/// An uncaught signal would end the process with the bar on the terminal.
void endingsReplace( void ( *from )( int ), void ( *to )( int ) ) {
   for ( int const one : endings ) {
      struct sigaction now {};
      if ( ::sigaction( one, nullptr, &now ) == 0 && now.sa_handler == from ) {
         ::signal( one, to );
      }
   }
}

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
   std::cerr << fmt::format( "\r{} [{:<{}}] {}%", what_, std::string( filled, '#' ), width,
                             std::min( done, all ) * 100 / all )
             << std::flush;
   if ( !std::exchange( shown_, true ) ) {
      endingsReplace( SIG_DFL, eraseAndEnd );
   }
   next_ = Clock::now() + betweenDrawings;
}

void Progress::hide() {
   if ( std::exchange( shown_, false ) ) {
      std::cerr << erasing << std::flush;
      endingsReplace( eraseAndEnd, SIG_DFL );
   }
}

} // namespace Dot1xCtl
