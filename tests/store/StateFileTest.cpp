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

#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Varek/Failures.h"
#include "store/Replacement.h"
#include "store/StateFile.h"
#include "store/Store.h"
#include "support/Files.h"
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
using namespace Store;
using Files::contents;
using Files::Folder;
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
         readStream( path );
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
   writeStream( path, "state" );
   EXPECT_EQ( contents( path ), "D1XState\0\1\0\0\0\0\0\0\0\5state\xc4\xfe\x0e\x5c"sv );
   EXPECT_EQ( readStream( path ), "state" );
}

TEST_F( StateFile, NoByteCanChangeAndNoneCanGoOrCome ) {
   // Of a stream, which is not looked at before the file is good.
   writeStream( path, streamOf( smallRoots() ).substr( 0, 300 ) );
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
      { changed( good.find( "QNboALog" ) + 9 ), "protocol version 3 at the leader" },
   };
   for ( auto const& one : cases ) {
      writeStream( path, one.stream );
      try {
         load( path );
         ADD_FAILURE() << one.reason;
      } catch ( Varek::Failure const& failure ) {
         std::string const what = failure.what();
         EXPECT_TRUE( what.starts_with( path + ": the state in it " ) ) << what;
         EXPECT_NE( what.find( one.reason ), what.npos ) << what;
      }
   }
}

TEST_F( StateFile, WhatWasHeldBeforeBecomesWhatIsInIt ) {
   Roots const roots = smallRoots();
   std::string const before = streamOf( roots );
   Mirror::Follower follower;
   apply( before, follower, "first" );
   EXPECT_EQ( textOf( { { "acctStatus", follower.root( "acctStatus" ) } } ), textOf( roots ) );
   std::size_t changes = 0;
   auto const counting =
      follower.root( "acctStatus" )
         ->subscribe( [&]( Varek::Change const& ) { ++changes; }, Varek::Scope::subtree );
   apply( before, follower, "again" );
   EXPECT_EQ( changes, 0u );
   apply( streamOf( smallRoots( "02:00:00:00:00:02" ) ), follower, "other" );
   EXPECT_EQ( changes, 1u );
}

TEST_F( StateFile, WhatIsNotKnownHereIsCountedAndLeftOut ) {
   Roots roots = smallRoots();
   roots["authZStatus"] = Dot1xV2::authZStatusFactory( "authZStatus" );
   std::string stream = streamOf( roots );
   std::string const name = "Dot1xV2::AcctStatus";
   std::size_t const at = stream.find( name );
   ASSERT_EQ( stream.find( name, at + 1 ), stream.npos );
   stream.replace( at, name.size(), "Dot1xV2::NextStatus" );
   writeStream( path, stream );
   roots.erase( "acctStatus" );
   LeftOut leftOut;
   EXPECT_EQ( textOf( load( path, &leftOut ) ), textOf( roots ) );
   EXPECT_EQ( leftOut.entities, 1u );
   EXPECT_EQ( leftOut.messages, 0u ) << "what is below an unknown one is in its announcement";
}

TEST_F( StateFile, AFailedWriteLeavesTheOldFileAndNothingElse ) {
   writeStream( path, "old" );
   pid_t const child = ::fork();
   if ( child == 0 ) {
      ::signal( SIGXFSZ, SIG_IGN );
      rlimit const limit{ 1000, 1000 };
      ::setrlimit( RLIMIT_FSIZE, &limit );
      try {
         writeStream( path, std::string( 5000, 'x' ) );
         ::_exit( 1 );
      } catch ( Varek::Failure const& failure ) {
         ::_exit( failure.what() == path + ": cannot be written: File too large" ? 0 : 2 );
      }
   }
   int status = -1;
   ::waitpid( child, &status, 0 );
   EXPECT_EQ( status, 0 );
   EXPECT_EQ( readStream( path ), "old" );
   EXPECT_EQ( filesInFolder(), 1u );
   EXPECT_THROW( writeStream( folder.path + "/none/state", "x" ), Varek::Failure );
}

TEST_F( StateFile, IsForOneUserAndReplacedAtOnceAlsoBehindALink ) {
   write( "D1XState, not whole, and readable by all" );
   ASSERT_EQ( ::chmod( path.c_str(), 0644 ), 0 );
   std::string const link = folder.path + "/link";
   ASSERT_EQ( ::symlink( "state.d1x", link.c_str() ), 0 );
   int const reading = ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
   writeStream( link, "new" );
   struct stat about {};
   ASSERT_EQ( ::lstat( link.c_str(), &about ), 0 );
   EXPECT_TRUE( S_ISLNK( about.st_mode ) );
   ASSERT_EQ( ::stat( path.c_str(), &about ), 0 );
   EXPECT_EQ( about.st_mode & 0777, 0600u );
   EXPECT_EQ( readStream( path ), "new" );
   char byte = 0;
   EXPECT_EQ( ::read( reading, &byte, 1 ), 1 );
   EXPECT_EQ( byte, 'D' ) << "who had the old file open goes on with that";
   ::close( reading );
   EXPECT_EQ( filesInFolder(), 2u );
}

TEST_F( StateFile, ReplacesNothingElse ) {
   write( "a capture" );
   EXPECT_THROW( save( smallRoots(), path ), Varek::Failure );
   EXPECT_EQ( contents( path ), "a capture" );
   write( "" );
   writeStream( path, "state" );
   EXPECT_EQ( readStream( path ), "state" );
}

/// A process that ends, and the next one.
TEST_F( StateFile, WhatWasLoadedGoesOnAsIfItHadNeverLeft ) {
   save( smallRoots(), path );
   Roots roots = load( path );
   EXPECT_EQ( textOf( roots ), textOf( smallRoots() ) );
   auto& acct = dynamic_cast<Dot1xV2::AcctStatus&>( *roots.at( "acctStatus" ) );
   std::size_t changes = 0;
   auto const counting =
      acct.subscribe( [&]( Varek::Change const& ) { ++changes; }, Varek::Scope::subtree );
   Lumo::EthAddr const mac( "00:00:5e:00:53:01" );
   acct.acctSessionState( mac )->calledStationIdIs( Lumo::EthAddr( "02:00:00:00:00:01" ) );
   EXPECT_EQ( changes, 0u ) << "it is there already";
   acct.acctSessionState( mac )->calledStationIdIs( Lumo::EthAddr( "02:00:00:00:00:02" ) );
   EXPECT_EQ( changes, 1u );
   save( roots, path );
   EXPECT_EQ( textOf( load( path ) ), textOf( smallRoots( "02:00:00:00:00:02" ) ) );
}

TEST_F( StateFile, IsWrittenToTheEndBeforeASignalIsObeyed ) {
   pid_t const child = ::fork();
   if ( child == 0 ) {
      hooks.sync = []( int ) { return ::raise( SIGTERM ); };
      writeStream( path, "new" );
      ::pause();
   }
   int status = 0;
   ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
   EXPECT_TRUE( WIFSIGNALED( status ) && WTERMSIG( status ) == SIGTERM );
   EXPECT_EQ( readStream( path ), "new" );
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
      writeStream( path, "old" );
      hooks.sync = [&]( int file ) { return isFolder( file ) == one.ofFolder ? one.error : 0; };
      std::string told;
      try {
         writeStream( path, "new" );
      } catch ( Varek::Failure const& failure ) {
         told = failure.what();
      }
      EXPECT_EQ( told, one.told.empty() ? "" : path + one.told );
      EXPECT_EQ( readStream( path ), one.kept );
      EXPECT_EQ( filesInFolder(), 1u );
   }
}

TEST_F( StateFile, WhatAKilledDumpLeavesGoesWithTheNext ) {
   int const unnamed = ::open( folder.path.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 );
   ::close( unnamed );
   for ( Draft const draft : { Draft::unnamed, Draft::named } ) {
      for ( bool const writing : { true, false } ) {
         writeStream( path, "old" );
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
         EXPECT_EQ( readStream( path ), "old" );
         writeStream( path, "new" );
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
      hooks.rename = [this] { writeStream( folder.path + "/other", "other" ); };
      replaceState(
         path, []( int ) {}, draft );
   }
   EXPECT_EQ( filesInFolder(), 8u );
   // Or has begun, and not yet locked: then it begins again.
   bool taken = false;
   hooks.lock = [&, before = filesInFolder()] {
      EXPECT_EQ( filesInFolder(), before + 1 );
      writeStream( folder.path + "/other", "other" );
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

} // namespace
