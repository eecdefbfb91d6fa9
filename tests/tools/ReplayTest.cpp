#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <fmt/core.h>
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

/// As replay prints it.
json stationOf( Row const& row ) {
   return row.at( "MAC" ) == "-" ? json() : json( SamplesReadme::mac( row ) );
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

/// The values of an attribute as those tables give them; an octet count with its part beyond 32
/// bits, which is an attribute of its own (RFC 2869 5.1).
std::string cell( json const& attributes, std::string const& name ) {
   std::string result;
   for ( json const& value : valuesOf( attributes, name ) ) {
      json shown = value.at( value.contains( "name" ) ? "name" : "value" );
      if ( name.ends_with( "put-Octets" ) ) {
         json const more =
            valuesOf( attributes, name.substr( 0, name.rfind( '-' ) ) + "-Gigawords" );
         shown = shown.get<std::uint64_t>() +
                 ( more.empty() ? 0 : more[0].at( "value" ).get<std::uint64_t>() << 32 );
      }
      result += result.empty() ? "" : ", ";
      result += shown.is_string() ? shown.get<std::string>() : shown.dump();
      if ( value.value( "tag", 0 ) != 0 ) {
         result += " (tag " + value.at( "tag" ).dump() + ")";
      }
   }
   return result.empty() ? "-" : result;
}

/// One value as the tables of all attributes give it: `Filter-Id=acl-staff.in`.
std::string token( json const& attribute, json const& value ) {
   std::string name = attribute.at( "name" );
   std::string const form = value.at( "form" );
   json const& what = value.at( "value" );
   if ( attribute.at( "vendor" ) != 0 ) {
      std::string const octets = what.get<std::string>().substr( 2 );
      return fmt::format( "Vendor-Specific:{}=0x{:02x}{:02x}{}", attribute.at( "vendor" ).dump(),
                          attribute.at( "type" ).get<int>(), octets.size() / 2 + 2, octets );
   }
   // Where text has no tag octet the tag is 0; an integer always has the octet.
   if ( value.contains( "tag" ) && ( form == "integer" || value.at( "tag" ) != 0 ) ) {
      name.append( ":" ).append( value.at( "tag" ).dump() );
   }
   if ( name == "Egress-VLANID" || ( name == "Framed-Interface-Id" && form == "integer" ) ) {
      return fmt::format( "{}=0x{:0{}x}", name, what.get<std::uint64_t>(),
                          name[0] == 'E' ? 8 : 16 );
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

/// Each row of a table of final answers or of accounting against its record. A column is called
/// after the attribute in it, or as follows.
void expectExchanges( Table const& table, std::map<std::string, json> const& records ) {
   static std::map<std::string, std::string> const attributes = {
      { "User-Name in the request", "User-Name" },
      { "VLAN (Tunnel-Private-Group-Id)", "Tunnel-Private-Group-Id" },
      { "status", "Acct-Status-Type" },
      { "session id", "Acct-Session-Id" },
      { "session time, s", "Acct-Session-Time" },
      { "input octets (gigawords counted)", "Acct-Input-Octets" },
      { "output octets", "Acct-Output-Octets" },
      { "terminate cause", "Acct-Terminate-Cause" } };
   ASSERT_FALSE( table.empty() );
   for ( Row const& row : table ) {
      auto const frames = SamplesReadme::numbers( row.at( "frames" ) );
      SCOPED_TRACE( "frames " + row.at( "frames" ) );
      json const& record = records.at( frames.front() );
      bool const accounting = row.contains( "status" );
      bool const answered = accounting || row.at( "result" ) != "no answer";
      EXPECT_EQ( record.at( "callingStationId" ), stationOf( row ) );
      for ( auto const& [column, text] : row ) {
         if ( column == "frames" || column == "MAC" || column == "result" ) {
            continue;
         }
         auto const at = attributes.find( column );
         std::string const attribute = at != attributes.end() ? at->second : column;
         bool const asked = accounting || attribute == "User-Name" || attribute == "NAS-Port-Id";
         EXPECT_EQ( cell( asked ? record.at( "/request/attributes"_json_pointer )
                                : record.value( "attributes", json::array() ),
                          attribute ),
                    text )
            << column;
      }
      if ( answered ) {
         EXPECT_EQ( record.at( "type" ), accounting ? "acctResponse" : row.at( "result" ) + "ed" );
         EXPECT_EQ( record.at( "packet" ).dump(), frames.back() );
      } else {
         EXPECT_EQ( record.at( "record" ), "unanswered" );
         EXPECT_EQ( record.at( "/request/timesSent"_json_pointer ), frames.size() );
      }
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
         // The README writes this one prefix as its octets.
         bool const octets = one == "Framed-IPv6-Prefix=0x004020010db8005300050000000000000000";
         expected.push_back( octets ? "Framed-IPv6-Prefix=2001:db8:53:5::/64" : one );
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
      EXPECT_EQ( record.at( "callingStationId" ), stationOf( row ) );
      EXPECT_EQ( record.at( "notifications" ), attributes + 1 )
         << "one each and one of the station";
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
   expectExchanges( tables[0], records );
   expectAllAttributes( tables[1], records );
   EXPECT_EQ( tables[0].size(), records.size() );
   expectCounts( output, { { "requests", 14 },
                           { "sentAgain", 2 },
                           { "accepted", 11 },
                           { "rejected", 2 },
                           { "unanswered", 1 } } );
}

TEST( Replay, TextHasTheNamesOfValuesAndOfNoStationNone ) {
   json const answer = recordsOf( replayed( "mba.pcap" ), "answer" ).at( 1 );
   EXPECT_EQ( cell( answer.at( "attributes" ), "Tunnel-Type" ), "VLAN (tag 1)" );
   std::string const mba = printedBy( "replay " + sample( "mba.pcap" ) );
   EXPECT_TRUE( contains( mba, ":1 VLAN (13)\n" ) );
   EXPECT_TRUE( contains( mba, " RADIUS-Request (1)\n" ) );
   // What the NAS itself says is of none.
   std::string const wired = printedBy( "replay " + sample( "wired-eapol.pcap" ) );
   EXPECT_TRUE( contains( wired, "\n   port \"Ethernet31\", session \"8B411FA374561086\", "
                                 "Accounting-Off (8), request in\n" ) );
   EXPECT_FALSE( contains( wired, "unknown" ) );
}

TEST( Replay, EapRoundsAreAsDocumented ) {
   auto const tables = SamplesReadme::tables( "eap-radius.pcap" );
   ASSERT_EQ( tables.size(), 2u );
   json const output = replayed( "eap-radius.pcap" );
   auto const records = byRequest( output );
   expectExchanges( tables[0], records );
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
   expectExchanges( tables[0], records );
   EXPECT_EQ( tables[0].size(), records.size() );
}

TEST( Replay, WiredPortIsAsDocumentedInEachRecordingOfIt ) {
   auto const tables = SamplesReadme::tables( "wired-eapol.pcap" );
   ASSERT_EQ( tables.size(), 3u );
   json const output = replayed( "wired-eapol.pcap" );
   auto const records = byRequest( output );
   expectExchanges( tables[1], records );
   expectExchanges( tables[2], records );
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
