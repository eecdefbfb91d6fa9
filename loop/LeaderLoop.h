#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "loop/Address.h"
#include "loop/Loop.h"
#include "mirror/Leader.h"

namespace Loop {

/// Listens at an address and drives a leader for the followers that connect, until a signal.
class LeaderLoop {
public:
   /// Listens from now on; followers that connect wait until run(). Takes SIGINT, SIGTERM and
   /// SIGHUP from now on. Throws Mirror::SocketError.
   explicit LeaderLoop( Address const& );
   LeaderLoop( LeaderLoop const& ) = delete;
   LeaderLoop& operator=( LeaderLoop const& ) = delete;

   /// Called, if set, with the error that keeps followers from being accepted: a sentence without
   /// its full stop.
   std::function<void( std::string const& what )> onTrouble;

   /// The address, with the port in use.
   Address const& address() const { return address_; }
   /// Whether a signal that ends the loop has come.
   bool interrupted() { return signals_.caught(); }
   Mirror::Leader& leader() { return leader_; }
   /// Takes SIGHUP, too, from now on; run() calls \p call for it.
   void onHangupIs( std::function<void()> call );
   void run();

private:
   using Watches = std::map<Mirror::LeaderConnection*, std::unique_ptr<SocketWatch>>;

   void accept();
   void await();
   void awaitHangup();
   template<class F>
   void drive( F step );

   Address address_;
   Mirror::Listener listener_;
   asio::io_context io_{ 1 };
   Signals signals_{ io_ };
   asio::signal_set hangup_{ io_ };
   std::function<void()> onHangup_;
   asio::steady_timer deadline_{ io_ };
   asio::steady_timer pause_{ io_ };
   SocketWatch incoming_{ io_, listener_.fd() };
   bool pausing_ = false;
   Watches watches_;
   Mirror::Leader leader_;
};

} // namespace Loop
