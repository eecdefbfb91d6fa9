#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

#include <gtest/gtest.h>
#include <malloc.h>

#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "mirror/MemoryTransport.h"

/// A leader and a follower with a wire between them that the test holds: it passes on as much as it
/// is told, in pieces of any size, and keeps what came from the leader.
struct Link {
   using Bytes = std::vector<std::uint8_t>;

   Mirror::Leader& leader;
   Mirror::Follower& follower;
   Mirror::LeaderConnection* connection = nullptr;
   std::unique_ptr<Mirror::Transport> leaderEnd, followerEnd;
   bool leaderEnded = false;
   Bytes toFollower, toLeader; // what the wire holds
   Bytes fromLeader;           // everything

   Link( Mirror::Leader& l, Mirror::Follower& f ) : leader( l ), follower( f ) { connect(); }

   void connect() {
      // So little that the leader meets a full queue often.
      auto up = Mirror::MemoryTransport::pair( 2000 );
      auto down = Mirror::MemoryTransport::pair();
      leaderEnd = std::move( up.second );
      followerEnd = std::move( down.second );
      leaderEnded = false;
      toFollower.clear();
      toLeader.clear();
      fromLeader.clear();
      connection = &leader.connectionIs( std::move( up.first ), "test" );
      follower.connectedIs( std::move( down.first ) );
   }
   /// Both ends see the connection break.
   void cut() {
      leaderEnd.reset();
      followerEnd.reset();
      connection->onReadable();
      follower.onReadable();
      leader.connectionDel( *connection );
   }

   void leaderTurn() {
      if ( connection->wantsWrite() ) {
         connection->onWritable();
      }
      connection->onReadable();
      std::size_t const before = toFollower.size();
      leaderEnded = take( *leaderEnd, toFollower );
      fromLeader.insert( fromLeader.end(),
                         toFollower.begin() + static_cast<std::ptrdiff_t>( before ),
                         toFollower.end() );
      pass( toLeader, *leaderEnd, toLeader.size() );
   }
   void followerTurn( std::size_t most = ~std::size_t{ 0 } ) {
      pass( toFollower, *followerEnd, most );
      if ( leaderEnded && toFollower.empty() ) {
         followerEnd->end();
      }
      follower.onReadable();
      if ( follower.wantsWrite() ) {
         follower.onWritable();
      }
      if ( take( *followerEnd, toLeader ) && toLeader.empty() ) {
         leaderEnd->end();
      }
   }
   /// Until nothing moves any more.
   void pump() {
      for ( unsigned quiet = 0; quiet < 3; ) {
         std::size_t const before = fromLeader.size();
         leaderTurn();
         followerTurn();
         quiet = before == fromLeader.size() && toFollower.empty() && toLeader.empty() &&
                       !connection->wantsWrite() && !follower.wantsWrite()
                    ? quiet + 1
                    : 0;
         if ( connection->closed() && follower.closed() ) {
            return;
         }
      }
   }

   /// Whether that was the end.
   static bool take( Mirror::Transport& from, Bytes& to ) {
      std::array<std::uint8_t, 65536> buffer;
      for ( ;; ) {
         Mirror::Transfer const got = from.read( buffer );
         if ( got.count == 0 ) {
            return got.state == Mirror::Transfer::State::ended;
         }
         to.insert( to.end(), buffer.begin(),
                    buffer.begin() + static_cast<std::ptrdiff_t>( got.count ) );
      }
   }
   static void pass( Bytes& from, Mirror::Transport& to, std::size_t most ) {
      auto const all = std::span<std::uint8_t const>( from ).first( std::min( most, from.size() ) );
      std::size_t done = 0;
      for ( std::size_t taken = 1; done < all.size() && taken != 0; done += taken ) {
         auto const left = all.subspan( done );
         taken = to.write( { &left, 1 } ).count;
      }
      from.erase( from.begin(), from.begin() + static_cast<std::ptrdiff_t>( done ) );
   }
};

/// Bytes of the heap that are in use.
inline std::size_t allocated() { return ::mallinfo2().uordblks; }

/// How long the first frame of \p stream is.
inline std::size_t helloSize( std::span<std::uint8_t const> stream ) {
   Qel::NboAttrLog::FrameHead hello;
   std::size_t const head = Qel::NboAttrLog::FrameHeads().read( stream, hello );
   return head + hello.size;
}

/// Gives all \p parts to a follower, then the end.
inline void feed( Mirror::Follower& follower,
                  std::initializer_list<std::span<std::uint8_t const>> parts ) {
   auto [theirs, ours] = Mirror::MemoryTransport::pair();
   follower.recordedIs( std::move( theirs ), "test" );
   for ( std::span<std::uint8_t const> bytes : parts ) {
      while ( !bytes.empty() && !follower.closed() ) {
         bytes = bytes.subspan( ours->write( { &bytes, 1 } ).count );
         follower.onReadable();
         follower.onWritable();
      }
   }
   ours.reset();
   follower.onReadable();
   follower.onReadable();
}
