#include <string>

#include <gtest/gtest.h>

#include "Dot1xV2/Dot1xStatus.h"
#include "framework/Assign.h"
#include "support/TestModule.h"
#include "support/Trees.h"

/// assignEntity: equal afterwards, by real changes alone, the same objects where they can stay.
namespace {

using Qel::Entity;
using Varek::Ptr;

/// Sends each change that an observer of the whole tree is told to \p to.
template<class To>
Varek::Subscription observe( Entity& root, To to ) {
   return root.subscribe( [to]( Varek::Change const& change ) { to( change ); },
                          Varek::Scope::subtree );
}

class AssignEveryType : public testing::TestWithParam<Qel::TypeRecord const*> {};

TEST_P( AssignEveryType, EqualAfterwardsAndSilentTheSecondTime ) {
   for ( std::uint32_t seed = 1; seed <= 5; ++seed ) {
      Ptr<Entity> const target = freshEntity( *GetParam() ), source = freshEntity( *GetParam() );
      RandomChange change( seed );
      for ( unsigned i = change.below( 40 ); i > 0; --i ) {
         change( *target );
      }
      for ( unsigned i = change.below( 40 ); i > 0; --i ) {
         change( *source );
      }
      Trees::Lines const wanted = Trees::linesOf( *source );
      std::size_t told = 0;
      auto const counting = observe( *target, [&]( auto const& ) { ++told; } );
      bool const differed = !Trees::difference( *target, *source ).empty();
      Qel::assignEntity( *target, *source );
      ASSERT_EQ( Trees::difference( *target, *source ), "" ) << seed;
      EXPECT_EQ( told != 0, differed ) << seed;
      told = 0;
      Qel::assignEntity( *target, *source );
      EXPECT_EQ( told, 0u ) << seed;
      EXPECT_EQ( Trees::linesOf( *source ), wanted ) << "the source was changed";
   }
}

INSTANTIATE_TEST_SUITE_P( All, AssignEveryType,
                          testing::ValuesIn( registeredTypes( []( auto& one ) {
                             return one.kind == Varek::TypeKind::entity;
                          } ) ),
                          registeredTypeName );

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
   auto const target = plant( { 1 }, 1 ), source = plant( { 1, 2 }, 2 );
   auto const dropping = observe( *target, [&]( Varek::Change const& ) { target->rackDelAll(); } );
   Qel::assignEntity( *target, *source );
   EXPECT_EQ( target->rack().size(), 0u );
}

} // namespace
