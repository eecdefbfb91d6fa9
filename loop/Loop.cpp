#include "loop/Loop.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>

namespace Loop {

namespace {

int duplicate( int fd ) {
   int const made = ::fcntl( fd, F_DUPFD_CLOEXEC, 0 );
   if ( made < 0 ) {
      throw std::system_error( errno, std::generic_category(), "a socket cannot be duplicated" );
   }
   return made;
}

} // namespace

Signals::Signals( asio::io_context& io ) : io_( io ), set_( io, SIGINT, SIGTERM, SIGHUP ) {
   set_.async_wait( [this]( asio::error_code error, int ) {
      if ( !error ) {
         caught_ = true;
         io_.stop();
      }
   } );
}

bool Signals::caught() {
   if ( !caught_ ) {
      io_.poll();
      if ( !caught_ ) {
         io_.restart();
      }
   }
   return caught_;
}

SocketWatch::SocketWatch( asio::io_context& io, int fd ) : fd_( io, duplicate( fd ) ) {}

void awaitDeadline( asio::steady_timer& timer, Mirror::Clock::time_point when,
                    std::function<void()> due ) {
   if ( when == Mirror::Clock::time_point::max() ) {
      timer.cancel();
      return;
   }
   // An overdue time may lie before the earliest time that a timer can handle.
   timer.expires_at( std::max( when, Mirror::Clock::now() ) );
   timer.async_wait( [due = std::move( due )]( asio::error_code error ) {
      if ( !error ) {
         due();
      }
   } );
}

} // namespace Loop
