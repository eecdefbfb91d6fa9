#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Background.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "ToolRun.h"
#include "Varek/Failures.h"
#include "dot1xctl/Dump.h"
#include "dot1xctl/Replacement.h"
#include "views/TreeText.h"

namespace {

/// What happens each time before this process syncs a file (an error takes the place of that), and
/// the next time before it renames one or locks one.
struct Hooks {
   std::function<int( int file )> sync;
   std::function<void()> rename;
   std::function<void()> lock;
} hooks;

void happens( std::function<void()>& hook ) {
   if ( auto const once = std::exchange( hook, nullptr ) ) {
      once();
   }
}

bool isFolder( int file ) {
   struct stat about {};
   return ::fstat( file, &about ) == 0 && S_ISDIR( about.st_mode );
}

} // namespace

// In place of those of the C library, for what is linked statically.
extern "C" int fsync( int file ) {
   if ( int const error = hooks.sync ? hooks.sync( file ) : 0; error != 0 ) {
      errno = error;
      return -1;
   }
   return static_cast<int>( ::syscall( SYS_fsync, file ) );
}

extern "C" int rename( char const* from, char const* to ) noexcept {
   happens( hooks.rename );
   return ::renameat( AT_FDCWD, from, AT_FDCWD, to );
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow" // a structure is called so, too
extern "C" int flock( int file, int operation ) noexcept {
   happens( hooks.lock );
   return static_cast<int>( ::syscall( SYS_flock, file, operation ) );
}
#pragma GCC diagnostic pop

/// State files: what was written comes back, and what is not as it was written does nothing.
namespace {

using namespace Views;
using namespace Capture;
using namespace Dot1xCtl;
using namespace Processes;
using std::to_string;

constexpr std::size_t headSize = 18;
constexpr std::size_t checksumSize = 4;

struct StateFile : testing::Test {
   Folder const folder;
   std::string const path = folder.path + "/state.d1x";

   void TearDown() override { hooks = {}; }
   void write( std::string_view bytes ) const { std::ofstream( path, std::ios::binary ) << bytes; }
   /// What is said of the file, without its name; nothing if it is good.
   std::string fault() const {
      try {
         readDump( path );
         return {};
      } catch ( Varek::Failure const& failure ) {
         std::string const what = failure.what();
         EXPECT_TRUE( what.starts_with( path + ": " ) ) << what;
         return what.substr( std::min( what.size(), path.size() + 2 ) );
      }
   }
   std::size_t filesInFolder() const {
      auto const all = std::filesystem::directory_iterator( folder.path );
      return static_cast<std::size_t>( std::distance( begin( all ), end( all ) ) );
   }
};

/// The exit code of dot1xctl with redirections of its own.
int shell( std::string const& arguments ) {
   int const status = std::system( ( "'" DOT1XCTL_PATH "' " + arguments ).c_str() );
   return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
}

std::string textOf( Roots const& roots ) {
   std::ostringstream out;
   printText( out, rootsPart( roots ) );
   return out.str();
}

Roots smallRoots( std::string const& called = "02:00:00:00:00:01" ) {
   auto const acct = Dot1xV2::acctStatusFactory( "acctStatus" );
   acct->acctSessionStateIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) )
      ->calledStationIdIs( Lumo::EthAddr( called ) );
   return { { "acctStatus", acct } };
}

TEST_F( StateFile, EachByteIsWhereTheDocumentSays ) {
   using namespace std::string_view_literals;
   writeDump( path, "state" );
   EXPECT_EQ( contents( path ), "D1XState\0\1\0\0\0\0\0\0\0\5state\xc4\xfe\x0e\x5c"sv );
   EXPECT_EQ( readDump( path ), "state" );
}

TEST_F( StateFile, NoByteCanChangeAndNoneCanGoOrCome ) {
   // Of a stream, which is not looked at before the file is good.
   writeDump( path, streamOf( smallRoots() ).substr( 0, 300 ) );
   std::string const good = contents( path );
   ASSERT_EQ( fault(), "" );
   auto const begin = [&]( std::size_t at ) {
      return at < 8    ? "is no state file"
             : at < 10 ? "is a state file of version "
             : at < 18 ? "was c"
                       : "was changed: it says that its checksum is ";
   };
   for ( std::size_t at = 0; at < good.size(); ++at ) {
      for ( int const bit : { 1, 0x80 } ) {
         std::string bad = good;
         bad[at] = static_cast<char>( bad[at] ^ bit );
         write( bad );
         ASSERT_TRUE( fault().starts_with( begin( at ) ) ) << at << ": " << fault();
      }
   }
   std::string const says = "it says that it has " +
                            to_string( good.size() - headSize - checksumSize ) +
                            " bytes of state, and has ";
   for ( std::size_t size = 0; size < good.size(); ++size ) {
      write( good.substr( 0, size ) );
      bool const short1 = size < headSize + checksumSize;
      ASSERT_EQ( fault(), short1
                             ? "was cut: it has " + to_string( size ) +
                                  " bytes, and a state file 22 at least"
                             : "was cut: " + says + to_string( size - headSize - checksumSize ) );
   }
   write( good + good );
   EXPECT_EQ( fault(), "was changed: " + says + to_string( 2 * good.size() - 22 ) );
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

TEST_F( StateFile, WhatIsWellKeptButNoStateIsRefused ) {
   std::string const good = streamOf( smallRoots() );
   auto changed = [&]( std::size_t at ) {
      std::string bad = good;
      bad[at] = static_cast<char>( bad[at] + 1 );
      return bad;
   };
   struct {
      std::string stream;
      char const* reason;
   } const cases[] = {
      { "", "ends before it is whole, after 0 bytes" },
      { good.substr( 0, good.size() - 1 ), "ends before it is whole, after " },
      { good.substr( 0, 1000 ), "ends before it is whole, after 1000 bytes" },
      { changed( good.find( "QNboALog" ) ), "no hello of this protocol" },
      { changed( good.find( "QNboALog" ) + 9 ), "protocol version 2 at the leader" },
   };
   for ( auto const& one : cases ) {
      writeDump( path, one.stream );
      std::string const err = expectFailure( "load " + path, 1, one.reason );
      EXPECT_TRUE( err.starts_with( "dot1xctl: " + path + ": the state in it " ) ) << err;
   }
}

TEST_F( StateFile, WhatWasHeldBeforeBecomesWhatIsInIt ) {
   Roots const roots = smallRoots();
   std::string const before = streamOf( roots );
   std::ostringstream told;
   Mirror::Follower follower;
   apply( before, follower, "first", told );
   EXPECT_EQ( textOf( { { "acctStatus", follower.root( "acctStatus" ) } } ), textOf( roots ) );
   std::size_t changes = 0;
   auto const counting =
      follower.root( "acctStatus" )
         ->subscribe( [&]( Varek::Change const& ) { ++changes; }, Varek::Scope::subtree );
   apply( before, follower, "again", told );
   EXPECT_EQ( changes, 0u );
   apply( streamOf( smallRoots( "02:00:00:00:00:02" ) ), follower, "other", told );
   EXPECT_EQ( changes, 1u );
   EXPECT_EQ( told.str(), "" );
}

TEST_F( StateFile, WhatIsNotKnownHereIsCountedAndLeftOut ) {
   Roots roots = smallRoots();
   roots["authNStatus"] = Dot1xV2::authNStatusFactory( "authNStatus" );
   std::string stream = streamOf( roots );
   std::string const name = "Dot1xV2::AcctStatus";
   std::size_t const at = stream.find( name );
   ASSERT_EQ( stream.find( name, at + 1 ), stream.npos );
   stream.replace( at, name.size(), "Dot1xV2::NextStatus" );
   writeDump( path, stream );
   std::ostringstream told;
   roots.erase( "acctStatus" );
   EXPECT_EQ( textOf( loadDump( path, told ) ), textOf( roots ) );
   // All that is below an unknown one, too.
   EXPECT_TRUE( told.str().starts_with( "dot1xctl: " + path + ": 1 entity and 16 messages of " ) )
      << told.str();
}

TEST_F( StateFile, AFailedWriteLeavesTheOldFileAndNothingElse ) {
   writeDump( path, "old" );
   pid_t const child = ::fork();
   if ( child == 0 ) {
      ::signal( SIGXFSZ, SIG_IGN );
      rlimit const limit{ 1000, 1000 };
      ::setrlimit( RLIMIT_FSIZE, &limit );
      try {
         writeDump( path, std::string( 5000, 'x' ) );
         ::_exit( 1 );
      } catch ( Varek::Failure const& failure ) {
         ::_exit( failure.what() == path + ": cannot be written: File too large" ? 0 : 2 );
      }
   }
   int status = -1;
   ::waitpid( child, &status, 0 );
   EXPECT_EQ( status, 0 );
   EXPECT_EQ( readDump( path ), "old" );
   EXPECT_EQ( filesInFolder(), 1u );
   EXPECT_THROW( writeDump( folder.path + "/none/state", "x" ), Varek::Failure );
}

TEST_F( StateFile, IsForOneUserAndReplacedAtOnceAlsoBehindALink ) {
   write( "D1XState, not whole, and readable by all" );
   ASSERT_EQ( ::chmod( path.c_str(), 0644 ), 0 );
   std::string const link = folder.path + "/link";
   ASSERT_EQ( ::symlink( "state.d1x", link.c_str() ), 0 );
   int const reading = ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
   writeDump( link, "new" );
   struct stat about {};
   ASSERT_EQ( ::lstat( link.c_str(), &about ), 0 );
   EXPECT_TRUE( S_ISLNK( about.st_mode ) );
   ASSERT_EQ( ::stat( path.c_str(), &about ), 0 );
   EXPECT_EQ( about.st_mode & 0777, 0600u );
   EXPECT_EQ( readDump( path ), "new" );
   char byte = 0;
   EXPECT_EQ( ::read( reading, &byte, 1 ), 1 );
   EXPECT_EQ( byte, 'D' ) << "who had the old file open goes on with that";
   ::close( reading );
   EXPECT_EQ( filesInFolder(), 2u );
}

// As a capture that is named where the state file should be.
TEST_F( StateFile, ReplacesNothingElse ) {
   write( contents( DOT1X_SAMPLES_DIR "/mba.pcap" ) );
   std::string const before = contents( path );
   ToolRun const run( "replay " + path + " --show ports --dump " + path );
   EXPECT_EQ( run.exitCode, 1 );
   EXPECT_NE( run.err.find( path + ": is no state file, and is not replaced" ), run.err.npos )
      << run.err;
   EXPECT_EQ( contents( path ), before );
   write( "" );
   writeDump( path, "state" );
   EXPECT_EQ( readDump( path ), "state" );
}

TEST_F( StateFile, IsWrittenToTheEndBeforeASignalIsObeyed ) {
   pid_t const child = ::fork();
   if ( child == 0 ) {
      hooks.sync = []( int ) { return ::raise( SIGTERM ); };
      writeDump( path, "new" );
      ::pause();
   }
   int status = 0;
   ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
   EXPECT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGTERM );
   EXPECT_EQ( readDump( path ), "new" );
   EXPECT_EQ( filesInFolder(), 1u );
}

TEST_F( StateFile, ADiskThatCannotSyncIsTold ) {
   std::string const inPlace = ": is in its place, but may not be after a power cut, since its "
                               "folder cannot be synced: Input/output error";
   struct {
      int error;
      bool ofFolder;
      std::string told;
      char const* kept;
   } const cases[] = { { EIO, false, ": cannot be written: Input/output error", "old" },
                       { EIO, true, inPlace, "new" },
                       { EINVAL, true, "", "new" },
                       { ENOTSUP, true, "", "new" } };
   for ( auto const& one : cases ) {
      hooks = {};
      writeDump( path, "old" );
      hooks.sync = [&]( int file ) { return isFolder( file ) == one.ofFolder ? one.error : 0; };
      std::string told;
      try {
         writeDump( path, "new" );
      } catch ( Varek::Failure const& failure ) {
         told = failure.what();
      }
      EXPECT_EQ( told, one.told.empty() ? "" : path + one.told );
      EXPECT_EQ( readDump( path ), one.kept );
      EXPECT_EQ( filesInFolder(), 1u );
   }
}

TEST_F( StateFile, WhatAKilledDumpLeavesGoesWithTheNext ) {
   int const unnamed = ::open( folder.path.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 );
   ::close( unnamed );
   for ( Draft const draft : { Draft::unnamed, Draft::named } ) {
      for ( bool const writing : { true, false } ) {
         writeDump( path, "old" );
         pid_t const child = ::fork();
         if ( child == 0 ) {
            if ( writing ) {
               hooks.sync = []( int ) { return ::raise( SIGKILL ); };
            }
            hooks.rename = [] { ::raise( SIGKILL ); };
            replaceState(
               path, []( int file ) { EXPECT_EQ( ::write( file, "D1XStatus", 6 ), 6 ); }, draft );
            ::_exit( 1 );
         }
         int status = 0;
         ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
         EXPECT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGKILL );
         bool const gone = writing && draft == Draft::unnamed && unnamed >= 0;
         EXPECT_EQ( filesInFolder(), gone ? 1u : 2u );
         EXPECT_EQ( readDump( path ), "old" );
         writeDump( path, "new" );
         EXPECT_EQ( filesInFolder(), 1u );
      }
   }
}

TEST_F( StateFile, WhatIsNotSurelyLeftBehindStays ) {
   auto const beside = [this]( std::string const& end ) {
      return folder.path + "/" + std::string( draftPrefix ) + end;
   };
   std::ofstream( beside( "aaaaaa" ) ) << "another program's";
   std::ofstream( beside( "aaaaaaa" ) ) << "D1XState";
   std::ofstream( beside( "aaaaa-" ) ) << "D1XState";
   std::ofstream( path + ".aaaaaa" ) << "D1XState";
   ASSERT_EQ( ::symlink( "state.d1x", beside( "bbbbbb" ).c_str() ), 0 );
   ASSERT_EQ( ::mkdir( beside( "cccccc" ).c_str(), 0700 ), 0 );
   // What another is writing, too: it is about to be renamed.
   for ( Draft const draft : { Draft::unnamed, Draft::named } ) {
      hooks.rename = [this] { writeDump( folder.path + "/other", "other" ); };
      replaceState(
         path, []( int ) {}, draft );
   }
   EXPECT_EQ( filesInFolder(), 8u );
   // Or has begun, and not yet locked: then it begins again.
   bool taken = false;
   hooks.lock = [&, before = filesInFolder()] {
      EXPECT_EQ( filesInFolder(), before + 1 );
      writeDump( folder.path + "/other", "other" );
      taken = filesInFolder() == before;
   };
   std::string const text = "D1XState and more";
   replaceState(
      path,
      [&]( int file ) {
         EXPECT_EQ( ::write( file, text.data(), text.size() ),
                    static_cast<std::ptrdiff_t>( text.size() ) );
      },
      Draft::named );
   EXPECT_TRUE( taken );
   EXPECT_EQ( contents( path ), text );
   EXPECT_EQ( filesInFolder(), 8u );
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
   for ( std::string const& wrong :
         { std::string( "diff - -" ), "replay " + sample( "mba.pcap" ) + " --dump -",
           "serve --load " + path + " --dump - --listen " + folder.address() + "2" } ) {
      expectFailure( wrong, 2, "" );
   }
   EXPECT_EQ( shell( dump + " 2>&1 >/dev/full | grep -q 'cannot be written'" ), 0 );
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

TEST_F( Diff, WhatCannotBePrintedIsTroubleAndNoDifference ) {
   EXPECT_EQ( shell( "diff " + path + " " + other + " >/dev/full 2>/dev/null" ), 2 );
}

TEST_F( Diff, WhatIsPrintedToAClosedStreamGoesNowhereElse ) {
   ASSERT_EQ( ToolRun( "replay " + sample( "acct.pcap" ) + " --dump " + other ).exitCode, 0 );
   EXPECT_EQ( shell( "diff " + other + " " + path +
                     " 2>&1 >&- | grep -qx "
                     "'dot1xctl: standard output cannot be written'" ),
              0 );
}

TEST_F( Diff, TellsWhatEachHasOfFilesAndOfLeaders ) {
   writeDump( path, streamOf( smallRoots() ) );
   writeDump( other, streamOf( smallRoots( "02:00:00:00:00:02" ) ) );
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
   writeDump( path, streamOf( {} ) );
   EXPECT_EQ( ToolRun( "diff " + other + " " + path ).out,
              "acctStatus Dot1xV2::AcctStatus -> -\n" );
   EXPECT_EQ( linesOf( ToolRun( "diff " + path + " " + other ).out ).at( 0 ),
              "acctStatus - -> Dot1xV2::AcctStatus" );
}

} // namespace
