#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "SamplesReadme.h"
#include "ToolRun.h"
#include "support/Files.h"
#include "support/PacketBuilder.h"

/// What replay makes of the samples, against what their README tells of them.
namespace {

using nlohmann::json;
using SamplesReadme::Row;
using SamplesReadme::Table;

std::string hex( std::uint64_t value, int digits ) {
   char text[24];
   std::snprintf( text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>( value ) );
   return text;
}

/// The MAC address of the tables, "-" for none, as replay prints it.
json mac( std::string text ) {
   std::replace( text.begin(), text.end(), '-', ':' );
   return text == ":" ? json() : json( text );
}

/// None for an attribute that is not there.
json valuesOf( json const& attributes, std::string const& name ) {
   for ( json const& attribute : attributes ) {
      if ( attribute.at( "name" ) == name ) {
         return attribute.at( "values" );
      }
   }
   return json::array();
}

/// The values of an attribute as the tables of final answers and of accounting give them.
std::string cell( json const& attributes, std::string const& name ) {
   std::string result;
   for ( json const& value : valuesOf( attributes, name ) ) {
      json const& shown = value.at( value.contains( "name" ) ? "name" : "value" );
      result += result.empty() ? "" : ", ";
      result += shown.is_string() ? shown.get<std::string>() : shown.dump();
      if ( value.value( "tag", 0 ) != 0 ) {
         result += " (tag " + value.at( "tag" ).dump() + ")";
      }
   }
   return result.empty() ? "-" : result;
}

/// An octet count, whose part beyond 32 bits is an attribute of its own (RFC 2869 5.1).
std::string octetCount( json const& attributes, std::string const& direction ) {
   std::uint64_t count = 0;
   for ( char const* part : { "-Gigawords", "-Octets" } ) {
      json const values = valuesOf( attributes, "Acct-" + direction + part );
      count <<= 32;
      count += values.empty() ? 0 : values[0].at( "value" ).get<std::uint64_t>();
   }
   return valuesOf( attributes, "Acct-" + direction + "-Octets" ).empty() ? "-"
                                                                          : std::to_string( count );
}

/// One value as the tables of all attributes give it: `Filter-Id=acl-staff.in`.
std::string token( json const& attribute, json const& value ) {
   std::string name = attribute.at( "name" );
   std::string const form = value.at( "form" );
   json const& what = value.at( "value" );
   if ( attribute.at( "vendor" ) != 0 ) {
      std::string const octets = what.get<std::string>().substr( 2 );
      return "Vendor-Specific:" + attribute.at( "vendor" ).dump() + "=0x" +
             hex( attribute.at( "type" ), 2 ) + hex( octets.size() / 2 + 2, 2 ) + octets;
   }
   // Where text has no tag octet the tag is 0; an integer always has the octet.
   if ( value.contains( "tag" ) && ( form == "integer" || value.at( "tag" ) != 0 ) ) {
      name.append( ":" ).append( value.at( "tag" ).dump() );
   }
   if ( name == "Egress-VLANID" ) {
      return name + "=0x" + hex( what, 8 );
   }
   if ( name == "Framed-Interface-Id" && form == "integer" ) {
      return name + "=0x" + hex( what, 16 );
   }
   std::string result = name + "=";
   for ( char const c : what.is_string() ? what.get<std::string>() : what.dump() ) {
      c == '\0' ? result.append( "<NUL>" ) : result.append( 1, c );
   }
   return result;
}

/// Which attribute a token is of: its name, and for a vendor's its sub-type as well.
std::string attributeOf( std::string const& value ) {
   bool const vendor = value.starts_with( "Vendor-Specific" );
   return value.substr( 0, vendor ? value.find( '=' ) + 5 : value.find_first_of( ":=" ) );
}

/// Values by attribute, the attributes in the order in which they first occur.
std::vector<std::vector<std::string>> grouped( std::vector<std::string> const& tokens ) {
   std::vector<std::vector<std::string>> result;
   for ( std::string const& one : tokens ) {
      auto const at = std::find_if( result.begin(), result.end(), [&]( auto const& group ) {
         return attributeOf( group.front() ) == attributeOf( one );
      } );
      ( at != result.end() ? *at : result.emplace_back() ).push_back( one );
   }
   return result;
}

/// The README writes this one prefix as its octets.
std::string asPrinted( std::string const& documented ) {
   return documented == "Framed-IPv6-Prefix=0x004020010db8005300050000000000000000"
             ? "Framed-IPv6-Prefix=2001:db8:53:5::/64"
             : documented;
}

/// The records of answers and of unanswered requests, by the packet of the request.
std::map<std::string, json> byRequest( json const& output ) {
   std::map<std::string, json> result;
   for ( json const& record : output ) {
      if ( record.contains( "request" ) ) {
         result[record.at( "request" ).at( "packet" ).dump()] = record;
      }
   }
   return result;
}

/// By the heading of a column the attribute that is in it.
using Columns = std::map<std::string, std::string>;

void expectCells( Row const& row, json const& attributes, Columns const& columns ) {
   for ( auto const& [column, attribute] : columns ) {
      EXPECT_EQ( cell( attributes, attribute ), row.at( column ) ) << column;
   }
}

void expectFinalAnswers( Table const& table, std::map<std::string, json> const& records ) {
   static Columns const asked = { { "User-Name in the request", "User-Name" },
                                  { "NAS-Port-Id", "NAS-Port-Id" } };
   static Columns const answered = {
      { "VLAN (Tunnel-Private-Group-Id)", "Tunnel-Private-Group-Id" },
      { "Filter-Id", "Filter-Id" },
      { "Class", "Class" },
      { "Session-Timeout", "Session-Timeout" },
      { "Termination-Action", "Termination-Action" },
      { "Idle-Timeout", "Idle-Timeout" },
      { "Acct-Interim-Interval", "Acct-Interim-Interval" } };
   ASSERT_FALSE( table.empty() );
   for ( Row const& row : table ) {
      auto const frames = SamplesReadme::numbers( row.at( "frames" ) );
      SCOPED_TRACE( "frames " + row.at( "frames" ) );
      json const& record = records.at( frames.front() );
      json const& request = record.at( "request" );
      EXPECT_EQ( record.at( "callingStationId" ), mac( row.at( "MAC" ) ) );
      expectCells( row, request.at( "attributes" ), asked );
      if ( row.at( "result" ) == "no answer" ) {
         EXPECT_EQ( record.at( "record" ), "unanswered" );
         EXPECT_EQ( request.at( "timesSent" ), frames.size() );
         continue;
      }
      EXPECT_EQ( record.at( "type" ), row.at( "result" ) + "ed" );
      EXPECT_EQ( record.at( "packet" ).dump(), frames.back() );
      expectCells( row, record.at( "attributes" ), answered );
   }
}

/// \p leftOut are the attributes that the table does not give.
void expectAllAttributes( Table const& table, std::map<std::string, json> const& records,
                          std::vector<std::string> const& leftOut = {} ) {
   ASSERT_FALSE( table.empty() );
   for ( Row const& row : table ) {
      SCOPED_TRACE( "request " + row.at( "request frame" ) );
      json const& record = records.at( row.at( "request frame" ) );
      std::vector<std::string> expected;
      for ( std::string const& one :
            SamplesReadme::codes( row.at( "attributes of the answer, in order" ) ) ) {
         expected.push_back( asPrinted( one ) );
      }
      std::vector<std::string> found;
      std::size_t attributes = 0;
      for ( json const& attribute : record.at( "attributes" ) ) {
         ++attributes;
         bool const skip =
            attribute.at( "vendor" ) == 311 ||
            std::count( leftOut.begin(), leftOut.end(), attribute.at( "name" ) ) != 0;
         for ( json const& value : skip ? json::array() : attribute.at( "values" ) ) {
            found.push_back( token( attribute, value ) );
         }
      }
      EXPECT_EQ( grouped( found ), grouped( expected ) );
      EXPECT_EQ( record.at( "callingStationId" ), mac( row.at( "MAC" ) ) );
      EXPECT_EQ( record.at( "notifications" ), attributes + 1 )
         << "one each and one of the station";
   }
}

void expectAccounting( Table const& table, std::map<std::string, json> const& records ) {
   static Columns const columns = { { "status", "Acct-Status-Type" },
                                    { "session id", "Acct-Session-Id" },
                                    { "NAS-Port-Id", "NAS-Port-Id" },
                                    { "session time, s", "Acct-Session-Time" },
                                    { "terminate cause", "Acct-Terminate-Cause" },
                                    { "Class", "Class" },
                                    { "Framed-IP-Address", "Framed-IP-Address" } };
   ASSERT_FALSE( table.empty() );
   for ( Row const& row : table ) {
      auto const frames = SamplesReadme::numbers( row.at( "frames" ) );
      SCOPED_TRACE( "frames " + row.at( "frames" ) );
      json const& record = records.at( frames.front() );
      EXPECT_EQ( record.at( "type" ), "acctResponse" );
      EXPECT_EQ( record.at( "packet" ).dump(), frames.back() );
      EXPECT_EQ( record.at( "callingStationId" ), mac( row.at( "MAC" ) ) );
      expectCells( row, record.at( "/request/attributes"_json_pointer ), columns );
   }
}

void expectCounts( json const& output, std::map<std::string, int> const& counts ) {
   for ( auto const& [name, count] : counts ) {
      EXPECT_EQ( output.back().at( name ), count ) << name;
   }
}

json replayed( std::string const& name ) {
   return json::parse( printedBy( "replay --json " + sample( name ) ) );
}

/// Of each record what does not depend on the recording: no file, times and endpoints.
json content( json const& output ) {
   json result = json::array();
   for ( json record : recordsOf( output, "answer" ) ) {
      for ( char const* name :
            { "file", "time", "sinceStart", "client", "server", "identifier" } ) {
         record.erase( name );
      }
      record.at( "request" ).erase( "time" );
      result.push_back( record );
   }
   return result;
}

TEST( Replay, MacBasedAuthenticationIsAsDocumented ) {
   auto const tables = SamplesReadme::tables( "mba.pcap" );
   ASSERT_EQ( tables.size(), 2u );
   json const output = replayed( "mba.pcap" );
   auto const records = byRequest( output );
   expectFinalAnswers( tables[0], records );
   expectAllAttributes( tables[1], records );
   EXPECT_EQ( tables[0].size(), records.size() );
   expectCounts( output, { { "requests", 14 },
                           { "sentAgain", 2 },
                           { "accepted", 11 },
                           { "rejected", 2 },
                           { "unanswered", 1 } } );
}

TEST( Replay, ValuesWithANameAreShownByIt ) {
   json const answer = recordsOf( replayed( "mba.pcap" ), "answer" ).at( 1 );
   EXPECT_EQ( cell( answer.at( "attributes" ), "Tunnel-Type" ), "VLAN (tag 1)" );
   std::string const text = printedBy( "replay " + sample( "mba.pcap" ) );
   EXPECT_TRUE( contains( text, ":1 VLAN (13)\n" ) );
   EXPECT_TRUE( contains( text, " RADIUS-Request (1)\n" ) );
}

TEST( Replay, EapRoundsAreAsDocumented ) {
   auto const tables = SamplesReadme::tables( "eap-radius.pcap" );
   ASSERT_EQ( tables.size(), 2u );
   json const output = replayed( "eap-radius.pcap" );
   auto const records = byRequest( output );
   expectFinalAnswers( tables[0], records );
   expectAllAttributes( tables[1], records, { "EAP-Message", "Message-Authenticator" } );
   expectCounts(
      output, { { "requests", 36 }, { "challenges", 30 }, { "accepted", 4 }, { "rejected", 2 } } );
   for ( json const& record : recordsOf( output, "answer" ) ) {
      if ( record.at( "code" ) == 11 ) {
         EXPECT_EQ( record.at( "type" ), "challenge" );
         EXPECT_NE( valuesOf( record.at( "attributes" ), "State" ), json::array() );
         EXPECT_NE( valuesOf( record.at( "attributes" ), "EAP-Message" ), json::array() );
      }
   }
}

TEST( Replay, AccountingIsAsDocumented ) {
   auto const tables = SamplesReadme::tables( "acct.pcap" );
   ASSERT_EQ( tables.size(), 1u );
   auto const records = byRequest( replayed( "acct.pcap" ) );
   expectAccounting( tables[0], records );
   EXPECT_EQ( tables[0].size(), records.size() );
   for ( Row const& row : tables[0] ) {
      auto const& record = records.at( SamplesReadme::numbers( row.at( "frames" ) ).front() );
      json const& attributes = record.at( "/request/attributes"_json_pointer );
      EXPECT_EQ( octetCount( attributes, "Input" ), row.at( "input octets (gigawords counted)" ) );
      EXPECT_EQ( octetCount( attributes, "Output" ), row.at( "output octets" ) );
   }
}

TEST( Replay, WiredPortIsAsDocumentedInEachRecordingOfIt ) {
   auto const tables = SamplesReadme::tables( "wired-eapol.pcap" );
   ASSERT_EQ( tables.size(), 3u );
   json const output = replayed( "wired-eapol.pcap" );
   auto const records = byRequest( output );
   expectFinalAnswers( tables[1], records );
   expectAccounting( tables[2], records );
   for ( Row const& row : tables[0] ) {
      for ( auto const& [request, record] : records ) {
         if ( record.at( "packet" ).dump() == row.at( "frame" ) ) {
            EXPECT_NEAR( record.at( "sinceStart" ).get<double>(), std::stod( row.at( "time, s" ) ),
                         0.001 );
            EXPECT_TRUE( row.at( "what" ).starts_with( record.at( "codeName" ).get<std::string>() +
                                                       " id " +
                                                       record.at( "identifier" ).dump() ) );
         }
      }
   }
   json const expected = content( output );
   EXPECT_EQ( content( replayed( "wired-eapol-any.pcap" ) ), expected );
   EXPECT_EQ( content( replayed( "wired-eapol-vlan.pcap" ) ), expected );
}

// As the NAS itself has none.
TEST( Replay, WhatIsOfNoStationNamesNone ) {
   std::string const text = printedBy( "replay " + sample( "wired-eapol.pcap" ) );
   EXPECT_TRUE( contains( text, "\n   port \"Ethernet31\", session \"8B411FA374561086\", "
                                "Accounting-Off (8), request in\n" ) )
      << text;
   EXPECT_EQ( text.find( "unknown" ), text.npos );
}

TEST( Replay, APrefixHasItsLengthAlsoIfItIsThatOfAnAddress ) {
   using namespace PacketBuilder;
   Files::Folder const folder;
   std::string const file = folder.path + "/prefix.pcap";
   Octets address( 16, 0 );
   address[0] = 0x20;
   writeCapture( file,
                 { onWire( radius( 1, 7, {} ) ),
                   onWire( radius( 2, 7,
                                   attribute( 97, Octets{ 0, 128 } + address ) +
                                      attribute( 97, Octets{ 0, 8, 0x20 } ) +
                                      attribute( 95, address ) + attribute( 8, { 192, 0, 2, 1 } ) ),
                           true ) } );
   json const attributes = json::parse( printedBy( "replay --json " + file ) )[0]["attributes"];
   EXPECT_EQ( cell( attributes, "Framed-IPv6-Prefix" ), "2000::/128, 2000::/8" );
   EXPECT_EQ( cell( attributes, "NAS-IPv6-Address" ), "2000::" );
   EXPECT_EQ( cell( attributes, "Framed-IP-Address" ), "192.0.2.1" );
   EXPECT_TRUE( contains( printedBy( "replay " + file ), " 2000::/128\n" ) );
}

TEST( Replay, OtherRecordingsOfTheSameRequestsGiveTheSame ) {
   json const output = replayed( "mba.pcap" );
   EXPECT_EQ( content( replayed( "mba.pcapng" ) ), content( output ) );
   // Sent anew: the User-Password is hidden under another authenticator.
   auto const tagged = recordsOf( replayed( "mba-vlan.pcap" ), "answer" );
   auto const answers = recordsOf( output, "answer" );
   ASSERT_EQ( tagged.size(), 9u );
   for ( std::size_t i = 0; i < tagged.size(); ++i ) {
      for ( char const* name : { "packet", "type", "callingStationId", "attributes" } ) {
         EXPECT_EQ( tagged[i].at( name ), answers[i].at( name ) ) << name << " of answer " << i;
      }
   }
}

} // namespace
