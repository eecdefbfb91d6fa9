#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "Background.h"
#include "Dot1xV2/AcctStatus.h"
#include "ToolRun.h"
#include "store/StateFile.h"
#include "store/Store.h"

/// State files on the command line.
namespace {

using namespace Processes;
using Views::Roots;

struct StateFile : testing::Test {
   Folder const folder;
   std::string const path = folder.path + "/state.d1x";

   void write( std::string_view bytes ) const { std::ofstream( path, std::ios::binary ) << bytes; }
};

/// The exit code of dot1xctl with redirections of its own.
int shell( std::string const& arguments ) {
   int const status = std::system( ( "'" DOT1XCTL_PATH "' " + arguments ).c_str() );
   return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
}

Roots smallRoots( std::string const& called = "02:00:00:00:00:01" ) {
   auto const acct = Dot1xV2::acctStatusFactory( "acctStatus" );
   acct->acctSessionStateIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) )
      ->calledStationIdIs( Lumo::EthAddr( called ) );
   return { { "acctStatus", acct } };
}

TEST_F( StateFile, WhatIsNoFileIsRefused ) {
   ASSERT_EQ( ::mkfifo( ( folder.path + "/fifo" ).c_str(), 0600 ), 0 );
   for ( std::string const& what : { std::string( "/dev/zero" ), folder.path + "/fifo", folder.path,
                                     std::string( "/dev/full" ) } ) {
      std::string const told = "dot1xctl: " + what + ": is something else than a file\n";
      expectFailureAlone( "load " + what, 1, told );
      ToolRun const replay( "replay --tree " + sample( "mba.pcap" ) + " --dump " + what );
      EXPECT_EQ( replay.exitCode, 1 );
      EXPECT_EQ( replay.err, told );
   }
   for ( std::string const& what : { folder.path + "/none", folder.path + "/none/state" } ) {
      expectFailureAlone( "load " + what, 1,
                          "dot1xctl: " + what + ": cannot be opened: No such file or directory\n" );
   }
   // A name is told as it can be on a terminal.
   expectFailure( "load \"$( printf 'x\\033[2J' )\"", 1, "x\\x1b[2J: cannot" );
}

TEST_F( StateFile, HoldsAllThatCapturesAndConfigurationMake ) {
   std::string const what = samples( { "mba.pcap", "acct.pcap", "wired-eapol.pcap" } ) +
                            " --config " + sample( "switch48.json" );
   std::string const tree = printedBy( "replay --tree " + what + " --dump " + path );
   EXPECT_GT( tree.size(), 10000u );
   EXPECT_EQ( printedBy( "load " + path ), tree );
   EXPECT_EQ( printedBy( "load --json " + path ), printedBy( "replay --tree --json " + what ) );
   EXPECT_EQ( printedBy( "show tree --load " + path ), tree );
   EXPECT_EQ( printedBy( "show supplicants --load " + path ),
              printedBy( "replay --show supplicants " + what ) );
}

TEST_F( StateFile, GoesThroughAPipe ) {
   expectFailure( "load - <" + sample( "mba.pcap" ), 1, "dot1xctl: -: is no state file" );

   ASSERT_EQ( ToolRun( "replay " + sample( "acct.pcap" ) + " --dump " + path ).exitCode, 0 );
   Background const leader( folder, "leader",
                            "serve --load - --listen " + folder.address() + " <" + path );
   ASSERT_TRUE( leader.says( "listening" ) );
   std::string const dump = "dump - --connect " + folder.address();
   EXPECT_TRUE( printedBy( dump ).starts_with( "D1XState" ) );
   std::string const piped = dump + " | '" DOT1XCTL_PATH "' ";
   EXPECT_EQ( printedBy( piped + "load -" ), printedBy( "load " + path ) );
   EXPECT_EQ( printedBy( piped + "diff " + path + " -" ), "" );
   expectFailure( "diff - -", 2, "standard input can be one of the two only" );
   for ( std::string const& wrong :
         { "replay " + sample( "mba.pcap" ) + " --dump -",
           "serve --load " + path + " --dump - --listen " + folder.address() + "2" } ) {
      expectFailure( wrong, 2, "expected the name of a file" );
   }
   EXPECT_EQ( shell( dump + " 2>&1 >/dev/full | grep -q 'cannot be written'" ), 0 );
}

TEST_F( StateFile, WhatIsNotKnownHereIsTold ) {
   std::string stream = Store::streamOf( smallRoots() );
   std::string const name = "Dot1xV2::AcctStatus";
   stream.replace( stream.find( name ), name.size(), "Dot1xV2::NextStatus" );
   Store::writeStream( path, stream );
   ToolRun const run( "load " + path );
   EXPECT_EQ( run.exitCode, 0 );
   EXPECT_EQ( run.out, "nothing is published\n" );
   EXPECT_EQ( run.err, "dot1xctl: " + path +
                          ": 1 entity and 0 messages of types and attributes that are not known "
                          "here left out\n" );
}

/// What diff says of two files, or of a file and a leader.
struct Diff : StateFile {
   std::string const other = folder.path + "/other.d1x";
   void SetUp() override {
      ASSERT_EQ( ToolRun( "replay " + sample( "mba.pcap" ) + " --dump " + path ).exitCode, 0 );
      ASSERT_EQ( ToolRun( "replay " + sample( "mba.pcapng" ) + " --dump " + other ).exitCode, 0 );
   }
};

TEST_F( Diff, SameIs0DifferentIs1AndTroubleIs2 ) {
   write( contents( other ) );
   std::string const damaged = folder.path + "/damaged";
   std::ofstream( damaged ) << contents( other ).substr( 0, 500 );
   SetUp();
   struct {
      std::string arguments;
      int exitCode;
      char const* told;
   } const cases[] = {
      { path + " " + path, 0, "" },
      { path + " " + other, 1, "" },
      { path + " " + damaged, 2, "damaged: was cut" },
      { damaged + " " + path, 2, "damaged: was cut" },
      { path + " /nonexistent", 2, "/nonexistent: cannot be opened" },
      { path + " --wait 0.1 unix:/nonexistent", 2, "/nonexistent: cannot connect" },
      { path + " tcp:x", 2, "a port" },
      { path, 2, "B is required" },
   };
   for ( auto const& one : cases ) {
      ToolRun const run( "diff " + one.arguments );
      EXPECT_EQ( run.exitCode, one.exitCode ) << one.arguments;
      EXPECT_EQ( run.out.empty(), one.exitCode != 1 ) << one.arguments << run.out;
      EXPECT_EQ( run.err.empty(), one.exitCode != 2 ) << one.arguments << run.err;
      EXPECT_TRUE( contains( run.err, one.told ) ) << one.arguments;
   }
}

TEST_F( Diff, WhatCannotBePrintedIsTroubleAndGoesNowhereElse ) {
   EXPECT_EQ( shell( "diff " + path + " " + other + " >/dev/full 2>/dev/null" ), 2 );
   ASSERT_EQ( ToolRun( "replay " + sample( "acct.pcap" ) + " --dump " + other ).exitCode, 0 );
   EXPECT_EQ( shell( "diff " + other + " " + path +
                     " 2>&1 >&- | grep -qx "
                     "'dot1xctl: standard output cannot be written'" ),
              0 );
}

TEST_F( Diff, TellsWhatEachHasOfFilesAndOfLeaders ) {
   Store::save( smallRoots(), path );
   Store::save( smallRoots( "02:00:00:00:00:02" ), other );
   Background const leader( folder, "leader",
                            "serve --load " + other + " --listen " + folder.address() );
   constexpr char const* line = "acctStatus/acctSessionState[00:00:5e:00:53:01]/calledStationId "
                                "02:00:00:00:00:01 -> 02:00:00:00:00:02\n";
   EXPECT_EQ( ToolRun( "diff " + path + " " + other ).out, line );
   EXPECT_EQ( ToolRun( "diff " + path + " " + folder.address() ).out, line );
   EXPECT_EQ( ToolRun( "diff " + other + " " + folder.address() ).exitCode, 0 );
   ToolRun const json( "diff --json " + path + " " + other );
   EXPECT_EQ( json.exitCode, 1 );
   EXPECT_EQ( json.json(), nlohmann::json::parse( R"({"root": "acctStatus",
      "path": [{"attribute": "acctSessionState", "key": "00:00:5e:00:53:01"}],
      "attribute": "calledStationId", "old": "02:00:00:00:00:01", "new": "02:00:00:00:00:02"})" ) );
   // A tree that only one of them has.
   Store::save( {}, path );
   EXPECT_EQ( ToolRun( "diff " + other + " " + path ).out,
              "acctStatus Dot1xV2::AcctStatus -> -\n" );
   EXPECT_EQ( linesOf( ToolRun( "diff " + path + " " + other ).out ).at( 0 ),
              "acctStatus - -> Dot1xV2::AcctStatus" );
}

} // namespace
