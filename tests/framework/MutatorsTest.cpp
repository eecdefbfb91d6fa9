// Mutators in cases that are easily overlooked: copies that fail, numbers that are none, and values
// that are given to themselves.

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

#include "Dot1xV2/Dot1xStatus.h"
#include "framework/inspect/Assign.h"
#include "support/TestModule.h"
#include "support/Tracked.h"

namespace {

using namespace TestModule;

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
      if ( observers ) {
         watching = owner->subscribe( [&]( auto& ) { ++told; } );
      }
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
   // A clear-all copies the keys before it begins.
   for ( int copies = 0; copies < 2; ++copies ) {
      CopiesFail const fail( copies );
      EXPECT_THROW( Qel::collectionDelAll( *owner, 261, set ), std::runtime_error );
      EXPECT_EQ( set.size(), 2U );
      EXPECT_EQ( told, 1U );
   }
   std::size_t const before = Pallo::usage().liveBytes;
   CopiesFail const fail( 0 );
   EXPECT_THROW( Qel::MapIteration<decltype( set )>::make( set, nullptr ), std::runtime_error );
   EXPECT_EQ( Pallo::usage().liveBytes, before );
}

TEST( Mutators, ADurationThatIsNoNumberIsTheSameAsItself ) {
   using Varek::Duration;
   Duration const nan( std::nan( "" ) ), negative( -std::nan( "1" ) );
   std::vector<std::optional<std::array<Duration, 2>>> a{ { { nan, Duration( 1 ) } } }, b = a;
   EXPECT_TRUE( Qel::same( a, b ) );
   b[0] = { { Duration( 1 ), nan } };
   EXPECT_FALSE( Qel::same( a, b ) );
   b[0].reset();
   EXPECT_FALSE( Qel::same( a, b ) || Qel::same( a, decltype( a )() ) );
   EXPECT_TRUE( Qel::same( Duration( 0.0 ), Duration( -0.0 ) ) );

   using namespace Dot1xV2;
   AuthNTimers timers, other;
   timers.quietPeriodIs( nan );
   EXPECT_NE( timers, other );
   other.quietPeriodIs( negative );
   EXPECT_EQ( timers, other );
   auto const plain = AuthZTimers::AuthZTimersIs(), source = AuthZTimers::AuthZTimersIs();
   int told = 0;
   auto const watching = plain->subscribe( [&]( auto& ) { ++told; } );
   for ( Duration const value : { nan, negative, nan } ) {
      for ( auto const& one : { plain, source } ) {
         one->idleTimeoutIs( value );
         one->authCacheTimeoutIs( DeviceType::phoneDevice, value );
      }
   }
   Qel::assignEntity( *plain, *source );
   EXPECT_EQ( told, 2 );
   plain->idleTimeoutIs( Duration( 0 ) );
   plain->idleTimeoutIs( Duration( -0.0 ) );
   EXPECT_EQ( told, 3 );
}

TEST( Mutators, AnElementOfASequenceMayBeGivenToItself ) {
   Reading value( 4U );
   value.notePush( "first" );
   value.noteIs( 0, value.note()[0] );
   for ( std::uint32_t n = 0; n < 20; ++n ) { // while the storage moves
      value.notePush( value.note()[0] );
   }
   EXPECT_EQ( std::count( value.note().begin(), value.note().end(), "first" ), 21 );
   try {
      value.noteIs( std::uint64_t{ 1 } << 32, "cut" );
      ADD_FAILURE();
   } catch ( Varek::VectorOutOfRange const& error ) {
      EXPECT_EQ( error.index(), std::uint64_t{ 1 } << 32 );
   }
   EXPECT_EQ( value.note()[0], "first" );
}

} // namespace
