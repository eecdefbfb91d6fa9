#include <algorithm>
#include <limits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "framework/declare/Declare.h"
#include "framework/declare/Module.h"
#include "support/Contains.h"
#include "support/Lines.h"
#include "views/TreeJson.h"
#include "views/TreeText.h"

/// The generic printers, over a module of their own with the forms that are hard to print.
namespace TreeTypes {

extern Varek::ModuleInspectData const treeModule;

class Zone final : public Qel::ValueOf<Zone> {
   QEL_VALUE( Zone, treeModule, 0 )
   QEL_PARAMETER( 2, Varek::String, zone )
   QEL_SEQUENCE( 3, Varek::String, host )
   QEL_SET( 4, std::uint32_t, port, 0x1B873593 )
};

class Leaf final : public Qel::EntityOf<Leaf> {
   QEL_ENTITY( Leaf, treeModule, 1 )
   QEL_PARAMETER( 258, std::uint32_t, number )
   QEL_PLAIN( 259, Varek::Duration, age, 0.0 )
};

class Tree final : public Qel::EntityOf<Tree> {
   QEL_ENTITY( Tree, treeModule, 2 )
   QEL_NAME
   QEL_PLAIN( 258, Varek::String, text )
   QEL_PLAIN( 259, bool, on, false )
   QEL_PLAIN( 260, std::uint64_t, big, 0 )
   QEL_COLLECTION( 261, Zone, zone, zones, 0x2C9277B5 )
   QEL_CHILDREN( 262, Leaf, leaf, 0x3AC5D673 )
   QEL_CHILD( 263, Leaf, only )
   QEL_ARRAY( 264, std::uint32_t, 3, slot )
   QEL_MAP( 265, Varek::String, std::uint32_t, level, 0x4F1BBCDC )
   // Ends the process, as one would of a tree of which a part is still to come: nobody may ask.
   QEL_DERIVED( 266, std::uint32_t, sum, isWhole )
   bool isWhole() const { return false; }
   std::uint32_t sum() const {
      VAREK_ASSERT( isWhole() );
      return 4711;
   }
};

QEL_MODULE( "TreeTypes", treeModule, Zone, Leaf, Tree );

} // namespace TreeTypes

namespace {

using nlohmann::json;
using namespace TreeTypes;
using namespace Views;

std::string textOf( Varek::Ptr<Tree> const& tree ) {
   std::ostringstream out;
   printText( out, rootsPart( { { "t", tree } } ) );
   return out.str();
}
json jsonOfTree( Varek::Ptr<Tree> const& tree ) {
   return json::parse( jsonText( *tree ) ).at( "attributes" );
}

TEST( TreePrinting, OrderIsOfTheKeysNotOfTheHistory ) {
   auto const a = Tree::TreeIs( Varek::String( "x" ) );
   auto const b = Tree::TreeIs( Varek::String( "x" ) );
   for ( std::uint32_t i = 0; i < 200; ++i ) {
      a->leafIs( i );
      a->levelIs( "k" + std::to_string( i ), i );
   }
   for ( std::uint32_t i = 1000; i-- > 0; ) {
      b->leafIs( i );
      b->levelIs( "k" + std::to_string( i ), i );
   }
   for ( std::uint32_t i = 200; i < 1000; ++i ) {
      b->leafDel( i );
      b->levelDel( "k" + std::to_string( i ) );
   }
   std::string const text = textOf( a );
   EXPECT_EQ( text, textOf( b ) );
   EXPECT_LT( text.find( "leaf[9]" ), text.find( "leaf[10]" ) ) << "numbers are not sorted as text";
   EXPECT_EQ( std::count( text.begin(), text.end(), '\n' ), 8 + 200 * 2 + 200 );
}

TEST( TreePrinting, ValuesOfEachFormInText ) {
   auto const tree = Tree::TreeIs( Varek::String( "x" ) );
   EXPECT_TRUE( contains( textOf( tree ), "   zones       -\n" ) );
   EXPECT_TRUE( contains( textOf( tree ), "   only        -\n" ) );
   EXPECT_FALSE( contains( textOf( tree ), "4711" ) ) << "derived readings are not state";
   Zone zone( Varek::String( "z\n" ) );
   zone.hostPush( "a\"b" );
   zone.portIs( 10 );
   zone.portIs( 9 );
   tree->zonesIs( zone );
   tree->slotIs( 1, 7 );
   tree->onlyIs( 3U );
   std::string const text = textOf( tree );
   for ( char const* line : { "   zones[\"z\\x0a\"] { host [ \"a\\\"b\" ], port [ 9, 10 ] }\n",
                              "   slot        [ 0, 7, 0 ]\n", "      number  3\n" } ) {
      EXPECT_TRUE( contains( text, line ) );
   }
}

TEST( TreePrinting, LongValuesAreBrokenWithin80Columns ) {
   auto const tree = Tree::TreeIs( Varek::String( "x" ) );
   Zone zone( Varek::String( "z" ) );
   for ( int i = 0; i < 40; ++i ) {
      zone.hostPush( std::string( 100, 'h' ) );
   }
   tree->zonesIs( zone );
   tree->textIs( std::string( 1000, 't' ) );
   std::string const text = textOf( tree );
   for ( std::string const& line : linesOf( text ) ) {
      EXPECT_LE( line.size(), 80u ) << line;
   }
   EXPECT_GE( std::count( text.begin(), text.end(), 't' ), 1000 ) << "nothing is cut off";
   EXPECT_TRUE( contains( text, "host[39]" ) );
}

TEST( TreePrinting, JsonKeepsTypesAndEveryByte ) {
   auto const tree = Tree::TreeIs( Varek::String( "x" ) );
   tree->textIs( std::string( "\xff\0\"", 3 ) );
   tree->onIs( true );
   tree->bigIs( std::numeric_limits<std::uint64_t>::max() );
   tree->leafIs( 5 )->ageIs( Varek::Duration( std::numeric_limits<double>::infinity() ) );
   tree->onlyIs( 6U )->ageIs( Varek::Duration( 1.5 ) );
   json const out = jsonOfTree( tree );
   EXPECT_EQ( out.at( "text" ), ( json{ { "octets", "0xff0022" } } ) );
   EXPECT_EQ( out.at( "on" ), true );
   EXPECT_EQ( out.at( "big" ), std::numeric_limits<std::uint64_t>::max() );
   EXPECT_EQ( out.at( "/leaf/5/attributes/age"_json_pointer ), "inf" );
   EXPECT_EQ( out.at( "/only/attributes/age"_json_pointer ), 1.5 );
   EXPECT_EQ( out.at( "zones" ), json::object() );
   // A terminal obeys it as it does ESC [.
   tree->levelIs( "\xc2\x9b", 1 );
   EXPECT_TRUE( contains( jsonText( *tree ), R"("\u009b")" ) );
   // A key that looks as octets do is told apart from octets.
   tree->levelIs( "octets:0xff", 2 );
   tree->levelIs( "\xff", 3 );
   json const levels = jsonOfTree( tree ).at( "level" );
   EXPECT_EQ( levels.at( "octets:0xff" ), 3 );
   EXPECT_EQ( levels.at( "octets:0x6f63746574733a30786666" ), 2 );
}

TEST( TreePrinting, ChangesAreToldByPathWithOldAndNew ) {
   auto const tree = Tree::TreeIs( Varek::String( "x" ) );
   std::ostringstream out;
   auto const subscription = tree->subscribe(
      [&]( Varek::Change const& c ) { printText( out, "T", "t", changePart( *tree, c ) ); },
      Varek::Scope::subtree );
   Zone zone( Varek::String( "z" ) );
   tree->zonesIs( zone );
   zone.hostPush( "h" );
   tree->zonesIs( zone );
   tree->zonesDel( "z" );
   // Two attributes hold children of one type under one key: the path says which.
   tree->leafIs( 5 );
   tree->onlyIs( 5U )->ageIs( Varek::Duration( 2 ) );
   tree->leaf( 5 )->ageIs( Varek::Duration( 3 ) );
   tree->leafDel( 5 );
   tree->slotIs( 2, 8 );
   tree->levelIs( "l", 1 );
   tree->levelDel( "l" );
   EXPECT_EQ( out.str(), "T t/zones[\"z\"] - -> { zone \"z\", host [], port [] }\n"
                         "T t/zones[\"z\"] { zone \"z\", host [], port [] } -> "
                         "{ zone \"z\", host [ \"h\" ], port [] }\n"
                         "T t/zones[\"z\"] { zone \"z\", host [ \"h\" ], port [] } -> -\n"
                         "T t/leaf[5] - -> TreeTypes::Leaf\n"
                         "T t/only - -> TreeTypes::Leaf\n"
                         "T t/only/age 0 -> 2\n"
                         "T t/leaf[5]/age 0 -> 3\n"
                         "T t/leaf[5] TreeTypes::Leaf -> -\n"
                         "T t/slot[2] 0 -> 8\n"
                         "T t/level[\"l\"] - -> 1\n"
                         "T t/level[\"l\"] 1 -> -\n" );
}

} // namespace
