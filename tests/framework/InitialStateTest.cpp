// "Nothing can ever have been observed": left at the first observer, of an object or of anything
// above it, and never entered again.

#include <gtest/gtest.h>

#include "support/TestModule.h"

namespace {

using namespace TestModule;
using Varek::Scope;

auto observe( Varek::Publisher& who, Scope scope ) {
   return who.subscribe( []( Varek::Change const& ) {}, scope );
}

TEST( InitialState, IsLeftByTheObjectAlone ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   EXPECT_TRUE( plant->initial() && rack->initial() && sensor->initial() );
   {
      auto const watching = observe( *rack, Scope::object );
      EXPECT_FALSE( rack->initial() );
   }
   EXPECT_FALSE( rack->initial() ) << "entered again";
   EXPECT_TRUE( plant->initial() );
   EXPECT_TRUE( sensor->initial() );
   EXPECT_TRUE( rack->sensorIs( 2 )->initial() );
}

TEST( InitialState, IsLeftByAllThatIsBelowASubtreeObserverNowOrLater ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   for ( bool const gone : { false, true } ) {
      auto watching = observe( *plant, Scope::subtree );
      if ( gone ) {
         watching.reset();
      }
      EXPECT_FALSE( plant->initial() || rack->initial() || sensor->initial() );
      auto const later = plant->rackIs( gone ? "b" : "c" );
      EXPECT_FALSE( later->initial() );
      EXPECT_FALSE( later->sensorIs( 1 )->initial() );
      EXPECT_FALSE( rack->sensorIs( gone ? 2 : 3 )->initial() );
   }
   plant->rackDel( "a" );
   EXPECT_FALSE( rack->initial() || sensor->initial() ) << "entered again on removal";
   EXPECT_FALSE( rack->sensorIs( 9 )->initial() );
   EXPECT_TRUE( Rack::RackIs( "d" )->initial() );
}

TEST( InitialState, ReachesThroughAnObjectThatWasLeftOnItsOwn ) {
   auto const plant = Plant::PlantIs();
   auto const rack = plant->rackIs( "a" );
   auto const sensor = rack->sensorIs( 1 );
   auto const own = observe( *rack, Scope::object );
   EXPECT_TRUE( sensor->initial() );
   int told = 0;
   auto const watching = plant->subscribe( [&]( auto& ) { ++told; }, Scope::subtree );
   EXPECT_FALSE( sensor->initial() );
   sensor->levelIs( 10 );
   EXPECT_EQ( told, 1 );
   sensor->readingIs( Reading( 1U ) );
   sensor->readingDelAll();
   EXPECT_EQ( told, 3 ) << "a clear-all is silent in the initial state alone";
}

} // namespace
