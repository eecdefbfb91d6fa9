#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Background.h"
#include "ToolRun.h"
#include "mirror/Socket.h"

/// Two real processes: one that publishes, one that follows.
namespace {

using nlohmann::json;
using namespace Processes;

std::string leading( std::string const& samples, std::string const& address ) {
   return "replay " + samples + " --listen " + address;
}

TEST( Follow, ShowPrintsWhatTheLeaderHolds ) {
   Folder const folder;
   std::string const samples = sample( "mba.pcap" ) + " " + sample( "eap-radius.pcap" );
   Background leader( folder, "leader", leading( samples, folder.address() ) );
   for ( char const* form : { "", " --json" } ) {
      ToolRun const show( "show tree --connect " + folder.address() + form );
      EXPECT_EQ( show.exitCode, 0 );
      EXPECT_EQ( show.err, "" );
      EXPECT_EQ( show.out, ToolRun( "replay --tree " + samples + form ).out ) << form;
   }
   EXPECT_EQ( leader.out(), ToolRun( "replay " + samples ).out );
   EXPECT_EQ( leader.err(), "listening on " + folder.address() + "\n" );
}

TEST( Follow, TheTreeHoldsWhatReplayPrints ) {
   json const tree = ToolRun( "replay --tree --json " + sample( "mba.pcap" ) ).json();
   json const printed = ToolRun( "replay --json " + sample( "mba.pcap" ) ).json();
   json const& root = tree.at( "replay" ).at( "attributes" );
   for ( auto const& [name, count] : printed.back().items() ) {
      if ( name != "record" && name != "answers" ) {
         EXPECT_EQ( root.at( name ), count ) << name;
      }
   }
   auto const answers = recordsOf( printed, "answer" );
   ASSERT_EQ( root.at( "answer" ).size(), answers.size() );
   for ( std::size_t i = 0; i < answers.size(); ++i ) {
      SCOPED_TRACE( i );
      json const& one = root.at( "answer" ).at( std::to_string( i + 1 ) ).at( "attributes" );
      json const& response = one.at( "aaaResponse" ).at( "attributes" );
      EXPECT_EQ( one.at( "packet" ), answers[i].at( "packet" ) );
      EXPECT_EQ( one.at( "code" ), answers[i].at( "codeName" ) );
      EXPECT_EQ( response.at( "type" ), answers[i].at( "type" ) );
      EXPECT_EQ( response.at( "callingStationId" ), answers[i].at( "callingStationId" ) );
      ASSERT_EQ( response.at( "aaaAttribute" ).size(), answers[i].at( "attributes" ).size() );
      for ( json const& attribute : answers[i].at( "attributes" ) ) {
         json const& held = response.at( "aaaAttribute" ).at( attribute.at( "name" ) );
         EXPECT_EQ( held.at( "attrValue" ).size(), attribute.at( "values" ).size() );
      }
   }
}

TEST( Follow, ShowConfigPrintsTheConfigurationThatIsPublished ) {
   Folder const folder;
   std::string const file = sample( "switch48.json" );
   Background leader( folder, "leader",
                      leading( sample( "mba.pcap" ) + " --config " + file, folder.address() ) );
   for ( char const* form : { "", " --json", " --diff", " --diff --json" } ) {
      ToolRun const show( "show config --connect " + folder.address() + form );
      EXPECT_EQ( show.exitCode, 0 ) << show.err;
      EXPECT_EQ( show.out, ToolRun( "config show " + file + form ).out ) << form;
   }
   Background other( folder, "other", leading( sample( "mba.pcap" ), folder.address() + "2" ) );
   ToolRun const none( "show config --connect " + folder.address() + "2" );
   EXPECT_EQ( none.exitCode, 1 );
   EXPECT_EQ( none.out, "" );
   EXPECT_EQ( none.err, "dot1xctl: " + folder.address() +
                           "2: no configuration is published: there is no tree \"status\"\n" );
}

TEST( Follow, TcpTakesAFreePortAndSaysWhich ) {
   Folder const folder;
   Background leader( folder, "leader", leading( sample( "mba.pcap" ), "tcp:0" ) );
   ASSERT_TRUE( leader.says( "\n" ) );
   std::string const line = leader.err();
   ASSERT_TRUE( line.starts_with( "listening on tcp:127.0.0.1:" ) ) << line;
   std::string const address = line.substr( 13, line.size() - 14 );
   EXPECT_EQ( ToolRun( "show tree --connect " + address ).out,
              ToolRun( "replay --tree " + sample( "mba.pcap" ) ).out );
}

TEST( Follow, SocketIsPrivateAndGoesWithTheProcess ) {
   for ( int const signal : { SIGINT, SIGTERM } ) {
      Folder const folder;
      Background leader( folder, "leader", leading( sample( "mba.pcap" ), folder.address() ) );
      ASSERT_TRUE( leader.says( "listening" ) );
      struct stat about {};
      ASSERT_EQ( ::stat( folder.socket().c_str(), &about ), 0 );
      EXPECT_EQ( about.st_mode & 0777, 0600u );
      ToolRun const second( leading( sample( "mba.pcap" ), folder.address() ) );
      EXPECT_EQ( second.exitCode, 1 );
      EXPECT_EQ( second.out, "" ) << "a busy address is told before anything is read";
      EXPECT_NE( second.err.find( folder.socket() ), std::string::npos ) << second.err;
      EXPECT_EQ( leader.end( signal ), 0 );
      EXPECT_NE( ::stat( folder.socket().c_str(), &about ), 0 );
   }
}

TEST( Follow, ASocketThatWasLeftBehindIsReplacedAndAFileIsNot ) {
   Folder const folder;
   Background killed( folder, "killed", leading( sample( "mba.pcap" ), folder.address() ) );
   ASSERT_TRUE( killed.says( "listening" ) );
   EXPECT_EQ( killed.end( SIGKILL ), -1 );
   struct stat about {};
   ASSERT_EQ( ::stat( folder.socket().c_str(), &about ), 0 );
   Background leader( folder, "leader", leading( sample( "mba.pcap" ), folder.address() ) );
   EXPECT_TRUE( leader.says( "listening" ) ) << leader.err();

   std::string const file = folder.path + "/file";
   std::ofstream( file ) << "precious";
   EXPECT_EQ( ToolRun( leading( sample( "mba.pcap" ), "unix:" + file ) ).exitCode, 1 );
   EXPECT_EQ( contents( file ), "precious" );
}

TEST( Follow, BadCapturesShowInTheExitCodeAtTheEnd ) {
   Folder const folder;
   Background leader( folder, "leader",
                      leading( sample( "mba-truncated.pcap" ), folder.address() ) );
   ASSERT_TRUE( leader.says( "listening" ) );
   EXPECT_EQ( ToolRun( "show --connect " + folder.address() ).exitCode, 0 );
   EXPECT_EQ( leader.end( SIGTERM ), 1 );
}

TEST( Follow, WhatCannotBeShownIsTold ) {
   Folder const folder;
   struct {
      char const* arguments;
      int exitCode;
      char const* message;
   } const cases[] = {
      { "show", 2, "--connect" },
      { "show --connect nowhere", 2, "unix:PATH" },
      { "show --connect unix:", 2, "unix:" },
      { "show --connect tcp:host:65536", 2, "65535" },
      { "show --connect tcp:::1:80", 2, "brackets" },
      { "show --connect tcp::80", 2, "host" },
      { "watch --connect tcp:80x", 2, "port" },
      { "replay x --listen tcp:", 2, "port" },
      { "show --wait 0 --connect tcp:80", 2, "--wait" },
      { "show --wait nan --connect tcp:80", 2, "--wait" },
      { "show --wait 0.1 --connect unix:/nonexistent/socket", 1, "/nonexistent/socket" },
      { "show --wait 0.1 --connect tcp:1", 1,
        "127.0.0.1:1: connecting failed: Connection refused" },
      { "replay x --listen unix:/nonexistent/socket", 1, "/nonexistent/socket" },
   };
   for ( auto const& one : cases ) {
      ToolRun const run( one.arguments );
      EXPECT_EQ( run.exitCode, one.exitCode ) << one.arguments;
      EXPECT_EQ( run.out, "" ) << one.arguments;
      EXPECT_NE( run.err.find( one.message ), std::string::npos ) << one.arguments << run.err;
   }
}

/// Somebody who listens, but is no leader.
struct Stranger {
   Mirror::Listener listener;
   explicit Stranger( Folder const& folder )
      : listener( Mirror::Listener::listenUnix( folder.socket() ) ) {}
   Mirror::Fd accept() {
      std::optional<Mirror::Accepted> one;
      EXPECT_TRUE( soon( [&] { return !!( one = listener.accept() ); } ) );
      return one ? std::move( one->fd ) : Mirror::Fd();
   }
   /// Says so to whoever comes next, and hears until that one goes.
   void say( std::string_view text ) {
      Mirror::Fd const peer = accept();
      EXPECT_GT( ::send( peer.get(), text.data(), text.size(), MSG_NOSIGNAL ), 0 );
      EXPECT_TRUE( soon( [&] {
         char heard[4096];
         return ::recv( peer.get(), heard, sizeof heard, MSG_DONTWAIT ) == 0;
      } ) );
   }
};

TEST( Follow, APeerThatIsSilentIsGivenUpInTime ) {
   Folder const folder;
   Stranger const stranger( folder );
   ToolRun const silent( "show --wait 0.2 --connect " + folder.address() );
   EXPECT_EQ( silent.exitCode, 1 );
   EXPECT_NE( silent.err.find( "0.2 s" ), std::string::npos ) << silent.err;
}

TEST( Follow, WhoCannotBeTalkedToIsNotTriedAgain ) {
   using namespace std::string_view_literals;
   struct {
      std::string_view says;
      char const* reason;
   } const cases[] = {
      { "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"sv,
        ": the first frame is no hello of this protocol\n" },
      { "\x48\0\0\0\0\0\0\x0EQNboALog\0\2\0\0\0\0"sv,
        ": protocol version 2 at the leader, 1 at the follower\n" },
      { "\x49\0\0\0\0\0\0\6locked"sv, ": refused by the other side: locked\n" },
   };
   for ( auto const& one : cases )
      for ( char const* command : { "show", "watch" } ) {
         SCOPED_TRACE( command );
         Folder const folder;
         Stranger stranger( folder );
         Background tool( folder, "tool", command + ( " --connect " + folder.address() ) );
         stranger.say( one.says );
         EXPECT_EQ( tool.ended(), 1 );
         EXPECT_EQ( tool.out(), "" );
         EXPECT_TRUE( tool.err().starts_with( "dot1xctl: " + folder.address() + ": " ) );
         EXPECT_TRUE( tool.err().ends_with( one.reason ) ) << tool.err();
         EXPECT_FALSE( stranger.listener.accept() );
      }
}

TEST( Follow, WatchTriesAgainWhereThereMayBeRoomLater ) {
   using namespace std::string_view_literals;
   Folder const folder;
   Stranger stranger( folder );
   Background watch( folder, "watch", "watch --connect " + folder.address() );
   stranger.say( "\x49\0\0\0\0\0\1\4full"sv );
   EXPECT_TRUE( watch.says( "full; trying again" ) );
   stranger.accept();
   EXPECT_EQ( watch.end( SIGINT ), 0 );
}

TEST( Follow, WatchSeesDifferencesOnlyAfterARestart ) {
   Folder const folder;
   auto leader = std::make_unique<Background>( folder, "first",
                                               leading( sample( "mba.pcap" ), folder.address() ) );
   Background watch( folder, "watch", "watch --json --connect " + folder.address() );
   ASSERT_TRUE( watch.says( "in step" ) ) << watch.err();
   std::size_t const initial = watch.out().size();
   EXPECT_GT( initial, 0u );
   auto const restart = [&]( std::string const& name, std::string const& samples ) {
      std::size_t const before = watch.err().size();
      EXPECT_EQ( leader->end( SIGTERM ), 0 );
      leader = std::make_unique<Background>( folder, name, leading( samples, folder.address() ) );
      return soon( [&] { return watch.err().find( "in step", before ) != std::string::npos; } );
   };
   ASSERT_TRUE( restart( "same", sample( "mba.pcap" ) ) );
   EXPECT_EQ( watch.out().size(), initial ) << watch.out().substr( initial );

   // The same and nothing more, but for the name of the file and the times.
   ASSERT_TRUE( restart( "other", sample( "mba.pcapng" ) ) );
   std::istringstream lines( watch.out().substr( initial ) );
   std::size_t count = 0;
   for ( std::string line; std::getline( lines, line ); ++count ) {
      json const change = json::parse( line );
      bool const ofAnswer = change.at( "root" ) == "replay";
      EXPECT_TRUE( ofAnswer
                      ? change.at( "attribute" ) == "capture" || change.at( "attribute" ) == "time"
                      : change.at( "attribute" ) == "lastAuthSuccessTime" )
         << line;
      EXPECT_EQ( change.at( "path" ).at( 0 ).at( "attribute" ),
                 ofAnswer ? "answer" : "supplicant" );
      EXPECT_NE( change.at( "old" ), change.at( "new" ) );
   }
   EXPECT_GE( count, 13u );
   EXPECT_EQ( watch.end( SIGINT ), 0 );
}

} // namespace
