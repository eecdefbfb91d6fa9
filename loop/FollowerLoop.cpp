#include "loop/FollowerLoop.h"

#include <cerrno>
#include <utility>

namespace Loop {

FollowerLoop::FollowerLoop( Address const& address ) : address_( address ) {
   follower_.onClosed = [this]( Varek::String const& reason ) {
      lost_ = { stringValue( address_ ) + ": " + reason, follower_.stats().bytes != 0,
                follower_.refused(), follower_.refusedForNow() };
   };
}

FollowerLoop::End FollowerLoop::run( std::optional<std::chrono::duration<double>> limit ) {
   bool const again = std::exchange( timedOut_, false );
   if ( again ) {
      io_.restart();
   }
   if ( limit ) {
      awaitDeadline( limit_,
                     Mirror::Clock::now() +
                        std::chrono::duration_cast<Mirror::Clock::duration>( *limit ),
                     [this] {
                        timedOut_ = true;
                        io_.stop();
                     } );
   }
   if ( !again ) {
      drive( [this] { connect(); } );
   }
   io_.run();
   return timedOut_ ? End::timedOut : signals_.caught() ? End::interrupted : End::stopped;
}

void FollowerLoop::connect() {
   try {
      Mirror::Fd fd = connectTo( address_ );
      auto watch = std::make_unique<SocketWatch>( io_, fd.get() );
      follower_.connectedIs( fd.release(), stringValue( address_ ) );
      watch_ = std::move( watch );
   } catch ( Mirror::SocketError const& error ) {
      // A listener of the wrong user will not go away, so another attempt is useless.
      lost_ = { error.what(), false, error.error() == EPERM, false };
   }
}

/// Does \p step, and then waits for the next event.
template<class F>
void FollowerLoop::drive( F step ) {
   step();
   if ( lost_ ) {
      retry( *std::exchange( lost_, std::nullopt ) );
   }
   await();
}

void FollowerLoop::retry( Lost const& lost ) {
   watch_.reset();
   if ( std::optional<Pause> const pause = onLost( lost ) ) {
      awaitDeadline( pause_, Mirror::Clock::now() + *pause,
                     [this] { drive( [this] { connect(); } ); } );
   } else {
      stop();
   }
}

void FollowerLoop::await() {
   if ( !watch_ ) {
      deadline_.cancel();
      return;
   }
   if ( follower_.wantsRead() ) {
      watch_->awaitRead( [this] { drive( [this] { follower_.onReadable(); } ); } );
   }
   if ( follower_.wantsWrite() ) {
      watch_->awaitWrite( [this] { drive( [this] { follower_.onWritable(); } ); } );
   }
   awaitDeadline( deadline_, follower_.nextDeadline(),
                  [this] { drive( [this] { follower_.tick( Mirror::Clock::now() ); } ); } );
}

} // namespace Loop
