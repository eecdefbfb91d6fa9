// What a leader does when it cannot say something: for want of memory, at each allocation in turn,
// or since it is more than a frame may hold. The mutator's caller sees the change made; a follower
// is told the truth or its connection ends with a reason.

#include <cstdlib>
#include <list>
#include <new>

#include <gtest/gtest.h>

#include "mirror/Link.h"
#include "support/Contains.h"
#include "support/Trees.h"

namespace {

/// Of this process. The allocation with number failAt fails, or all from there on.
struct Memory {
   bool armed = false;
   bool forGood = false;
   std::uint64_t count = 0;
   std::uint64_t failAt = 0;

   bool fails() {
      if ( !armed ) {
         return false;
      }
      ++count;
      return forGood ? count >= failAt : count == failAt;
   }
} memory;

} // namespace

[[gnu::noinline]] void* operator new( std::size_t size ) {
   if ( void* const made = memory.fails() ? nullptr : std::malloc( size ) ) {
      return made;
   }
   throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete( void* at ) noexcept { std::free( at ); }
[[gnu::noinline]] void operator delete( void* at, std::size_t ) noexcept { std::free( at ); }

namespace {

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;

/// Lets all come; one that has ended meanwhile connects again. Whether it had.
bool catchesUp( Leader& leader, Link& one ) {
   one.pump();
   if ( !one.follower.closed() ) {
      return false;
   }
   EXPECT_NE( one.connection->reason(), "" );
   EXPECT_FALSE( one.follower.refused() ) << one.follower.reason();
   leader.connectionDel( *one.connection );
   one.connect();
   one.pump();
   return true;
}

/// A leader of a random tree with followers in all states: up to date, behind, not synced yet. The
/// memory fails while the leader is told of a change, and while its connections are driven.
class Failing {
public:
   explicit Failing( unsigned seed ) : random_( seed ) {}

   void run( bool forGood, std::uint64_t failAt ) {
      for ( unsigned i = 0; i < 60; ++i ) {
         Trees::change( *yard_, random_ );
      }
      memory.count = 0;
      memory.forGood = forGood;
      memory.failAt = failAt;
      options_.outputLimit = 1500;
      // Before and after the leader in the order of those who are told.
      auto const arms =
         yard_->subscribe( []( auto& ) { memory.armed = true; }, Varek::Scope::subtreeFirst );
      Leader leader( options_ );
      leader.rootIs( "yard", yard_ );
      auto const disarms =
         yard_->subscribe( []( auto& ) { memory.armed = false; }, Varek::Scope::subtreeFirst );
      std::list<Follower> followers( 4 );
      std::list<Link> links;
      for ( Follower& one : followers ) {
         links.emplace_back( leader, one );
      }
      for ( Link& one : links ) {
         if ( &one != &links.back() ) {
            one.pump();
         }
      }
      for ( unsigned i = 0; i < 25; ++i ) {
         ASSERT_NO_THROW( Trees::change( *yard_, random_ ) );
         unsigned turn = 0;
         for ( Link& one : links ) {
            if ( turn++ < 2 || ( turn == 4 && i < 12 ) ) {
               this->turn( one );
            }
         }
      }
      for ( Link& one : links ) {
         ended += catchesUp( leader, one );
         EXPECT_TRUE( one.connection->inGroup() );
         ASSERT_EQ( Trees::difference( *yard_, *one.follower.root( "yard" ) ), "" );
      }
   }

   unsigned ended = 0;

private:
   static void turn( Link& link ) {
      memory.armed = true;
      if ( link.connection->wantsWrite() ) {
         link.connection->onWritable();
      }
      link.connection->onReadable();
      memory.armed = false;
      link.pump();
   }

   std::mt19937 random_;
   Mirror::LeaderOptions options_;
   Varek::Ptr<Yard> yard_ = Yard::YardIs();
};

TEST( Failure, EachAllocationInTurn ) {
   unsigned ended = 0;
   std::uint64_t tried = 0;
   for ( unsigned seed = 1; seed <= 3; ++seed ) {
      for ( bool const forGood : { false, true } ) {
         for ( std::uint64_t at = 1;; ++at ) {
            SCOPED_TRACE( "seed " + std::to_string( seed ) + ", allocation " +
                          std::to_string( at ) + ( forGood ? " and all after it" : "" ) );
            Failing one( seed );
            one.run( forGood, at );
            if ( testing::Test::HasFatalFailure() ) {
               return;
            }
            ended += one.ended;
            ++tried;
            if ( memory.count < at ) {
               break;
            }
         }
      }
   }
   RecordProperty( "tried", static_cast<int>( tried ) );
   EXPECT_GT( ended, tried / 2 ) << "of " << tried;
}

// What is said is more than a chunk holds, so it is passed on while entities are being made known.
TEST( Failure, EachAllocationWhileALargeRootIsSaid ) {
   for ( unsigned const kind : { 0U, 1U, 2U, 3U } ) {
      for ( std::uint64_t at = 1;; ++at ) {
         SCOPED_TRACE( "kind " + std::to_string( kind ) + ", allocation " + std::to_string( at ) );
         unsigned const others = kind / 2;
         // Where most of the bytes are.
         Varek::String const ofRack( kind % 2 ? 300 : 0, 'x' ), ofSensor( kind % 2 ? 0 : 300, 'x' );
         auto const plant = Plant::PlantIs();
         for ( std::uint32_t i = 0; i < 400; ++i ) {
            plant->rackIs( std::to_string( i ) + ofRack )->sensorIs( i )->labelIs( ofSensor );
         }
         Leader leader;
         std::list<Follower> followers( 1 + others );
         std::list<Link> links;
         for ( Follower& one : followers ) {
            links.emplace_back( leader, one ).pump();
         }
         memory.count = 0;
         memory.forGood = false;
         memory.failAt = at;
         memory.armed = true;
         try {
            leader.rootIs( "plant", plant );
         } catch ( std::bad_alloc const& ) {
         }
         memory.armed = false;
         bool const all = memory.count < at;
         leader.rootIs( "plant", plant );
         for ( Link& one : links ) {
            catchesUp( leader, one );
            ASSERT_TRUE( one.follower.root( "plant" ) );
            ASSERT_EQ( Trees::difference( *plant, *one.follower.root( "plant" ) ), "" );
         }
         EXPECT_EQ( leader.stats().announced, 801U );
         if ( all ) {
            break;
         }
      }
   }
}

TEST( Failure, AValueThatNoFrameHoldsEndsTheConnectionsThatItConcerns ) {
   constexpr std::size_t large = 17 * 1024 * 1024;
   std::string const reason = "TestModule::Sensor, field 260 (label) takes " +
                              std::to_string( large + 4 ) +
                              " bytes; a frame holds 16777216 at most";
   auto const plant = Plant::PlantIs();
   auto const sensor = plant->rackIs( "a" )->sensorIs( 1 );
   Leader leader;
   leader.rootIs( "plant", plant );
   Follower upToDate, behind, late;
   Link first( leader, upToDate ), second( leader, behind );
   first.pump();
   second.pump();
   while ( second.connection->inGroup() ) {
      sensor->labelIs( sensor->label() + Varek::String( 10000, 'x' ) );
      first.pump();
   }
   sensor->labelIs( Varek::String( large, 'x' ) );
   EXPECT_EQ( sensor->label().size(), large );
   first.pump();
   second.pump();
   Link third( leader, late );
   third.pump();
   for ( Link const* const one : { &first, &second, &third } ) {
      EXPECT_EQ( one->connection->reason(), reason );
      EXPECT_EQ( one->follower.reason(), "refused by the other side: " + reason );
      EXPECT_TRUE( one->follower.refused() );
   }
   sensor->labelIs( "short" );
   third.connect();
   third.pump();
   EXPECT_EQ( Trees::difference( *plant, *late.root( "plant" ) ), "" );
}

} // namespace
