// Members that come and go, for as long as a leader runs, while a follower stands still.
#include <malloc.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "mirror/DepotKinds.h"
#include "mirror/Link.h"
#include "support/Soak.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;
using Trees::difference;

namespace {

/// As many of each kind are there at any time; then the oldest goes.
constexpr std::uint32_t window = 64;

/// A tree in which each key comes once and goes once, except for one child that always comes again.
struct ComingAndGoing {
   Varek::Ptr<Depot> const depot = Depot::DepotIs( "depot" );
   std::size_t turn = 0;
   static constexpr std::uint32_t kinds = std::uint32_t{ std::size( depotKinds ) } + 1;

   ComingAndGoing() {
      for ( std::uint32_t n = 0; n < kinds * window; ++n ) {
         come( n % kinds, n / kinds );
      }
   }
   void come( std::size_t kind, std::uint32_t n ) {
      if ( kind < std::size( depotKinds ) ) {
         depotKinds[kind].come( *depot, n, n );
      } else {
         depot->annexIs()->rackIs( "again" )->sensorIs( 1 );
      }
   }
   void go( std::size_t kind, std::uint32_t n ) {
      if ( kind < std::size( depotKinds ) ) {
         depotKinds[kind].go( *depot, n );
      } else {
         depot->annexIs()->rackDel( "again" );
      }
   }
   /// One change.
   void change() {
      std::size_t const kind = turn / 2 % kinds;
      auto const n = static_cast<std::uint32_t>( turn / 2 / kinds );
      turn++ % 2 == 0 ? come( kind, n + window ) : go( kind, n );
   }
   /// Changes after which nothing is left of what there was.
   static constexpr std::size_t once = 2 * kinds * window;
};

/// Bytes of the heap that are in use; of sanitizers, which have a heap of their own, none.
std::size_t allocated() {
   auto const all = ::mallinfo2();
   return all.uordblks + all.hblkhd;
}

/// What it cost that a follower stood still.
struct Cost {
   std::size_t heap = 0;      ///< At the most.
   std::size_t marked = 0;    ///< Likewise.
   std::uint64_t sensors = 0; ///< Both sides together, at the end.
   std::uint64_t frames = 0;  ///< Until it had all.
};

/// A change is made whenever \p another says so, until it does not.
Cost costOf( std::function<bool()> const& another ) {
   ComingAndGoing tree;
   Mirror::LeaderOptions options;
   options.outputLimit = 2000;
   Leader leader( options );
   Follower follower;
   leader.rootIs( "depot", tree.depot );
   Link link( leader, follower );
   link.pump();
   DepotKind::sensor( *tree.depot )->labelIs( Varek::String( 100'000, 'x' ) );
   EXPECT_FALSE( link.connection->inGroup() );

   Cost cost;
   std::size_t const before = allocated();
   for ( unsigned i = 0; another(); ++i ) {
      tree.change();
      if ( i % 500 == 0 ) {
         cost.heap = std::max( cost.heap, allocated() - std::min( allocated(), before ) );
         cost.marked = std::max( cost.marked, link.connection->entitiesMarked() );
         if ( link.connection->wantsWrite() ) {
            link.connection->onWritable();
         }
      }
   }
   EXPECT_LE( link.connection->bytesWaiting(), options.outputLimit + 100'200 );
   cost.sensors = Sensor::allocations().liveObjects();
   std::uint64_t const frames = follower.stats().frames;
   link.pump();
   cost.frames = follower.stats().frames - frames;
   EXPECT_EQ( difference( *tree.depot, *follower.root( "depot" ) ), "" );
   EXPECT_TRUE( link.connection->inGroup() );
   return cost;
}

TEST( Soak, WhatCameAndWentWhileAFollowerStoodStillCostsNothing ) {
   std::size_t left = ComingAndGoing::once;
   Cost const once = costOf( [&] { return left-- != 0; } );
   EXPECT_GT( once.frames, ComingAndGoing::once / 2 ) << "hardly anything was different";
   Soak::Rounds round( 10'000'000 );
   Cost const often = costOf( [&] { return round.next(); } );
   // Both follower and leader hold as much as before, however often all of it was replaced.
   EXPECT_LE( often.heap, 2 * once.heap + 64 * 1024 );
   EXPECT_LE( often.marked, once.marked );
   EXPECT_EQ( often.sensors, once.sensors );
   EXPECT_LE( often.frames, once.frames + window );
}

} // namespace
