// What a peer can make a leader hold, or a log show, however it tries.
#include <list>
#include <memory>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "mirror/Link.h"
#include "mirror/Places.h"
#include "mirror/RawPeer.h"
#include "support/Contains.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Description;
using Mirror::Follower;
using Mirror::Identity;
using Mirror::Leader;
using namespace std::chrono_literals;
using Qel::NboAttrLog::FrameKind;

namespace {

/// A leader, and peers that say what they like.
struct Limits : testing::Test {
   Mirror::LeaderOptions options;
   std::unique_ptr<Leader> leader;
   RawPeer peer; ///< The last.
   std::list<std::unique_ptr<Mirror::Transport>> others;
   Mirror::Clock::time_point now{ 1h };

   Mirror::LeaderConnection& peerIs( Identity const& who = {} ) {
      if ( !leader ) {
         leader = std::make_unique<Leader>( options );
      }
      others.push_back( std::move( peer.end ) );
      return leader->connectionIs( peer.connected(), "test", {}, who );
   }
   /// Says what was written, all but \p butFor bytes, as fast as it is read.
   void say( Mirror::LeaderConnection& connection, std::size_t butFor = 0 ) {
      auto const bytes = peer.out.bytes();
      Link::Bytes all( bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>( butFor ) );
      while ( !all.empty() && !connection.closed() ) {
         Link::pass( all, *peer.end, all.size() );
         connection.onReadable();
      }
      peer.out.clear();
   }
   void write( FrameKind kind, std::size_t size ) {
      Link::Bytes const payload( size, 'x' );
      peer.out.outSmReserveMessage( kind, 0, {}, size );
      peer.out.putOctets( payload.data(), size );
      peer.out.outSmCommitMessage();
   }
};

Description typesWith( Description::Attribute const& attribute, unsigned count ) {
   return { { { "M", { { "T", Varek::TypeKind::entity, { count, attribute }, {} } } } } };
}

TEST_F( Limits, AFollowerHasNothingLongToSay ) {
   auto& brief = peerIs();
   peer.hello();
   write( FrameKind::refused, options.maxFollowerFrame );
   say( brief );
   EXPECT_TRUE( contains( brief.reason(), "refused by the other side: xxx" ) );
   EXPECT_LT( brief.reason().size(), 1100U );

   auto& lengthy = peerIs();
   peer.hello();
   write( FrameKind::keepAlive, options.maxFollowerFrame + 1 );
   say( lengthy );
   EXPECT_TRUE( contains( lengthy.reason(), "a frame of 4097 bytes" ) );
   EXPECT_TRUE( contains( lengthy.reason(), "the largest allowed is 4096" ) );

   auto& hello = peerIs();
   write( FrameKind::hello, options.maxHello + 1 );
   say( hello );
   EXPECT_TRUE( contains( hello.reason(), "the largest allowed is 262144" ) );
}

TEST_F( Limits, HellosAndUnfinishedFramesLeaveLittle ) {
   constexpr std::size_t count = 24;
   auto const eachCosts = [&]( Description const& types, std::size_t unfinished ) {
      std::size_t before = 0;
      for ( std::size_t i = 0; i <= count; ++i ) {
         auto& connection = peerIs();
         peer.writeHello( Mirror::protocolVersion, "QNboALog", types );
         if ( unfinished != 0 ) {
            write( FrameKind::refused, unfinished );
         }
         say( connection, unfinished != 0 );
         connection.onWritable();
         EXPECT_EQ( connection.reason(), "" );
         if ( i == 0 ) { // with what is there once
            before = allocated();
         }
      }
      std::size_t const each = ( allocated() - before ) / count;
      leader.reset();
      others.clear();
      return each;
   };
   Description const most = typesWith( { 7, "", "", "" }, 14000 );
   ASSERT_GT( most.size(), options.maxHello - 12000 );
   ASSERT_LT( most.size(), options.maxHello - 22 );
   std::size_t const usual = eachCosts( {}, 0 );
   EXPECT_LT( usual, Mirror::Chunk::usualSize + 16 * 1024 );
   EXPECT_LT( eachCosts( most, 0 ), usual + 16 * 1024 );
   EXPECT_LT( eachCosts( most, options.maxFollowerFrame ), usual + 16 * 1024 );
}

// To one that does not listen to why it is refused.
TEST_F( Limits, WhatComesAfterARefusalIsNotKept ) {
   auto& connection = peerIs();
   int const least = 1;
   ::setsockopt( connection.fd(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least );
   write( FrameKind::keepAlive, 20'000 );
   write( FrameKind::keepAlive, 20'000 );
   say( connection );
   std::size_t const before = allocated();
   for ( unsigned i = 0; i < 100; ++i ) {
      write( FrameKind::keepAlive, 20'000 );
      say( connection );
   }
   EXPECT_FALSE( connection.closed() );
   EXPECT_LT( allocated(), before + 16 * 1024 );
   leader->tick( now );
   leader->tick( now + 10s );
   EXPECT_EQ( connection.reason(), "the first frame is no hello of this protocol" );
}

TEST_F( Limits, OneIdentityDoesNotTakeAllPlaces ) {
   Identity const own{ "user 1000", true };
   Identity const a{ "192.0.2.1", false }, b{ "192.0.2.2", false }, c{ "192.0.2.3", false };
   auto const taken = [&]( Identity const& who ) {
      unsigned count = 0;
      while ( !peerIs( who ).closed() ) {
         ++count;
      }
      return count;
   };
   EXPECT_EQ( taken( own ), 56U );
   EXPECT_EQ( taken( a ), 8U );
   leader.reset();
   EXPECT_EQ( taken( a ), 48U );
   EXPECT_EQ( taken( b ), 8U );
   EXPECT_EQ( taken( c ), 0U );
   EXPECT_EQ( taken( own ), 8U );
   EXPECT_EQ( taken( {} ), 0U );
   // Those who say nothing lose them, and nobody else.
   leader->tick( now );
   leader->tick( now + 10s );
   EXPECT_EQ( leader->stats().connections, 0U );
   EXPECT_EQ( taken( a ), 48U );

   leader.reset();
   options.placesEach = 2;
   options.placesHeldBack = 61;
   EXPECT_EQ( taken( a ), 2U );
   EXPECT_EQ( taken( b ), 1U );
   EXPECT_EQ( taken( own ), 3U );
}

TEST_F( Limits, WhoHasNoPlaceIsToldThatItMayHaveOneLater ) {
   options.placesEach = 1;
   Identity const who{ "192.0.2.1", false };
   auto& first = peerIs( who );
   auto [leads, follows] = Mirror::MemoryTransport::pair();
   Follower follower;
   leader->connectionIs( std::move( leads ), "test", {}, who );
   follower.connectedIs( std::move( follows ) );
   follower.onReadable();
   EXPECT_EQ( follower.reason(), "refused by the other side: 192.0.2.1 has 1 connections to the "
                                 "leader already, as many as it may" );
   EXPECT_TRUE( follower.refusedForNow() );
   EXPECT_FALSE( follower.refused() );
   leader->connectionDel( first );
   EXPECT_FALSE( peerIs( who ).closed() );
}

/// A follower that takes what the test takes, of a leader with more to say than fits into the
/// queue, and gives signs of life.
struct Stalled : Limits {
   Mirror::LeaderConnection* connection = nullptr;
   Varek::Ptr<Plant> const plant = Plant::PlantIs();

   void follow() {
      auto const sensor = plant->rackIs( "a" )->sensorIs( 1 );
      for ( std::uint32_t i = 0; i < 100'000; ++i ) {
         sensor->readingIs( Trees::reading( i, i ) );
      }
      connection = &peerIs();
      leader->rootIs( "plant", plant );
      peer.hello();
      say( *connection );
      leader->tick( now );
      connection->onWritable();
      leader->tick( now );
      ASSERT_GT( connection->bytesWaiting(), options.outputLimit / 2 );
   }
   void take( std::size_t bytes ) {
      for ( std::size_t taken = 0; taken < bytes; ) {
         std::array<std::uint8_t, 1024> some;
         std::size_t const got =
            peer.end->read( std::span( some ).first( std::min( some.size(), bytes - taken ) ) )
               .count;
         ASSERT_GT( got, 0U );
         taken += got;
         connection->onWritable();
      }
   }
   /// After so many times \p step the connection is closed; 0 if it is not.
   unsigned closedAfter( Mirror::Clock::duration step, std::size_t bytes ) {
      for ( unsigned i = 1; i <= 70; ++i ) {
         write( FrameKind::keepAlive, 0 );
         say( *connection );
         take( bytes );
         now += step;
         leader->tick( now );
         if ( connection->closed() ) {
            return i;
         }
      }
      return 0;
   }
};

TEST_F( Stalled, AQueueThatStaysFullIsGivenUp ) {
   follow();
   EXPECT_EQ( closedAfter( 1s, 1 ), 60U );
   EXPECT_TRUE( contains( connection->reason(), " were taken in 60000 ms" ) );
   EXPECT_TRUE( contains( connection->reason(), "bytes that wait only " ) );
}

TEST_F( Stalled, OneThatIsEmptiedSlowlyIsNot ) {
   follow();
   EXPECT_EQ( closedAfter( 12s, 20 * 1024 ), 0U );
}

TEST_F( Stalled, NotBeforeAPeerWouldBeDead ) {
   options.stalledAfter = 1s;
   follow();
   EXPECT_EQ( closedAfter( 5s, 0 ), 6U );
}

TEST_F( Stalled, ALeaderThatWasStoppedItselfSendsBeforeItJudges ) {
   follow();
   leader->tick( now += 1s );
   write( FrameKind::keepAlive, 0 );
   auto const bytes = peer.out.bytes();
   Link::Bytes alive( bytes.begin(), bytes.end() ), taken;
   Link::pass( alive, *peer.end, alive.size() );
   Link::take( *peer.end, taken );
   ASSERT_GT( taken.size(), Mirror::stallProgress );
   leader->tick( now += 10min );
   EXPECT_EQ( connection->reason(), "" );
}

// A loop that ticks when it is due, and no sooner.
TEST_F( Limits, ADeadPeerIsToldInTime ) {
   for ( auto last = 100ms; last < 12s; last += 700ms ) {
      auto& connection = peerIs();
      peer.hello();
      say( connection );
      auto const start = now;
      auto due = [&] { return leader->nextDeadline() <= now; };
      for ( ; !connection.closed(); now += 100ms ) {
         ASSERT_LT( now - start, 50s );
         if ( now - start == last ) {
            write( FrameKind::keepAlive, 0 );
            say( connection );
         }
         if ( due() ) {
            leader->tick( now );
         }
         connection.onWritable();
      }
      auto const silent = now - 100ms - start - last;
      EXPECT_GE( silent, 30s );
      EXPECT_LE( silent, 31s );
      EXPECT_EQ( connection.reason().rfind( "nothing came for 30", 0 ), 0U ) << connection.reason();
      leader->connectionDel( connection );
   }
}

TEST_F( Limits, ReasonsHaveNothingThatATerminalObeys ) {
   std::string const bad = "\x1b]0;x\a\r\n\x7f\x80\x9b\xc2\x9b";
   std::string const shown = "\\x1b]0;x\\x07\\x0d\\x0a\\x7f\\x80\\x9b\\xc2\\x9b";
   auto& named = peerIs();
   Description types = Description::ofThisProcess();
   for ( auto& module : types.modules ) {
      for ( auto& type : module.types ) {
         if ( type.name == "TestModule::Sensor" ) {
            type.attributes[1].name = bad + std::string( 100000, '\n' );
         }
      }
   }
   peer.writeHello( Mirror::protocolVersion, "QNboALog", types );
   say( named );
   EXPECT_TRUE( contains( named.reason(), "name is level at the leader and " + shown ) );
   EXPECT_LE( named.reason().size(), 1100U );
   EXPECT_TRUE( contains( peer.received(), shown ) );

   auto& refused = peerIs();
   peer.out.outSmReserveMessage( FrameKind::refused, 0, {}, bad.size() );
   peer.out.putOctets( bad.data(), bad.size() );
   peer.out.outSmCommitMessage();
   say( refused );
   EXPECT_EQ( refused.reason(), "refused by the other side: " + shown );
}

// The leader's process was stopped, or busy, not the follower's.
TEST( StalledLeader, EndsNoFollowerForWhatItDidNotOffer ) {
   auto const plant = Plant::PlantIs();
   auto const sensor = plant->rackIs( "a" )->sensorIs( 1 );
   Leader leader;
   leader.rootIs( "plant", plant );
   Follower follower;
   Link link( leader, follower );
   link.pump();
   auto const now = Mirror::Clock::now();
   leader.tick( now );
   sensor->labelIs( Varek::String( 400'000, 'x' ) );
   leader.tick( now + std::chrono::seconds( 1 ) );
   follower.tick( now );
   follower.tick( now + std::chrono::seconds( 11 ) );
   link.followerTurn();
   link.pass( link.toLeader, *link.leaderEnd, ~std::size_t{ 0 } );
   leader.tick( now + std::chrono::seconds( 62 ) );
   EXPECT_EQ( link.connection->reason(), "" );
   link.pump();
   EXPECT_EQ( Trees::difference( *plant, *follower.root( "plant" ) ), "" );
}

} // namespace
