#include "mirror/MemoryTransport.h"

#include <array>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "framework/inspect/Whole.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;
using Mirror::MemoryTransport;
using Mirror::Transfer;
using Bytes = Mirror::Transport::Bytes;
using State = Transfer::State;

TEST( MemoryTransport, BytesComeInOrderAndNoMoreAreHeldThanTheBound ) {
   std::mt19937 random( 3 );
   for ( std::size_t const bound : { 1U, 2U, 7U, 64U } ) {
      auto [one, other] = MemoryTransport::pair( bound );
      std::uint8_t next = 0, expected = 0;
      std::size_t held = 0;
      for ( unsigned step = 0; step < 2000; ++step ) {
         std::array<std::uint8_t, 80> buffer;
         std::size_t const count = 1 + random() % buffer.size();
         if ( random() % 2 == 0 ) {
            for ( std::size_t i = 0; i < count; ++i ) {
               buffer[i] = static_cast<std::uint8_t>( next + i );
            }
            std::size_t const split = random() % count;
            Bytes const pieces[] = { { buffer.data(), split },
                                     { buffer.data() + split, count - split } };
            Transfer const done =
               one->write( split == 0 ? std::span( pieces ).subspan( 1 ) : std::span( pieces ) );
            ASSERT_EQ( done.count, std::min( count, bound - held ) );
            ASSERT_EQ( done.state, done.count != 0 ? State::moved : State::untilWritable );
            next = static_cast<std::uint8_t>( next + done.count );
            held += done.count;
         } else {
            Transfer const done = other->read( { buffer.data(), count } );
            ASSERT_EQ( done.count, std::min( count, held ) );
            ASSERT_EQ( done.state, done.count != 0 ? State::moved : State::untilReadable );
            for ( std::size_t i = 0; i < done.count; ++i ) {
               ASSERT_EQ( buffer[i], expected++ );
            }
            held -= done.count;
         }
      }
   }
}

TEST( MemoryTransport, AfterTheEndComesWhatWasSaidBefore ) {
   for ( bool const byDestruction : { false, true } ) {
      auto [one, other] = MemoryTransport::pair();
      unsigned woken = 0;
      other->onReadyIs( [&] { ++woken; } );
      std::uint8_t const said[] = { 1, 2 };
      Bytes const pieces[] = { said };
      std::array<std::uint8_t, 8> heard;
      EXPECT_EQ( one->write( pieces ).count, 2U );
      byDestruction ? one.reset() : one->end();
      EXPECT_EQ( woken, 2U );
      EXPECT_EQ( other->write( pieces ).error, EPIPE );
      EXPECT_EQ( other->read( heard ).count, 2U );
      EXPECT_EQ( other->read( heard ).state, State::ended );
   }
}

/// What wakes a thread that drives a leader or a follower.
class Bell {
public:
   void ring() {
      std::lock_guard const lock( mutex_ );
      rung_ = true;
      changed_.notify_one();
   }
   /// A side that has stopped reading for others' sake is due at once, and not rung for.
   void waitUntil( Mirror::Clock::time_point due ) {
      std::unique_lock lock( mutex_ );
      changed_.wait_until( lock, due, [&] { return rung_; } );
      rung_ = false;
   }

private:
   std::mutex mutex_;
   std::condition_variable changed_;
   bool rung_ = false;
};

TEST( MemoryTransport, AnotherThreadFollowsATree ) {
   auto const rack = Rack::RackIs( "r" );
   for ( unsigned i = 0; i < 2000; ++i ) {
      rack->sensorIs( i )->labelIs( std::to_string( i ) );
   }
   auto [ours, theirs] = MemoryTransport::pair( 1000 );
   Bell bell;
   ours->onReadyIs( [&] { bell.ring(); } );
   Varek::String mirrored;
   std::thread following( [&mirrored, end = std::move( theirs )]() mutable {
      Bell own;
      end->onReadyIs( [&] { own.ring(); } );
      Mirror::Follower follower;
      follower.connectedIs( std::move( end ) );
      for ( ;; ) {
         if ( follower.wantsWrite() ) {
            follower.onWritable();
         }
         follower.onReadable();
         if ( follower.closed() ) {
            break;
         }
         own.waitUntil( follower.nextDeadline() );
         follower.tick( Mirror::Clock::now() );
      }
      mirrored = Qel::entityText( *follower.root( "rack" ) );
   } );
   {
      Mirror::Leader leader;
      leader.rootIs( "rack", rack );
      auto& connection = leader.connectionIs( std::move( ours ), "thread" );
      unsigned changes = 0;
      while ( changes < 3000 || connection.wantsWrite() ) {
         if ( connection.synced() && changes < 3000 ) {
            ++changes;
            rack->sensorIs( changes % 2100 )->levelIs( changes );
         } else {
            bell.waitUntil( leader.nextDeadline() );
            leader.tick( Mirror::Clock::now() );
         }
         connection.onReadable();
         if ( connection.wantsWrite() ) {
            connection.onWritable();
         }
         ASSERT_FALSE( connection.closed() ) << connection.reason();
      }
   }
   following.join();
   EXPECT_EQ( mirrored, Qel::entityText( *rack ) );
}

} // namespace
