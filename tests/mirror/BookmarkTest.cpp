// What comes and goes while the full synchronisation of its collection is under way.
#include <list>
#include <random>

#include <gtest/gtest.h>

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
   Varek::Ptr<Depot> depot = Depot::DepotIs( "depot" );
   Leader leader{ limited() };
   Follower follower;
   static std::string text( unsigned i ) { return std::to_string( i ); }
   void some( Link& link, std::size_t bytes ) {
      std::size_t const until = link.fromLeader.size() + bytes;
      for ( unsigned i = 0; i < 1000 && link.fromLeader.size() < until; ++i ) {
         link.leaderTurn();
         link.followerTurn();
      }
   }
};

// Values: what was inserted ahead of the walk, sent by it, and is removed before the end marker.
TEST_F( Bookmarks, AValueThatTheWalkHasSentIsSaidToBeGone ) {
   for ( unsigned i = 0; i < 600; ++i ) {
      depot->noteIs( text( i ), "old" );
   }
   leader.rootIs( "depot", depot );
   Link link( leader, follower );
   some( link, 17000 );
   ASSERT_FALSE( link.connection->inGroup() );
   for ( unsigned i = 600; i < 800; ++i ) {
      depot->noteIs( text( i ), "new" );
   }
   some( link, 4000 );
   ASSERT_FALSE( link.connection->inGroup() );
   for ( unsigned i = 600; i < 800; ++i ) {
      depot->noteDel( text( i ) );
   }
   link.pump();
   ASSERT_TRUE( link.connection->inGroup() );
   EXPECT_EQ( difference( *depot, *follower.root( "depot" ) ), "" );
}

// Children: inserted again while those that are left are said by key.
TEST_F( Bookmarks, AChildThatTheWalkHasSentIsSaidToBeGone ) {
   auto const plant = depot->annexIs();
   for ( unsigned i = 0; i < 600; ++i ) {
      plant->rackIs( text( i ) );
   }
   leader.rootIs( "depot", depot );
   Link link( leader, follower );
   some( link, 17000 );
   ASSERT_FALSE( link.connection->inGroup() );
   for ( unsigned i = 600; i < 800; ++i ) {
      plant->rackIs( text( i ) );
   }
   some( link, 6000 );
   ASSERT_FALSE( link.connection->inGroup() );
   for ( unsigned i = 600; i < 800; ++i ) {
      plant->rackDel( text( i ) );
   }
   link.pump();
   ASSERT_TRUE( link.connection->inGroup() );
   EXPECT_EQ( difference( *depot, *follower.root( "depot" ) ), "" );
}

/// Few collections with many keys, in all states of a connection: several followers that fall
/// behind, join, break and come back.
class RandomBookmarks : public testing::TestWithParam<unsigned> {
protected:
   std::mt19937 random{ GetParam() };
   unsigned below( unsigned end ) { return static_cast<unsigned>( random() % end ); }
   unsigned keys = 40;
   bool roots = true;

   void change( Depot& depot ) {
      std::string const key = std::to_string( below( keys ) );
      bool const in = below( 2 ) != 0;
      switch ( below( 14 ) ) {
      case 0:
         if ( in ) {
            depot.tagIs( key );
         } else {
            depot.tagDel( key );
         }
         return;
      case 1:
      case 2:
         if ( in ) {
            depot.noteIs( key, std::string( below( 60 ), 'x' ) );
         } else {
            depot.noteDel( key );
         }
         return;
      case 3:
         if ( in ) {
            depot.stockIs( key, Tracked( below( 3 ) ) );
         } else {
            depot.stockDel( key );
         }
         return;
      case 4: {
         Limits l( below( keys ) );
         if ( in ) {
            depot.limitsIs( l );
         } else {
            depot.limitsDel( below( keys ) );
         }
         return;
      }
      case 5:
         if ( in ) {
            depot.badgeIs( Tracked( below( 3 ) ) )->scansInc( 1 );
         } else {
            depot.badgeDel();
         }
         return;
      case 6:
         if ( below( 30 ) == 0 ) {
            depot.annexDel();
         } else if ( below( 40 ) == 0 ) {
            depot.noteDelAll();
         } else if ( below( 40 ) == 0 ) {
            depot.annexIs()->rackDelAll();
         } else if ( below( 40 ) == 0 ) {
            depot.tagDelAll();
         } else if ( below( 40 ) == 0 ) {
            depot.stockDelAll();
         }
         return;
      case 7:
      case 8:
      case 9: {
         auto const annex = depot.annexIs();
         if ( in ) {
            annex->rackIs( key );
         } else {
            annex->rackDel( key );
         }
         return;
      }
      case 10:
      case 11: {
         auto const rack = depot.annexIs()->rackIs( std::to_string( below( 3 ) ) );
         if ( in ) {
            rack->sensorIs( below( keys ) )->levelIs( below( 5 ) );
         } else {
            rack->sensorDel( below( keys ) );
         }
         return;
      }
      case 12: {
         auto const sensor = depot.annexIs()->rackIs( "s" )->sensorIs( below( 3 ) );
         if ( in ) {
            sensor->readingIs( Trees::reading( below( keys ), below( 4 ) ) );
         } else {
            sensor->readingDel( below( keys ) );
         }
         return;
      }
      default:
         depot.mottoIs( Varek::String( below( 20 ) == 0 ? 900 : 3, 'm' ) );
         return;
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
      if ( roots && below( 300 ) == 0 ) {
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
