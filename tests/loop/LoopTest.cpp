#include <chrono>
#include <csignal>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "Dot1xV2/AcctStatus.h"
#include "loop/FollowerLoop.h"
#include "loop/LeaderLoop.h"
#include "support/Child.h"
#include "support/Files.h"

/// A process that publishes a tree and one that follows it, each in a loop of its own.
namespace {

using namespace Loop;
using Seconds = std::chrono::duration<double>;
using Files::Folder;

struct Loops : testing::Test {
   Folder const folder;
   Address const address{ folder.address() };
   std::optional<Child> leader;

   /// Publishes until a signal; ends with 3 if it could not take in a follower for a while.
   void lead( bool withoutDescriptors = false ) {
      leader.emplace( [&] {
         LeaderLoop loop( address );
         bool trouble = false;
         loop.onTrouble = [&]( std::string const& what ) {
            trouble = what.ends_with( "; trying again in a second" );
            rlimit const enough{ 256, 1024 };
            ::setrlimit( RLIMIT_NOFILE, &enough );
         };
         loop.leader().rootIs( "acct", Dot1xV2::acctStatusFactory( "acct" ) );
         if ( withoutDescriptors ) {
            rlimit const none{ 1, 1024 };
            ::setrlimit( RLIMIT_NOFILE, &none );
         }
         loop.run();
         ::_exit( trouble ? 3 : 0 );
      } );
   }
};

/// Follows until everything has come.
struct Following {
   FollowerLoop loop;
   int lost = 0;
   bool heard = false;

   explicit Following( Address const& address ) : loop( address ) {
      loop.follower().onSynced = [this] { loop.stop(); };
      loop.onLost = [this]( FollowerLoop::Lost const& why ) {
         ++lost;
         heard = heard || why.heard || why.refused;
         return std::optional( FollowerLoop::Pause( 10 ) );
      };
   }
};

TEST_F( Loops, WhoWaitsForALeaderGoesOnWhereItWas ) {
   Following following( address );
   EXPECT_EQ( following.loop.run( Seconds( 0.1 ) ), FollowerLoop::End::timedOut );
   EXPECT_GT( following.lost, 1 );
   EXPECT_FALSE( following.heard );
   lead();
   EXPECT_EQ( following.loop.run( Seconds( 20 ) ), FollowerLoop::End::stopped );
   EXPECT_NE( following.loop.follower().root( "acct" ), nullptr );
   EXPECT_EQ( leader->end( SIGTERM ), 0 );
}

TEST_F( Loops, ALeaderWithoutDescriptorsSaysSoAndGoesOn ) {
#ifdef __SANITIZE_ADDRESS__
   GTEST_SKIP() << "the check of virtual tables opens a pipe, and takes its failure for a fault";
#endif
   lead( true );
   Following following( address );
   EXPECT_EQ( following.loop.run( Seconds( 20 ) ), FollowerLoop::End::stopped );
   EXPECT_EQ( leader->end( SIGTERM ), 3 );
}

} // namespace
