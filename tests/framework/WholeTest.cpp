#include <cmath>
#include <sstream>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNZPhase.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "framework/Whole.h"
#include "support/TestModule.h"
#include "support/Trees.h"

/// Entities as wholes: ==, cloneEntity, text, entityAs, and what their memory amounts to.
namespace {

using Qel::Entity;
using Varek::Ptr;

class WholeEveryType : public testing::TestWithParam<Qel::TypeRecord const*> {};

/// Against the comparison that the tests have of their own.
TEST_P( WholeEveryType, EqualExactlyWhenNothingDiffers ) {
   unsigned differed = 0;
   for ( std::uint32_t seed = 1; seed <= 20; ++seed ) {
      Ptr<Entity> const entity = freshEntity( *GetParam() );
      RandomChange change( seed );
      for ( unsigned i = 0; i < 40; ++i ) {
         change( *entity );
      }
      Ptr<Entity> const clone = Qel::cloneEntity( *entity );
      ASSERT_NE( clone, entity );
      ASSERT_TRUE( *clone == *entity && *entity == *clone ) << seed;
      ASSERT_EQ( Trees::difference( *clone, *entity ), "" ) << seed;
      ASSERT_EQ( Qel::entityText( *clone ), Qel::entityText( *entity ) ) << seed;
      change( *clone );
      bool const same = Trees::difference( *clone, *entity ).empty();
      ASSERT_EQ( *clone == *entity, same ) << seed << ' ' << *clone;
      ASSERT_EQ( *entity == *clone, same ) << seed << ' ' << *clone;
      ASSERT_EQ( Qel::entityText( *clone ) == Qel::entityText( *entity ), same )
         << seed << ' ' << *clone;
      differed += !same;
   }
   if ( GetParam()->attributes.size() > 1 ) {
      EXPECT_GT( differed, 0u ) << "the comparison has seen no difference";
   }
}

INSTANTIATE_TEST_SUITE_P( All, WholeEveryType, testing::ValuesIn( registeredTypes( []( auto& one ) {
                             return one.kind == Varek::TypeKind::entity;
                          } ) ),
                          registeredTypeName );

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

TEST( Whole, FieldIdsHaveNames ) {
   static_assert( TestModule::Sensor::labelField == Varek::FieldId( 260 ) );
   auto const sensor = TestModule::Sensor::SensorIs( 1u );
   Varek::FieldId told;
   auto const watching = sensor->subscribe( [&]( auto& change ) { told = change.id(); } );
   sensor->labelIs( "x" );
   EXPECT_EQ( told, TestModule::Sensor::labelField );
}

template<class Key>
constexpr bool hasStdHash = std::is_default_constructible_v<std::hash<Key>> &&
                            std::is_invocable_r_v<std::size_t, std::hash<Key>, Key const&>;

/// Each key type of \p T's collections has a std::hash that goes with its ==.
template<class T>
constexpr bool keysHaveStdHash() {
   bool all = true;
   Qel::forEachAttribute<T>( [&]<class D>( D ) {
      if constexpr ( requires { typename D::Field::Key; } ) {
         all = all && hasStdHash<typename D::Field::Key>;
      }
   } );
   return all;
}

TEST( Whole, KeysHaveAStdHash ) {
   static_assert( keysHaveStdHash<Dot1xV2::Status>() );
   static_assert( hasStdHash<Dot1xV2::AuthNZPhaseType> );
   static_assert( keysHaveStdHash<TestModule::Plant>() && keysHaveStdHash<TestModule::Sensor>() );
   std::unordered_set<Lumo::EthAddr> seen{ Lumo::EthAddr( "02:00:00:00:00:01" ) };
   seen.insert( Lumo::EthAddr( "02:00:00:00:00:01" ) );
   seen.insert( Lumo::EthAddr( "02:00:00:00:00:02" ) );
   EXPECT_EQ( seen.size(), 2u );
}

} // namespace
