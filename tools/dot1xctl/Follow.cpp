#include "Follow.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <map>
#include <string>

#include "Telling.h"
#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "loop/FollowerLoop.h"
#include "store/Stream.h"
#include "views/Tree.h"
#include "views/TreeJson.h"
#include "views/TreeText.h"

#include "views/TimeText.h"

namespace Dot1xCtl {

using namespace Loop;
using namespace Store;
using namespace Views;

using Varek::counted;

namespace {

using Pause = FollowerLoop::Pause;

void tellUnknown( Address const& address, Mirror::Follower const& follower ) {
   if ( std::uint64_t const unknown = follower.stats().unknownTypes; unknown != 0 ) {
      tell( stringValue( address ) + ": " + counted( unknown, "entity", "entities" ) +
            " of types that are not known here left out" );
   }
}

std::string now() {
   return timeText(
             std::chrono::floor<std::chrono::nanoseconds>( std::chrono::system_clock::now() ), 'T',
             6 ) +
          "Z";
}

/// Prints each change of the roots that a follower comes to hold.
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
      follower.onSynced = [this] { synced(); };
      loop_.onLost = [this]( FollowerLoop::Lost const& why ) { return lost( why ); };
   }

   /// Whether it ended as it was told to, and not for lack of anything to watch.
   bool run() {
      loop_.run();
      return !refused_;
   }

private:
   static constexpr Pause shortest{ 100 };
   static constexpr Pause longest{ 5000 };

   void print( std::string const& root, ChangePart const& change ) {
      if ( json_ ) {
         std::cout << compact( jsonOf( now(), root, change ) ) << std::endl;
      } else {
         printText( std::cout, now(), root, change );
      }
      if ( !std::cout ) {
         loop_.stop(); // the caller tells
      }
   }

   void synced() {
      tell( stringValue( address_ ) + ": in step, " +
            counted( loop_.follower().stats().entities, "entity", "entities" ) );
      tellUnknown( address_, loop_.follower() );
      pause_ = shortest;
      told_.clear();
   }

   /// Tells once why there is no connection, not at each attempt.
   std::optional<Pause> lost( FollowerLoop::Lost const& why ) {
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
   bool refused_ = false;
};

} // namespace

std::optional<Roots> fetch( Address const& address, double seconds ) {
   constexpr Pause betweenAttempts{ 50 };
   FollowerLoop loop( address );
   bool synced = false;
   loop.follower().onSynced = [&] {
      synced = true;
      loop.stop();
   };
   std::string last;
   loop.onLost = [&]( FollowerLoop::Lost const& lost ) -> std::optional<Pause> {
      last = lost.reason;
      // Who has not answered may not be there yet, and who is full may have room later.
      bool const again = lost.forNow || ( !lost.heard && !lost.refused );
      return again ? std::optional( betweenAttempts ) : std::nullopt;
   };
   // A large state may take longer; who sends nothing new in that time is given up.
   auto const told = [&] {
      Mirror::Follower::Stats const stats = loop.follower().stats();
      return stats.entities + stats.unknownTypes;
   };
   FollowerLoop::End end{};
   std::uint64_t before = 0;
   do {
      before = told();
      end = loop.run( std::chrono::duration<double>( seconds ) );
   } while ( end == FollowerLoop::End::timedOut && told() != before );
   if ( synced ) {
      tellUnknown( address, loop.follower() );
      return rootsOf( loop.follower() );
   }
   if ( end == FollowerLoop::End::interrupted ) {
      last = stringValue( address ) + ": interrupted before everything had come";
   } else if ( end == FollowerLoop::End::timedOut ) {
      char text[40];
      std::snprintf( text, sizeof text, " (tried for %g s)", seconds );
      bool const connected = !loop.follower().closed();
      last = ( connected ? stringValue( address ) + ": not everything has come" : last ) + text;
   }
   tell( last );
   return std::nullopt;
}

int show( Address const& address, double seconds, ShowRequest const& request ) {
   std::optional<Roots> const roots = fetch( address, seconds );
   if ( !roots ) {
      return 1;
   }
   try {
      printState( std::cout, *roots, request );
      return 0;
   } catch ( Varek::Failure const& failure ) {
      tell( stringValue( address ) + ": " + failure.what() );
      return 1;
   }
}

int watch( Address const& address, bool json ) { return Watcher( address, json ).run() ? 0 : 1; }

} // namespace Dot1xCtl
