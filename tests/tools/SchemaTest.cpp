#include <cctype>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "ToolRun.h"

/// What schema tells of the registered types, in each form.
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

TEST( Schema, TablesFitIntoEightyColumns ) {
   std::istringstream lines( ToolRun( "schema" ).out );
   for ( std::string line; std::getline( lines, line ); ) {
      EXPECT_LE( line.size(), 80U ) << line;
      EXPECT_FALSE( line.ends_with( ' ' ) ) << line;
   }
}

TEST( Schema, TablesShowDefaultsConstantsKeysAndSalts ) {
   std::string const front =
      "module AaaHelperLedraTypes\n\n"
      "3  Dot1xV2::AaaResponse  entity\n"
      "   258  type              parameter   Dot1xV2::AaaResponseType\n"
      "   259  callingStationId  plain       Lumo::EthAddr = 00:00:00:00:00:00\n"
      "   260  aaaAttribute      collection  Dot1xV2::AaaAttribute\n"
      "           by RadiusPktParserBase::Attribute salt 0xE0935DCA\n\n"
      "module Dot1xStatus\n\n"
      "0  Dot1xV2::Dot1xConstants  value\n"
      "   2    maxAuthNPhases                   constant    U8 = 2\n";
   std::string const two = ToolRun( "schema AaaResponse Dot1xConstants" ).out;
   EXPECT_EQ( two.substr( 0, front.size() ), front );
   std::string const text = ToolRun( "schema MbaUserName AuthNProfile" ).out;
   EXPECT_NE( text.find( "= \":\"" ), text.npos ) << text;
   EXPECT_EQ( text.find( "MbaUserName(" ), text.npos ) << "what its type is at first";
}

TEST( Schema, IsOfTheTypesThatAreNamed ) {
   json const modules = ToolRun( "schema --json HostMode Dot1xV2::AuthNStatus" ).json()["modules"];
   ASSERT_EQ( modules.size(), 2U );
   EXPECT_EQ( modules[0].at( "types" ).size(), 1U );
   EXPECT_EQ( modules[0].at( "types" )[0].at( "name" ), "Dot1xV2::AuthNStatus" );
   EXPECT_EQ( modules[1].at( "types" )[0].at( "name" ), "Dot1xV2::HostMode" );
   ToolRun const unknown( "schema HostMode Hostmode" );
   EXPECT_EQ( unknown.exitCode, 2 );
   EXPECT_EQ( unknown.out, "" );
   EXPECT_NE( unknown.err.find( "no registered type is called \"Hostmode\"\n" ), unknown.err.npos );
}

TEST( Schema, MarkdownHasARowForEachAttributeAndEnumeratorOfTheLibraryAndLinksToItself ) {
   ToolRun const run( "schema --markdown" );
   EXPECT_EQ( run.exitCode, 0 );
   std::size_t rows = 0, tables = 0, expected = 0;
   std::set<std::string> headings, links;
   std::istringstream lines( run.out );
   for ( std::string line; std::getline( lines, line ); ) {
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
   json const modules = schema().at( "modules" );
   std::size_t types = 0;
   for ( json const& module : modules ) {
      if ( module.at( "name" ) == "Replay" ) {
         continue;
      }
      for ( json const& type : module.at( "types" ) ) {
         expected += type.value( "attributes", json::array() ).size();
         expected += type.value( "values", json::array() ).size();
         ++types;
      }
   }
   EXPECT_EQ( rows, expected );
   EXPECT_EQ( tables, types );
   EXPECT_EQ( links, headings ) << "the table of contents has all";
   EXPECT_EQ( run.out.find( "Replay" ), run.out.npos );
   EXPECT_EQ( ToolRun( "schema --markdown --json" ).exitCode, 2 );
}

} // namespace
