#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "Background.h"
#include "ToolRun.h"
#include "mirror/Socket.h"
#include "support/Stranger.h"

/// Two real processes: one that publishes, one that follows.
namespace {

using nlohmann::json;
using namespace Processes;

std::string leading( std::string const& samples, std::string const& address ) {
   return "replay " + samples + " --listen " + address;
}

TEST( Follow, TheTreeHoldsWhatReplayPrints ) {
   json const tree = ToolRun( "replay --tree --json " + sample( "mba.pcap" ) ).json();
   json const printed = ToolRun( "replay --json " + sample( "mba.pcap" ) ).json();
   json const& root = tree.at( "/replay/attributes"_json_pointer );
   for ( auto const& [name, count] : printed.back().items() ) {
      if ( name != "record" && name != "answers" ) {
         EXPECT_EQ( root.at( name ), count ) << name;
      }
   }
   std::size_t number = 0;
   for ( json const& answer : recordsOf( printed, "answer" ) ) {
      SCOPED_TRACE( ++number );
      json const& one = root.at( "answer" ).at( std::to_string( number ) ).at( "attributes" );
      json const& response = one.at( "/aaaResponse/attributes"_json_pointer );
      EXPECT_EQ( one.at( "packet" ), answer.at( "packet" ) );
      EXPECT_EQ( one.at( "code" ), answer.at( "codeName" ) );
      EXPECT_EQ( response.at( "type" ), answer.at( "type" ) );
      EXPECT_EQ( response.at( "callingStationId" ), answer.at( "callingStationId" ) );
      EXPECT_EQ( response.at( "aaaAttribute" ).size(), answer.at( "attributes" ).size() );
      for ( json const& attribute : answer.at( "attributes" ) ) {
         json const& held = response.at( "aaaAttribute" ).at( attribute.at( "name" ) );
         EXPECT_EQ( held.at( "attrValue" ).size(), attribute.at( "values" ).size() );
      }
   }
   EXPECT_EQ( root.at( "answer" ).size(), number );
}

TEST( Follow, ShowConfigPrintsTheConfigurationThatIsPublished ) {
   Folder const folder;
   std::string const file = sample( "switch48.json" );
   Background leader( folder, "leader",
                      leading( sample( "mba.pcap" ) + " --config " + file, folder.address() ) );
   for ( char const* form : { "", " --json", " --diff", " --diff --json" } ) {
      EXPECT_EQ( printedBy( "show config --connect " + folder.address() + form ),
                 printedBy( "config show " + file + form ) );
   }
   Background other( folder, "other", leading( sample( "mba.pcap" ), folder.address() + "2" ) );
   expectFailureAlone( "show config --connect " + folder.address() + "2", 1,
                       "dot1xctl: " + folder.address() +
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
      // A busy address is told before anything is read.
      expectFailure( leading( sample( "mba.pcap" ), folder.address() ), 1, folder.socket() );
      EXPECT_EQ( leader.end( signal ), 0 );
      EXPECT_NE( ::stat( folder.socket().c_str(), &about ), 0 );
   }
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
   for ( auto const& [arguments, exitCode, told] :
         std::initializer_list<std::tuple<char const*, int, char const*>>{
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
         } ) {
      expectFailure( arguments, exitCode, told );
   }
}

/// Somebody who listens, but is no leader.
struct Impostor {
   Mirror::Listener listener;
   explicit Impostor( Folder const& folder )
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
   Impostor const stranger( folder );
   expectFailure( "show --wait 0.2 --connect " + folder.address(), 1, "0.2 s" );
}

TEST( Follow, WhoCannotBeTalkedToIsNotTriedAgain ) {
   using namespace std::string_view_literals;
   struct {
      std::string_view says;
      char const* reason;
   } const cases[] = {
      { "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"sv,
        ": the first frame is no hello of this protocol\n" },
      { "\x48\0\0\0\0\0\0\x0EQNboALog\0\1\0\0\0\0"sv,
        ": protocol version 1 at the leader, 2 at the follower; version 1 was never released, and "
        "is no longer spoken\n" },
      { "\x49\0\0\0\0\0\0\6locked"sv, ": refused by the other side: locked\n" },
   };
   for ( auto const& one : cases ) {
      for ( char const* command : { "show", "watch" } ) {
         SCOPED_TRACE( command );
         Folder const folder;
         Impostor stranger( folder );
         Background tool( folder, "tool", command + ( " --connect " + folder.address() ) );
         stranger.say( one.says );
         EXPECT_EQ( tool.ended(), 1 );
         EXPECT_EQ( tool.out(), "" );
         EXPECT_TRUE( tool.err().starts_with( "dot1xctl: " + folder.address() + ": " ) );
         EXPECT_TRUE( tool.err().ends_with( one.reason ) ) << tool.err();
         EXPECT_FALSE( stranger.listener.accept() );
      }
   }
}

TEST( Follow, WatchTriesAgainWhereThereMayBeRoomLater ) {
   using namespace std::string_view_literals;
   Folder const folder;
   Impostor stranger( folder );
   Background watch( folder, "watch", "watch --connect " + folder.address() );
   stranger.say( "\x49\0\0\0\0\0\1\4full"sv );
   EXPECT_TRUE( watch.says( "full; trying again" ) );
   stranger.say( "\x49\0\0\0\0\0\1\4full"sv );
   Mirror::Fd const third = stranger.accept();
   EXPECT_EQ( watch.err().find( "again" ), watch.err().rfind( "again" ) ) << "told once";
   EXPECT_EQ( watch.end( SIGINT ), 0 );
}

TEST( Follow, ShowWaitsWhereThereMayBeRoomLater ) {
   using namespace std::string_view_literals;
   Folder const folder;
   std::optional<Impostor> stranger( folder );
   Background show( folder, "show", "show tree --wait 20 --connect " + folder.address() );
   stranger->say( "\x49\0\0\0\0\0\1\4full"sv );
   stranger->say( "\x49\0\0\0\0\0\1\4full"sv );
   stranger.reset();
   Background leader( folder, "leader", leading( sample( "mba.pcap" ), folder.address() ) );
   EXPECT_EQ( show.ended(), 0 ) << show.err();
   EXPECT_TRUE( show.out().starts_with( "acctStatus" ) ) << show.out();

   Folder const another;
   Impostor full( another );
   Background inVain( another, "show", "show --wait 0.5 --connect " + another.address() );
   full.say( "\x49\0\0\0\0\0\1\4full"sv );
   EXPECT_EQ( inVain.ended(), 1 );
   EXPECT_TRUE( inVain.err().ends_with( " (tried for 0.5 s)\n" ) ) << inVain.err();
}

TEST( Follow, WhoListensIsBelievedIfItIsWhoItShouldBe ) {
   Folder const folder;
   Stranger const stranger( folder.socket() );
   if ( !stranger.listens() ) {
      GTEST_SKIP() << "only root can listen as another user";
   }
   std::string const number = std::to_string( Stranger::user );
   std::string const connect = " --connect " + folder.address() + " ";
   for ( std::string const command : { "show", "watch", "dump nothing" } ) {
      expectFailure( command + connect, 1, "cannot trust user " + number );
      expectFailure( command + connect + "--peer-user=nosuchuser", 2, "nosuchuser" );
   }
   expectFailure( "diff " + folder.address() + " x", 2, "cannot trust user " + number );
   // It is believed, but says nothing.
   expectFailure( "show --wait 0.2" + connect + "--peer-user daemon --peer-user " + number, 1,
                  "not everything has come" );
}

TEST( Follow, WatchSeesDifferencesOnlyAfterARestart ) {
   Folder const folder;
   Background first( folder, "first", leading( sample( "mba.pcap" ), folder.address() ) );
   Background watch( folder, "watch", "watch --json --connect " + folder.address() );
   ASSERT_TRUE( watch.says( "in step" ) ) << watch.err();
   std::size_t const initial = watch.out().size();
   std::size_t const before = watch.err().size();
   EXPECT_EQ( first.end( SIGTERM ), 0 );
   Background other( folder, "other", leading( sample( "mba.pcapng" ), folder.address() ) );
   ASSERT_TRUE(
      soon( [&] { return watch.err().find( "in step", before ) != std::string::npos; } ) );

   // The same and nothing more, but for the name of the file and the times.
   auto const lines = linesOf( watch.out().substr( initial ) );
   for ( std::string const& line : lines ) {
      json const change = json::parse( line );
      bool const ofAnswer = change.at( "root" ) == "replay";
      EXPECT_TRUE( ofAnswer
                      ? change.at( "attribute" ) == "capture" || change.at( "attribute" ) == "time"
                      : change.at( "attribute" ) == "lastAuthSuccessTime" )
         << line;
      EXPECT_EQ( change.at( "/path/0/attribute"_json_pointer ),
                 ofAnswer ? "answer" : "supplicant" );
      EXPECT_NE( change.at( "old" ), change.at( "new" ) );
   }
   EXPECT_GE( lines.size(), 13u );
   EXPECT_EQ( json::parse( lines.front() ).at( "time" ), json::parse( lines.back() ).at( "time" ) )
      << "it all came at once";
   EXPECT_EQ( watch.end( SIGINT ), 0 );
}

} // namespace
