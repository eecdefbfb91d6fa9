// What ordered maps and arrays promise beyond what all keyed forms do.

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "support/TestModule.h"

namespace {

using namespace TestModule;
using U32 = std::uint32_t;
using U64 = std::uint64_t;

/// With text that is too long to lie inside a string object.
Limits limits( U32 number, U32 users ) {
   Limits made( number );
   for ( U32 i = 0; i < users; ++i ) {
      made.userIs( Varek::String( 100, 'x' ) + std::to_string( i ) );
   }
   return made;
}

TEST( OrderedForms, AReplacedValueKeepsItsNodeWhichOutlivesItsRemoval ) {
   auto const depot = Depot::DepotIs( "d" );
   auto const live = Depot::QelLimits::allocations().liveObjects();
   depot->limitsIs( limits( 4, 1 ) );
   Varek::Ptr<Depot::QelLimits> const node = depot->limits().begin()->second;
   depot->limitsIs( limits( 4, 2 ) );
   EXPECT_EQ( depot->limits().begin()->second, node );
   EXPECT_EQ( node->value(), limits( 4, 2 ) );
   EXPECT_EQ( Depot::QelLimits::allocations().liveObjects(), live + 1 );
   EXPECT_EQ( depot->limitsDel( depot->limits().find( 4 ) ), limits( 4, 2 ) );
   EXPECT_EQ( node->value(), limits( 4, 2 ) ) << "taken from one who holds it";
   EXPECT_EQ( depot->limitsDel( depot->limits().end() ), Limits() );
   // Found when there was nothing, and nothing ever after.
   auto const fresh = Depot::DepotIs( "d" );
   auto const end = fresh->limits().end(), missing = fresh->limits().find( 4 );
   fresh->limitsIs( limits( 4, 1 ) );
   for ( auto const at : { end, missing } ) {
      EXPECT_EQ( fresh->limitsDel( at ), Limits() );
   }
   EXPECT_EQ( fresh->limits().size(), 1U );
   EXPECT_EQ( Depot::QelLimits::allocations().identity(), "TestModule::Depot::QelLimits" );
   static_assert( Depot::QelLimits::keyInside && !Depot::QelStock::keyInside );
}

TEST( OrderedForms, AGenericWalkGoesOnWithTheNextKeyWhateverVanishes ) {
   auto const depot = Depot::DepotIs( "d" );
   for ( U32 const n : { 1U, 3U, 5U, 7U } ) {
      depot->limitsIs( Limits( n ) );
   }
   Varek::Inspect::IterFnTable const* use = nullptr;
   void* const at = Depot::genericIfIterator( *depot, nullptr, { Varek::FieldId( 263 ) }, use );
   auto const key = [&] {
      U32 now = 0;
      use->iterKey( at, &now );
      return now;
   };
   use->iterInc( at );
   EXPECT_EQ( key(), 3U );
   depot->limitsDel( 3 );
   EXPECT_FALSE( use->iterNonnull( at ) );
   EXPECT_EQ( use->iterPeek( at ), nullptr );
   depot->limitsIs( Limits( 3U ) );
   EXPECT_EQ( key(), 3U ) << "it is there again";
   depot->limitsDel( 3 );
   depot->limitsDel( 5 );
   depot->limitsIs( Limits( 6U ) );
   use->iterInc( at );
   EXPECT_EQ( key(), 6U );
   use->iterInc( at );
   use->iterInc( at );
   EXPECT_FALSE( use->iterNonnull( at ) );
   depot->limitsIs( Limits( 9U ) );
   use->iterInc( at );
   EXPECT_FALSE( use->iterNonnull( at ) ) << "an end is an end";
   use->iterDel( at );
}

TEST( ArrayForm, AnIndexBeyondTheEndIsRefusedByAll ) {
   auto const depot = Depot::DepotIs( "d" );
   int told = 0;
   auto const watching = depot->subscribe( [&]( auto& ) { ++told; } );
   Limits value;
   for ( auto const index : { U64{ 20 }, U64{ 0xFFFFFFFF }, U64{ 1 } << 32, ~U64{ 0 } } ) {
      EXPECT_THROW( depot->lamp( index ), Varek::RangeError );
      EXPECT_THROW( depot->lampIs( index, 1 ), Varek::RangeError );
      EXPECT_THROW( depot->lampDel( index ), Varek::RangeError );
      EXPECT_THROW( value.shiftIs( index, "" ), Varek::RangeError );
   }
   EXPECT_THROW( depot->lampDel( depot->lamp().end() ), Varek::RangeError );
   EXPECT_EQ( told, 0 );
   EXPECT_EQ( depot->light(), 0U );
   for ( auto const& [index, shown] :
         { std::pair{ U64{ 3 }, "3" }, std::pair{ U64{ 1 } << 32, "4294967296" } } ) {
      try {
         value.shiftDel( index );
         ADD_FAILURE();
      } catch ( Varek::RangeError const& error ) {
         EXPECT_EQ( error.what(),
                    "cannot access index " + std::string( shown ) + " of an array with size 3" );
      }
   }
   EXPECT_EQ( depot->lampDel( 0 ), Tracked() ); // the literal is an index
}

} // namespace
