#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ToolRun.h"

/// What schema tells of the registered types, in either form.
namespace {

using nlohmann::json;

json schema() {
   ToolRun const run( "schema --json" );
   EXPECT_EQ( run.exitCode, 0 );
   EXPECT_EQ( run.err, "" );
   return run.json();
}

TEST( Schema, EveryTypeHasTheDocumentedShapeAndOrder ) {
   std::set<std::string> const kinds = { "entity", "value", "enum8", "enum32" };
   std::set<std::string> names;
   json const modules = schema().at( "modules" );
   ASSERT_FALSE( modules.empty() );
   for ( json const& module : modules ) {
      int slot = -1;
      ASSERT_FALSE( module.at( "types" ).empty() ) << module.at( "name" );
      for ( json const& type : module.at( "types" ) ) {
         SCOPED_TRACE( type.at( "name" ) );
         EXPECT_TRUE( names.insert( type.at( "name" ) ).second ) << "twice";
         std::string const kind = type.at( "kind" );
         EXPECT_TRUE( kinds.contains( kind ) ) << kind;
         EXPECT_TRUE( type.at( "hashable" ).is_boolean() );
         EXPECT_GT( type.at( "slot" ), slot );
         slot = type.at( "slot" );
         EXPECT_EQ( type.contains( "values" ), kind.starts_with( "enum" ) );
         int id = -1;
         for ( json const& attribute : type.value( "attributes", json::array() ) ) {
            EXPECT_GT( attribute.at( "id" ), id );
            id = attribute.at( "id" );
            for ( char const* member : { "name", "type", "kind" } ) {
               EXPECT_NE( attribute.at( member ), "" ) << id << " " << member;
            }
         }
      }
   }
   EXPECT_TRUE( names.contains( "Dot1xV2::AaaResponse" ) );
}

TEST( Schema, AnEntityThatIsKnownIsToldInFull ) {
   json const modules = schema().at( "modules" );
   for ( json const& module : modules ) {
      for ( json const& type : module.at( "types" ) ) {
         if ( type.at( "name" ) != "Dot1xV2::AaaResponse" ) {
            continue;
         }
         EXPECT_EQ( type.at( "kind" ), "entity" );
         std::map<int, std::string> attributes;
         for ( json const& attribute : type.at( "attributes" ) ) {
            attributes[attribute.at( "id" )] = attribute.at( "name" );
            EXPECT_EQ( attribute.contains( "key" ), attribute.at( "id" ) == 260 );
         }
         EXPECT_EQ( attributes[259], "callingStationId" );
         EXPECT_EQ( attributes[260], "aaaAttribute" );
         return;
      }
   }
   FAIL() << "Dot1xV2::AaaResponse is not registered";
}

TEST( Schema, TablesTellWhatJsonTells ) {
   std::string const tables = ToolRun( "schema" ).out;
   json const modules = schema().at( "modules" );
   for ( json const& module : modules ) {
      for ( json const& type : module.at( "types" ) ) {
         EXPECT_NE( tables.find( type.at( "name" ).get<std::string>() ), tables.npos ) << type;
         for ( char const* list : { "attributes", "values" } ) {
            for ( json const& one : type.value( list, json::array() ) ) {
               EXPECT_NE( tables.find( one.at( "name" ).get<std::string>() ), tables.npos ) << one;
            }
         }
      }
   }
}

} // namespace
