#include "Watch.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <fmt/core.h>

#include "Fetch.h"
#include "Telling.h"
#include "Varek/Text.h"
#include "loop/FollowerLoop.h"
#include "views/TimeText.h"
#include "views/Tree.h"
#include "views/TreeJson.h"
#include "views/TreeText.h"

namespace Dot1xCtl {

using namespace Loop;
using namespace Views;

using Varek::counted;

namespace {

using Pause = FollowerLoop::Pause;

std::string now() {
   return timeText(
             std::chrono::floor<std::chrono::nanoseconds>( std::chrono::system_clock::now() ), 'T',
             6 ) +
          "Z";
}

/// Prints each change of the roots that a follower holds. Changes that belong together are printed
/// together, with the time of the first.
class Watcher {
public:
   Watcher( Address const& address, bool json )
      : loop_( address ), address_( address ), json_( json ) {
      Mirror::Follower& follower = loop_.follower();
      follower.onRoot = [this]( Varek::String const& name, Qel::Entity& root ) {
         print( name, { {}, {}, {}, bareEntity( &root ) } );
         observed_[name] = root.subscribe(
            [this, name, &root]( Varek::Change const& change ) {
               print( name, changePart( root, change ) );
            },
            Varek::Scope::subtree );
      };
      follower.onRootGone = [this]( Varek::String const& name, Qel::Entity& root ) {
         observed_.erase( name );
         print( name, { {}, {}, bareEntity( &root ), {} } );
      };
      follower.onSynced = [this] { inStep_ = true; };
      follower.onConsistent = [this]( Mirror::Point ) { turnEnds(); };
      loop_.onLost = [this]( FollowerLoop::Lost const& why ) { return lost( why ); };
   }

   /// Whether it ended by request, and not for want of anything to watch.
   bool run() {
      loop_.run();
      return !refused_;
   }

private:
   static constexpr Pause shortest{ 100 };
   static constexpr Pause longest{ 5000 };
   static constexpr unsigned mostHeld = 1000;

   void print( std::string const& root, ChangePart const& change ) {
      if ( held_ == 0 ) {
         time_ = now();
      }
      if ( json_ ) {
         std::cout << jsonText( time_, root, change ) << '\n';
      } else {
         printText( std::cout, time_, root, change );
      }
      if ( ++held_ == mostHeld ) {
         flush(); // a turn may be of any size
      }
   }
   void flush() {
      held_ = 0;
      std::cout.flush();
      if ( !std::cout ) {
         loop_.stop(); // the caller prints the reason
      }
   }

   void turnEnds() {
      flush();
      if ( !std::exchange( inStep_, false ) ) {
         return;
      }
      tell( fmt::format( "{}: in step, {}", stringValue( address_ ),
                         counted( loop_.follower().stats().entities, "entity", "entities" ) ) );
      tellUnknown( address_, loop_.follower() );
      pause_ = shortest;
      told_.clear();
   }

   /// Prints the reason for a missing connection once, not at each attempt.
   std::optional<Pause> lost( FollowerLoop::Lost const& why ) {
      flush();
      inStep_ = false;
      if ( why.refused ) {
         tell( why.reason );
         refused_ = true;
         return std::nullopt;
      }
      if ( why.reason != told_ ) {
         tell( why.reason + "; trying again" );
         told_ = why.reason;
      }
      Pause const next = pause_;
      pause_ = std::min( 2 * pause_, longest );
      return next;
   }

   FollowerLoop loop_;
   Address const address_;
   bool const json_;
   std::map<std::string, Varek::Subscription> observed_;
   Pause pause_ = shortest;
   std::string told_;
   std::string time_;
   unsigned held_ = 0; // changes that were printed with that time
   bool inStep_ = false;
   bool refused_ = false;
};

} // namespace

int watch( Address const& address, bool json ) { return Watcher( address, json ).run() ? 0 : 1; }

} // namespace Dot1xCtl
