// The declared mutators of plain attributes and of collections of values: what they change, what
// they publish, what they return.

#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "support/ChangeRecorder.h"
#include "support/TestModule.h"
#include "support/Tracked.h"

namespace {

using namespace TestModule;
using ReadingChanges = ChangeRecorder<std::uint32_t, Reading>;

Reading reading( std::uint32_t number, std::initializer_list<std::uint32_t> samples = {} ) {
   Reading made( number );
   for ( std::uint32_t const sample : samples )
      made.samplePush( sample );
   return made;
}

TEST( Mutators, APlainSetPublishesOnceWithTheOldValueAndOnlyARealChange ) {
   auto const sensor = Sensor::SensorIs( 1U );
   EXPECT_EQ( sensor->level(), 5U );
   sensor->levelIs( 6 ); // unobserved
   EXPECT_EQ( sensor->level(), 6U );
   ChangeRecorder<int, std::uint32_t> levels( *sensor );
   sensor->levelIs( 6 );
   EXPECT_TRUE( levels.told.empty() );
   sensor->levelIs( 7 );
   sensor->levelIs( 7 );
   ASSERT_EQ( levels.told.size(), 1U );
   EXPECT_EQ( levels.told[0], ( decltype( levels )::Told{ sensor.get(), 259, {}, 6U } ) );
   levels.subscription.reset();
   ChangeRecorder<int, Varek::String> labels( *sensor );
   Varek::String const text( 60, 'l' );
   sensor->labelIs( text );
   sensor->labelIs( sensor->label() );
   sensor->labelIs( "" );
   ASSERT_EQ( labels.told.size(), 2U );
   EXPECT_EQ( labels.told[0], ( decltype( labels )::Told{ sensor.get(), 260, {}, "" } ) );
   EXPECT_EQ( labels.told[1], ( decltype( labels )::Told{ sensor.get(), 260, {}, text } ) );
}

TEST( Mutators, ObserversSeeTheNewStateAndTheOldValueAlive ) {
   auto const sensor = Sensor::SensorIs( 1U );
   Reading const before = reading( 3, { 1, 2 } ), after = reading( 3, { 2, 1 } );
   sensor->readingIs( before );
   int told = 0;
   auto const watching = sensor->subscribe( [&]( Varek::Change const& change ) {
      ++told;
      auto const* const old = change.old<Reading>();
      ASSERT_NE( old, nullptr );
      // Whatever happens to the element meanwhile.
      if ( told == 1 ) {
         EXPECT_EQ( *sensor->reading( 3 ), after );
         sensor->readingDel( 3 );
         EXPECT_EQ( *old, before );
      } else {
         EXPECT_EQ( sensor->reading( 3 ), nullptr );
         EXPECT_EQ( *old, after );
      }
      EXPECT_EQ( *change.key<std::uint32_t>(), 3U );
      EXPECT_TRUE( change.keyEqual()( change.keyData(), &sensor->number() ) == false );
   } );
   sensor->readingIs( after );
   EXPECT_EQ( told, 2 );
}

TEST( Mutators, AClearAllLeavesWhatObserversInsertAndSkipsWhatTheyRemove ) {
   auto const sensor = Sensor::SensorIs( 1U );
   for ( std::uint32_t number = 0; number < 50; ++number )
      sensor->readingIs( reading( number ) );
   std::map<std::uint32_t, int> removals;
   auto const watching = sensor->subscribe( [&]( Varek::Change const& change ) {
      if ( !change.old<Reading>() )
         return;
      std::uint32_t const number = *change.key<std::uint32_t>();
      ++removals[number];
      if ( number >= 100 )
         return;
      sensor->readingIs( reading( 1000 + number ) ); // new, so that the map grows meanwhile
      if ( number % 2 == 0 )
         sensor->readingDel( number + 1 );
      if ( number == 0 && removals[0] == 1 )
         sensor->readingIs( reading( 0 ) );
   } );
   sensor->readingDelAll();
   for ( std::uint32_t number = 0; number < 50; ++number )
      EXPECT_EQ( removals[number], 1 ) << number;
   EXPECT_EQ( sensor->reading().size(), 51U );
   EXPECT_NE( sensor->reading( 0 ), nullptr );
}

TEST( Mutators, AClearAllGoesOnWhenObserversThrow ) {
   auto const sensor = Sensor::SensorIs( 1U );
   auto const rack = Rack::RackIs( "a" );
   for ( std::uint32_t number = 0; number < 20; ++number ) {
      sensor->readingIs( reading( number ) );
      rack->sensorIs( number );
   }
   std::vector<std::uint32_t> told;
   auto const observer = [&]( Varek::Change const& change ) {
      told.push_back( *change.key<std::uint32_t>() );
      if ( told.size() % 3 == 2 )
         throw told.back();
   };
   auto const watching = sensor->subscribe( observer ), watchingToo = rack->subscribe( observer );
   for ( bool const children : { false, true } ) {
      told.clear();
      try {
         children ? rack->sensorDelAll() : sensor->readingDelAll();
         ADD_FAILURE() << "nothing reached the caller";
      } catch ( std::uint32_t const first ) {
         EXPECT_EQ( first, told.at( 1 ) );
      }
      EXPECT_EQ( std::set( told.begin(), told.end() ).size(), 20U );
      EXPECT_TRUE( children ? rack->sensor().empty() : sensor->reading().empty() );
   }
}

/// A key whose copy fails when a test asks for that.
struct FragileKey {
   Tracked number;
   std::uint32_t hash( std::uint32_t seed ) const { return number.value() ^ seed; }
   friend bool operator==( FragileKey const&, FragileKey const& ) = default;
};

TEST( Mutators, ACopyThatFailsChangesNothingAndTellsNobody ) {
   auto const owner = Sensor::SensorIs( 1U );
   Qel::HSet<FragileKey> set;
   std::uint32_t told = 0;
   Varek::Subscription watching;
   // First of the element, then of the key for the observers.
   for ( std::uint32_t const observers : { 0U, 1U } ) {
      if ( observers )
         watching = owner->subscribe( [&]( auto& ) { ++told; } );
      FragileKey const key{ observers };
      for ( std::uint32_t copies = 0; copies <= observers; ++copies ) {
         CopiesFail const fail( static_cast<int>( copies ) );
         EXPECT_THROW( Qel::collectionIs( *owner, 261, set, key ), std::runtime_error );
         EXPECT_EQ( set.size(), observers );
      }
      Qel::collectionIs( *owner, 261, set, key );
      Qel::collectionIs( *owner, 261, set, key );
      EXPECT_EQ( set.size(), observers + 1 );
      EXPECT_EQ( told, observers );
   }
   std::size_t const before = Pallo::usage().liveBytes;
   CopiesFail const fail( 0 );
   EXPECT_THROW( Qel::MapIteration<decltype( set )>::make( set, nullptr ), std::runtime_error );
   EXPECT_EQ( Pallo::usage().liveBytes, before );
}

TEST( Mutators, RandomSequencesAreToldExactly ) {
   std::mt19937 random( 23 );
   auto const sensor = Sensor::SensorIs( 1U );
   std::map<std::uint32_t, Reading> model;
   ReadingChanges changes( *sensor );
   std::vector<ReadingChanges::Told> expected;
   auto const expect = [&]( std::uint32_t key, std::optional<Reading> old ) {
      expected.push_back( { sensor.get(), 261, key, std::move( old ) } );
   };
   for ( int step = 0; step < 5000; ++step ) {
      auto const number = static_cast<std::uint32_t>( random() % 64 );
      if ( random() % 500 == 0 ) {
         for ( auto const& element : sensor->reading() )
            expect( element.number(), element );
         sensor->readingDelAll();
         model.clear();
      } else if ( random() % 3 == 0 ) {
         auto const at = model.find( number );
         if ( at != model.end() )
            expect( number, at->second );
         // Where there is one, by the key that lies in the element that goes.
         auto const* const held = sensor->reading( number );
         ASSERT_EQ( sensor->readingDel( held ? held->number() : number ),
                    at != model.end() ? at->second : Reading() );
         model.erase( number );
      } else if ( auto* const held = sensor->reading( number ); held && random() % 8 == 0 ) {
         sensor->readingIs( *held );
      } else {
         Reading const made = reading( number, { static_cast<std::uint32_t>( random() % 3 ) } );
         auto const at = model.find( number );
         if ( at == model.end() )
            expect( number, {} );
         else if ( at->second != made )
            expect( number, at->second );
         sensor->readingIs( made );
         if ( held ) {
            ASSERT_EQ( sensor->reading( number ), held ) << "moved by a replacement";
         }
         model.insert_or_assign( number, made );
      }
      ASSERT_EQ( sensor->reading().size(), model.size() );
   }
   EXPECT_EQ( changes.told, expected );
   for ( auto const& [number, value] : model )
      EXPECT_EQ( *sensor->reading( number ), value );
}

TEST( Mutators, ValuesHaveMutatorsThatTellNobody ) {
   Reading value( 4U );
   EXPECT_EQ( value.mode(), Mode::running );
   value.modeIs( Mode::faulty );
   value.notePush( "first" );
   value.noteIs( 0, "changed" );
   Reading other( 4U );
   EXPECT_NE( value, other );
   other.modeIs( Mode::faulty );
   other.notePush( "changed" );
   EXPECT_EQ( value, other );
   other.samplePush( 0 );
   EXPECT_NE( value, other );
   EXPECT_NE( value, Reading( 5U ) );
   EXPECT_NO_THROW( value.noteIs( 0, value.note()[0] ) );
   value.notePush( value.note()[0] ); // its own element, while the storage moves
   EXPECT_EQ( value.note().back(), "changed" );
}

} // namespace
