#include <map>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "mirror/EntityTable.h"
#include "support/TestModule.h"

namespace {

using Record = Mirror::EntityRecord;
using Table = Mirror::EntityTable<Record>;

/// The handles of what is taken out with the record at \p place.
std::set<std::uint32_t> taken( Table& table, std::uint32_t place ) {
   std::set<std::uint32_t> handles;
   if ( place != 0 ) {
      table.takeTree( place, [&]( Record const& one ) { handles.insert( one.handle ); } );
   }
   return handles;
}

// Two tables over the same entities, as of two leaders of one tree, or of a follower whose tree is
// published again: whichever comes first, each finds its own records, and only those.
TEST( EntityTable, TwoThatShareEntitiesAgreeWithAModel ) {
   std::mt19937 random( 7 );
   std::vector<Varek::Ptr<Qel::Entity>> entities;
   for ( unsigned i = 0; i < 200; ++i ) {
      entities.push_back( TestModule::Plant::PlantIs() );
   }
   {
      Table tables[2];
      std::map<Qel::Entity*, std::uint32_t> models[2];
      std::uint32_t handle = 0;
      for ( unsigned step = 0; step < 40000; ++step ) {
         unsigned const which = random() % 2;
         Table& table = tables[which];
         auto& model = models[which];
         auto const& entity = entities[random() % entities.size()];
         auto const held = model.find( entity.get() );
         if ( Record const* const found = table.find( *entity ); held == model.end() ) {
            ASSERT_EQ( found, nullptr );
            ASSERT_EQ( table.placeOf( *entity ), 0U );
            if ( random() % 2 == 0 ) {
               table.newMember( { entity, ++handle } );
               model[entity.get()] = handle;
            }
         } else {
            ASSERT_EQ( found->handle, held->second );
            if ( random() % 2 == 0 ) {
               ASSERT_EQ( taken( table, table.placeOf( *entity ) ), std::set{ held->second } );
               model.erase( held );
            }
         }
         if ( random() % 4000 == 0 ) {
            table.clear();
            model.clear();
         }
         ASSERT_EQ( table.size(), model.size() );
      }
      for ( unsigned i = 0; i < 2; ++i ) {
         std::map<Qel::Entity*, std::uint32_t> listed;
         tables[i].forEach( [&]( Record const& one ) { listed[one.entity.get()] = one.handle; } );
         EXPECT_EQ( listed, models[i] );
      }
   }
   for ( auto const& entity : entities ) {
      ASSERT_EQ( entity->qelPlace(), 0U ) << "a table has gone and left its note";
   }
}

TEST( EntityTable, RecordsStayWhereTheyAre ) {
   Table table;
   auto const first = TestModule::Plant::PlantIs();
   Record const& record = table.at( table.newMember( { first, 1 } ) );
   for ( std::uint32_t i = 2; i < 1000; ++i ) {
      table.newMember( { TestModule::Plant::PlantIs(), i } );
   }
   EXPECT_EQ( table.find( *first ), &record );
}

TEST( EntityTable, TakesOutWhatIsBelowAndNothingElse ) {
   std::mt19937 random( 11 );
   Table table;
   std::map<std::uint32_t, std::uint32_t> places; // by handle
   std::map<std::uint32_t, std::uint32_t> parents;
   for ( std::uint32_t handle = 1; handle < 20000; ++handle ) {
      auto const any = [&] {
         return std::next( places.begin(),
                           static_cast<std::ptrdiff_t>( random() % places.size() ) );
      };
      std::uint32_t const above = places.empty() || random() % 50 == 0 ? 0 : any()->first;
      places[handle] = table.newMember( { TestModule::Plant::PlantIs(), handle },
                                        above != 0 ? places[above] : 0 );
      parents[handle] = above;
      if ( random() % 3 != 0 ) {
         continue;
      }
      // Handles count up, so a parent comes before what is below it.
      auto const [top, place] = *any();
      std::set<std::uint32_t> below{ top };
      for ( auto const& [one, parent] : parents ) {
         if ( below.contains( parent ) ) {
            below.insert( one );
         }
      }
      ASSERT_EQ( taken( table, place ), below );
      for ( std::uint32_t const one : below ) {
         places.erase( one );
         parents.erase( one );
      }
      ASSERT_EQ( table.size(), places.size() );
   }
}

// Small handles, large ones, and those between, which change from one kind to the other as records
// come: all are found, none after its end.
TEST( HandleMap, AgreesWithAModelWhateverTheHandles ) {
   std::mt19937 random( 11 );
   auto const below = [&]( std::uint32_t end ) {
      return static_cast<std::uint32_t>( random() ) % end;
   };
   Mirror::HandleMap places;
   std::map<std::uint32_t, std::uint32_t> model;
   for ( unsigned step = 0; step < 60000; ++step ) {
      std::uint32_t const handle = below( 3 ) == 0   ? 1 + below( 5000 )
                                   : below( 2 ) != 0 ? 1 + below( 20000 )
                                                     : 0xFFFFFFFFU - below( 3000 );
      auto const held = model.find( handle );
      ASSERT_EQ( places.find( handle ), held == model.end() ? 0 : held->second ) << handle;
      if ( held == model.end() ) {
         places.placeIs( handle, step + 1, static_cast<std::uint32_t>( model.size() ) );
         model[handle] = step + 1;
      } else if ( below( 8 ) == 0 ) {
         places.placeDel( handle );
         model.erase( held );
      }
   }
   for ( auto const& [handle, place] : model ) {
      ASSERT_EQ( places.find( handle ), place );
   }
}

// Each handle is the first that the array does not hold, while many are in the hash table: to go
// through those each time takes minutes.
TEST( HandleMap, HandlesAtTheEdgeOfTheArrayDoNotCostAWalkEach ) {
   constexpr std::uint32_t many = 200000;
   Mirror::HandleMap places;
   for ( std::uint32_t i = 0; i < many; ++i ) {
      places.placeIs( 0xFFFFFFFFU - i, i + 1, i + 1 );
   }
   for ( std::uint32_t count = many + 1; count <= 2 * many; ++count ) {
      places.placeIs( 2 * count + 1023, count, count );
   }
   for ( std::uint32_t count = many + 1; count <= 2 * many; ++count ) {
      ASSERT_EQ( places.find( 2 * count + 1023 ), count );
   }
   ASSERT_EQ( places.find( 0xFFFFFFFFU ), 1U );
}

} // namespace
