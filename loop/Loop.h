#pragma once

#include <functional>
#include <memory>
#include <utility>

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include "mirror/Endpoint.h"

/// The common part of both loops: the end by a signal, waiting for a socket or a deadline. There is
/// a single thread; every handler runs in io.run().
namespace Loop {

/// Takes SIGINT, SIGTERM and SIGHUP for as long as it lives: they then only end the loop.
class Signals {
public:
   explicit Signals( asio::io_context& io );
   /// Looks whether a signal has come.
   bool caught();
   /// Leaves \p signal to others.
   void without( int signal ) { set_.remove( signal ); }

private:
   asio::io_context& io_;
   asio::signal_set set_;
   bool caught_ = false;
};

/// Waits for a socket that somebody else owns and may close at any time. So it waits with a
/// duplicate of the descriptor: a number that was closed, and perhaps given to another file, is
/// never waited for.
class SocketWatch {
public:
   SocketWatch( asio::io_context& io, int fd );
   ~SocketWatch() { state_->alive = false; }
   SocketWatch( SocketWatch const& ) = delete;
   SocketWatch& operator=( SocketWatch const& ) = delete;

   /// Has \p ready called once when the socket can be read; a second call while it waits has no
   /// effect.
   template<class F>
   void awaitRead( F ready ) {
      await( asio::posix::stream_descriptor::wait_read, &State::reading, std::move( ready ) );
   }
   template<class F>
   void awaitWrite( F ready ) {
      await( asio::posix::stream_descriptor::wait_write, &State::writing, std::move( ready ) );
   }

private:
   /// Outlives the watch, since a handler that is due already is called all the same.
   struct State {
      bool alive = true;
      bool reading = false;
      bool writing = false;
   };

   template<class F>
   void await( asio::posix::stream_descriptor::wait_type what, bool State::*waits, F ready ) {
      if ( std::exchange( ( *state_ ).*waits, true ) ) {
         return;
      }
      fd_.async_wait(
         what, [state = state_, waits, ready = std::move( ready )]( asio::error_code error ) {
            ( *state ).*waits = false;
            if ( state->alive && error != asio::error::operation_aborted ) {
               ready();
            }
         } );
   }

   asio::posix::stream_descriptor fd_;
   std::shared_ptr<State> const state_ = std::make_shared<State>();
};

/// Calls \p due once at \p when, unless it is set anew before; Clock::time_point::max() is never.
void awaitDeadline( asio::steady_timer&, Mirror::Clock::time_point when,
                    std::function<void()> due );

} // namespace Loop
