// Collections of entities that their owner makes.

#include <map>
#include <random>

#include <gtest/gtest.h>

#include "support/ChangeRecorder.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;
using SensorChanges = ChangeRecorder<std::uint32_t, Varek::Ptr<Sensor>>;

TEST( Children, AreMadeOnceAndKnowTheirOwner ) {
   auto const rack = Rack::RackIs( "a" );
   SensorChanges changes( *rack );
   auto const made = rack->sensorIs( 7 );
   EXPECT_EQ( made->number(), 7U );
   EXPECT_EQ( made->parent(), rack.get() );
   EXPECT_EQ( rack->sensorIs( 7 ), made );
   EXPECT_EQ( rack->sensor( 7 ), made );
   EXPECT_EQ( rack->sensor( 8 ), nullptr );
   EXPECT_EQ( rack->sensorDel( 8 ), nullptr );
   EXPECT_EQ( rack->sensor().size(), 1U );
   EXPECT_EQ( changes.told, ( std::vector<SensorChanges::Told>{ { rack.get(), 260, 7, {} } } ) );
}

TEST( Children, ARemovedOneLosesItsOwnerAndKeepsItsContents ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   sensor->levelIs( 9 );
   SensorChanges changes( *rack );
   EXPECT_EQ( rack->sensorDel( 1 ), sensor );
   EXPECT_EQ( sensor->parent(), nullptr );
   EXPECT_EQ( sensor->level(), 9U );
   EXPECT_NE( rack->sensorIs( 1 ), sensor );
   EXPECT_EQ( rack->sensor( 1 )->level(), 5U );
   EXPECT_EQ( changes.told, ( std::vector<SensorChanges::Told>{ { rack.get(), 260, 1, sensor },
                                                                { rack.get(), 260, 1, {} } } ) );
   EXPECT_EQ( plant->rackDel( "a" ), rack );
   EXPECT_EQ( rack->sensor().size(), 1U );
   EXPECT_EQ( rack->sensor( 1 )->parent(), rack.get() );
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
   int insertions = 0, removals = 0, toldInsertions = 0, toldRemovals = 0;
   auto const watching = rack->subscribe( [&]( Varek::Change const& change ) {
      auto const* const old = change.old<Varek::Ptr<Sensor>>();
      ++( old ? toldRemovals : toldInsertions );
      auto const held = rack->sensor( *change.key<std::uint32_t>() );
      if ( old ) {
         EXPECT_EQ( held, nullptr );
         EXPECT_EQ( ( *old )->parent(), nullptr );
      } else {
         EXPECT_EQ( held->parent(), rack.get() );
      }
   } );
   std::map<std::uint32_t, Sensor*> model;
   for ( int step = 0; step < 4000; ++step ) {
      auto const number = static_cast<std::uint32_t>( random() % 50 );
      if ( random() % 2 ) {
         auto const made = rack->sensorIs( number );
         insertions += model.emplace( number, made.get() ).second;
         ASSERT_EQ( model[number], made.get() );
      } else {
         auto const removed = rack->sensorDel( number );
         ASSERT_EQ( removed.get(), model.contains( number ) ? model[number] : nullptr );
         removals += static_cast<int>( model.erase( number ) );
      }
   }
   EXPECT_EQ( rack->sensor().size(), model.size() );
   EXPECT_EQ( toldInsertions, insertions );
   EXPECT_EQ( toldRemovals, removals );
}

} // namespace
