#include <cctype>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ToolRun.h"

/// What schema tells of the registered types, in each form.
namespace {

using nlohmann::json;

json modules() { return json::parse( printedBy( "schema --json" ) ).at( "modules" ); }

/// Attributes or enumerators.
json membersOf( json const& type ) {
   return type.value( type.contains( "values" ) ? "values" : "attributes", json::array() );
}

TEST( Schema, EveryTypeHasTheDocumentedShapeAndOrder ) {
   std::set<std::string> const kinds = { "entity", "value", "enum8", "enum32" };
   std::set<std::string> names;
   for ( json const& module : modules() ) {
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

TEST( Schema, TablesTellWhatJsonTells ) {
   std::string const tables = printedBy( "schema" );
   auto const told = [&]( json const& one ) {
      return contains( tables, one.at( "name" ).get<std::string>() );
   };
   for ( json const& module : modules() ) {
      for ( json const& type : module.at( "types" ) ) {
         ASSERT_TRUE( told( type ) );
         for ( json const& member : membersOf( type ) ) {
            ASSERT_TRUE( told( member ) );
         }
      }
   }
}

TEST( Schema, TablesShowDefaultsConstantsKeysAndSalts ) {
   EXPECT_TRUE(
      printedBy( "schema AaaResponse Dot1xConstants" ).starts_with( R"(module AaaHelperLedraTypes

3  Dot1xV2::AaaResponse  entity
   258  type              parameter   Dot1xV2::AaaResponseType
   259  callingStationId  plain       Lumo::EthAddr = 00:00:00:00:00:00
   260  aaaAttribute      collection  Dot1xV2::AaaAttribute
           by RadiusPktParserBase::Attribute salt 0xE0935DCA

module Dot1xStatus

0  Dot1xV2::Dot1xConstants  value
   2    maxAuthNPhases                   constant    U8 = 2
)" ) );
   std::string const text = printedBy( "schema MbaUserName AuthNProfile" );
   EXPECT_TRUE( contains( text, "= \":\"" ) );
   EXPECT_FALSE( contains( text, "MbaUserName(" ) ) << "what its type is at first";
}

TEST( Schema, IsOfTheTypesThatAreNamed ) {
   json const two = ToolRun( "schema --json HostMode Dot1xV2::AaaResponse" ).json().at( "modules" );
   ASSERT_EQ( two.size(), 2U );
   ASSERT_EQ( two[0].at( "types" ).size(), 1U );
   json const& response = two[0].at( "types" )[0];
   EXPECT_EQ( response.at( "name" ), "Dot1xV2::AaaResponse" );
   EXPECT_EQ( response.at( "kind" ), "entity" );
   ASSERT_EQ( response.at( "attributes" ).size(), 3U );
   EXPECT_EQ( response.at( "attributes" )[2].at( "id" ), 260 );
   for ( json const& attribute : response.at( "attributes" ) ) {
      EXPECT_EQ( attribute.contains( "key" ), attribute.at( "name" ) == "aaaAttribute" );
   }
   EXPECT_EQ( two[1].at( "/types/0/name"_json_pointer ), "Dot1xV2::HostMode" );
   expectFailure( "schema HostMode Hostmode", 2, "no registered type is called \"Hostmode\"\n" );
}

TEST( Schema, MarkdownHasARowForEachAttributeAndEnumeratorOfTheLibraryAndLinksToItself ) {
   std::string const text = printedBy( "schema --markdown" );
   std::size_t rows = 0, tables = 0, expected = 0;
   std::set<std::string> headings, links;
   for ( std::string const& line : linesOf( text ) ) {
      rows += line.starts_with( "| " ) && std::isdigit( line[2] );
      tables += line.starts_with( "|---" );
      if ( line.starts_with( "##" ) ) {
         std::string anchor;
         for ( char const c : line.substr( line.find( ' ' ) + 1 ) ) {
            anchor += c == ':'   ? ""
                      : c == ' ' ? "-"
                                 : std::string( 1, static_cast<char>( std::tolower( c ) ) );
         }
         EXPECT_TRUE( headings.insert( anchor ).second ) << anchor;
      }
      for ( std::size_t at = 0; ( at = line.find( "](#", at ) ) != line.npos; ++at ) {
         links.insert( line.substr( at + 3, line.find( ')', at ) - at - 3 ) );
      }
   }
   std::size_t types = 0;
   for ( json const& module : modules() ) {
      for ( json const& type : module.at( "types" ) ) {
         bool const ofTheLibrary = module.at( "name" ) != "Replay";
         expected += ofTheLibrary ? membersOf( type ).size() : 0;
         types += ofTheLibrary ? 1 : 0;
      }
   }
   EXPECT_EQ( rows, expected );
   EXPECT_EQ( tables, types );
   EXPECT_EQ( links, headings ) << "the table of contents has all";
   EXPECT_FALSE( contains( text, "Replay" ) );
   EXPECT_EQ( ToolRun( "schema --markdown --json" ).exitCode, 2 );
}

} // namespace
