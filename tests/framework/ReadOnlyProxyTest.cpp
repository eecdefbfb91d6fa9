// Of a tree that mirrors another process nothing can be changed but by the log, whatever the type
// and the mutator, and what is refused has left no trace.

#include <gtest/gtest.h>

#include "framework/inspect/Whole.h"
#include "support/AnyValue.h"
#include "support/Trees.h"

using namespace TestModule;
using Varek::WriteFromReadOnlyProxy;

namespace {

class ReadOnlyProxy : public testing::TestWithParam<Qel::TypeRecord const*> {};

// The same change of an equal tree that is no proxy tells whether there was one to refuse.
TEST_P( ReadOnlyProxy, RefusesWhatWouldChangeItAndNothingElse ) {
   auto const proxy = freshEntity( *GetParam() );
   unsigned told = 0, refused = 0, equal = 0;
   Varek::Subscription observed;
   std::mt19937 random( 1 );
   for ( unsigned round = 0; round < 120; ++round ) {
      Trees::change( *proxy, random ); // while it is none
      if ( round == 40 ) {             // from here on they are all observed
         observed = proxy->subscribe( [&]( auto& ) { ++told; }, Varek::Scope::subtree );
      }
      auto const twin = Qel::cloneEntity( *proxy );
      Trees::Lines const before = Trees::linesOf( *proxy );
      proxy->qelReadOnlyProxyIs( true );
      told = 0;
      std::uint32_t const seed = static_cast<std::uint32_t>( random() );
      try {
         RandomChange{ seed }( *proxy );
         RandomChange{ seed }( *twin );
         ++equal;
         EXPECT_EQ( Trees::linesOf( *twin ), before );
      } catch ( WriteFromReadOnlyProxy const& ) {
         RandomChange{ seed }( *twin );
         ++refused;
         EXPECT_NE( Trees::linesOf( *twin ), before );
      }
      ASSERT_EQ( Trees::linesOf( *proxy ), before );
      EXPECT_EQ( told, 0U );
      proxy->qelReadOnlyProxyIs( false );
   }
   bool const fixed = std::ranges::all_of( GetParam()->attributes,
                                           []( auto& one ) { return one.compute || !one.onWire; } );
   EXPECT_EQ( refused == 0, fixed );
   EXPECT_TRUE( equal != 0 || GetParam()->attributes.size() < 3 );
   observed.reset();
   EXPECT_FALSE( proxy->initial() );
}
INSTANTIATE_TEST_SUITE_P( Registered, ReadOnlyProxy, everyEntityType(), registeredTypeName );

TEST( ReadOnlyProxies, AreWholeTreesAndAreLeftByWhatIsTakenOut ) {
   auto const yard = Yard::YardIs();
   auto const depot = yard->depotIs( "d" );
   auto const rack = depot->annexIs()->rackIs( "r" );
   auto const office = depot->office();
   yard->qelReadOnlyProxyIs( true );
   for ( Qel::Entity* const one :
         { static_cast<Qel::Entity*>( depot.get() ), static_cast<Qel::Entity*>( rack.get() ),
           static_cast<Qel::Entity*>( office.get() ) } ) {
      EXPECT_TRUE( one->readOnlyProxy() );
      EXPECT_TRUE( one->unobserved() );
      EXPECT_FALSE( one->initial() );
   }
   for ( int observers = 1; observers <= 2; ++observers ) { // one that has been observed stays one
      std::vector<Varek::Subscription> watching;
      while ( watching.size() < static_cast<std::size_t>( observers ) ) {
         watching.push_back( office->subscribe( []( auto& ) {} ) );
      }
   }
   EXPECT_TRUE( office->readOnlyProxy() );
   rack->modeIs( rack->mode() );
   EXPECT_EQ( yard->depotIs( "d" ), depot );
   EXPECT_EQ( depot->annexIs()->rackIs( "r" ), rack );
   EXPECT_THROW( rack->modeIs( Mode::run ), WriteFromReadOnlyProxy );
   EXPECT_THROW( depot->officeDel(), WriteFromReadOnlyProxy );
   EXPECT_THROW( yard->depotDelAll(), WriteFromReadOnlyProxy );

   yard->qelReadOnlyProxyIs( false );
   depot->annexDel(); // ordinary from here on
   yard->qelReadOnlyProxyIs( true );
   EXPECT_TRUE( rack->initial() );
   rack->sensorIs( 1 )->levelIs( 7 );
   EXPECT_TRUE( rack->sensor( 1 )->initial() );
   // A mirror within a tree that is none stays one when its owner lets it go.
   yard->qelReadOnlyProxyIs( false );
   depot->qelReadOnlyProxyIs( true );
   yard->depotDel( "d" );
   EXPECT_TRUE( office->readOnlyProxy() );
}

} // namespace
