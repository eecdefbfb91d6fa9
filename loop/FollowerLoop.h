#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "loop/Address.h"
#include "loop/Loop.h"
#include "mirror/Follower.h"

namespace Loop {

/// Connects a follower to an address and drives it, until a signal, a time limit, or stop().
class FollowerLoop {
public:
   explicit FollowerLoop( Address const& );
   FollowerLoop( FollowerLoop const& ) = delete;
   FollowerLoop& operator=( FollowerLoop const& ) = delete;

   using Pause = std::chrono::milliseconds;
   struct Lost {
      std::string reason; ///< A sentence without its full stop; names the address.
      bool heard;         ///< Whether the leader had said anything.
      bool refused;       ///< Whether another attempt would fail in the same way.
      bool forNow;        ///< Whether the leader has refused it, but may not do so later.
   };
   /// Called when a connection fails or ends: returns how long to wait before the next attempt, or
   /// nothing to give up.
   std::function<std::optional<Pause>( Lost const& )> onLost;

   Mirror::Follower& follower() { return follower_; }
   /// Makes run() return.
   void stop() { io_.stop(); }

   enum class End : std::uint8_t { stopped, interrupted, timedOut };
   /// Runs for at most \p limit, if it is given. After timedOut another call continues.
   End run( std::optional<std::chrono::duration<double>> limit = {} );

private:
   void connect();
   void retry( Lost const& );
   void await();
   template<class F>
   void drive( F step );

   Address const address_;
   asio::io_context io_{ 1 };
   Signals signals_{ io_ };
   asio::steady_timer deadline_{ io_ };
   asio::steady_timer limit_{ io_ };
   asio::steady_timer pause_{ io_ };
   std::unique_ptr<SocketWatch> watch_;
   std::optional<Lost> lost_; ///< Told once the follower has returned.
   bool timedOut_ = false;
   Mirror::Follower follower_;
};

} // namespace Loop
