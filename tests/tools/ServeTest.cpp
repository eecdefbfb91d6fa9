#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "Background.h"
#include "ToolRun.h"

/// serve, and what happens to a leader and those who follow it from the first to the last.
namespace {

using namespace Processes;

class Serve : public testing::Test {
protected:
   Folder const folder;
   std::string const config = folder.path + "/config.json";
   std::string const dump = folder.path + "/state.d1x";
   std::string const listen = " --listen " + folder.address();
   std::string const connect = " --connect " + folder.address();

   void configure( std::string const& text ) const { std::ofstream( config ) << text; }
   static bool reaches( std::function<std::string()> const& what, std::string const& end ) {
      return soon( [&] { return what().ends_with( end ); } );
   }
};

TEST_F( Serve, APipeThatGoesQuietKeepsNobodyFromEndingIt ) {
   std::string const fifo = folder.path + "/fifo";
   ASSERT_EQ( ::mkfifo( fifo.c_str(), 0600 ), 0 );
   Background replay( folder, "replay", "replay " + fifo + listen );
   ASSERT_TRUE( soon( [&] { return std::filesystem::exists( folder.socket() ); } ) );
   // Until it waits for whoever writes.
   std::this_thread::sleep_for( std::chrono::milliseconds( 200 ) );
   replay.signal( SIGTERM );
   EXPECT_EQ( replay.ended(), 0 );
   EXPECT_EQ( replay.err(), "" );
   EXPECT_FALSE( std::filesystem::exists( folder.socket() ) );
}

TEST_F( Serve, HangupTellsFollowersOfDifferencesAndAFaultChangesNothing ) {
   configure( R"({"intfStatus": {"Ethernet1-2": {"authZProfile": {"guestVlan": 40}}}})" );
   Background serve( folder, "serve", "serve --config " + config + listen );
   Background watch( folder, "watch", "watch" + connect );
   ASSERT_TRUE( watch.says( "in step" ) ) << serve.err() << watch.err();
   std::size_t const initial = watch.out().size();

   configure( "{\"dot1xEnabled\": 7}" );
   serve.signal( SIGHUP );
   std::string const stays = "dot1xctl: " + config + ": the configuration stays as it was\n";
   EXPECT_TRUE( reaches( [&] { return serve.err(); },
                         ":1: $.dot1xEnabled: found 7, expected true or false\n" + stays ) )
      << serve.err();
   std::filesystem::remove( config );
   serve.signal( SIGHUP );
   EXPECT_TRUE( serve.says( "No such file or directory; the configuration stays as it was\n" ) );

   configure( R"({"intfStatus": {"Ethernet1": {"authZProfile": {"guestVlan": 41}},
                                 "Ethernet2": {"authZProfile": {"guestVlan": 40}}}})" );
   serve.signal( SIGHUP );
   ASSERT_TRUE( serve.says( config + ": read again\n" ) ) << serve.err();
   std::string const change = "status/intfStatus[Ethernet1]/authZProfile/guestVlan 40 -> 41\n";
   EXPECT_TRUE( reaches( [&] { return watch.out(); }, change ) ) << watch.out();
   EXPECT_EQ( watch.out().find( '\n', initial ), watch.out().size() - 1 ) << "one change";
   EXPECT_EQ( serve.end( SIGTERM ), 0 );
   EXPECT_FALSE( std::filesystem::exists( folder.socket() ) );
}

TEST_F( Serve, WhatIsDumpedAtTheEndIsWhatTheNextOneServes ) {
   configure( R"({"dot1xEnabled": false})" );
   std::string const captures = sample( "mba.pcap" ) + " " + sample( "acct.pcap" );
   std::string tree;
   {
      Background serve( folder, "first",
                        "serve --config " + config + " --dump " + dump + listen + " " + captures );
      ASSERT_TRUE( serve.says( "listening on" ) ) << serve.err();
      configure( R"({"dot1xEnabled": true})" );
      serve.signal( SIGHUP );
      ASSERT_TRUE( serve.says( "read again" ) ) << serve.err();
      tree = ToolRun( "show tree" + connect ).out;
      EXPECT_EQ( tree, ToolRun( "replay --tree --config " + config + " " + captures ).out );
      EXPECT_EQ( ToolRun( "diff " + dump + " " + folder.address() ).out,
                 "status/dot1xEnabled false -> true\n" );
      EXPECT_EQ( serve.end( SIGINT ), 0 );
      EXPECT_EQ( serve.out(), "" );
   }
   EXPECT_EQ( ToolRun( "load " + dump ).out, tree );
   configure( R"({"intfStatus": {"Ethernet9": {}}})" );
   Background serve( folder, "second",
                     "serve --load " + dump + " --config " + config + " --dump " + dump + listen );
   ASSERT_TRUE( serve.says( "listening on" ) ) << serve.err();
   EXPECT_EQ( ToolRun( "show config" + connect ).out, ToolRun( "config show " + config ).out )
      << "the configuration is that of its own file";
   EXPECT_EQ( ToolRun( "show sessions" + connect ).out,
              ToolRun( "replay --show sessions " + captures ).out );
   // The end that cannot be as it should be is told.
   std::filesystem::remove( dump );
   std::filesystem::create_directory( dump );
   EXPECT_EQ( serve.end( SIGTERM ), 1 );
   EXPECT_TRUE( serve.err().ends_with( dump + ": is something else than a file\n" ) );
   EXPECT_FALSE( std::filesystem::exists( folder.socket() ) );
}

TEST_F( Serve, WhatCannotBeServedIsToldAndNoSocketStays ) {
   configure( "{" );
   std::ofstream( dump ) << "D1XStat";
   std::ofstream( folder.path + "/precious" ) << "precious";
   Background live( folder, "live",
                    "serve " + sample( "mba.pcap" ) + " --listen unix:" + folder.path + "/live" );
   ASSERT_TRUE( live.says( "listening" ) );
   std::string const good = " " + sample( "mba.pcap" );
   struct {
      std::string arguments;
      int exitCode;
      std::string told;
   } const cases[] = {
      { listen, 2, "one of --config, --load and CAPTURE is required" },
      { good, 2, "--listen" },
      { listen + good + " --load " + dump, 2, "--load" },
      { listen + " --config " + config, 1, config + ":1: " },
      { listen + " --load " + dump, 1, dump + ": was cut" },
      { listen + " /nonexistent.pcap --dump " + dump, 1, "/nonexistent.pcap: cannot be opened" },
      { listen + good + " --dump " + folder.path, 1, ": is something else than a file" },
      { listen + good + " --dump /nonexistent/x", 1, "/nonexistent/x: a file beside it" },
      { listen + good + " --dump " + folder.path + "/precious", 1,
        "/precious: is no state file, and is not replaced" },
      { good + " --listen unix:" + folder.path + "/live", 1,
        "cannot listen: a process listens there already" },
      { good + " --listen unix:" + folder.path + "/precious", 1,
        "cannot listen: there is something else than a socket" },
      { good + " --listen unix:" + folder.path, 1,
        "cannot listen: there is something else than a socket" },
   };
   for ( auto const& one : cases ) {
      std::string const err = expectFailure( "serve" + one.arguments, one.exitCode, one.told );
      EXPECT_FALSE( contains( err, "listening on" ) );
      EXPECT_FALSE( std::filesystem::exists( folder.socket() ) ) << one.arguments;
   }
   EXPECT_EQ( contents( dump ), "D1XStat" );
   EXPECT_EQ( contents( folder.path + "/precious" ), "precious" );
   EXPECT_EQ( ToolRun( "show --connect unix:" + folder.path + "/live" ).exitCode, 0 );
   // With no configuration to be read again it ends.
   EXPECT_EQ( live.end( SIGHUP ), 0 );
   EXPECT_FALSE( std::filesystem::exists( folder.path + "/live" ) );
}

/// From captures through a leader that is killed and comes again, to a file, to another leader.
TEST_F( Serve, TheWholeWay ) {
   std::string const what =
      "--block-after 1 --config " + sample( "switch48.json" ) + " " +
      samples( { "wired-eapol.pcap", "mba.pcap", "eap-radius.pcap", "acct.pcap" } );
   auto leader = std::make_unique<Background>( folder, "first", "replay " + what + listen );
   Background watch( folder, "watch", "watch" + connect );
   ASSERT_TRUE( watch.says( "in step" ) ) << watch.err();
   std::string const watched = watch.out();
   EXPECT_GT( watched.size(), 10000u );

   EXPECT_EQ( leader->end( SIGKILL ), -1 );
   ASSERT_TRUE( watch.says( "trying again" ) );
   EXPECT_TRUE( std::filesystem::exists( folder.socket() ) ) << "nobody was left to remove it";
   std::size_t const before = watch.err().size();
   leader = std::make_unique<Background>( folder, "again", "replay " + what + listen );
   ASSERT_TRUE( soon( [&] { return watch.err().find( "in step", before ) != std::string::npos; } ) )
      << watch.err() << leader->err();
   EXPECT_EQ( watch.out(), watched ) << "there is no difference to tell of";

   EXPECT_EQ( printedBy( "dump " + dump + connect ), "" );
   std::string const elsewhere = folder.address() + ".2";
   Background const other( folder, "other", "serve --load " + dump + " --listen " + elsewhere );
   for ( std::string const& pair :
         { folder.address() + " " + elsewhere, elsewhere + " " + dump } ) {
      EXPECT_EQ( printedBy( "diff --wait 10 " + pair ), "" ) << pair;
   }
   for ( char const* form : { "", " --json" } ) {
      for ( auto const& [replay, show] : { std::pair( "replay --tree ", "show tree" ),
                                           std::pair( "replay --show all ", "show all" ) } ) {
         std::string const own = printedBy( replay + what + form );
         EXPECT_GT( own.size(), 1000u );
         EXPECT_EQ( printedBy( show + connect + form ), own );
         EXPECT_EQ( printedBy( show + ( " --connect " + elsewhere ) + form ), own );
      }
   }
   EXPECT_EQ( leader->out(), printedBy( "replay " + what ) );
   EXPECT_EQ( leader->err(), "listening on " + folder.address() + "\n" );
   EXPECT_EQ( watch.end( SIGINT ), 0 );
   EXPECT_EQ( leader->end( SIGTERM ), 0 );
}

} // namespace
