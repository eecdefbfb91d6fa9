// What comes and goes while the full synchronisation of its collection is under way.
#include <list>
#include <random>

#include <gtest/gtest.h>

#include "mirror/DepotKinds.h"
#include "mirror/Link.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;
using Trees::difference;

namespace {

struct Bookmarks : testing::Test {
   static Mirror::LeaderOptions limited() {
      Mirror::LeaderOptions options;
      options.outputLimit = 700;
      return options;
   }
   static void some( Link& link, std::size_t bytes ) {
      std::size_t const until = link.fromLeader.size() + bytes;
      for ( unsigned i = 0; i < 1000 && link.fromLeader.size() < until; ++i ) {
         link.leaderTurn();
         link.followerTurn();
      }
   }
};

// What was inserted ahead of the walk, or while what is left is said by key, and is removed before
// the end marker: a value, and a child.
TEST_F( Bookmarks, WhatTheWalkHasSentIsSaidToBeGone ) {
   for ( auto const& [kind, then] : { std::pair{ noteKind, 4000U }, { rackKind, 6000U } } ) {
      auto const depot = Depot::DepotIs( "depot" );
      Leader leader( limited() );
      Follower follower;
      for ( std::uint32_t i = 0; i < 600; ++i ) {
         kind.come( *depot, i, 3 );
      }
      leader.rootIs( "depot", depot );
      Link link( leader, follower );
      some( link, 17000 );
      ASSERT_FALSE( link.connection->inGroup() );
      for ( std::uint32_t i = 600; i < 800; ++i ) {
         kind.come( *depot, i, 3 );
      }
      some( link, then );
      ASSERT_FALSE( link.connection->inGroup() );
      for ( std::uint32_t i = 600; i < 800; ++i ) {
         kind.go( *depot, i );
      }
      link.pump();
      ASSERT_TRUE( link.connection->inGroup() );
      EXPECT_EQ( difference( *depot, *follower.root( "depot" ) ), "" );
   }
}

/// Few collections with many keys, in all states of a connection: several followers that fall
/// behind, join, break and come back.
class RandomBookmarks : public testing::TestWithParam<unsigned> {
protected:
   std::mt19937 random{ GetParam() };
   unsigned below( unsigned end ) { return static_cast<unsigned>( random() % end ); }
   unsigned keys = 40;

   void change( Depot& depot ) {
      DepotKind const& kind = depotKinds[below( std::size( depotKinds ) )];
      switch ( below( 10 ) ) {
      case 0:
         depot.mottoIs( Varek::String( below( 20 ) == 0 ? 900 : 3, 'm' ) );
         return;
      case 1:
         if ( below( 2 ) != 0 ) {
            depot.badgeIs( Tracked( below( 3 ) ) )->scansInc( 1 );
         } else {
            depot.badgeDel();
         }
         return;
      case 2:
         if ( below( 30 ) == 0 ) {
            kind.clear( depot );
         } else if ( below( 50 ) == 0 ) {
            depot.annexDel();
         }
         return;
      default:
         below( 2 ) != 0 ? kind.come( depot, below( keys ), below( 60 ) )
                         : kind.go( depot, below( keys ) );
      }
   }
};

TEST_P( RandomBookmarks, TreesAreEqualWhenTheBytesHaveCome ) {
   static constexpr unsigned many[] = { 5, 15, 40, 200, 1000 };
   keys = many[GetParam() % 5];
   Mirror::LeaderOptions options;
   static constexpr std::size_t limits[] = { 200, 700, 3000 };
   options.outputLimit = limits[GetParam() / 5 % 3];
   Leader leader( options );
   auto const depot = Depot::DepotIs( "depot" );
   std::list<Follower> followers( 3 );
   std::list<Link> links;
   for ( unsigned i = 0; i < 4 * keys; ++i ) {
      change( *depot );
   }
   leader.rootIs( "depot", depot );
   bool published = true;
   // Answers some changes with others, while the first are still being told.
   unsigned depth = 0;
   auto const answers = depot->subscribe(
      [&]( Varek::Change const& ) {
         if ( depth < 3 && below( 4 ) == 0 ) {
            ++depth;
            change( *depot );
            --depth;
         }
      },
      Varek::Scope::subtree );
   // What the first follower has is published further.
   Leader relay( options );
   Follower far;
   followers.front().onRoot = [&]( auto& name, Qel::Entity& root ) {
      relay.rootIs( name, Varek::Ptr<Qel::Entity>( &root ) );
   };
   followers.front().onRootGone = [&]( auto& name, auto& ) { relay.rootDel( name ); };
   Link farLink( relay, far );
   for ( Follower& one : followers ) {
      links.emplace_back( leader, one );
   }
   for ( unsigned round = 0; round < 4000; ++round ) {
      for ( unsigned n = below( 300 ) == 0 ? below( 3 * keys ) : below( 6 ); n-- > 0; ) {
         change( *depot );
      }
      if ( below( 3 ) == 0 ) {
         farLink.leaderTurn();
      }
      if ( below( 3 ) == 0 ) {
         farLink.followerTurn( below( 1000 ) );
      }
      if ( below( 200 ) == 0 ) {
         farLink.pump();
         ASSERT_EQ( far.reason() + farLink.connection->reason(), "" ) << round;
         auto const here = followers.front().root( "depot" ), there = far.root( "depot" );
         ASSERT_EQ( !here, !there );
         if ( here ) {
            ASSERT_EQ( difference( *here, *there ), "" ) << round;
         }
      }
      for ( Link& link : links ) {
         if ( below( 3 ) == 0 ) {
            link.leaderTurn();
         }
         if ( below( 3 ) == 0 ) {
            link.followerTurn( below( 2 ) ? below( 40 ) : below( 2000 ) );
         }
         if ( below( 700 ) == 0 ) {
            link.cut();
            link.connect();
         }
         if ( below( 80 ) == 0 ) {
            link.pump();
            ASSERT_EQ( link.follower.reason() + link.connection->reason(), "" ) << round;
            ASSERT_TRUE( link.connection->inGroup() );
            ASSERT_EQ( link.follower.root( "depot" ) != nullptr, published ) << round;
            if ( published ) {
               ASSERT_EQ( difference( *depot, *link.follower.root( "depot" ) ), "" ) << round;
            }
         }
      }
      if ( below( 300 ) == 0 ) {
         leader.rootDel( "depot" );
         published = false;
         for ( unsigned n = below( 6 ); n-- > 0; ) {
            change( *depot );
         }
         if ( below( 2 ) ) {
            leader.rootIs( "depot", depot ), published = true;
         }
      }
      if ( below( 100 ) == 0 ) {
         leader.rootIs( "depot", depot ), published = true;
      }
   }
   leader.rootIs( "depot", depot );
   for ( Link& link : links ) {
      link.pump();
   }
   for ( Link& link : links ) {
      ASSERT_EQ( link.follower.reason() + link.connection->reason(), "" );
      ASSERT_EQ( difference( *depot, *link.follower.root( "depot" ) ), "" );
      EXPECT_EQ( leader.stats().announced, link.follower.stats().entities );
   }
}
INSTANTIATE_TEST_SUITE_P( Seeds, RandomBookmarks, testing::Range( 0U, 15U ) );

} // namespace
