// Collections of entities that their owner makes.

#include <map>
#include <random>

#include <gtest/gtest.h>

#include "support/TestModule.h"

namespace {

using namespace TestModule;

TEST( Children, ARemovedOneKeepsWhatItOwns ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   EXPECT_EQ( plant->rackDel( "a" ), rack );
   EXPECT_EQ( rack->parent(), nullptr );
   EXPECT_EQ( rack->sensor( 1 ), sensor );
   EXPECT_EQ( sensor->parent(), rack.get() );
   EXPECT_NE( plant->rackIs( "a" ), rack );
}

TEST( Children, TheEndOfTheOwnerLeavesSurvivorsWithoutOne ) {
   auto const live = Sensor::allocations().liveObjects();
   auto rack = Rack::RackIs( "a" );
   auto const survivor = rack->sensorIs( 1 );
   for ( std::uint32_t number = 2; number < 40; ++number ) // moved by growth meanwhile
      rack->sensorIs( number );
   EXPECT_EQ( Sensor::allocations().liveObjects(), live + 39 );
   EXPECT_EQ( survivor->parent(), rack.get() );
   rack = nullptr;
   EXPECT_EQ( survivor->parent(), nullptr );
   EXPECT_EQ( Sensor::allocations().liveObjects(), live + 1 );
}

TEST( Children, AClearAllRemovesEachAndTellsEach ) {
   for ( bool const observed : { false, true } ) {
      auto const rack = Rack::RackIs( "a" );
      auto const first = rack->sensorIs( 0 );
      for ( std::uint32_t number = 1; number < 20; ++number )
         rack->sensorIs( number );
      int told = 0;
      Varek::Subscription watching;
      if ( observed )
         watching = rack->subscribe( [&]( Varek::Change const& change ) {
            if ( change.old<Varek::Ptr<Sensor>>() && ++told == 1 )
               rack->sensorIs( *change.key<std::uint32_t>() ); // made again: stays
         } );
      rack->sensorDelAll();
      EXPECT_EQ( told, observed ? 20 : 0 );
      EXPECT_EQ( rack->sensor().size(), observed ? 1U : 0U );
      EXPECT_EQ( first->parent(), nullptr );
   }
}

TEST( Children, RandomSequencesAgreeWithAModel ) {
   std::mt19937 random( 31 );
   auto const rack = Rack::RackIs( "a" );
   std::map<std::uint32_t, Varek::Ptr<Sensor>> model;
   int insertions = 0, removals = 0, toldInsertions = 0, toldRemovals = 0;
   auto const watching = rack->subscribe( [&]( Varek::Change const& change ) {
      EXPECT_EQ( &change.source(), rack.get() );
      EXPECT_EQ( change.id().value(), 260 );
      auto const* const old = change.old<Varek::Ptr<Sensor>>();
      ++( old ? toldRemovals : toldInsertions );
      auto const held = rack->sensor( *change.key<std::uint32_t>() );
      if ( old ) {
         EXPECT_EQ( held, nullptr );
         EXPECT_EQ( *old, model.at( *change.key<std::uint32_t>() ) );
         EXPECT_EQ( ( *old )->parent(), nullptr );
      } else {
         EXPECT_EQ( held->parent(), rack.get() );
      }
   } );
   for ( int step = 0; step < 4000; ++step ) {
      auto const number = static_cast<std::uint32_t>( random() % 50 );
      auto const held = model.contains( number ) ? model[number] : nullptr;
      ASSERT_EQ( rack->sensor( number ), held );
      if ( random() % 2 ) {
         auto const made = rack->sensorIs( number );
         if ( held ) {
            ASSERT_EQ( made, held );
         } else {
            ASSERT_EQ( made->number(), number );
            ASSERT_EQ( made->level(), 5U ) << "not a new one";
            made->levelIs( 1000 + number );
            ++insertions;
         }
         model[number] = made;
      } else {
         ASSERT_EQ( rack->sensorDel( number ), held );
         if ( held ) {
            ASSERT_EQ( held->level(), 1000 + number );
         }
         removals += static_cast<int>( model.erase( number ) );
      }
   }
   EXPECT_EQ( rack->sensor().size(), model.size() );
   EXPECT_EQ( toldInsertions, insertions );
   EXPECT_EQ( toldRemovals, removals );
}

} // namespace
