// Single children, children that lose their owner, names, counters, optional values, and the forms
// of values.

#include <gtest/gtest.h>

#include "support/AnyValue.h"
#include "support/ChangeRecorder.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;
using Varek::Scope;
using BadgeChanges = ChangeRecorder<int, Varek::Ptr<Badge>>;

TEST( SingleChild, IsKeptForTheSameParameterAndReplacedForAnother ) {
   auto const depot = Depot::DepotIs( "d" );
   BadgeChanges changes( *depot );
   using Told = BadgeChanges::Told;
   EXPECT_EQ( depot->badgeDel(), nullptr );
   EXPECT_TRUE( changes.told.empty() );
   auto const one = depot->badgeIs( 1 );
   EXPECT_EQ( depot->badgeIs( one->mark() ), one );
   auto const two = depot->badgeIs( 2 );
   EXPECT_EQ( depot->badge(), two );
   EXPECT_EQ( two->mark(), Tracked( 2 ) );
   EXPECT_EQ( one->parent(), nullptr );
   EXPECT_EQ( two->parent(), depot.get() );
   EXPECT_EQ( depot->badgeDel(), two );
   EXPECT_EQ( two->parent(), nullptr );
   EXPECT_EQ( depot->badge(), nullptr );
   EXPECT_EQ( changes.told, ( std::vector<Told>{ { depot.get(), 266, {}, {} },
                                                 { depot.get(), 266, {}, one },
                                                 { depot.get(), 266, {}, two } } ) );
   // One that takes no parameter is never another.
   auto const annex = depot->annexIs();
   EXPECT_EQ( depot->annexIs(), annex );
   EXPECT_EQ( changes.told.size(), 4U );
}

TEST( SingleChild, ThatCannotBeMadeLeavesTheOldOne ) {
   int const live = Tracked::live;
   {
      auto const depot = Depot::DepotIs( "d" );
      int told = 0;
      auto const watching = depot->subscribe( [&]( auto& ) { ++told; } );
      auto const old = depot->badgeIs( 1 );
      Tracked const two( 2 );
      {
         CopiesFail const failing( 0 );
         EXPECT_THROW( depot->badgeIs( two ), std::runtime_error );
      }
      EXPECT_EQ( depot->badge(), old );
      EXPECT_EQ( old->parent(), depot.get() );
      EXPECT_EQ( told, 1 );
      EXPECT_EQ( Badge::allocations().liveObjects(), 1U );
   }
   EXPECT_EQ( Tracked::live, live );
}

TEST( SingleChild, ObserversSeeItInPlaceAndMayReplaceIt ) {
   auto depot = Depot::DepotIs( "d" );
   auto const one = depot->badgeIs( 1 );
   Varek::Ptr<Badge> inner;
   int told = 0;
   auto const watching = depot->subscribe( [&]( Varek::Change const& change ) {
      auto const& old = *change.old<Varek::Ptr<Badge>>();
      EXPECT_EQ( old->parent(), nullptr );
      EXPECT_EQ( depot->badge()->parent(), depot.get() );
      if ( ++told == 1 ) {
         EXPECT_EQ( old, one );
         inner = depot->badgeIs( 3 );
         EXPECT_EQ( old, one );
      } else {
         EXPECT_EQ( old->mark(), Tracked( 2 ) );
         depot = nullptr;
      }
   } );
   EXPECT_EQ( depot->badgeIs( 2 ), inner ) << "not what came later, but what was made";
   EXPECT_EQ( told, 2 );
   EXPECT_EQ( inner->mark(), Tracked( 3 ) );
   EXPECT_EQ( inner->parent(), nullptr ) << "the owner has gone";
}

TEST( SingleChild, BelongsToTheSubtreeOfItsOwnerWhileThatHasIt ) {
   for ( bool const observedFirst : { false, true } ) {
      auto const yard = Yard::YardIs();
      std::vector<std::pair<Varek::Publisher*, int>> told;
      auto const observe = [&] {
         return yard->subscribe(
            [&]( auto& change ) { told.emplace_back( &change.source(), change.id().value() ); },
            Scope::subtree );
      };
      auto watching = observedFirst ? observe() : Varek::Subscription();
      auto const depot = yard->depotIs( "d" );
      auto const one = depot->badgeIs( 1 );
      auto const rack = depot->annexIs()->rackIs( "r" );
      if ( !observedFirst ) {
         watching = observe();
      }
      EXPECT_FALSE( one->initial() || rack->initial() || depot->office()->initial() );
      told.clear();
      one->scansInc( 1 );
      rack->modeIs( Mode::running );
      depot->office()->modeIs( Mode::running );
      auto const two = depot->badgeIs( 2 );
      one->scansInc( 1 ); // not the yard's any more
      two->scansInc( 1 );
      EXPECT_EQ( told, ( decltype( told ){ { one.get(), 259 },
                                           { rack.get(), 259 },
                                           { depot->office().get(), 259 },
                                           { depot.get(), 266 },
                                           { two.get(), 259 } } ) );
   }
}

TEST( OwnChild, IsThereFromTheBeginningAndLosesItsOwnerWithIt ) {
   auto depot = Depot::DepotIs( "north" );
   auto const office = depot->office();
   EXPECT_EQ( office->place(), "north" ) << "made before the owner's parameter was given";
   EXPECT_EQ( office->parent(), depot.get() );
   EXPECT_TRUE( depot->initial() && office->initial() );
   auto const badge = depot->badgeIs( 1 );
   EXPECT_EQ( depot->officeIs( "north" ), office );
   depot = nullptr;
   EXPECT_EQ( office->parent(), nullptr );
   EXPECT_EQ( badge->parent(), nullptr );
   depot = Depot::DepotIs( "south" );
   EXPECT_EQ( depot->officeDel()->place(), "south" );
   EXPECT_EQ( depot->office(), nullptr );
   EXPECT_EQ( depot->officeIs( "east" )->place(), "east" );
}

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

TEST( Children, TheOneThatIsHeldInTheEndIsReturnedAndNeverNull ) {
   auto rack = Rack::RackIs( "a" );
   for ( bool const setAnew : { true, false } ) {
      Varek::Ptr<Sensor> first, inner;
      auto const watching = rack->subscribe( [&]( auto& ) {
         if ( first || !rack->sensor( 1 ) ) {
            return;
         }
         first = rack->sensorDel( 1 );
         if ( setAnew ) {
            inner = rack->sensorIs( 1 );
         } else {
            rack = nullptr;
         }
      } );
      EXPECT_EQ( rack->sensorIs( 1 ), setAnew ? inner : first );
      if ( rack ) {
         rack->sensorDelAll();
      }
   }
   auto const depot = Depot::DepotIs( "d" );
   auto const removing = depot->subscribe( [&]( auto& ) { depot->badgeDel(); } );
   EXPECT_EQ( depot->badgeIs( 1 )->parent(), nullptr );
}

TEST( Children, TheEndOfTheOwnerLeavesSurvivorsWithoutOne ) {
   auto const live = Sensor::allocations().liveObjects();
   auto rack = Rack::RackIs( "a" );
   auto const survivor = rack->sensorIs( 1 );
   for ( std::uint32_t number = 2; number < 40; ++number ) { // moved by growth meanwhile
      rack->sensorIs( number );
   }
   EXPECT_EQ( Sensor::allocations().liveObjects(), live + 39 );
   EXPECT_EQ( survivor->parent(), rack.get() );
   rack = nullptr;
   EXPECT_EQ( survivor->parent(), nullptr );
   EXPECT_EQ( Sensor::allocations().liveObjects(), live + 1 );
}

TEST( Names, AnEntityIsMadeByItsNameAlone ) {
   Varek::String const name( "made" );
   Qel::ConstructorArgument const further{
      &Varek::Inspect::InspectAtomicFnTable<Varek::String>::table, &name };
   auto const live = Depot::allocations().liveObjects();
   for ( auto const* const type : registeredTypes( []( auto& ) { return true; } ) ) {
      if ( type->attribute( Varek::nameStringId ) ) {
         auto const made = Qel::newEntityInDirectory( *type, name, {} );
         EXPECT_EQ( *static_cast<Varek::String const*>( type->attributes[0].read( made.get() ) ),
                    name );
         EXPECT_EQ( made->references(), 1U );
         EXPECT_THROW( Qel::newEntityInDirectory( *type, name, { &further, 1 } ),
                       Varek::NewEntityArguments );
      } else { // a parameter of text is no name
         EXPECT_THROW( Qel::newEntityInDirectory( *type, name, {} ), Varek::NewEntityArguments );
      }
   }
   EXPECT_EQ( Depot::allocations().liveObjects(), live );
}

TEST( Counter, WrapsAndTellsRealChangesOnly ) {
   auto badge = Badge::BadgeIs( 1U );
   ChangeRecorder<int, std::uint32_t> changes( *badge );
   EXPECT_EQ( badge->scansInc( 0 ), 0U );
   EXPECT_EQ( badge->scansInc( 4294967295U ), 4294967295U );
   EXPECT_EQ( badge->scansInc( 3 ), 2U );
   badge->scansIs( 2 );
   ASSERT_EQ( changes.told.size(), 2U );
   EXPECT_EQ( changes.told[0].old, 0U );
   EXPECT_EQ( changes.told[1].old, 4294967295U );
   auto const resets = badge->subscribe( [&]( Varek::Change const& change ) {
      auto& one = static_cast<Badge&>( change.source() );
      one.scansIs( 1 );
      badge = nullptr;
   } );
   EXPECT_EQ( badge->scansInc( 5 ), 1U ) << "not what is held";
}

TEST( Optional, NothingAndTheEmptyValueAreTwo ) {
   auto const depot = Depot::DepotIs( "d" );
   using Motto = std::optional<Varek::String>;
   ChangeRecorder<int, Motto> changes( *depot );
   for ( Motto const& one :
         { Motto(), Motto( "" ), Motto( "" ), Motto( "more" ), Motto(), Motto() } ) {
      depot->mottoIs( one );
   }
   ASSERT_EQ( changes.told.size(), 3U );
   EXPECT_EQ( *changes.told[0].old, std::nullopt );
   EXPECT_EQ( *changes.told[1].old, "" );
   Limits a( 1U ), b( 1U );
   a.ceilingIs( 0 );
   EXPECT_NE( a, b );
}

TEST( ValueForms, AreEqualAsSetsAreAndAsArraysAre ) {
   Limits a( 1U ), b( 1U );
   for ( int i = 0; i < 40; ++i ) {
      a.userIs( "name " + std::to_string( i ) );
      b.userIs( "name " + std::to_string( 39 - i ) );
   }
   b.userIs( "name 0" );
   EXPECT_EQ( b.userDel( "other" ), "" );
   EXPECT_EQ( a, b );
   EXPECT_EQ( a.userDel( "name 7" ), "name 7" );
   EXPECT_NE( a, b );
   EXPECT_NE( b, a );
   a.userIs( "other" );
   EXPECT_NE( a, b ) << "as many, but others";
   b = a;
   a.shiftIs( 2, "late" );
   EXPECT_NE( a, b );
   EXPECT_EQ( a.shiftDel( 2 ), "late" );
   EXPECT_EQ( a, b );
   a.shiftIs( 0, "early" );
   a.shiftDelAll();
   EXPECT_EQ( a, b );
}

} // namespace
