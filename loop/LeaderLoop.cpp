#include "loop/LeaderLoop.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <utility>

namespace Loop {

LeaderLoop::LeaderLoop( Address const& address )
   : address_( address ), listener_( listenAt( address_ ) ) {
   leader_.onClosed = [this]( Mirror::LeaderConnection& connection, Varek::String const& ) {
      watches_.erase( &connection );
      leader_.connectionDel( connection );
   };
}

void LeaderLoop::onHangupIs( std::function<void()> call ) {
   // A SIGHUP before run() waits for it.
   hangup_.add( SIGHUP );
   signals_.without( SIGHUP );
   onHangup_ = std::move( call );
}

void LeaderLoop::run() {
   if ( signals_.caught() ) {
      return;
   }
   if ( onHangup_ ) {
      awaitHangup();
   }
   await();
   io_.run();
}

/// Does \p step, and then waits for the next event of each connection: a step for one of them may
/// give others something to send.
template<class F>
void LeaderLoop::drive( F step ) {
   step();
   await();
}

void LeaderLoop::await() {
   if ( !pausing_ ) {
      incoming_.awaitRead( [this] { drive( [this] { accept(); } ); } );
   }
   for ( auto const& [connection, watch] : watches_ ) {
      if ( connection->wantsRead() ) {
         watch->awaitRead( [this, one = connection] { drive( [one] { one->onReadable(); } ); } );
      }
      if ( connection->wantsWrite() ) {
         watch->awaitWrite( [this, one = connection] { drive( [one] { one->onWritable(); } ); } );
      }
   }
   awaitDeadline( deadline_, leader_.nextDeadline(),
                  [this] { drive( [this] { leader_.tick( Mirror::Clock::now() ); } ); } );
}

void LeaderLoop::awaitHangup() {
   hangup_.async_wait( [this]( asio::error_code error, int ) {
      if ( !error ) {
         drive( onHangup_ );
         awaitHangup();
      }
   } );
}

void LeaderLoop::accept() {
   try {
      while ( std::optional<Mirror::Accepted> one = listener_.accept() ) {
         Mirror::LeaderConnection& made = leader_.connectionIs( std::move( *one ) );
         watches_.emplace( &made, std::make_unique<SocketWatch>( io_, made.fd() ) );
      }
   } catch ( Mirror::SocketError const& error ) {
      // For want of descriptors, say: the waiting peers would wake the loop again and again.
      if ( onTrouble ) {
         onTrouble( std::string( error.what() ) + "; trying again in a second" );
      }
      pausing_ = true;
      awaitDeadline( pause_, Mirror::Clock::now() + std::chrono::seconds( 1 ),
                     [this] { drive( [this] { pausing_ = false; } ); } );
   }
}

} // namespace Loop
