// Bytes that no leader sends: every one closes the connection with a reason, or means something
// else; none does harm.
#include <chrono>

#include <gtest/gtest.h>

#include "mirror/Link.h"
#include "support/Contains.h"
#include "support/Soak.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Follower;
using Mirror::Leader;
using Qel::NboAttrLog::FrameKind;
using Trees::difference;

namespace {

using Bytes = std::vector<std::uint8_t>;

/// What a leader said to a follower: hello, a full sync, changes.
struct Recorded {
   Bytes bytes;
   Bytes hello; ///< Its beginning.
   Recorded() {
      Leader leader;
      Follower follower;
      auto const plant = Plant::PlantIs();
      auto const depot = Depot::DepotIs( "depot" );
      leader.rootIs( "plant", plant );
      leader.rootIs( "depot", depot );
      std::mt19937 random( 5 );
      Link link( leader, follower );
      for ( unsigned i = 0; i < 60; ++i ) {
         Trees::change( *plant, random );
      }
      link.pump();
      for ( unsigned i = 0; i < 60; ++i ) {
         Trees::change( *plant, random );
         Trees::change( *depot, random );
      }
      link.pump();
      bytes = link.fromLeader;
      auto const first = std::span( bytes ).first( helloSize( bytes ) );
      hello.assign( first.begin(), first.end() );
   }
};
Recorded const& recorded() {
   static Recorded const one;
   return one;
}

/// The follower, and the trees that it has, work as ever.
void expectUsable( Follower& follower ) {
   Leader leader;
   auto const plant = Plant::PlantIs();
   std::mt19937 random( 6 );
   for ( unsigned i = 0; i < 20; ++i ) {
      Trees::change( *plant, random );
   }
   leader.rootIs( "plant", plant );
   Link link( leader, follower );
   link.pump();
   ASSERT_EQ( follower.reason(), "" );
   EXPECT_EQ( difference( *plant, *follower.root( "plant" ) ), "" );
}

TEST( Hostile, EveryTruncationClosesWithAReason ) {
   Follower follower;
   unsigned reported = 0;
   follower.onClosed = [&]( auto& reason ) {
      ++reported;
      EXPECT_EQ( reason.rfind( "closed by the other side", 0 ), 0U ) << reason;
   };
   auto const& all = recorded().bytes;
   unsigned expected = 0;
   // The hello is long and of one kind.
   for ( std::size_t size = 0; size < all.size();
         size += size < recorded().hello.size() ? 97 : 3 ) {
      feed( follower, { std::span( all ).first( size ) } );
      ++expected;
   }
   EXPECT_EQ( reported, expected );
   follower.onClosed = nullptr;
   expectUsable( follower );
}

/// A leader hears \p bytes, then the end.
void hear( Leader& leader, Bytes const& bytes ) {
   auto [theirs, ours] = Mirror::MemoryTransport::pair();
   auto& connection = leader.connectionIs( std::move( theirs ), "hostile" );
   Mirror::Transport::Bytes const all( bytes );
   ASSERT_EQ( all.empty() ? 0 : ours->write( { &all, 1 } ).count, bytes.size() );
   connection.onReadable();
   connection.onWritable();
   ours.reset();
   connection.onReadable();
   connection.onReadable();
   ASSERT_TRUE( connection.closed() );
   ASSERT_NE( connection.reason(), "" );
   leader.connectionDel( connection );
}

// Spread evenly where not every one has its turn. It closes with a reason, or means something else.
TEST( Hostile, AFlippedBitDoesNoHarm ) {
   Leader leader;
   leader.rootIs( "plant", Plant::PlantIs() );
   Follower follower;
   std::size_t const hello = recorded().hello.size();
   std::uint64_t const bits = 8 * recorded().bytes.size();
   std::uint64_t refused = 0, count = 0;
   for ( Soak::Rounds round( bits ); round.next() && !testing::Test::HasFatalFailure(); ) {
      auto const bit = static_cast<std::size_t>( round.index() * bits / round.count() );
      ++count;
      Bytes changed = recorded().bytes;
      changed[bit / 8] ^= static_cast<std::uint8_t>( 1U << bit % 8 );
      feed( follower, { changed } );
      ASSERT_TRUE( follower.closed() ) << "bit " << bit;
      ASSERT_NE( follower.reason(), "" ) << "bit " << bit;
      refused += !follower.reason().starts_with( "closed by" );
      if ( bit / 8 < hello ) {
         for ( std::size_t const size : { hello, bit / 8 + 1 } ) {
            changed.resize( size );
            hear( leader, changed );
         }
      }
      if ( round.index() % 100 == 0 ) {
         expectUsable( follower );
      }
   }
   EXPECT_EQ( leader.stats().announced, 0U );
   EXPECT_GT( refused, count / 4 );
   EXPECT_LT( refused, count );
}

/// Single frames after a good start, and what the follower says of them.
struct Frames : testing::Test {
   Qel::NboAttrLog::OutBuffer out;
   Follower follower;

   void put( FrameKind kind, std::uint32_t entity, std::uint16_t field, Bytes const& payload ) {
      out.outSmReserveMessage( kind, entity, field, payload.size() );
      out.putOctets( payload.data(), payload.size() );
      out.outSmCommitMessage();
   }
   /// The mode of rack "a".
   void putMode( std::uint8_t mode ) { put( FrameKind::attribute, 2, 259, { 0, 0, 0, mode } ); }
   void putSynced() { put( FrameKind::synced, 0, 0, {} ); }
   /// Announces a plant as handle 1 and its rack "a" as handle 2.
   void begin() {
      put( FrameKind::root, 0, 0, announcement( 1, "TestModule::Plant", { 0, 0, 0, 1, 'p' } ) );
      put( FrameKind::announce, 1, 259,
           announcement( 2, "TestModule::Rack", { 0, 0, 0, 1, 'a' } ) );
   }
   static Bytes announcement( std::uint8_t handle, std::string_view type, Bytes const& more ) {
      auto const records = Mirror::Description::ofThisProcess().records();
      auto const number =
         std::ranges::find( records, type, []( auto* r ) { return r->name; } ) - records.begin();
      Bytes made{ 0, 0, 0, handle, 0, static_cast<std::uint8_t>( number ) };
      std::ranges::copy( more, std::back_inserter( made ) ); // g++ 12 at -O3 warns of insert()
      return made;
   }
   Plant& plant() { return static_cast<Plant&>( *follower.root( "p" ) ); }
   /// What the follower says at the end of all that was put.
   std::string reasonFor() {
      Bytes const said( out.bytes().begin(), out.bytes().end() );
      out.clear();
      feed( follower, { recorded().hello, said } );
      return follower.reason();
   }
};

TEST_F( Frames, FaultsAreNamed ) {
   struct Case {
      FrameKind kind;
      std::uint32_t entity;
      std::uint16_t field;
      Bytes payload;
      char const* says;
   };
   Case const cases[] = {
      { FrameKind::attribute, 2, 259, { 0, 0 }, "TestModule::Rack, field 259 (mode), offset " },
      { FrameKind::attribute, 1, 258, { 0, 0, 1, 0, 9 }, "1 bytes are left" },
      { FrameKind::attribute, 3, 259, {}, "no entity with handle 3 has been announced" },
      { FrameKind::announce, 1, 259, announcement( 3, "TestModule::Sensor", { 0, 0, 0, 1 } ),
        "TestModule::Plant, field 259 (rack), offset " },
      { FrameKind::announce, 1, 258, announcement( 3, "TestModule::Rack", { 0, 0, 0, 0 } ),
        "does not belong here" },
      { FrameKind::announce, 1, 259, announcement( 3, "TestModule::Reading", {} ),
        "type TestModule::Reading is not one of entities" },
      { FrameKind::announce, 1, 259, { 0, 0, 0, 3, 0xFF, 0xFF }, "there is no type number 65535" },
      { FrameKind::announce, 1, 259, announcement( 1, "TestModule::Rack", { 0, 0, 0, 0 } ),
        "cannot have handle 1" },
      { FrameKind::root, 0, 0, announcement( 2, "TestModule::Plant", { 0, 0, 0, 0 } ),
        "cannot have handle 2" },
      { FrameKind::rootGone, 2, 0, {}, "no root with handle 2" },
      { FrameKind::rootGone, 7, 0, {}, "no root with handle 7" },
      { FrameKind::transactionEnd, 1, 259, { 1 }, "should end here" },
      { FrameKind{ 12 }, 1, 259, {}, "a frame of kind 12" },
      { FrameKind::hello, 0, 0, {}, "a frame of kind 8" },
   };
   for ( Case const& one : cases ) {
      begin();
      put( one.kind, one.entity, one.field, one.payload );
      EXPECT_TRUE( contains( reasonFor(), one.says ) );
   }
}

TEST_F( Frames, WhatOnlyTheOtherSideKnowsIsSkippedAndCounted ) {
   begin();
   put( FrameKind::attribute, 2, 300, { 1, 2, 3 } );
   put( FrameKind::announce, 2, 301, announcement( 3, "TestModule::Sensor", { 9 } ) );
   put( FrameKind::attribute, 3, 259, { 1 } );
   put( FrameKind::announce, 3, 259, announcement( 4, "TestModule::Sensor", { 9 } ) );
   put( FrameKind::transactionBegin, 4, 259, {} );
   putMode( 1 );
   putSynced();
   EXPECT_EQ( reasonFor(), "closed by the other side" );
   EXPECT_EQ( follower.stats().skipped, 3U );
   EXPECT_EQ( plant().rack( "a" )->mode(), Mode::running );
}

// Such entities may come and go for as long as the connection lasts.
TEST_F( Frames, OfWhatOnlyTheOtherSideKnowsNothingIsKept ) {
   begin();
   for ( std::uint8_t handle = 3; handle < 200; ++handle ) {
      put( FrameKind::announce, 2, 301, announcement( handle, "TestModule::Sensor", { 9 } ) );
      put( FrameKind::attribute, 2, 65536 - 301, { 9 } );
   }
   put( FrameKind::attribute, 100, 259, { 1 } );
   // A handle of such may come to be one of something known.
   put( FrameKind::announce, 1, 259, announcement( 100, "TestModule::Rack", { 0, 0, 0, 1, 'b' } ) );
   put( FrameKind::attribute, 100, 259, { 0, 0, 0, 1 } );
   std::uint32_t held = 0;
   follower.onSynced = [&] { held = follower.stats().entities; };
   putSynced();
   put( FrameKind::announce, 150, 259, announcement( 150, "TestModule::Rack", { 9 } ) );
   EXPECT_TRUE( contains( reasonFor(), "cannot have handle 150" ) );
   EXPECT_EQ( held, 3U );
   EXPECT_EQ( follower.stats().skipped, 197U + 1 );
   EXPECT_EQ( plant().rack( "b" )->mode(), Mode::running );
}

// A begin within another is refused; one whose end never comes removes nothing.
TEST_F( Frames, ACollectionIsUnderWayOnceAtATime ) {
   begin();
   put( FrameKind::announce, 2, 260, announcement( 3, "TestModule::Sensor", { 0, 0, 0, 9 } ) );
   put( FrameKind::transactionBegin, 2, 260, {} );
   put( FrameKind::transactionCancel, 2, 260, {} );
   put( FrameKind::transactionBegin, 2, 260, {} );
   put( FrameKind::transactionBegin, 2, 260, {} );
   EXPECT_TRUE( contains( reasonFor(), "TestModule::Rack, field 260 (sensor), offset" ) );
   EXPECT_TRUE( contains( follower.reason(), "under way already" ) );
   EXPECT_EQ( plant().rack( "a" )->sensor().size(), 1U );
   begin();
   put( FrameKind::transactionBegin, 2, 260, {} );
   put( FrameKind::transactionEnd, 2, 260, {} );
   EXPECT_EQ( reasonFor(), "closed by the other side" );
   EXPECT_EQ( plant().rack( "a" )->sensor().size(), 0U );
}

TEST_F( Frames, AFrameThatIsTooLargeIsRefusedBeforeItComes ) {
   begin();
   put( FrameKind::attribute, 1, 258, Bytes( 17 * 1024 * 1024 ) );
   EXPECT_TRUE( contains( reasonFor(), "a frame of 17825792 bytes" ) );
}

// What they throw may be of the kind that tells of a fault in the stream.
TEST_F( Frames, ObserversThatThrowConcernNeitherTheStreamNorTheOtherMessages ) {
   void ( *const throws[] )() = { [] { throw std::string( "from an observer" ); },
                                  [] { throw Varek::Failure( "from an observer" ); },
                                  [] { throw std::bad_alloc(); } };
   for ( auto const thrown : throws ) {
      auto const mine = Plant::PlantIs();
      follower.rootIs( "p", mine );
      auto const observed = mine->subscribe( [=]( auto& ) { thrown(); }, Varek::Scope::subtree );
      unsigned calls = 0;
      follower.onRoot = [&]( auto&, auto& ) { ++calls, thrown(); };
      follower.onRootGone = follower.onRoot;
      follower.onSynced = [&] { ++calls, thrown(); };
      begin();
      putMode( 1 );
      put( FrameKind::announce, 2, 260, announcement( 3, "TestModule::Sensor", { 0, 0, 0, 9 } ) );
      put( FrameKind::announce, 2, 260, announcement( 4, "TestModule::Sensor", { 0, 0, 0, 8 } ) );
      put( FrameKind::transactionBegin, 2, 260, { 0, 0, 0, 0 } );
      put( FrameKind::transactionEnd, 2, 260, {} );
      putMode( 7 );
      putSynced();
      put( FrameKind::rootGone, 1, 0, {} );
      EXPECT_ANY_THROW( reasonFor() );
      EXPECT_FALSE( follower.closed() ) << follower.reason();
      EXPECT_EQ( mine->rack( "a" )->mode(), Mode::faulty );
      EXPECT_EQ( mine->rack( "a" )->sensor().size(), 0U );
      EXPECT_EQ( calls, 3U );
      follower.close();
   }
}

TEST_F( Frames, ObserversThatWriteIntoTheMirrorAreRefusedAndTheMessageIsApplied ) {
   using Refused = Varek::WriteFromReadOnlyProxy;
   auto const mine = Plant::PlantIs();
   follower.rootIs( "p", mine );
   unsigned told = 0;
   auto const observed = mine->subscribe( [&]( Varek::Change const& change ) {
      ++told;
      EXPECT_THROW( mine->alarmIs( Alarm::hot ), Refused );
      EXPECT_THROW( mine->rackIs( "b" ), Refused );
      if ( auto const* const gone = change.old<Varek::Ptr<Rack>>() ) {
         ( *gone )->sensorDelAll(); // theirs to change
         mine->rackIs( "a" );
      } else {
         EXPECT_THROW( mine->rackDelAll(), Refused );
         mine->rackDel( "a" );
      }
   } );
   begin();
   putMode( 1 );
   put( FrameKind::announce, 2, 260, announcement( 3, "TestModule::Sensor", { 0, 0, 0, 9 } ) );
   putSynced();
   EXPECT_THROW( reasonFor(), Refused );
   ASSERT_TRUE( mine->rack( "a" ) );
   EXPECT_EQ( mine->rack( "a" )->mode(), Mode::running );
   EXPECT_TRUE( mine->rack( "a" )->sensor( 9 )->readOnlyProxy() );
   auto const rack = mine->rack( "a" );
   begin();
   put( FrameKind::attribute, 1, static_cast<std::uint16_t>( -259 ), { 0, 0, 0, 1, 'a' } );
   EXPECT_THROW( reasonFor(), Refused );
   EXPECT_FALSE( follower.closed() ) << follower.reason();
   EXPECT_EQ( mine->rack().size(), 0U );
   EXPECT_TRUE( rack->sensor().empty() );
   EXPECT_EQ( told, 2U );
}

TEST_F( Frames, ARootGivenWhenTheOldOneGoesIsTaken ) {
   begin();
   reasonFor();
   auto const given = Plant::PlantIs();
   auto const depot = Depot::DepotIs( "p" );
   follower.onRootGone = [&]( auto& name, auto& ) { follower.rootIs( name, depot ); };
   put( FrameKind::root, 0, 0,
        announcement( 1, "TestModule::Depot", { 0, 0, 0, 1, 'p', 0, 0, 0, 1, 'p' } ) );
   reasonFor();
   EXPECT_EQ( follower.root( "p" ), depot );
   // One that does not fit either is not kept.
   follower.onRootGone = [&]( auto& name, auto& ) { follower.rootIs( name, given ); };
   put( FrameKind::root, 0, 0,
        announcement( 1, "TestModule::Depot", { 0, 0, 0, 1, 'p', 0, 0, 0, 1, 'q' } ) );
   reasonFor();
   auto const made = follower.root( "p" );
   EXPECT_NE( made, depot );
   EXPECT_NE( made, given );
}

// Each could have as many elements as it says, but not all of them.
TEST_F( Frames, WhatSeveralCollectionsPromiseTogetherIsNoMoreThanTheBytesCouldHold ) {
   begin();
   Bytes sensor = announcement( 0, "TestModule::Sensor", { 0, 0, 0, 0 } );
   std::size_t const before = out.bytes().size();
   for ( std::uint8_t handle = 3; handle < 255; ++handle ) {
      sensor[3] = sensor.back() = handle;
      put( FrameKind::announce, 2, 260, sensor );
      put( FrameKind::transactionBegin, handle, 261, { 0xFF, 0xFF, 0xFF, 0xFF } );
   }
   std::size_t const sent = out.bytes().size() - before;
   EXPECT_EQ( reasonFor(), "closed by the other side" );
   std::size_t room = 0;
   auto const rack = plant().rack( "a" );
   for ( auto const& one : rack->sensor() ) {
      room += one.child->reading().positions();
   }
   EXPECT_EQ( rack->sensor().size(), 252U );
   EXPECT_GT( room, sent / 4 ) << "one that is alone, or the first, is believed";
   EXPECT_LT( room, 2 * sent );
}

// As a leader of a newer version may well have them: what each removal costs must not depend on
// how many others there are, or this takes minutes.
TEST_F( Frames, RemovalsOfWhatHasChildrenOfUnknownTypesAreQuick ) {
   begin();
   Bytes frame = announcement( 0, "TestModule::Sensor", { 0, 0, 0, 0 } );
   auto const announce = [&]( std::uint32_t above, std::uint16_t field, std::uint32_t handle ) {
      // The number of a sensor is the end of its frame, and may be its handle.
      for ( std::size_t i = 0; i < 4; ++i ) {
         frame[i] = frame[frame.size() - 4 + i] =
            static_cast<std::uint8_t>( handle >> ( 24 - 8 * i ) );
      }
      put( FrameKind::announce, above, field, frame );
   };
   for ( std::uint32_t handle = 3; handle < 200000; handle += 2 ) {
      announce( 2, 260, handle );
      announce( handle, 301, handle + 1 );
   }
   put( FrameKind::transactionBegin, 2, 260, { 0, 0, 0, 0 } );
   put( FrameKind::transactionEnd, 2, 260, {} );
   follower.onSynced = [&] { EXPECT_EQ( follower.stats().entities, 2U ); };
   putSynced();
   put( FrameKind::attribute, 4, 259, {} );
   EXPECT_EQ( reasonFor(), "closed by the other side" );
   EXPECT_EQ( follower.stats().skipped, 1U );
   EXPECT_EQ( plant().rack( "a" )->sensor().size(), 0U );
}

/// Seconds in which a follower takes \p count begin markers and then as many end markers.
double secondsOfMarkers( std::uint32_t count ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   for ( std::uint32_t i = 0; i < count; ++i ) {
      rack->sensorIs( i );
   }
   Leader leader;
   leader.rootIs( "plant", plant );
   Follower first, follower;
   Link link( leader, first );
   link.pump();
   Qel::NboAttrLog::OutBuffer out;
   for ( auto const kind : { Qel::NboAttrLog::FrameKind::transactionBegin,
                             Qel::NboAttrLog::FrameKind::transactionEnd } ) {
      for ( std::uint32_t i = 0; i < count; ++i ) {
         out.outSmReserveMessage( kind, 3 + i, 261, 0 );
         out.outSmCommitMessage();
      }
   }
   auto const before = std::chrono::steady_clock::now();
   feed( follower, { link.fromLeader, out.bytes() } );
   EXPECT_EQ( follower.reason(), "closed by the other side" );
   return std::chrono::duration<double>( std::chrono::steady_clock::now() - before ).count();
}

// What a peer sends takes time in proportion to its length.
TEST( Hostile, OpenMarkersCostNoMoreThanTheirNumber ) {
   double const few = secondsOfMarkers( 4000 ), many = secondsOfMarkers( 32000 );
   // Eight times as many; searched for one after another it would be sixty-four.
   EXPECT_LT( many, 32 * few ) << few << " and " << many << " s";
}

} // namespace
