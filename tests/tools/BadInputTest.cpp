#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Background.h"
#include "ToolRun.h"
#include "support/Files.h"
#include "support/PacketBuilder.h"

/// Input that cannot be read as it should: told with file, packet and offset, and no reason to lose
/// anything else.
namespace {

using namespace PacketBuilder;
using nlohmann::json;

/// As standard error has it.
std::string asTold( json const& problem ) {
   std::string place;
   if ( !problem.at( "packet" ).is_null() ) {
      place = "packet " + problem.at( "packet" ).dump();
   }
   if ( !problem.at( "offset" ).is_null() ) {
      std::string const in = problem.at( "offsetIn" );
      place += ( place.empty() ? "" : ", " ) + std::string( in == "file" ? "file " : "" ) +
               "offset " + problem.at( "offset" ).dump() +
               ( in == "RADIUS packet" ? " of the RADIUS packet" : "" );
   }
   return place + ( place.empty() ? "" : ": " ) + problem.at( "what" ).get<std::string>();
}

class BadInput : public testing::Test {
protected:
   /// Replays the file at \p path and expects \p messages in this order on standard error, one line
   /// each, every line naming the file, and the same in JSON.
   json replay( std::vector<std::string> const& messages = {},
                std::string const& more = {} ) const {
      ToolRun const run( "replay --json '" + path + "' " + more );
      EXPECT_EQ( run.exitCode, messages.empty() ? 0 : 1 );
      auto const lines = linesOf( run.err );
      EXPECT_EQ( lines.size(), messages.size() ) << run.err;
      for ( std::size_t i = 0; i < lines.size() && i < messages.size(); ++i ) {
         EXPECT_TRUE( lines[i].starts_with( "dot1xctl: " + printedPath + ": " + messages[i] ) )
            << lines[i] << "\nexpected: " << messages[i];
      }
      json const output = run.json();
      std::string told;
      for ( json const& problem : recordsOf( output, "problem" ) ) {
         told += "dot1xctl: " + printedPath + ": " + asTold( problem ) + "\n";
      }
      EXPECT_EQ( told, run.err );
      EXPECT_EQ( recordsOf( output, "problem" ).size(), output.back().at( "problems" ) );
      return output;
   }

   void write( std::string const& octets ) const {
      std::ofstream( path, std::ios::binary ) << octets;
   }

   Files::Folder const folder;
   // Of names, too, some hold what a terminal would obey.
   std::string const path = folder.path + "/\x1b[2J\nbad";
   std::string const printedPath = folder.path + "/\\x1b[2J\\x0abad";
};

Octets const user = attribute( 1, text( "someone" ) ) + attribute( 31, text( "0000.5e00.5301" ) );

std::size_t answers( json const& output ) { return recordsOf( output, "answer" ).size(); }

TEST( BadSamples, ACutFileKeepsItsWholePackets ) {
   ToolRun const run( "replay --json " + sample( "mba-truncated.pcap" ) );
   EXPECT_EQ( run.exitCode, 1 );
   EXPECT_TRUE( contains( run.err, "mba-truncated.pcap: packet 29, file offset 5171: the file is "
                                   "cut short" ) );
   json const cut = run.json();
   json const full = ToolRun( "replay --json " + sample( "mba.pcap" ) ).json();
   auto const kept = recordsOf( cut, "answer" );
   auto const all = recordsOf( full, "answer" );
   ASSERT_EQ( kept.size(), all.size() - 1 );
   for ( std::size_t i = 0; i < kept.size(); ++i ) {
      EXPECT_EQ( kept[i].at( "attributes" ), all[i].at( "attributes" ) );
   }
   auto const open = recordsOf( cut, "unanswered" );
   ASSERT_EQ( open.size(), 2u );
   EXPECT_EQ( open[0].at( "/request/packet"_json_pointer ), 21 );
   EXPECT_EQ( open[1].at( "/request/packet"_json_pointer ), 28 );
   EXPECT_EQ( cut.back().at( "packets" ), 28 );
}

TEST( BadSamples, APacketCutAtCaptureIsNotTakenForTheWhole ) {
   ToolRun const run( "replay --json " + sample( "mba-snap96.pcap" ) );
   EXPECT_EQ( run.exitCode, 1 );
   EXPECT_TRUE( contains( run.err,
                          "mba-snap96.pcap: packet 2, offset 96: cut at capture: the RADIUS "
                          "packet has 80 octets, of which 54 were kept" ) );
   EXPECT_TRUE( contains( run.err, "13 more packets cut at capture like these (18 in all)" ) );
   json const output = run.json();
   EXPECT_EQ( answers( output ), 0u );
   EXPECT_EQ( recordsOf( output, "unanswered" ).size(), 0u );
   auto const broken = recordsOf( output, "broken" );
   ASSERT_EQ( broken.size(), 9u );
   EXPECT_EQ( broken[0].at( "/request/packet"_json_pointer ), 1 );
   EXPECT_EQ( broken[8].at( "offset" ), 96 );
   // Each of them, also beyond the fifth.
   auto const problems = recordsOf( output, "problem" );
   ASSERT_EQ( problems.size(), 18u );
   for ( std::size_t i = 0; i < problems.size(); ++i ) {
      EXPECT_EQ( problems[i].at( "packet" ), i + 1 );
      EXPECT_EQ( problems[i].at( "kind" ), "cut" );
      EXPECT_EQ( i < 5, contains( run.err, asTold( problems[i] ) ) );
   }
   // Tunnel-Type, Tunnel-Medium-Type, Tunnel-Private-Group-Id, Session-Timeout, Termination-Action
   // are whole; of Class, 5 octets are.
   EXPECT_EQ( broken[0].at( "attributesBefore" ).size(), 5u );
}

TEST_F( BadInput, FilesThatAreNoCaptures ) {
   replay( { "cannot be opened: No such file" } );
   write( "" );
   replay( { "is empty" } );
   write( "A text, not a capture, and longer than the header of one.\n" );
   replay( { "is no capture in pcap or pcapng format" } );
   write( "\xd4\xc3\xb2\xa1" );
   replay( { "is cut short within its header" } );
   writeCapture( path, {}, 65535, 105 ); // IEEE 802.11
   replay( { "has packets of link type IEEE802_11" } );
}

TEST_F( BadInput, ACutFileSaysHowManyPacketsAreWhole ) {
   Octets const packet = onWire( radius( 1, 1, user ) );
   writeCapture( path, { packet, packet, packet } );
   std::string const told[] = { ")\n", "); the one before it is whole\n",
                                "); the 2 before it are whole\n" };
   for ( std::size_t whole = std::size( told ); whole-- > 0; ) {
      std::filesystem::resize_file( path, 24 + whole * ( 16 + packet.size() ) + 20 );
      std::string const err = ToolRun( "replay '" + path + "'" ).err;
      EXPECT_TRUE( err.ends_with( told[whole] ) ) << err;
   }
}

TEST_F( BadInput, OneBadFileDoesNotKeepTheNextFromBeingRead ) {
   json const output = replay( { "cannot be opened" }, sample( "mba.pcap" ) );
   EXPECT_EQ( answers( output ), 13u );
   EXPECT_EQ( output.back().at( "captures" ), 1 );
}

TEST_F( BadInput, AnAttributeWhoseLengthLies ) {
   Octets const good = attribute( 18, text( "hello" ) );
   for ( Octets const& lie :
         { Octets{ 25, 1, 0 }, Octets{ 25, 0 }, Octets{ 25, 9, 0 }, Octets{ 25 } } ) {
      writeCapture( path,
                    { onWire( radius( 1, 1, user ) ), onWire( radius( 2, 1, good + lie ), true ),
                      onWire( radius( 1, 2, user ) ), onWire( radius( 3, 2, good ), true ) } );
      json const output = replay( { "packet 2, offset 27 of the RADIUS packet: " } );
      auto const broken = recordsOf( output, "broken" );
      ASSERT_EQ( broken.size(), 1u );
      EXPECT_EQ( broken[0].at( "callingStationId" ), "00:00:5e:00:53:01" );
      EXPECT_EQ( broken[0].at( "attributesBefore" ).size(), 1u );
      ASSERT_EQ( answers( output ), 1u ) << "the packets after it are read";
      EXPECT_EQ( recordsOf( output, "unanswered" ).size(), 0u );
   }
}

TEST_F( BadInput, ARadiusHeaderThatDoesNotFit ) {
   Octets tooLong = radius( 2, 1, {} );
   tooLong[3] = 21;
   writeCapture( path, { onWire( radius( 1, 1, user ) ), onWire( tooLong, true ),
                         onWire( radius( 2, 1, {} ) + Octets( 3, 9 ), true ) } );
   json const output = replay( { "packet 2, offset 20 of the RADIUS packet: " } );
   auto const whole = recordsOf( output, "answer" );
   ASSERT_EQ( whole.size(), 1u ) << "octets behind the RADIUS packet are padding";
   EXPECT_EQ( whole[0].at( "packet" ), 3 );
   EXPECT_EQ( whole[0].at( "duplicate" ), false );
}

// Of whatever code it may be: that of others is told by nothing but a header.
TEST_F( BadInput, APacketOfLessThanAHeaderIsAFault ) {
   constexpr std::uint8_t request = 1, disconnect = 40;
   for ( std::uint8_t const code : { request, disconnect } ) {
      for ( std::size_t const size : { 0u, 1u, 10u, 19u } ) {
         Octets octets( size, 0 );
         if ( size != 0 ) {
            octets[0] = code;
         }
         // Ethernet has no shorter frames than 60 octets; and by its own length only.
         Octets lies = radius( code, 1, {} );
         lies[3] = static_cast<std::uint8_t>( size );
         writeCapture( path, { onWire( octets ) + Octets( 18 - std::min<std::size_t>( size, 18 ) ),
                               onWire( octets, true ), onWire( lies ) } );
         std::string const found = size == 1 ? "1 octet," : std::to_string( size ) + " octets,";
         json const output = replay(
            { "packet 1, offset 0 of the RADIUS packet: a RADIUS packet of " + found,
              "packet 2, offset 0 of the RADIUS packet: a RADIUS packet of " + found,
              "packet 3, offset 2 of the RADIUS packet: expected a RADIUS packet length" } );
         EXPECT_EQ( output.back().at( "otherRadius" ), 0 );
      }
   }
}

TEST_F( BadInput, PaddingThatIsCutAtCaptureIsNoFault ) {
   Octets const request = radius( 1, 1, user );
   writeCapture( path, { onWire( request + Octets( 9, 0 ) ) }, onWire( request ).size() + 4 );
   EXPECT_EQ( replay().back().at( "requests" ), 1 );
}

TEST_F( BadInput, EachCaptureStandsForItself ) {
   ToolRun const run( "replay --json " +
                      samples( { "mba-snap96.pcap", "mba-snap96.pcap", "acct.pcap" } ) );
   json const summary = run.json().back();
   EXPECT_EQ( summary.at( "requests" ), 9 + 9 + 20 );
   EXPECT_EQ( summary.at( "sentAgain" ), 0 );
   EXPECT_EQ( summary.at( "problems" ), 36 );
   std::string const told = "(18 in all)";
   EXPECT_TRUE( contains( run.err, told ) );
   EXPECT_NE( run.err.find( told ), run.err.rfind( told ) ) << run.err;
}

TEST_F( BadInput, FragmentsAreToldOnceADatagram ) {
   Octets const whole = udp( 40000, 1812, radius( 1, 1, user ) );
   Octets const first( whole.begin(), whole.begin() + 24 );
   Octets const rest( whole.begin() + 24, whole.end() );
   // The octets of a later fragment may look like a UDP header with a RADIUS port.
   Octets const decoy = udp( 40000, 1812, radius( 2, 1, {} ) );
   writeCapture( path,
                 { ethernet( ipv4( first, false, 0x2000 ) ), ethernet( ipv4( rest, false, 3 ) ),
                   ethernet( ipv4( decoy, true, 0x2003 ) ),
                   ethernet( ipv4( udp( 53, 53, first ), true, 0x2000 ) ),
                   ethernet( ipv4( decoy, true, 3 ) ) } );
   json const output =
      replay( { "packet 1, offset 14: the first fragment of UDP datagram 7, which is RADIUS",
                "packet 3, offset 14: a later fragment of UDP datagram 7" } );
   EXPECT_EQ( output.back().at( "requests" ), 0 );
   EXPECT_EQ( output.back().at( "otherRadius" ), 0 );
   EXPECT_EQ( answers( output ), 0u );
}

TEST_F( BadInput, AnAnswerWithoutItsRequestIsForNoStation ) {
   writeCapture( path, { onWire( radius( 1, 1, attribute( 31, text( "not a MAC" ) ) ) ),
                         onWire( radius( 2, 1, {} ), true ), onWire( radius( 2, 2, user ), true ),
                         onWire( radius( 3, 1, {} ), true ) } );
   json const output = replay();
   EXPECT_EQ( output.back().at( "duplicates" ), 1 );
   EXPECT_EQ( output.back().at( "withoutRequest" ), 1 );
   auto const records = recordsOf( output, "answer" );
   ASSERT_EQ( records.size(), 3u );
   for ( json const& record : records ) {
      EXPECT_TRUE( record.at( "callingStationId" ).is_null() );
   }
   EXPECT_EQ( records[0].at( "notifications" ), 0 );
   EXPECT_FALSE( records[1].contains( "request" ) );
   EXPECT_EQ( records[2].at( "duplicate" ), true );
}

TEST_F( BadInput, TextThatIsNoTextHarmsNeitherFormOfOutput ) {
   std::string const nasty = "\x1b[2J\n\xff" + std::string( 200, 'x' );
   writeCapture( path, { onWire( radius( 1, 1, attribute( 1, text( nasty ) ) ) ),
                         onWire( radius( 2, 1, attribute( 18, text( nasty ) ) ), true ) } );
   std::string const out = printedBy( "replay '" + path + "'" );
   EXPECT_TRUE( out.starts_with( printedPath + '\n' ) ) << out;
   auto const lines = linesOf( out );
   EXPECT_GT( lines.size(), 9u );
   for ( std::string const& line : lines ) {
      EXPECT_LE( line.size(), 80u ) << line;
      for ( char const c : line ) {
         EXPECT_TRUE( c >= ' ' && c < 0x7f ) << line;
      }
   }
   json const value = replay().at( "/0/attributes/0/values/0"_json_pointer );
   EXPECT_EQ( value.at( "form" ), "octets" );
   EXPECT_EQ( value.at( "value" ).get<std::string>().substr( 0, 14 ), "0x1b5b324a0aff" );
}

TEST_F( BadInput, TimesFarFromOursAreShownAsTimes ) {
   std::string octets = Files::contents( DOT1X_SAMPLES_DIR "/mba.pcapng" );
   std::string const enhancedPacketBlock( "\6\0\0\0", 4 );
   auto const block = octets.find( enhancedPacketBlock );
   ASSERT_NE( block, octets.npos );
   octets.replace( block + 12, 4, "\xff\xff\xff\xff" ); // the time's upper half
   write( octets );
   json const record = replay().at( 0 );
   std::string const time = record.at( "/request/time"_json_pointer );
   EXPECT_TRUE( time.starts_with( "2255-" ) ) << time;
   EXPECT_LT( record.at( "sinceStart" ).get<double>(), 0 ) << "the answer has its own time still";
}

TEST( Usage, WrongUsageIsToldApartFromBadInput ) {
   for ( char const* wrong :
         { "", "replay", "replay --nonsense x", "replay x --dump ''", "replay x --macs 0x10",
           "replay x --repeat ''", "replay x --block-after 000", "schema extra", "config",
           "config check", "config show x y", "config username x nowhere 00005e005301",
           "config username x Ethernet1 nobody" } ) {
      expectFailure( wrong, 2, "" );
   }
   // Decimal, as all numbers.
   EXPECT_TRUE(
      contains( ToolRun( "replay --repeat 010 " + sample( "acct.pcap" ) ).err, ", 10 times" ) );
   expectFailure( "nonsense", 2, "there is no command \"nonsense\"" );
   // A terminal would obey it.
   expectFailure( "config \033[31m", 2, "there is no command \"\\x1b[31m\"" );
   EXPECT_EQ( printedBy( "--version" ), "dot1xctl " DOT1XCTL_VERSION "\n" );
}

TEST( Usage, OutputThatCannotBeWrittenIsAFailure ) {
   // Also what would go on for ever, as long as there is somebody to watch.
   Processes::Folder const folder;
   Processes::Background const leader(
      folder, "leader", "serve " + sample( "mba.pcap" ) + " --listen " + folder.address() );
   ASSERT_TRUE( leader.says( "listening" ) );
   for ( std::string const& what : { "replay " + sample( "mba.pcap" ), std::string( "--help" ),
                                     "watch --connect " + folder.address() } ) {
      std::string const command =
         "'" DOT1XCTL_PATH "' " + what + " 2>&1 >/dev/full | grep -q written";
      EXPECT_EQ( std::system( command.c_str() ), 0 ) << what;
   }
}

TEST( Usage, EverythingFitsEightyColumns ) {
   for ( char const* command :
         { "", "replay", "schema", "show", "watch", "serve", "dump", "load", "diff", "config",
           "config show", "config check", "config username" } ) {
      expectEightyColumns( printedBy( command + std::string( " --help" ) ) );
   }
   for ( std::string const& arguments :
         { std::string( "schema" ), "config show " + sample( "switch48.json" ),
           "replay " + samples( { "mba.pcap", "acct.pcap" } ),
           "replay " + sample( "eap-radius.pcap" ), "replay " + sample( "mba-snap96.pcap" ) } ) {
      expectEightyColumns( ToolRun( arguments ).out );
   }
}

} // namespace
