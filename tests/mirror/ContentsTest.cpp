// What comes with the announcement of an entity, and what belongs together.
#include <map>

#include <gtest/gtest.h>

#include "mirror/Link.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;
using Trees::difference;

namespace {

struct Contents : testing::Test {
   Mirror::LeaderOptions options;
   Follower follower;
   Varek::Ptr<Yard> const yard = Yard::YardIs();
   Yard& mirror() { return static_cast<Yard&>( *follower.root( "yard" ) ); }
};

TEST_F( Contents, AnEntityOfUsualSizeIsOneFrame ) {
   Leader leader;
   leader.rootIs( "yard", yard );
   Link link( leader, follower );
   link.pump();
   auto const frames = follower.stats().frames;
   std::mt19937 random( 3 );
   auto const depot = Depot::DepotIs( "aside" );
   for ( unsigned i = 0; i < 40; ++i ) {
      Trees::change( *depot, random );
   }
   auto const held = yard->depotIs( "new" );
   EXPECT_FALSE( held->unobserved() );
   link.pump();
   // The depot with the office that its constructor makes, and the point.
   EXPECT_EQ( follower.stats().frames - frames, 2U );
   EXPECT_EQ( difference( *yard, mirror() ), "" );
   held->officeDel();
   link.cut();
   link.connect();
   link.pump();
   EXPECT_FALSE( mirror().depot( "new" )->office() ) << "a constructor makes one at either side";
   EXPECT_EQ( difference( *yard, mirror() ), "" );
}

// The follower holds other things than the leader where the leader says nothing: defaults, empty
// collections, children that there are none of.
TEST_F( Contents, WhatIsNotMentionedIsAtItsDefault ) {
   auto const mine = Yard::YardIs();
   std::mt19937 random( 4 );
   for ( unsigned i = 0; i < 60; ++i ) {
      Trees::change( *mine->depotIs( "held" ), random );
   }
   auto const depot = mine->depot( "held" );
   depot->annexIs()->rackIs( "r" )->sensorIs( 1 )->levelIs( 77 );
   auto const sensor = depot->annex()->rack( "r" )->sensor( 1 );
   follower.rootIs( "yard", mine );
   yard->depotIs( "held" )->annexIs()->rackIs( "r" )->sensorIs( 1 );
   Leader leader;
   leader.rootIs( "yard", yard );
   Link link( leader, follower );
   link.pump();
   EXPECT_EQ( difference( *yard, *mine ), "" );
   EXPECT_EQ( mine->depot( "held" ), depot );
   EXPECT_EQ( depot->annex()->rack( "r" )->sensor( 1 ), sensor );
   EXPECT_EQ( sensor->level(), 5U );
   // Told again, nothing is a difference.
   unsigned changes = 0;
   auto const counting =
      mine->subscribe( [&]( Varek::Change const& ) { ++changes; }, Varek::Scope::subtree );
   link.cut();
   link.connect();
   link.pump();
   EXPECT_EQ( changes, 0U );
}

// Within an entity and below it, at any depth, beyond any limit.
TEST_F( Contents, WhatIsTooLargeForTheFrameComesLater ) {
   for ( std::size_t const limit : { 1U, 400U, 4000U, 40'000U } ) {
      options.outputLimit = limit;
      Leader leader( options );
      leader.rootIs( "yard", yard );
      Follower other;
      Link link( leader, other );
      link.pump();
      auto const depot = yard->depotIs( std::to_string( limit ) );
      auto const annex = depot->annexIs();
      for ( std::uint32_t i = 0; i < 300; ++i ) {
         annex->rackIs( "few" )->sensorIs( i % 3 )->labelIs( Varek::String( i, 'x' ) );
         annex->rackIs( "many" )->sensorIs( i )->readingIs( Reading( i ) );
         depot->noteIs( std::to_string( i ), "y" );
      }
      leader.rootDel( "yard" );
      leader.rootIs( "yard", yard );
      link.pump();
      ASSERT_EQ( difference( *yard, *other.root( "yard" ) ), "" ) << limit;
      ASSERT_TRUE( link.connection->inGroup() );
   }
}

// However far a follower is behind: when it is told of a point, it holds what there was at the leader.
TEST_F( Contents, AtEachPointTheTreesAreAsTheyWereAtOneMoment ) {
   options.outputLimit = 3000;
   options.generation = 42;
   Leader leader( options );
   leader.rootIs( "yard", yard );
   std::map<std::uint64_t, Trees::Lines> moments;
   auto const linesOf = []( Qel::Entity const& root ) {
      Trees::Lines lines;
      Trees::addLines( lines, "", root );
      return lines;
   };
   std::uint64_t last = 0;
   unsigned points = 0;
   follower.onConsistent = [&]( Mirror::Point point ) {
      EXPECT_EQ( point.generation, 42U );
      EXPECT_TRUE( follower.synced() );
      EXPECT_GT( point.sequence, last );
      last = point.sequence;
      ++points;
      EXPECT_EQ( linesOf( mirror() ), moments.at( last ) ) << last;
   };
   Link link( leader, follower );
   std::mt19937 random( 8 );
   for ( unsigned turn = 0; turn < 400; ++turn ) {
      for ( unsigned i = random() % 8; i > 0; --i ) {
         Trees::change( *yard->depotIs( std::to_string( random() % 4 ) ), random );
      }
      if ( random() % 50 == 0 ) {
         yard->depotIs( "1" )->mottoIs( Varek::String( 9000, 'm' ) ); // more than may wait
      }
      leader.turnEnds();
      moments[leader.point().sequence] = linesOf( *yard );
      if ( random() % 3 != 0 ) {
         link.leaderTurn();
         link.followerTurn( random() % 4000 );
      }
   }
   link.pump();
   EXPECT_EQ( last, leader.point().sequence );
   EXPECT_GT( points, 20U );
}

} // namespace
