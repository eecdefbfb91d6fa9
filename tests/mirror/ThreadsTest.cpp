// A tree belongs to one thread, with its leader and follower; threads with trees of their own need
// not know of each other. Run under the thread sanitizer as well.

#include <latch>
#include <thread>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "mirror/Link.h"
#include "support/Trees.h"

namespace {

constexpr unsigned threads = 4;

/// Random changes of one tree and how they come to its mirror.
void mirror( Qel::Entity& tree, unsigned seed ) {
   std::mt19937 random( seed );
   Mirror::LeaderOptions options;
   options.outputLimit = 2000;
   Mirror::Leader leader( options );
   Mirror::Follower follower;
   leader.rootIs( "tree", Varek::Ptr<Qel::Entity>( &tree ) );
   Link link( leader, follower );
   unsigned told = 0;
   auto const observed = tree.subscribe( [&]( auto& ) { ++told; }, Varek::Scope::subtree );
   for ( unsigned round = 0; round < 600; ++round ) {
      Trees::change( tree, random );
      if ( round % 3 == 0 ) {
         link.leaderTurn();
      }
      if ( round % 5 == 0 ) {
         link.followerTurn( random() % 3000 );
      }
   }
   link.pump();
   EXPECT_EQ( follower.reason(), "" );
   EXPECT_EQ( Trees::difference( tree, *follower.root( "tree" ) ), "" );
   EXPECT_GT( told, 300U );
}

TEST( Threads, EachMayHaveATreeALeaderAndAFollower ) {
   auto const type = TestModule::Yard::qelBinding();
   auto const live = TestModule::Depot::allocations().liveObjects();
   // Read by all, changed by none: only its references are counted.
   auto const shared = TestModule::Plant::PlantIs();
   std::latch start( threads );
   {
      std::vector<std::jthread> running;
      for ( unsigned seed = 0; seed < threads; ++seed ) {
         running.emplace_back( [&, seed] {
            start.arrive_and_wait();
            std::vector<Varek::Ptr<TestModule::Plant>> held;
            for ( unsigned i = 0; i < 5000; ++i ) {
               held.push_back( shared );
               if ( i % 100 == 0 ) {
                  held.clear();
               }
            }
            auto const yard = TestModule::Yard::YardIs();
            mirror( *yard, seed );
            auto const answer = Dot1xV2::aaaResponseFactory( Dot1xV2::AaaResponseType::accepted );
            mirror( *answer, seed );
            EXPECT_EQ( Varek::ModuleInspectData::find( type.module->name ), type.module );
         } );
      }
   }
   EXPECT_EQ( shared->references(), 1U );
   EXPECT_EQ( TestModule::Depot::allocations().liveObjects(), live );
   EXPECT_EQ( Dot1xV2::AaaResponse::allocations().liveObjects(), 0U );
}

} // namespace
