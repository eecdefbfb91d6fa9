// Observing one attribute by its name: with its types, and nothing else than it.

#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/TestModule.h"

namespace {

using namespace TestModule;

struct Observing : testing::Test {
   Varek::Ptr<Depot> depot = Depot::DepotIs( "d" );
   std::string said;
   template<class... Facts>
   void say( Depot const& of, Facts const&... facts ) {
      EXPECT_EQ( &of, depot.get() );
      ( ( said += std::string( facts ) + " " ), ... );
   }
};

TEST_F( Observing, EachKindIsToldWithItsTypesAndNoOther ) {
   std::vector<Varek::Subscription> all;
   auto const add = [&]( Varek::Subscription one ) { all.push_back( std::move( one ) ); };
   add( depot->mottoObserve( [&]( Depot& of, std::optional<Varek::String> const& old ) {
      say( of, "motto", old.value_or( "none" ) );
   } ) );
   add( depot->noteObserve( [&]( Depot& of, Varek::String const& key, Varek::String const* old ) {
      say( of, "note", key, old ? *old : "new" );
   } ) );
   add( depot->tagObserve( [&]( auto& of, auto& member, Varek::String const* old ) {
      say( of, "tag", member, old ? "went" : "came" );
   } ) );
   add( depot->limitsObserve( [&]( auto& of, std::uint32_t key, Limits const* old ) {
      say( of, "limits", std::to_string( key ), old ? old->shift( 0 ) : "new" );
   } ) );
   add( depot->stockObserve( [&]( auto& of, Varek::String const& key, Tracked const* old ) {
      say( of, "stock", key, old ? std::to_string( old->value() ) : "new" );
   } ) );
   add( depot->lampObserve( [&]( auto& of, std::uint32_t index, Tracked const& old ) {
      say( of, "lamp", std::to_string( index ), std::to_string( old.value() ) );
   } ) );
   add( depot->badgeObserve( [&]( auto& of, Varek::Ptr<Badge> const& old ) {
      say( of, "badge", old ? std::to_string( old->mark().value() ) : "none" );
   } ) );
   auto const told = [&]( auto change ) {
      said.clear();
      change();
      return said;
   };
   EXPECT_EQ( told( [&] { depot->mottoIs( Varek::String( "a" ) ); } ), "motto none " );
   EXPECT_EQ( told( [&] { depot->mottoIs( Varek::String( "a" ) ); } ), "" );
   EXPECT_EQ( told( [&] { depot->mottoIs( std::nullopt ); } ), "motto a " );
   EXPECT_EQ( told( [&] { depot->noteIs( "k", "v" ); } ), "note k new " );
   EXPECT_EQ( told( [&] { depot->noteDelAll(); } ), "note k v " );
   EXPECT_EQ( told( [&] { depot->tagIs( "t" ); } ), "tag t came " );
   EXPECT_EQ( told( [&] { depot->tagDel( "t" ); } ), "tag t went " );
   EXPECT_EQ( told( [&] { depot->limitsIs( Limits( 7U ) ); } ), "limits 7 new " );
   Limits night( 7U );
   night.shiftIs( 0, "night" );
   depot->limitsIs( night );
   EXPECT_EQ( told( [&] { depot->limitsDel( 7 ); } ), "limits 7 night " );
   EXPECT_EQ( told( [&] { depot->stockIs( "s", Tracked( 3 ) ); } ), "stock s new " );
   EXPECT_EQ( told( [&] { depot->stockDel( "s" ); } ), "stock s 3 " );
   EXPECT_EQ( told( [&] { depot->lampIs( 19, Tracked( 4 ) ); } ), "lamp 19 0 " );
   EXPECT_EQ( told( [&] { depot->badgeIs( Tracked( 5 ) ); } ), "badge none " );
   EXPECT_EQ( told( [&] { depot->badgeDel(); } ), "badge 5 " );
   all.clear();
   EXPECT_EQ( told( [&] { depot->badgeIs( Tracked( 6 ) ); } ), "" );
}

TEST( ForEach, TellsOfEachChildOnceWhateverOthersDo ) {
   auto const plant = Plant::PlantIs();
   plant->rackIs( "there" );
   plant->rackIs( "goes" );
   // Before the one under test: replaces what comes, and removes some of it.
   bool busy = false;
   auto const meddling = plant->rackObserve( [&]( Plant& of, auto& key, auto& removed ) {
      if ( busy || removed ) {
         return;
      }
      busy = true;
      if ( key == "twice" ) {
         of.rackDel( key );
         of.rackIs( key );
      } else if ( key == "away" ) {
         of.rackDel( key );
      }
      busy = false;
   } );
   std::vector<Varek::Ptr<Rack>> told;
   auto watching = plant->rackForEach( [&]( Rack& rack ) {
      told.emplace_back( &rack );
      // Those that are there meanwhile: one goes, one comes.
      plant->rackDel( rack.place() == "there" ? "goes" : rack.place() == "goes" ? "there" : "" );
      plant->rackIs( "made by the observer" );
   } );
   for ( char const* const place : { "new", "twice", "away", "new" } ) {
      plant->rackIs( place );
   }
   plant->rackDel( "new" );
   plant->rackIs( "new" );
   std::multiset<std::string> places;
   for ( auto const& rack : told ) {
      places.insert( rack->place() );
   }
   EXPECT_EQ( places.count( "there" ) + places.count( "goes" ), 1U );
   EXPECT_EQ( places.count( "made by the observer" ), 1U );
   EXPECT_EQ( places.count( "new" ), 2U ) << "two racks, one after the other";
   EXPECT_EQ( places.count( "twice" ), 1U );
   EXPECT_EQ( places.count( "away" ), 0U );
   EXPECT_EQ( places.size(), 5U );
   watching.reset();
   plant->rackIs( "after" );
   EXPECT_EQ( told.size(), 5U );
}

} // namespace
