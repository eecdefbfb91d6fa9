#include <algorithm>
#include <ctime>
#include <map>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Background.h"
#include "SamplesReadme.h"
#include "ToolRun.h"
#include "support/PacketBuilder.h"

/// The state that replay makes of the samples, against what their README tells of them, and the
/// tables that it and a follower print.
namespace {

using nlohmann::json;
using namespace Processes;
using SamplesReadme::Row;
using SamplesReadme::Table;

/// The first of several values, without its tag; null for "-".
json firstOf( std::string const& cell ) {
   std::string const first = cell.substr( 0, std::min( cell.find( ',' ), cell.find( " (" ) ) );
   return first == "-" ? json() : json( first );
}

/// The User-Name of the answer to the request in \p frame, or else \p asked.
std::string identityOf( Table const& attributes, std::string const& frame,
                        std::string const& asked ) {
   for ( Row const& row : attributes ) {
      for ( std::string const& one :
            SamplesReadme::codes( row.at( "attributes of the answer, in order" ) ) ) {
         if ( row.at( "request frame" ) == frame && one.starts_with( "User-Name=" ) ) {
            return one.substr( one.find( '=' ) + 1 );
         }
      }
   }
   return asked;
}

/// Of several rows of a MAC the last counts.
void expectSupplicants( std::string const& file, std::string const& method ) {
   auto const tables = SamplesReadme::tables( file );
   json const all = state( sample( file ) );
   auto const found = rowsBy( "mac", all.at( "supplicants" ) );
   std::map<std::string, Row> expected;
   for ( Row const& row : tables.at( 0 ) ) {
      expected[SamplesReadme::mac( row )] = row;
   }
   ASSERT_EQ( found.size(), expected.size() );
   std::map<std::string, std::string> const stages = {
      { "accept", "phaseSuccess" }, { "reject", "phaseFail" }, { "no answer", "phaseTimedOut" } };
   auto const onPorts = rowsBy( "port", all.at( "ports" ) );
   for ( auto const& [mac, row] : expected ) {
      SCOPED_TRACE( mac );
      json const& its = found.at( mac );
      auto const frame = SamplesReadme::numbers( row.at( "frames" ) ).front();
      bool const accepted = row.at( "result" ) == "accept";
      EXPECT_EQ( its.at( "port" ), row.at( "NAS-Port-Id" ) );
      EXPECT_EQ( its.at( "method" ), method );
      EXPECT_EQ( its.at( "stage" ), stages.at( row.at( "result" ) ) );
      EXPECT_EQ( its.at( "vlan" ), firstOf( row.at( "VLAN (Tunnel-Private-Group-Id)" ) ) );
      EXPECT_EQ( its.at( "filter" ), firstOf( row.at( "Filter-Id" ) ) );
      EXPECT_EQ( its.at( "identity" ),
                 identityOf( tables.at( 1 ), frame, row.at( "User-Name in the request" ) ) );
      EXPECT_EQ( its.at( "authorized" ), accepted );
      json const& port = onPorts.at( row.at( "NAS-Port-Id" ) );
      EXPECT_EQ( port.at( "authorized" ), accepted );
      EXPECT_EQ( port.at( "state" ), accepted ? "authorized" : "blocked" );
      EXPECT_EQ( port.at( "supplicants" ), accepted ? json{ mac } : json::array() );
      std::string const vlan = its.at( "vlan" ).is_null() ? "" : its.at( "vlan" );
      bool const number = !vlan.empty() && std::isdigit( static_cast<unsigned char>( vlan[0] ) );
      EXPECT_EQ( port.at( "vlan" ), number ? json( std::stoi( vlan ) ) : json() );
   }
}

TEST( State, MacBasedAuthenticationIsAsDocumented ) {
   expectSupplicants( "mba.pcap", "mbaAuth" );
   json const all = state( sample( "mba.pcap" ) );
   EXPECT_EQ( all.at( "blocked" ), json::array() );
   // The one that moved left its port empty.
   json const left = rowsBy( "port", all.at( "ports" ) ).at( "Ethernet1" );
   EXPECT_EQ( left.at( "authorized" ), false );
   EXPECT_EQ( left.at( "supplicants" ), json::array() );
   EXPECT_EQ( all.at( "ports" ).size(), 14u );
   EXPECT_EQ( state( sample( "mba.pcapng" ) ), all );
}

TEST( State, EapIsAsDocumented ) { expectSupplicants( "eap-radius.pcap", "eapolAuth" ); }

TEST( State, ACaptureThatIsCutShortKeepsTheOldPort ) {
   json const port = state( sample( "mba-truncated.pcap" ), "all", 1 ).at( "ports" ).at( 0 );
   EXPECT_EQ( port.at( "supplicants" ), json{ "00:00:5e:00:53:01" } );
   EXPECT_EQ( port.at( "vlan" ), 110 );
   // Answers that were cut make nobody authorized.
   for ( json const& cut : state( sample( "mba-snap96.pcap" ), "ports", 1 ) ) {
      EXPECT_EQ( cut.at( "authorized" ), false );
   }
}

TEST( State, RejectionsBlock ) {
   std::string const again = samples( { "mba.pcap", "mba-vlan.pcap" } );
   json const expected = {
      { { "mac", "00:00:5e:00:53:09" }, { "port", "Ethernet9" }, { "vlan", nullptr } } };
   EXPECT_EQ( state( "--block-after 2 " + again, "blocked" ), expected );
   EXPECT_EQ( state( again, "blocked" ), json::array() );
   EXPECT_EQ( state( "--block-after 1 " + sample( "mba.pcap" ), "blocked" ).size(), 2u );
}

/// When the switch says that each session started, by its id.
std::map<std::string, std::string> startsOf( char const* file ) {
   std::map<std::string, std::string> result;
   for ( json const& record : ToolRun( "replay --json " + sample( file ) ).json() ) {
      std::map<std::string, json> values;
      for ( json const& one : record.value( "/request/attributes"_json_pointer, json::array() ) ) {
         values[one.at( "name" )] = one.at( "values" ).at( 0 ).at( "value" );
      }
      if ( values["Acct-Status-Type"] == 1 ) {
         std::time_t const at = values.at( "Event-Timestamp" );
         char text[40];
         std::strftime( text, sizeof text, "%Y-%m-%dT%H:%M:%S.000000Z", std::gmtime( &at ) );
         result[values.at( "Acct-Session-Id" )] = text;
      }
   }
   return result;
}

TEST( State, SessionsAreAsDocumented ) {
   std::map<std::string, std::string> const causes = { { "User-Request", "userRequest" },
                                                       { "Lost-Carrier", "lostCarrier" },
                                                       { "Idle-Timeout", "idleTimeout" },
                                                       { "Session-Timeout", "sessionTimeout" },
                                                       { "Admin-Reset", "adminReset" } };
   for ( char const* file : { "acct.pcap", "wired-eapol.pcap" } ) {
      std::map<std::string, Row> last;
      auto const tables = SamplesReadme::tables( file );
      for ( Row const& row : tables.back() ) {
         if ( row.at( "MAC" ) != "-" ) {
            last[SamplesReadme::mac( row )] = row;
         }
      }
      auto const found = rowsBy( "mac", state( sample( file ), "sessions" ) );
      auto const began = startsOf( file );
      ASSERT_EQ( found.size(), last.size() );
      for ( auto const& [mac, row] : last ) {
         SCOPED_TRACE( mac );
         json const& its = found.at( mac );
         bool const over = row.at( "terminate cause" ) != "-";
         EXPECT_EQ( over, row.at( "status" ) == "Stop" );
         EXPECT_EQ( its.at( "port" ), row.at( "NAS-Port-Id" ) );
         EXPECT_EQ( its.at( "sessionId" ), row.at( "session id" ) );
         EXPECT_EQ( its.at( "start" ), began.at( row.at( "session id" ) ) );
         EXPECT_EQ( its.at( "sessionTime" ).dump(), row.at( "session time, s" ) );
         EXPECT_EQ( its.at( "cause" ),
                    over ? json( causes.at( row.at( "terminate cause" ) ) ) : json() );
      }
   }
   std::string const text = printedBy( "replay --show sessions " + sample( "acct.pcap" ) );
   EXPECT_TRUE( contains( text, " never " ) ) << "when an update is due that never is";
}

TEST( State, WiredPortIsLoggedOffAtTheEnd ) {
   for ( char const* file : { "wired-eapol.pcap", "wired-eapol-any.pcap" } ) {
      json const all = state( sample( file ) );
      ASSERT_EQ( all.at( "supplicants" ).size(), 1u );
      json const& its = all.at( "supplicants" ).at( 0 );
      EXPECT_EQ( its.at( "mac" ), "00:00:5e:00:53:31" );
      EXPECT_EQ( its.at( "identity" ), "erin" );
      EXPECT_EQ( its.at( "phase" ), "authNZNotStarted" );
      EXPECT_EQ( its.at( "authorized" ), false );
      EXPECT_EQ( all.at( "ports" ).at( 0 ).at( "authorized" ), false );
   }
   json const tree = ToolRun( "replay --tree --json " + sample( "wired-eapol-vlan.pcap" ) ).json();
   json const& supplicant =
      tree.at( "/authNStatus/attributes/supplicant/00:00:5e:00:53:31/attributes"_json_pointer );
   EXPECT_EQ( supplicant.at( "isTagged" ), true );
   EXPECT_EQ( supplicant.at( "vTag" ), "300" );
}

/// What two processes print of the same captures.
TEST( State, AFollowersTablesAreThoseOfTheLeader ) {
   Folder const folder;
   std::string const what = "--block-after 1 " + samples( { "wired-eapol.pcap", "mba.pcap",
                                                            "eap-radius.pcap", "acct.pcap" } );
   std::string const connect = " --connect " + folder.address();
   Background const leader( folder, "leader", "replay " + what + " --listen " + folder.address() );
   for ( std::string const table : { "all", "ports", "supplicants", "blocked", "sessions" } ) {
      for ( char const* form : { "", " --json" } ) {
         std::string const shown = printedBy( "show " + table + form + connect );
         EXPECT_EQ( shown, printedBy( "replay --show " + table + form + " " + what ) );
         EXPECT_GT( shown.size(), 100u );
      }
   }
   EXPECT_EQ( printedBy( "show" + connect ), printedBy( "show all" + connect ) );

   auto const rows = [&]( std::string const& arguments ) {
      return ToolRun( "show --json " + arguments + connect ).json();
   };
   EXPECT_EQ( rows( "supplicants --vlan 230" ).size(), 2u );
   EXPECT_EQ( rows( "supplicants --vlan 0230" ).size(), 2u );
   // Nothing of that kind is there now.
   for ( char const* none :
         { "ports --port Ethernet1048574", "ports --mac 020000000000",
           "ports --state restrictedVlan", "supplicants --state 'wait supp'", "blocked --port -",
           "sessions --port 'IntfId(0xff00000000000000)'" } ) {
      EXPECT_EQ( rows( none ), json::array() ) << none;
   }
   EXPECT_EQ( rows( "supplicants --vlan EMPLOYEES" ).size(), 1u );
   EXPECT_EQ( rows( "supplicants --identity alice --state fail" ).size(), 1u );
   EXPECT_EQ( rows( "supplicants --state phaseTimedOut" ).at( 0 ).at( "port" ), "Ethernet11" );
   EXPECT_EQ( rows( "ports --mac 0000.5e00.530c" ).at( 0 ).at( "port" ), "Ethernet12" );
   EXPECT_EQ( rows( "--port Ethernet9" ).at( "blocked" ).size(), 1u );
   EXPECT_FALSE( rows( "--identity bob" ).contains( "ports" ) );

   json const one = rows( "supplicants 00-00-5E-00-53-08" );
   EXPECT_EQ( one.at( "class" ), "0x0102030405060708090a0b0c0d0e0f10" );
   EXPECT_EQ( one.at( "egressVlan" ).dump(),
              R"({"ingressFilters":false,"tagged":[180],"untagged":["desk"]})" );
   EXPECT_EQ( one.at( "attributes" ).at( "Idle-Timeout" ), json{ "1800" } );
   EXPECT_TRUE( rows( "supplicants 00-00-5E-00-53-09" ).at( "lastSuccess" ).is_null() );
   expectFailure( "show supplicants 00:00:5e:00:53:ff" + connect, 1,
                  "no supplicant 00:00:5e:00:53:ff" );
}

TEST( State, WhatCannotBeAskedForIsWrongUsage ) {
   std::string const connect = " --connect unix:/nonexistent";
   for ( char const* wrong :
         { "everything", "ports 00:00:5e:00:53:01", "supplicants nobody", "tree --port Ethernet1",
           "config --vlan 1", "supplicants 00:00:5e:00:53:08 --port Ethernet9",
           "supplicants --identity ''", "ports --port ''", "sessions --identity bob",
           "blocked --state fail", "--load /nonexistent", "ports --diff" } ) {
      expectFailure( std::string( "show " ) + wrong + connect, 2, "" );
   }
   // Nor will it ever be.
   for ( auto const& [never, told] : std::initializer_list<std::pair<char const*, char const*>>{
            { "ports --state fail",
              "--state: found \"fail\", expected one of blocked, authorized and restrictedVlan\n" },
            { "--state sucess", ", restrictedVlan, phaseNotStarted, -, phaseSuccess, success, " },
            { "--state sucess", "did you mean \"success\"?" },
            { "--state ''", "is empty" },
            { "--port 7", "Ethernet3/1, Ethernet3.100 or Port-Channel10" },
            { "--port Ethernet01", "without leading zeros" },
            { "--port ''", "is empty" },
            { "--mac 00:00:5e:00:53", "0011.22aa.bbcc or 001122aabbcc" } } ) {
      expectFailure( std::string( "show " ) + never + connect, 2, told );
   }
}

/// Columns of text, each letter of more than one octet counting once.
std::size_t columnsOf( std::string const& line ) {
   return static_cast<std::size_t>(
      std::count_if( line.begin(), line.end(), []( char c ) { return ( c & 0xc0 ) != 0x80; } ) );
}

TEST( State, LongAndHostileTextIsCutInTablesAndWholeInJson ) {
   using namespace PacketBuilder;
   Folder const folder;
   std::string const file = folder.path + "/long.pcap";
   std::string const name = std::string( 200, 'x' ) + "\x1b[2J\n\xff";
   Octets const vlan = attribute( 64, { 0, 0, 0, 13 } ) + attribute( 65, { 0, 0, 0, 6 } ) +
                       attribute( 81, text( std::string( 100, 'v' ) ) );
   writeCapture( file,
                 { onWire( radius( 1, 7,
                                   attribute( 1, text( name ) ) + attribute( 6, { 0, 0, 0, 10 } ) +
                                      attribute( 31, text( "00005e005301" ) ) +
                                      attribute( 87, text( "Port-Channel1000" ) ) ) ),
                   onWire( radius( 2, 7, vlan + attribute( 11, text( name ) ) ), true ) } );
   std::size_t cut = 0;
   for ( std::string const& line : linesOf( ToolRun( "replay --show all " + file ).out ) ) {
      EXPECT_LE( columnsOf( line ), 80u ) << line;
      EXPECT_EQ( std::count_if( line.begin(), line.end(),
                                []( unsigned char c ) { return c < 0x20 || c == 0xff; } ),
                 0 );
      cut += line.find( "\u2026" ) != line.npos ? 1 : 0;
   }
   EXPECT_EQ( cut, 1u );
   json const row = state( file, "supplicants" ).at( 0 );
   EXPECT_EQ( row.at( "vlan" ), std::string( 100, 'v' ) );
   EXPECT_EQ( row.at( "port" ), "Port-Channel1000" );
   EXPECT_TRUE( row.at( "identity" ).is_object() ) << "no UTF-8";
}

} // namespace
