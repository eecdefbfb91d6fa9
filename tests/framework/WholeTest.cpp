#include <sstream>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNZPhase.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "framework/inspect/Assign.h"
#include "framework/inspect/Whole.h"
#include "support/TestModule.h"
#include "support/Trees.h"

/// Entities as wholes: ==, cloneEntity, assignEntity, text, entityAs, and what their memory amounts to.
namespace {

using Qel::Entity;
using Varek::Ptr;

/// Sends each change that an observer of the whole tree is told to \p to.
template<class To>
Varek::Subscription observe( Entity& root, To to ) {
   return root.subscribe( [to]( Varek::Change const& change ) { to( change ); },
                          Varek::Scope::subtree );
}

class EveryWhole : public testing::TestWithParam<Qel::TypeRecord const*> {
protected:
   static void expectSame( bool same, Entity const& a, Entity const& b ) {
      EXPECT_EQ( a == b, same ) << a;
      EXPECT_EQ( b == a, same ) << a;
      EXPECT_EQ( Qel::entityText( a ) == Qel::entityText( b ), same ) << a;
   }
};

/// Against the comparison that the tests have of their own.
TEST_P( EveryWhole, IsComparedPrintedClonedAndAssignedByAllThatItHolds ) {
   unsigned differed = 0;
   for ( std::uint32_t seed = 1; seed <= 8 && !HasFailure(); ++seed ) {
      Ptr<Entity> const entity = freshEntity( *GetParam() ), other = freshEntity( *GetParam() );
      RandomChange change( seed );
      for ( Entity* const one : { entity.get(), other.get() } ) {
         for ( unsigned i = change.below( 40 ); i > 0; --i ) {
            change( *one );
         }
      }
      Trees::Lines const wanted = Trees::linesOf( *entity );
      Ptr<Entity> const clone = Qel::cloneEntity( *entity );
      ASSERT_NE( clone, entity );
      ASSERT_EQ( Trees::difference( *clone, *entity ), "" ) << seed;
      expectSame( true, *clone, *entity );
      change( *clone );
      bool const same = Trees::difference( *clone, *entity ).empty();
      expectSame( same, *clone, *entity );
      differed += !same;
      // By real changes alone.
      std::size_t told = 0;
      auto const counting = observe( *other, [&]( auto const& ) { ++told; } );
      bool const differs = !Trees::difference( *other, *entity ).empty();
      Qel::assignEntity( *other, *entity );
      EXPECT_EQ( Trees::difference( *other, *entity ), "" ) << seed;
      EXPECT_EQ( std::exchange( told, 0 ) != 0, differs ) << seed;
      Qel::assignEntity( *other, *entity );
      EXPECT_EQ( told, 0u ) << seed;
      EXPECT_EQ( Trees::linesOf( *entity ), wanted ) << "the source was changed";
   }
   EXPECT_TRUE( differed > 0 || GetParam()->attributes.size() < 2 ) << "no difference was seen";
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryWhole, everyEntityType(), registeredTypeName );

TEST( Whole, OfOtherTypesOrOtherParametersNothingIsEqual ) {
   EXPECT_FALSE( *TestModule::Rack::RackIs( "r" ) == *TestModule::Rack::RackIs( "s" ) );
   EXPECT_FALSE( *Dot1xV2::statusFactory( "a" ) == *Dot1xV2::authNProfileFactory( "a" ) );
}

TEST( Whole, TextIsSortedByKeyAndQuoted ) {
   auto const rack = TestModule::Rack::RackIs( "r\"" );
   rack->sensorIs( 10 )->labelIs( "x" );
   rack->sensorIs( 9 );
   std::ostringstream text;
   text << *rack;
   EXPECT_EQ( text.str(), Qel::entityText( *rack ) );
   EXPECT_EQ( text.str(), "TestModule::Rack( place: \"r\\\"\", mode: idle, sensor: [ "
                          "9: TestModule::Sensor( number: 9, level: 5, label: \"\", reading: [] ), "
                          "10: TestModule::Sensor( number: 10, level: 5, label: \"x\", "
                          "reading: [] ) ] )" );
}

TEST( Whole, ACloneOfAReadOnlyTreeIsWritableToItsLeaves ) {
   auto const plant = TestModule::Plant::PlantIs();
   plant->rackIs( "r" )->sensorIs( 1 )->levelIs( 7 );
   plant->qelReadOnlyProxyIs( true );
   ASSERT_THROW( plant->rack( "r" )->sensor( 1 )->levelIs( 8 ), Varek::WriteFromReadOnlyProxy );
   Ptr<TestModule::Plant> const clone = Qel::cloneEntity( *plant );
   clone->rack( "r" )->sensor( 1 )->levelIs( 8 );
   EXPECT_EQ( plant->rack( "r" )->sensor( 1 )->level(), 7u );
   EXPECT_EQ( Qel::cloneEntity( *plant->rack( "r" ) )->parent(), nullptr );
}

TEST( Whole, ADowncastNamesBothTypes ) {
   Ptr<Entity> const root = TestModule::Rack::RackIs( "r" );
   EXPECT_EQ( Qel::entityAs<TestModule::Rack>( root )->place(), "r" );
   EXPECT_EQ( Qel::entityIf<TestModule::Plant>( root ), nullptr );
   auto const failure = []( Ptr<Entity> const& given ) -> std::string {
      try {
         Qel::entityAs<TestModule::Plant>( given );
      } catch ( Varek::Failure const& failed ) {
         return failed.what();
      }
      return "";
   };
   EXPECT_EQ( failure( root ), "expected a TestModule::Plant but there is a TestModule::Rack" );
   EXPECT_EQ( failure( {} ), "expected a TestModule::Plant but there is none" );
   EXPECT_THROW( Qel::entityAs<TestModule::Plant>( *root ), Varek::Failure );
}

TEST( Whole, TrackedMemoryCountsEveryType ) {
   auto const before = Qel::trackedMemory();
   auto const plant = TestModule::Plant::PlantIs();
   plant->rackIs( "r" )->sensorIs( 1 );
   auto const after = Qel::trackedMemory();
   EXPECT_EQ( after.liveObjects - before.liveObjects, 3u );
   EXPECT_EQ( after.liveBytes - before.liveBytes, sizeof( TestModule::Plant ) +
                                                     sizeof( TestModule::Rack ) +
                                                     sizeof( TestModule::Sensor ) );
}

/// A plant with these sensors, of one level, in rack "r".
Ptr<TestModule::Plant> plant( std::vector<std::uint32_t> const& sensors, std::uint32_t level ) {
   auto const made = TestModule::Plant::PlantIs();
   for ( std::uint32_t const one : sensors ) {
      made->rackIs( "r" )->sensorIs( one )->levelIs( level );
   }
   return made;
}

TEST( Assign, WhatBothHaveStaysTheSameObject ) {
   auto const target = plant( { 1, 2 }, 9 ), source = plant( { 2, 3 }, 9 );
   auto const kept = target->rack( "r" )->sensor( 2 );
   std::string told;
   auto const recording = observe( *target, [&]( Varek::Change const& change ) {
      told += std::to_string( change.id().value() ) + ( change.oldData() ? "- " : "+ " );
   } );
   Qel::assignEntity( *target, *source );
   EXPECT_EQ( target->rack( "r" )->sensor( 2 ), kept );
   // Sensor 1 goes, 3 comes and gets its level, which was the default before.
   EXPECT_EQ( told, "260- 260+ 259- " );
}

TEST( Assign, OtherTypesAndOtherNamesAreRefusedUnchanged ) {
   auto const status = Dot1xV2::statusFactory( "a" );
   auto const other = Dot1xV2::statusFactory( "b" );
   other->dot1xEnabledIs( true );
   EXPECT_THROW( Qel::assignEntity( *status, *other ), Varek::Failure );
   EXPECT_FALSE( status->dot1xEnabled() );
   EXPECT_THROW( Qel::assignEntity( *status, *Dot1xV2::authNProfileFactory( "a" ) ),
                 Varek::Failure );
}

TEST( Assign, AfterAnObserverThrewAFurtherCallDoesTheRest ) {
   auto const target = plant( { 1, 2, 3 }, 1 ), source = plant( { 3, 4, 5 }, 2 );
   int left = 3;
   auto const throwing = observe( *target, [&]( auto const& ) {
      if ( left-- == 0 ) {
         throw std::runtime_error( "enough" );
      }
   } );
   EXPECT_THROW( Qel::assignEntity( *target, *source ), std::runtime_error );
   EXPECT_NE( Trees::difference( *target, *source ), "" );
   Qel::assignEntity( *target, *source );
   EXPECT_EQ( Trees::difference( *target, *source ), "" );
}

TEST( Assign, AnObserverMayLetGoOfWhatIsBeingAssigned ) {
   auto target = plant( { 1 }, 1 );
   auto const source = plant( { 1, 2, 3 }, 2 );
   auto const live = TestModule::Plant::allocations().liveObjects();
   int told = 0;
   auto const dropping = observe( *target, [&]( auto const& ) {
      target = nullptr;
      EXPECT_EQ( TestModule::Plant::allocations().liveObjects(), live );
      ++told;
   } );
   Qel::assignEntity( *target, *source );
   EXPECT_GT( told, 1 );
   EXPECT_EQ( TestModule::Plant::allocations().liveObjects(), live - 1 );
}

TEST( Whole, FieldIdsHaveNamesAndKeysAStdHash ) {
   static_assert( TestModule::Sensor::labelField == Varek::FieldId( 260 ) );
   auto const hashed = []<class... Key>( std::type_identity<Key>... ) {
      return ( std::is_invocable_r_v<std::size_t, std::hash<Key>, Key const&> && ... );
   };
   static_assert( hashed( std::type_identity<Lumo::IntfId>(),
                          std::type_identity<Bridging::VlanIdOrNone>(),
                          std::type_identity<RadiusPktParserBase::Attribute>(),
                          std::type_identity<Dot1xV2::AuthNZPhaseType>() ) );
   std::unordered_set<Lumo::EthAddr> seen{ Lumo::EthAddr( "02:00:00:00:00:01" ) };
   seen.insert( Lumo::EthAddr( "02:00:00:00:00:01" ) );
   seen.insert( Lumo::EthAddr( "02:00:00:00:00:02" ) );
   EXPECT_EQ( seen.size(), 2u );
}

} // namespace
