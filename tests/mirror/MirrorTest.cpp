// What a follower holds is what the leader has: however the bytes are cut, the streams blocked, the
// connections broken.

#include <gtest/gtest.h>

#include "mirror/Link.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;
using Trees::difference;
using Trees::reading;

namespace {

template<class T>
T& mirrorOf( Follower& follower, std::string const& name ) {
   auto const root = follower.root( name );
   EXPECT_TRUE( root );
   return static_cast<T&>( *root );
}

/// Counts what an observer of a whole tree is told.
struct Count {
   unsigned changes = 0;
   Varek::Subscription subscription;
   explicit Count( Varek::Publisher& tree )
      : subscription( tree.subscribe( [this]( auto& ) { ++changes; }, Varek::Scope::subtree ) ) {}
};

struct Mirroring : testing::Test {
   Varek::Ptr<Plant> plant = Plant::PlantIs();
   Leader leader;
   Follower follower;
};

TEST_F( Mirroring, AReconnectPublishesJustTheDifferences ) {
   leader.rootIs( "plant", plant );
   for ( std::uint32_t i = 0; i < 50; ++i ) {
      plant->rackIs( "a" )->sensorIs( i )->readingIs( reading( i, 1 ) );
   }
   plant->rackIs( "gone" )->sensorIs( 1 );
   Link link( leader, follower );
   link.pump();
   Count count( mirrorOf<Plant>( follower, "plant" ) );
   Qel::Entity const* const before = mirrorOf<Plant>( follower, "plant" ).rack( "a" ).get();

   link.cut();
   link.connect();
   link.pump();
   EXPECT_EQ( count.changes, 0U );
   EXPECT_TRUE( follower.synced() );

   link.cut();
   plant->rack( "a" )->sensor( 7 )->levelIs( 70 );
   plant->rack( "a" )->sensor( 8 )->readingDel( 8 );
   plant->rack( "a" )->sensorDel( 9 );
   plant->rackDel( "gone" );
   link.connect();
   link.pump();
   // Of what is gone nothing is told of what was below it.
   EXPECT_EQ( count.changes, 4U );
   EXPECT_EQ( follower.stats().entities, 2U + 49 );
   EXPECT_EQ( difference( *plant, *follower.root( "plant" ) ), "" );
   EXPECT_EQ( mirrorOf<Plant>( follower, "plant" ).rack( "a" ).get(), before );

   // A leader that was restarted has other entities and other handles.
   link.cut();
   Leader restarted;
   auto const again = Plant::PlantIs();
   again->rackIs( "b" );
   again->rackIs( "a" )->sensorIs( 7 )->levelIs( 70 );
   restarted.rootIs( "plant", again );
   restarted.nextHandleIs( 4711 );
   count.changes = 0;
   Link other( restarted, follower );
   other.pump();
   // One rack more; 48 sensors and one reading less.
   EXPECT_EQ( count.changes, 50U );
   EXPECT_EQ( difference( *again, *follower.root( "plant" ) ), "" );
}

TEST_F( Mirroring, RootsComeAndGo ) {
   std::vector<std::string> told;
   follower.onRoot = [&]( auto& name, auto& ) { told.push_back( "+" + name ); };
   follower.onRootGone = [&]( auto& name, auto& ) { told.push_back( "-" + name ); };
   unsigned synced = 0;
   follower.onSynced = [&] { ++synced; };
   leader.rootIs( "one", plant );
   Link link( leader, follower );
   link.pump();
   auto const depot = Depot::DepotIs( "depot" );
   leader.rootIs( "two", depot );
   link.pump();
   EXPECT_EQ( follower.roots(), ( std::vector<std::string>{ "one", "two" } ) );
   // The same name for an entity with other parameters: another one takes its place.
   leader.rootIs( "two", Depot::DepotIs( "other" ) );
   leader.rootDel( "one" );
   link.pump();
   EXPECT_EQ( told, ( std::vector<std::string>{ "+one", "+two", "-two", "+two", "-one" } ) );
   // What was not announced again when all has come is gone.
   link.cut();
   leader.rootDel( "two" );
   link.connect();
   link.pump();
   EXPECT_TRUE( follower.roots().empty() );
   EXPECT_EQ( told.back(), "-two" );
   EXPECT_EQ( synced, 2U );
   EXPECT_EQ( leader.stats().announced, 0U );
   // Nothing is published twice: not as itself, nor as part of another root, nor with one in it.
   leader.rootIs( "rack", plant->rackIs( "a" ) );
   for ( Varek::Ptr<Qel::Entity> const& one : std::initializer_list<Varek::Ptr<Qel::Entity>>{
            plant->rack( "a" ), plant->rack( "a" )->sensorIs( 1 ), plant } ) {
      EXPECT_THROW( leader.rootIs( "other", one ), Varek::RangeError );
   }
}

TEST_F( Mirroring, AnEntityOfOnesOwnBecomesTheMirror ) {
   auto const mine = Plant::PlantIs();
   Count count( *mine );
   follower.rootIs( "plant", mine );
   leader.rootIs( "plant", plant );
   plant->rackIs( "a" );
   Link link( leader, follower );
   link.pump();
   EXPECT_EQ( count.changes, 1U );
   EXPECT_TRUE( mine->rack( "a" ) );
   leader.rootDel( "plant" );
   link.pump();
   EXPECT_EQ( follower.root( "plant" ), mine );
}

TEST_F( Mirroring, AMirrorIsReadOnlyAsLongAsItIsOne ) {
   using Refused = Varek::WriteFromReadOnlyProxy;
   auto const mine = Plant::PlantIs();
   mine->rackIs( "own" );
   auto const yard = Yard::YardIs();
   yard->depotIs( "d" );
   leader.rootIs( "plant", plant );
   leader.rootIs( "yard", yard );
   auto const sensor = plant->rackIs( "a" )->sensorIs( 1 );
   auto follows = std::make_unique<Follower>();
   follows->rootIs( "plant", mine );
   // A tree mirrors one other.
   EXPECT_THROW( Follower().rootIs( "other", mine ), Varek::RangeError );
   EXPECT_THROW( follows->rootIs( "part", mine->rack( "own" ) ), Varek::RangeError );
   EXPECT_THROW( mine->alarmIs( Alarm::hot ), Refused );
   Link link( leader, *follows );
   link.pump();
   auto& depot = *mirrorOf<Yard>( *follows, "yard" ).depot( "d" );
   EXPECT_THROW( depot.tagIs( "t" ), Refused );
   EXPECT_THROW( depot.office()->modeIs( Mode::run ), Refused );
   auto const rack = mine->rack( "a" );
   auto const its = rack->sensor( 1 );
   EXPECT_THROW( its->levelIs( 70 ), Refused );
   EXPECT_THROW( its->levelIs( 70 ), Refused );
   sensor->levelIs( 70 );
   link.pump();
   EXPECT_EQ( its->level(), 70U );
   its->levelIs( 70 );
   // Taken out, with what is below.
   plant->rackDel( "a" );
   link.pump();
   its->levelIs( 71 );
   EXPECT_EQ( rack->parent(), nullptr );
   // Without a connection, withdrawn, published again, given up.
   link.cut();
   EXPECT_THROW( mine->rackIs( "b" ), Refused );
   leader.rootDel( "plant" );
   link.connect();
   link.pump();
   mine->rackIs( "b" );
   leader.rootIs( "plant", plant );
   link.pump();
   EXPECT_EQ( difference( *plant, *mine ), "" );
   EXPECT_THROW( mine->rackIs( "b" ), Refused );
   leader.rootDel( "plant" );
   link.pump();
   follows->rootIs( "plant", mine );
   EXPECT_THROW( mine->rackIs( "b" ), Refused );
   follows->rootIs( "plant", plant->rackIs( "c" ) );
   mine->rackIs( "b" );
   EXPECT_THROW( plant->rack( "c" )->modeIs( Mode::run ), Refused );
   follows.reset();
   plant->rack( "c" )->modeIs( Mode::run );
}

// An observer that hears of a removal before the leader, and the follower's bookkeeping, do.
TEST_F( Mirroring, ATreeThatIsTakenApartWhileItIsRemovedLeavesNothingBehind ) {
   auto const clear = []( Varek::Change const& change ) {
      if ( change.id() == 259 && change.oldData() ) {
         ( *change.old<Varek::Ptr<Rack>>() )->sensorDelAll();
      }
   };
   auto const here = plant->subscribe( clear );
   leader.rootIs( "plant", plant );
   Link link( leader, follower );
   link.pump();
   auto const there = mirrorOf<Plant>( follower, "plant" ).subscribe( clear );
   for ( unsigned i = 0; i < 3; ++i ) {
      for ( std::uint32_t n = 0; n < 20; ++n ) {
         plant->rackIs( "a" )->sensorIs( n )->levelIs( n );
      }
      link.pump();
      EXPECT_EQ( leader.stats().announced, 22U );
      EXPECT_EQ( difference( *plant, *follower.root( "plant" ) ), "" );
      plant->rackDel( "a" );
      link.pump();
      EXPECT_EQ( leader.stats().announced, 1U );
      EXPECT_EQ( follower.stats().entities, 1U );
   }
   EXPECT_EQ( Sensor::allocations().liveObjects(), 0U );
}

// The leader is told of the removal after what was removed has been published anew.
TEST_F( Mirroring, WhatARemovalTakesOutMayBecomeARootAtOnce ) {
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   auto const publish = plant->subscribe( [&]( Varek::Change const& change ) {
      if ( change.oldData() ) {
         rack->sensorDelAll();
         leader.rootIs( "rack", rack );
         leader.rootIs( "sensor", sensor );
      }
   } );
   leader.rootIs( "plant", plant );
   Link link( leader, follower );
   link.pump();
   plant->rackDel( "a" );
   rack->sensorIs( 2 );
   sensor->levelIs( 9 );
   link.pump();
   ASSERT_EQ( follower.roots(), ( std::vector<std::string>{ "plant", "rack", "sensor" } ) );
   EXPECT_EQ( difference( *plant, *follower.root( "plant" ) ), "" );
   EXPECT_EQ( difference( *rack, *follower.root( "rack" ) ), "" );
   EXPECT_EQ( difference( *sensor, *follower.root( "sensor" ) ), "" );
   EXPECT_EQ( leader.stats().announced, 4U );
}

TEST_F( Mirroring, WhenHandlesRunOutFollowersConnectAnewAndSeeNoDifference ) {
   leader.rootIs( "plant", plant );
   plant->rackIs( "a" );
   leader.nextHandleIs( 0xFFFFFFFE );
   Link link( leader, follower );
   link.pump();
   Count count( mirrorOf<Plant>( follower, "plant" ) );
   std::string reason;
   leader.onClosed = [&]( auto&, auto& why ) { reason = why; };
   plant->rackIs( "b" )->sensorIs( 3 );
   link.pump();
   EXPECT_NE( reason.find( "numbers its entities anew" ), std::string::npos );
   EXPECT_TRUE( follower.closed() );
   leader.connectionDel( *link.connection );
   link.connect();
   link.pump();
   EXPECT_EQ( count.changes, 2U );
   EXPECT_EQ( difference( *plant, *follower.root( "plant" ) ), "" );
}

} // namespace
