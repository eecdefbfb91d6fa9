#include <set>
#include <string>

#include <gtest/gtest.h>

#include "Background.h"
#include "ToolRun.h"
#include "support/Files.h"
#include "support/PacketBuilder.h"

/// Copies of captured exchanges, and what a terminal gets besides.
namespace {

using nlohmann::json;

std::set<std::string> column( json const& table, std::string const& name ) {
   std::set<std::string> result;
   for ( json const& row : table ) {
      result.insert( row.at( name ).get<std::string>() );
   }
   return result;
}

std::string without( std::string text, std::string const& part ) {
   for ( auto at = text.find( part ); at != std::string::npos; at = text.find( part ) ) {
      text.erase( at, part.size() );
   }
   return text;
}

TEST( Copies, AreAsManySupplicantsAsAskedAndDistinct ) {
   // Fewer than captured, just as many, one more, and parts of copies.
   for ( std::size_t const macs : { 1u, 12u, 13u, 14u, 40u, 1000u } ) {
      SCOPED_TRACE( macs );
      json const all = state( "--macs " + std::to_string( macs ) + " " + sample( "mba.pcap" ) );
      EXPECT_EQ( all.at( "supplicants" ).size(), macs );
      EXPECT_EQ( column( all.at( "supplicants" ), "mac" ).size(), macs );
      // Each is on a port of its own.
      EXPECT_EQ( column( all.at( "supplicants" ), "port" ).size(), macs );
   }
   json const once = state( sample( "mba.pcap" ) );
   EXPECT_EQ( state( "--macs 13 " + sample( "mba.pcap" ) ), once );
}

TEST( Copies, HaveTheirOwnAddressInItsNotationAndTheirOwnPort ) {
   auto const byMac = rowsBy( "mac", state( "--macs 26 " + sample( "mba.pcap" ), "supplicants" ) );
   struct {
      char const* mac;
      char const* identity;
      char const* port;
      json vlan;
   } const cases[] = {
      { "02:00:00:00:00:0e", "02-00-00-00-00-0E", "Ethernet17", "EMPLOYEES" },
      { "02:00:00:00:00:0f", "02:00:00:00:00:0f", "Ethernet18", nullptr },
      { "02:00:00:00:00:10", "0200.0000.0010", "Ethernet19", "140" },
      { "02:00:00:00:00:19", "printer-3f", "Ethernet28", "200" },
      { "02:00:00:00:00:0d", "02000000000d", "Ethernet29", "150" }, // which has moved
   };
   for ( auto const& one : cases ) {
      SCOPED_TRACE( one.mac );
      json const& row = byMac.at( one.mac );
      EXPECT_EQ( row.at( "identity" ), one.identity );
      EXPECT_EQ( row.at( "port" ), one.port );
      EXPECT_EQ( row.at( "vlan" ), one.vlan );
   }
}

TEST( Copies, EachSupplicantHasItsSession ) {
   json const all = state( "--macs 1000 " + sample( "wired-eapol.pcap" ) );
   EXPECT_EQ( all.at( "supplicants" ).size(), 1000u );
   EXPECT_EQ( all.at( "sessions" ).size(), 1000u );
   EXPECT_EQ( all.at( "ports" ).size(), 1000u );
   EXPECT_EQ( column( all.at( "sessions" ), "sessionId" ).size(), 1000u );
   EXPECT_EQ( column( all.at( "sessions" ), "mac" ), column( all.at( "supplicants" ), "mac" ) );
   // What ends the sessions of a whole switch is not played for each copy.
   EXPECT_EQ( column( all.at( "sessions" ), "cause" ), std::set<std::string>{ "userRequest" } );
}

// In the second capture are sessions of addresses that do not authenticate in the first.
TEST( Copies, StationsThatOnlyHaveASessionAreNotCountedAsSupplicants ) {
   std::string const files = samples( { "mba.pcap", "acct.pcap" } );
   json const once = state( files );
   ASSERT_LT( column( once.at( "supplicants" ), "mac" ).count( "00:00:5e:00:53:21" ), 1u );
   ASSERT_EQ( column( once.at( "sessions" ), "mac" ).count( "00:00:5e:00:53:21" ), 1u );
   for ( std::size_t const macs : { 1u, 13u, 26u, 1000u } ) {
      SCOPED_TRACE( macs );
      json const all = state( "--macs " + std::to_string( macs ) + " " + files );
      EXPECT_EQ( all.at( "supplicants" ).size(), macs );
      // Each copy has all its sessions.
      if ( macs % 13 == 0 ) {
         EXPECT_EQ( all.at( "sessions" ).size(), macs / 13 * once.at( "sessions" ).size() );
      }
   }
   // Of sessions alone, those are counted.
   EXPECT_EQ( state( "--macs 100 " + sample( "acct.pcap" ) ).at( "sessions" ).size(), 100u );
}

TEST( Copies, PlayedAgainGiveTheSameButForTheSessionIds ) {
   std::string const files =
      "--block-after 1000 --macs 50 " + samples( { "mba.pcap", "acct.pcap" } );
   json const once = state( files );
   json thrice = state( "--repeat 3 " + files );
   for ( json& session : thrice.at( "sessions" ) ) {
      std::string const id = session.at( "sessionId" );
      EXPECT_TRUE( id.ends_with( ".3" ) ) << id;
      session["sessionId"] = id.substr( 0, id.size() - 2 );
   }
   EXPECT_EQ( thrice, once );
}

TEST( Copies, TellWhatTheyCostOnStandardErrorAlone ) {
   ToolRun const sized( "replay --macs 100 --repeat 2 " + sample( "mba.pcap" ) );
   EXPECT_EQ( sized.exitCode, 0 );
   EXPECT_EQ( sized.out, printedBy( "replay " + sample( "mba.pcap" ) ) );
   for ( char const* line :
         { "100 supplicants, 108 ports, 0 sessions", "8 copies of 13 supplicants, 2 times", "216, ",
           "a second", "MB more resident; of it" } ) {
      EXPECT_TRUE( contains( sized.err, line ) );
   }
}

TEST( Copies, ShareThePortsWhenThereAreNoMore ) {
   using namespace PacketBuilder;
   Processes::Folder const folder;
   auto const capture = [&]( std::string const& port ) {
      std::string const path = folder.path + "/" + port + ".pcap";
      writeCapture( path, { onWire( radius( 1, 7,
                                            attribute( 6, { 0, 0, 0, 10 } ) +
                                               attribute( 31, text( "00005e005301" ) ) +
                                               attribute( 87, text( port ) ) ) ),
                            onWire( radius( 2, 7, {} ), true ) } );
      return "--macs 10 '" + path + "'";
   };
   json const all = state( capture( "Ethernet1048570" ) );
   EXPECT_EQ( all.at( "supplicants" ).size(), 10u );
   EXPECT_EQ( column( all.at( "ports" ), "port" ),
              ( std::set<std::string>{ "Ethernet1048570", "Ethernet1048571", "Ethernet1048572",
                                       "Ethernet1048573", "Ethernet1048574" } ) );
   ToolRun const none( "replay --show ports " + capture( "Ethernet1048574" ) );
   EXPECT_EQ( none.exitCode, 1 );
   EXPECT_EQ( none.out, "" );
   EXPECT_NE( none.err.find( "Ethernet1048574" ), std::string::npos ) << none.err;
   EXPECT_EQ( ToolRun( "replay --macs 0 " + sample( "mba.pcap" ) ).exitCode, 2 );
}

TEST( Copies, WhatEndsASwitchsSessionsEndsThoseThatWereCaptured ) {
   using namespace PacketBuilder;
   Files::Folder const folder;
   std::string const path = folder.path + "/off.pcap";
   auto const accounting = [&]( std::uint8_t identifier, std::uint8_t type ) {
      return onWire(
         radius( 4, identifier,
                 attribute( 40, { 0, 0, 0, type } ) + attribute( 44, text( "s" ) ) +
                    attribute( 32, text( "switch" ) ) +
                    ( type == 1 ? attribute( 31, text( "00005e005301" ) ) : Octets() ) ) );
   };
   writeCapture( path, { accounting( 1, 1 ), accounting( 2, 8 ) } );
   json const sessions = state( "--macs 2 '" + path + "'", "sessions" );
   ASSERT_EQ( sessions.size(), 2u );
   EXPECT_EQ( rowsBy( "mac", sessions ).at( "00:00:5e:00:53:01" ).at( "cause" ), "adminReset" );
   EXPECT_TRUE( rowsBy( "mac", sessions ).at( "02:00:00:00:00:01" ).at( "cause" ).is_null() );
}

TEST( Copies, OfNobodyAreNobody ) {
   Files::Folder const folder;
   std::string const path = folder.path + "/nobody.pcap";
   PacketBuilder::writeCapture( path, {} );
   ToolRun const run( "replay --macs 10 --show supplicants '" + path + "'" );
   EXPECT_EQ( run.exitCode, 0 ) << run.err;
   EXPECT_EQ( run.out, "none\n" );
   EXPECT_TRUE( contains( run.err, "no supplicant in the captures" ) );
}

TEST( Colours, AreOnATerminalOrWhenAskedForAndTakeNoColumns ) {
   std::string const replay = "replay --show all " + sample( "mba.pcap" );
   std::string const plain = printedBy( replay );
   EXPECT_FALSE( contains( plain, "\x1b" ) );
   EXPECT_EQ( printedBy( replay + " --color never" ), plain );
   EXPECT_EQ( printedBy( replay + " --color always --json" ), printedBy( replay + " --json" ) );
   expectFailure( replay + " --color red", 2, "red" );

   std::string text = printedBy( replay + " --color always" );
   for ( char const* toned :
         { "\x1b[1mport\x1b[0m", "\x1b[31mblocked\x1b[0m", "\x1b[32msuccess\x1b[0m",
           "\x1b[31mfail\x1b[0m", "\x1b[31mtimeout\x1b[0m" } ) {
      EXPECT_TRUE( contains( text, toned ) );
   }
   for ( char const* escape : { "\x1b[0m", "\x1b[1m", "\x1b[31m", "\x1b[32m" } ) {
      text = without( text, escape );
   }
   EXPECT_EQ( text, plain );
}

TEST( Copies, WithoutRadiusEachSupplicantAndItsCopiesHaveTheirResults ) {
   using namespace PacketBuilder;
   Octets const toGroup{ 1, 0x80, 0xc2, 0, 0, 3 }, switchMac{ 2, 0, 0, 0, 0, 1 };
   auto const station = [&]( std::uint8_t last ) { return Octets{ 0, 0, 0x5e, 0, 0x53, last }; };
   auto const frame = [&]( Octets const& from, std::uint8_t type, Octets const& eap ) {
      return toGroup + from + u16( 0x888e ) + Octets{ 2, type } + u16( eap.size() ) + eap;
   };
   auto const result = []( std::uint8_t code, std::uint8_t identifier ) {
      return Octets{ code, identifier, 0, 4 };
   };
   Processes::Folder const folder;
   std::string const file = folder.path + "/eapol.pcap";
   writeCapture( file,
                 { frame( station( 1 ), 1, {} ), frame( station( 2 ), 1, {} ),
                   frame( station( 1 ), 0, { 2, 8, 0, 6, 1, 'a' } ),
                   frame( station( 2 ), 0, { 2, 9, 0, 6, 1, 'b' } ),
                   frame( switchMac, 0, result( 4, 9 ) ), frame( switchMac, 0, result( 3, 8 ) ) } );
   json const rows = state( "--macs 6 '" + file + "'", "supplicants" );
   ASSERT_EQ( rows.size(), 6U );
   for ( json const& row : rows ) {
      bool const first = row.at( "identity" ) == "a";
      EXPECT_EQ( row.at( "stage" ), first ? "phaseSuccess" : "phaseFail" ) << row.dump();
   }
}

} // namespace
