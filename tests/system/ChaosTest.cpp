#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Files.h"
#include "support/Soak.h"
#include "system/Node.h"
#include "system/Wire.h"

/// A leader and a follower in processes of their own, with everything happening to them that does
/// happen to processes. Whenever it is quiet, both print the same.
namespace {

using Clock = std::chrono::steady_clock;
using std::to_string;

/// Of DOT1X_CHAOS_SEED, by which a run is repeated.
unsigned seed() {
   char const* const text = std::getenv( "DOT1X_CHAOS_SEED" );
   return text ? static_cast<unsigned>( std::strtoul( text, nullptr, 10 ) )
               : std::random_device()();
}

/// The first line in which the two differ.
std::string difference( std::string const& a, std::string const& b ) {
   std::istringstream x( a ), y( b );
   std::string one, other;
   for ( unsigned line = 1;; ++line ) {
      bool const more = !!std::getline( x, one );
      if ( !( std::getline( y, other ) && more && one == other ) ) {
         return "line " + to_string( line ) + "\nleader:   " + one + "\nfollower: " + other;
      }
   }
}

class Chaos : public testing::Test {
protected:
   Chaos() {
      random_.seed( seed_ );
      std::signal( SIGPIPE, SIG_IGN );
      wire_.emplace( folder_.path + "/front", folder_.path + "/back" );
   }
   std::uint32_t below( std::uint32_t limit ) {
      return static_cast<std::uint32_t>( random_() ) % limit;
   }
   void leaderStart() {
      // The trees of before, as far as a seed gives them back, or others.
      std::uint32_t const seed = below( 2 ) ? seed_ : below( 1000 );
      behind_ += std::exchange( behindOfThisLeader_, 0 );
      leader_.reset();
      leader_.emplace( *wire_, std::vector<std::string>{ "leader", folder_.path + "/back",
                                                         to_string( seed ), "300" } );
   }
   void followerStart() {
      count();
      heard_ = {};
      follower_.reset();
      follower_.emplace( *wire_, std::vector<std::string>{ "follower", folder_.path + "/front" } );
   }
   void change( unsigned most ) {
      ASSERT_EQ( leader_->asked( "change " + to_string( 1 + below( most ) ) ), "done" );
   }

   /// One thing that happens.
   void happen() {
      switch ( below( 12 ) ) {
      case 0: // a follower that stands still
         ++stops_;
         follower_->signal( SIGSTOP );
         change( 1500 );
         follower_->signal( SIGCONT );
         return;
      case 1: // a connection that breaks
      case 2:
         wire_->cutAfter( below( 4 ) ? below( 3000 ) : below( 60000 ) );
         return change( 300 );
      case 3: // a follower that ends, in the middle of something
         ++followerKills_;
         leader_->say( "change 200" );
         followerStart();
         ASSERT_EQ( leader_->heard(), "done" );
         return;
      case 4: // a leader that ends, likewise
         ++leaderKills_;
         leader_->say( "change 2000" );
         ::usleep( below( 3000 ) );
         return leaderStart();
      default:
         return change( 60 );
      }
   }

   struct Heard {
      std::size_t hash = 0;
      std::uint64_t changes = 0, lost = 0, unreal = 0;
   };
   void count() {
      changes_ += heard_.changes;
      lost_ += heard_.lost;
   }
   void expectSame() {
      std::size_t wanted = 0;
      std::istringstream( leader_->asked( "hash" ) ) >> wanted >> behindOfThisLeader_;
      auto const until = Clock::now() + Node::patience;
      do {
         std::istringstream( follower_->asked( "hash" ) ) >> heard_.hash >> heard_.changes >>
            heard_.lost >> heard_.unreal;
         ASSERT_EQ( heard_.unreal, 0u ) << "changes that are none";
         if ( heard_.hash == wanted ) {
            return;
         }
         ::usleep( 200 );
      } while ( Clock::now() < until );
      FAIL() << difference( leader_->printed(), follower_->printed() );
   }

   unsigned const seed_ = seed();
   Files::Folder const folder_;
   std::mt19937 random_;
   std::optional<Wire> wire_;
   std::optional<Node> leader_, follower_;
   Heard heard_;
   std::uint64_t changes_ = 0, lost_ = 0, behind_ = 0, behindOfThisLeader_ = 0;
   unsigned stops_ = 0, followerKills_ = 0, leaderKills_ = 0;
};

TEST_F( Chaos, BothPrintTheSameWheneverItIsQuiet ) {
   SCOPED_TRACE( "DOT1X_CHAOS_SEED=" + to_string( seed_ ) );
   Soak::Rounds round( 10'000 );
   try {
      leaderStart();
      followerStart();
      while ( round.next() && !HasFatalFailure() ) {
         SCOPED_TRACE( "round " + to_string( round.index() ) );
         happen();
         expectSame();
      }
      EXPECT_GT( leader_->printed().size(), 1000u ) << "hardly anything was compared";
   } catch ( std::exception const& error ) {
      FAIL() << error.what();
   }
   count();
   behind_ += behindOfThisLeader_;
   std::cout << round.count() << " rounds: " << changes_ << " changes told, follower stopped "
             << stops_ << " and killed " << followerKills_ << " times, leader killed "
             << leaderKills_ << " times, " << wire_->cuts() << " cuts, " << lost_
             << " reconnects, behind " << behind_ << " times\n";
   EXPECT_TRUE( behind_ && stops_ && followerKills_ && leaderKills_ && wire_->cuts() )
      << "too little happened";
}

} // namespace
