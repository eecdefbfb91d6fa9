// RbTreeMap beside a std::map through random operations.

#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "Qel/RbTreeMap.h"
#include "support/LastWords.h"

namespace {

struct Node final : Varek::Counted {
   inline static int live = 0;
   explicit Node( int k ) : key( k ) { ++live; }
   ~Node() override { --live; }
   int key;
};
struct NodeKey {
   using Key = int;
   int const& operator()( Node const& node ) const { return node.key; }
};
using Map = Qel::RbTreeMap<Node, NodeKey>;

Varek::Ptr<Node> newNode( int key ) { return Varek::Ptr<Node>::adopt( new Node( key ) ); }

void expectAgree( Map const& map, std::map<int, Node*> const& model, std::set<int> const& marked ) {
   ASSERT_EQ( map.size(), model.size() );
   auto expected = model.begin();
   for ( auto const& [key, node] : map ) {
      ASSERT_EQ( key, expected->first ) << "not in ascending order";
      ASSERT_EQ( node.get(), ( expected++ )->second );
      ASSERT_EQ( map.isMarkedForDeletion( key ), marked.contains( key ) ) << key;
   }
   ASSERT_EQ( static_cast<std::size_t>( Node::live ), model.size() );
}

TEST( RbTreeMap, AgreesThroughRandomOperations ) {
   std::mt19937 random( 11 );
   Map map;
   auto const end = map.end(), missing = map.find( 1 );
   std::map<int, Node*> model;
   std::set<int> marked;
   for ( int step = 0; step < 30'000; ++step ) {
      int const key = static_cast<int>( random() % 200 ) - 100;
      std::uint32_t const version = map.version();
      std::uint32_t const size = map.size();
      auto const what = random() % 1000;
      if ( what < 450 && !model.contains( key ) ) {
         auto node = newNode( key );
         model[key] = node.get();
         map.memberNewChild( std::move( node ) );
      } else if ( what < 900 ) {
         auto const removed = map.memberDelG( key );
         ASSERT_EQ( removed.get(), model.contains( key ) ? model[key] : nullptr );
         model.erase( key );
         marked.erase( key );
      } else if ( what < 901 ) {
         map.memberClearAll();
         model.clear();
         marked.clear();
      } else if ( what < 905 ) {
         map.qelMarkAllForDeletion();
         for ( auto const& one : model ) {
            marked.insert( one.first );
         }
      } else {
         bool const mark = what % 2 != 0;
         map.qelMarkedForDeletionGIs( key, mark );
         if ( mark && model.contains( key ) ) {
            marked.insert( key );
         } else {
            marked.erase( key );
         }
      }
      ASSERT_EQ( map.end(), end ) << "not the same from the beginning";
      ASSERT_EQ( map.find( 1000 ), missing );
      ASSERT_TRUE( map.version() != version || map.size() == size ) << "changed, same version";
      auto const below = map.lowerBound( key );
      auto const expected = model.lower_bound( key );
      ASSERT_EQ( below == map.end(), expected == model.end() );
      if ( below != map.end() ) {
         ASSERT_EQ( below->first, expected->first );
      }
      if ( step % 50 == 0 ) {
         expectAgree( map, model, marked );
      }
   }
}

TEST( RbTreeMapDeathTest, TakesNoKeyTwice ) {
   Map map;
   map.memberNewChild( newNode( 1 ) );
   EXPECT_DEATH( map.memberNewChild( newNode( 1 ) ),
                 lastWords( "platform/Qel/RbTreeMap.h:[0-9]+: assertion failed: "
                            "!tree_.contains\\( key \\), where key = 1" ) );
}

} // namespace
