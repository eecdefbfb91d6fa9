// What a stream that is held back costs, what the members of the group share, and what that does to
// the bytes.
#include <list>

#include <gtest/gtest.h>

#include "mirror/DepotKinds.h"
#include "mirror/Link.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;
using Trees::difference;
using Trees::reading;

namespace {

struct Flow : testing::Test {
   Varek::Ptr<Plant> plant = Plant::PlantIs();
   Mirror::LeaderOptions options;
   Follower follower;

   Plant& mirror() { return static_cast<Plant&>( *follower.root( "plant" ) ); }
};

TEST_F( Flow, AStoppedFollowerCostsItsMarksHoweverOftenThingsChange ) {
   constexpr std::uint32_t keys = 1000;
   Leader leader( options );
   leader.rootIs( "plant", plant );
   auto const sensor = plant->rackIs( "a" )->sensorIs( 1 );
   for ( std::uint32_t i = 0; i < keys; ++i ) {
      sensor->readingIs( reading( i, 0 ) );
   }
   Link link( leader, follower );
   link.pump();
   ASSERT_TRUE( link.connection->inGroup() );
   std::size_t const before = allocated();
   std::size_t afterTenth = 0;
   for ( std::uint32_t i = 1; i <= 1'000'000; ++i ) {
      sensor->readingIs( reading( i % keys, i ) );
      if ( i == 100'000 ) {
         afterTenth = allocated();
      }
   }
   EXPECT_FALSE( link.connection->inGroup() );
   EXPECT_EQ( link.connection->entitiesMarked(), 1U );
   EXPECT_LE( link.connection->bytesWaiting(), options.outputLimit + 100 );
   // The buffer in whole chunks, and for each key a mark.
   EXPECT_LT( allocated() - before,
              options.outputLimit + 3 * Mirror::Chunk::usualSize + keys * 32 );
   EXPECT_LE( allocated(), afterTenth + 4096 );

   std::uint64_t const frames = follower.stats().frames;
   std::uint64_t const waiting = link.connection->bytesWaiting();
   link.pump();
   EXPECT_EQ( difference( *plant, mirror() ), "" );
   EXPECT_TRUE( link.connection->inGroup() );
   // What waited, at least 20 bytes a frame, and then each key once.
   EXPECT_LE( follower.stats().frames - frames, waiting / 20 + keys );
}

TEST_F( Flow, WhileBlockedOnlyTheFinalStateCounts ) {
   options.outputLimit = 2000;
   Leader leader( options );
   leader.rootIs( "plant", plant );
   auto const rack = plant->rackIs( "a" );
   rack->sensorIs( 1 )->labelIs( "old" );
   plant->rackIs( "b" );
   Link link( leader, follower );
   link.pump();
   rack->sensorIs( 2 )->labelIs( std::string( 5000, 'x' ) );
   ASSERT_FALSE( link.connection->inGroup() );

   std::vector<std::uint16_t> told;
   auto const subscription = mirror().subscribe(
      [&]( Varek::Change const& change ) {
         if ( static_cast<Qel::Entity&>( change.source() ).parent() == mirror().rack( "b" ).get() ||
              &change.source() == &mirror() ) {
            told.push_back( change.id().value() );
         }
      },
      Varek::Scope::subtree );
   // Out and in again with other contents; in and out again; changed there and back.
   plant->rackDel( "b" );
   plant->rackIs( "b" )->sensorIs( 9 )->levelIs( 90 );
   plant->rackDel( "b" );
   plant->rackIs( "b" )->sensorIs( 8 )->levelIs( 80 );
   plant->rackIs( "c" )->sensorIs( 1 );
   plant->rackDel( "c" );
   plant->alarmIs( Alarm::hot );
   plant->alarmIs( Alarm::none );
   Mirror::Leader::Stats const before = leader.stats();
   link.pump();
   EXPECT_EQ( difference( *plant, mirror() ), "" );
   // The level of sensor 8; rack "b" is the entity that it was.
   EXPECT_EQ( told, std::vector<std::uint16_t>{ 259 } );
   EXPECT_LT( leader.stats().ownMessages - before.ownMessages, 25U );
}

TEST_F( Flow, TheGroupEncodesOnceAndWritesNothingTwice ) {
   Leader leader( options );
   leader.rootIs( "plant", plant );
   auto const sensor = plant->rackIs( "a" )->sensorIs( 1 );
   std::list<Follower> others( 3 );
   Link link( leader, follower );
   std::list<Link> links;
   for ( Follower& other : others ) {
      links.emplace_back( leader, other ).pump();
   }
   link.pump();
   ASSERT_EQ( leader.stats().inGroup, 4U );
   auto const before = leader.stats();
   std::size_t const bytesBefore = link.fromLeader.size();
   for ( std::uint32_t level = 100; level < 200; ++level ) {
      sensor->levelIs( level );
   }
   link.pump();
   for ( Link& one : links ) {
      one.pump();
   }
   EXPECT_EQ( leader.stats().groupMessages - before.groupMessages, 101U );
   EXPECT_EQ( leader.stats().ownMessages, before.ownMessages );
   // One frame names entity and field; the others are two bytes of head and four of value. In the end
   // all belongs together, which takes ten bytes.
   constexpr std::size_t size = 12U + 99 * 6 + 10;
   EXPECT_EQ( link.fromLeader.size() - bytesBefore, size );
   EXPECT_EQ( leader.stats().bytesSent - before.bytesSent, 4 * size );
   for ( Follower& other : others ) {
      EXPECT_EQ( difference( *plant, *other.root( "plant" ) ), "" );
   }
}

// The two must not refer to one another's entities: here the group's frame is between two of the
// connection's own for the same field.
TEST_F( Flow, FramesOfTheGroupAndOnesOwnAlternate ) {
   options.outputLimit = 2000;
   Leader leader( options );
   leader.rootIs( "plant", plant );
   auto const rack = plant->rackIs( "a" );
   rack->sensorIs( 1 );
   rack->sensorIs( 2 );
   Link link( leader, follower );
   link.pump();
   for ( std::uint32_t level : { 100U, 101U, 102U } ) {
      rack->sensor( 1 )->labelIs( std::string( 5000 + level, 'x' ) );
      ASSERT_FALSE( link.connection->inGroup() );
      rack->sensor( 2 )->levelIs( level );
      link.pump();
      ASSERT_TRUE( link.connection->inGroup() );
      ASSERT_EQ( difference( *plant, mirror() ), "" );
   }
}

// A root may be of any size, and what it holds of any depth; it may be more than a chunk, too.
TEST_F( Flow, ANewRootOfAnySizeKeepsToTheLimit ) {
   for ( auto const& [limit, sensors] : { std::pair{ 2000U, 500U }, { 200'000U, 20'000U } } ) {
      options.outputLimit = limit;
      Leader leader( options );
      Follower other;
      Link link( leader, other );
      link.pump();
      ASSERT_TRUE( link.connection->inGroup() );
      auto const root = Plant::PlantIs();
      for ( std::uint32_t i = 0; i < sensors; ++i ) {
         root->rackIs( "big" )->sensorIs( i )->levelIs( i );
      }
      leader.rootIs( "plant", root );
      EXPECT_FALSE( link.connection->inGroup() );
      EXPECT_LE( link.connection->bytesWaiting(), options.outputLimit + 100 );
      std::uint64_t const frames = other.stats().frames;
      link.pump();
      EXPECT_EQ( difference( *root, *other.root( "plant" ) ), "" );
      // What the group has said is not said again: six frames for the plant, its rack and their
      // collections, one for each sensor, the point, and synced not a second time.
      EXPECT_EQ( other.stats().frames - frames, 7U + sensors );
   }
}

TEST_F( Flow, AnEntityThatChangesAllTheTimeKeepsNoOtherWaiting ) {
   options.outputLimit = 700;
   Leader leader( options );
   leader.rootIs( "plant", plant );
   auto const busy = plant->rackIs( "a" )->sensorIs( 1 ),
              other = plant->rackIs( "a" )->sensorIs( 2 );
   Link link( leader, follower );
   link.pump();
   auto const mirrored = mirror().rack( "a" )->sensor( 2 );
   for ( std::uint32_t round = 0; round < 50 && mirrored->level() != 77; ++round ) {
      busy->labelIs( Varek::String( 5000 + round, 'x' ) );
      ASSERT_FALSE( link.connection->inGroup() );
      other->levelIs( 77 );
      link.leaderTurn();
      link.followerTurn();
   }
   EXPECT_EQ( mirrored->level(), 77U );
}

/// Frames that come when all that is held back is let go.
struct CameAndWent : Flow {
   Varek::Ptr<Yard> yard = Yard::YardIs();
   Leader leader;
   Link link{ leader, follower };
   std::size_t before = 0;

   CameAndWent() : leader( limited() ) {}
   static Mirror::LeaderOptions limited() {
      Mirror::LeaderOptions options;
      options.outputLimit = 2000;
      return options;
   }
   Yard& mirror() { return static_cast<Yard&>( *follower.root( "yard" ) ); }
   void block() {
      yard->depot( "known" )->mottoIs( Varek::String( 5000, 'x' ) );
      ASSERT_FALSE( link.connection->inGroup() );
      before = allocated();
   }
   std::uint64_t framesOfPump() {
      std::uint64_t const had = follower.stats().frames;
      link.pump();
      EXPECT_EQ( difference( *yard, mirror() ), "" );
      return follower.stats().frames - had;
   }
   /// Something of every kind that has keys, and a child.
   static void fill( Depot& depot, std::uint32_t n ) {
      for ( DepotKind const& kind : depotKinds ) {
         kind.come( depot, n, n );
      }
      depot.badgeIs( Tracked( n ) );
   }
   static void clear( Depot& depot, std::uint32_t n ) {
      for ( DepotKind const& kind : depotKinds ) {
         kind.go( depot, n );
      }
      depot.badgeDel();
   }
};

// What the follower knows and is gone is said, once, also when something else was there meanwhile.
TEST_F( CameAndWent, WhatWasKnownIsSaidToBeGone ) {
   auto const known = yard->depotIs( "known" );
   for ( std::uint32_t i = 0; i < 20; ++i ) {
      fill( *known, i );
   }
   leader.rootIs( "yard", yard );
   link.pump();
   block();
   for ( unsigned round = 0; round < 3; ++round ) {
      for ( std::uint32_t i = 0; i < 30; ++i ) {
         clear( *known, i );
      }
      for ( std::uint32_t i = 0; round < 2 && i < 30; ++i ) {
         fill( *known, i );
      }
   }
   // Twenty of each kind, the badge, the motto.
   EXPECT_LE( framesOfPump(), 20 * std::size( depotKinds ) + 3 );
}

// A full sync that was held back costs what has been sent and what is there, not what was there as
// it began.
TEST_F( CameAndWent, AFullSyncOfWhatGoesMeanwhileKeepsToWhatIsThere ) {
   auto const known = yard->depotIs( "known" );
   for ( DepotKind const& kind : { noteKind, stockKind, rackKind } ) {
      before = allocated();
      constexpr std::uint32_t many = 60000;
      for ( std::uint32_t i = 0; i < many; ++i ) {
         kind.come( *known, i, i );
      }
      leader.rootIs( "yard", yard );
      link.connect();
      // Hello each way, then as much as the limit lets through.
      while ( link.connection->bytesWaiting() < 1000 ) {
         link.leaderTurn();
         link.pass( link.toLeader, *link.leaderEnd, ~std::size_t{ 0 } );
         if ( link.connection->bytesSent() == 0 || follower.stats().frames == 0 ) {
            link.followerTurn();
         }
         link.connection->onWritable();
      }
      for ( std::uint32_t i = 0; i < many; ++i ) {
         kind.go( *known, i );
      }
      EXPECT_LT( allocated(), before + 800'000 ) << "a mark for each would be more";
      EXPECT_LT( framesOfPump(), 3000U );
      leader.connectionDel( *link.connection );
   }
}

TEST_F( Flow, SixtyFourFollowersAndNoMore ) {
   Leader leader( options );
   leader.rootIs( "plant", plant );
   std::list<Follower> followers( 66 );
   std::list<Link> links;
   for ( Follower& one : followers ) {
      links.emplace_back( leader, one );
   }
   for ( Link& one : links ) {
      one.pump();
   }
   EXPECT_EQ( leader.stats().inGroup, 64U );
   EXPECT_EQ( followers.back().reason(), "refused by the other side: the leader has 64 followers "
                                         "already, as many as it can" );
   EXPECT_FALSE( followers.back().refused() );
   EXPECT_EQ( links.back().connection->reason(),
              "the leader has 64 followers already, as many as it can" );
   // One that leaves makes room, and takes its place over with nothing of it.
   links.front().cut();
   links.back().follower.close();
   leader.connectionDel( *links.back().connection );
   links.back().connect();
   links.back().pump();
   plant->rackIs( "a" )->sensorIs( 1 );
   for ( auto one = std::next( links.begin() ); one != std::prev( links.end(), 2 ); ++one ) {
      one->pump();
   }
   links.back().pump();
   EXPECT_EQ( leader.stats().inGroup, 64U );
   EXPECT_EQ( difference( *plant, *followers.back().root( "plant" ) ), "" );
   EXPECT_EQ(
      difference( *plant, static_cast<Plant&>( *std::next( followers.begin() )->root( "plant" ) ) ),
      "" );
}

} // namespace
