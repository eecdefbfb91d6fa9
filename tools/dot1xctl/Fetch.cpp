#include "Fetch.h"

#include <chrono>
#include <string>

#include <fmt/core.h>

#include "Telling.h"
#include "Varek/Text.h"
#include "loop/FollowerLoop.h"
#include "store/Stream.h"

namespace Dot1xCtl {

using namespace Loop;
using namespace Store;
using namespace Views;

using Varek::counted;

void tellUnknown( Address const& address, Mirror::Follower const& follower ) {
   if ( std::uint64_t const unknown = follower.stats().unknownTypes; unknown != 0 ) {
      tell( fmt::format( "{}: {} of types that are not known here left out", stringValue( address ),
                         counted( unknown, "entity", "entities" ) ) );
   }
}

std::optional<Roots> fetch( Address const& address, double seconds ) {
   constexpr FollowerLoop::Pause betweenAttempts{ 50 };
   FollowerLoop loop( address );
   bool synced = false;
   loop.follower().onSynced = [&] {
      synced = true;
      loop.stop();
   };
   std::string last;
   loop.onLost = [&]( FollowerLoop::Lost const& lost ) -> std::optional<FollowerLoop::Pause> {
      last = lost.reason;
      // A leader that does not answer may not run yet, and a full leader may have room later.
      bool const again = lost.forNow || ( !lost.heard && !lost.refused );
      return again ? std::optional( betweenAttempts ) : std::nullopt;
   };
   // A large state may take longer: the limit is for a leader that sends nothing new.
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
      last = fmt::format( "{}: interrupted before everything had come", stringValue( address ) );
   } else if ( end == FollowerLoop::End::timedOut ) {
      if ( !loop.follower().closed() ) {
         last = fmt::format( "{}: not everything has come", stringValue( address ) );
      }
      last += fmt::format( " (tried for {:g} s)", seconds );
   }
   tell( last );
   return std::nullopt;
}

} // namespace Dot1xCtl
