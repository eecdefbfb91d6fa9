#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/socket.h>

#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "support/SocketPair.h"

/// A leader and a follower with a wire between them that the test holds: it passes on as much as it
/// is told, in pieces of any size, and keeps what came from the leader.
struct Link {
   using Bytes = std::vector<std::uint8_t>;

   Mirror::Leader& leader;
   Mirror::Follower& follower;
   Mirror::LeaderConnection* connection = nullptr;
   Mirror::Fd leaderEnd, followerEnd;
   bool leaderEnded = false;
   Bytes toFollower, toLeader; // what the wire holds
   Bytes fromLeader;           // everything

   Link( Mirror::Leader& l, Mirror::Follower& f ) : leader( l ), follower( f ) { connect(); }

   void connect() {
      SocketPair up, down;
      // The least there is: the leader meets a full socket often.
      int const small = 1;
      ::setsockopt( up.a.get(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small );
      leaderEnd = std::move( up.b );
      followerEnd = std::move( down.b );
      leaderEnded = false;
      toFollower.clear();
      toLeader.clear();
      fromLeader.clear();
      connection = &leader.connectionIs( up.a.release(), "test" );
      follower.connectedIs( down.a.release() );
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
      leaderEnded = take( leaderEnd, toFollower );
      fromLeader.insert( fromLeader.end(),
                         toFollower.begin() + static_cast<std::ptrdiff_t>( before ),
                         toFollower.end() );
      pass( toLeader, leaderEnd, toLeader.size() );
   }
   void followerTurn( std::size_t most = ~std::size_t{ 0 } ) {
      pass( toFollower, followerEnd, most );
      if ( leaderEnded && toFollower.empty() ) {
         ::shutdown( followerEnd.get(), SHUT_WR );
      }
      follower.onReadable();
      if ( follower.wantsWrite() ) {
         follower.onWritable();
      }
      if ( take( followerEnd, toLeader ) && toLeader.empty() ) {
         ::shutdown( leaderEnd.get(), SHUT_WR );
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
   static bool take( Mirror::Fd const& from, Bytes& to ) {
      std::array<std::uint8_t, 65536> buffer;
      for ( ;; ) {
         auto const got = ::recv( from.get(), buffer.data(), buffer.size(), MSG_DONTWAIT );
         if ( got <= 0 ) {
            return got == 0;
         }
         to.insert( to.end(), buffer.begin(), buffer.begin() + got );
      }
   }
   static void pass( Bytes& from, Mirror::Fd const& to, std::size_t most ) {
      std::size_t done = 0;
      while ( done < std::min( most, from.size() ) ) {
         auto const sent =
            ::send( to.get(), from.data() + done, std::min( most, from.size() ) - done,
                    MSG_NOSIGNAL | MSG_DONTWAIT );
         if ( sent <= 0 ) {
            break;
         }
         done += static_cast<std::size_t>( sent );
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
   SocketPair pair;
   follower.connectedIs( pair.a.release() );
   for ( std::span<std::uint8_t const> bytes : parts ) {
      while ( !bytes.empty() && !follower.closed() ) {
         auto const sent =
            ::send( pair.b.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
         bytes = bytes.subspan( sent > 0 ? static_cast<std::size_t>( sent ) : 0 );
         follower.onReadable();
         follower.onWritable();
      }
   }
   // Unread bytes would make it another kind of end.
   Link::Bytes heard;
   Link::take( pair.b, heard );
   pair.b.reset();
   follower.onReadable();
   follower.onReadable();
}
