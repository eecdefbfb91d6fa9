// What earlier versions said and wrote is still understood (README.md beside this file). With the
// environment variable DOT1X_RECORD_TO set to a folder, the test records what this version says.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "mirror/Link.h"
#include "support/Files.h"
#include "support/RandomChange.h"
#include "support/Trees.h"
#ifdef DOT1X_HAS_STORE
#include "store/Store.h"
#endif

namespace {

namespace fs = std::filesystem;
using Roots = std::map<Varek::String, Varek::Ptr<Qel::Entity>>;
using Trees::Lines;

/// Attributes that a later version adds are lines that were not recorded.
Lines linesOf( Roots const& roots ) {
   Lines lines;
   for ( auto const& [name, root] : roots ) {
      Trees::addLines( lines, name, *root );
   }
   return lines;
}

Roots rootsOf( Mirror::Follower const& follower ) {
   Roots roots;
   for ( Varek::String const& name : follower.roots() ) {
      roots[name] = follower.root( name );
   }
   return roots;
}

/// Each line that was recorded is there.
void expectRecorded( fs::path const& file, Roots const& roots ) {
   Lines const lines = linesOf( roots );
   std::istringstream recorded( Files::contents( file.string() ) );
   std::size_t count = 0;
   for ( std::string line; std::getline( recorded, line ); ++count ) {
      EXPECT_TRUE( lines.contains( line ) ) << file << ": not there any more: " << line;
   }
   EXPECT_GT( count, 100U ) << file;
}

/// A tree of each kind, each with much in it.
Roots someTrees() {
   using namespace Dot1xV2;
   Roots roots{ { "aaa", aaaResponseFactory( AaaResponseType::accepted ) },
                { "authN", authNStatusFactory( "authN" ) },
                { "authZ", authZStatusFactory( "authZ" ) },
                { "acct", acctStatusFactory( "acct" ) },
                { "status", statusFactory( "status" ) } };
   std::uint32_t seed = 1;
   for ( auto& [name, root] : roots ) {
      RandomChange change( seed++ );
      for ( unsigned i = 0; i < 60; ++i ) {
         change( *root );
      }
   }
   return roots;
}

void write( fs::path const& file, std::string_view bytes ) {
   std::ofstream( file, std::ios::binary ) << bytes;
}

void record( fs::path const& folder ) {
   Roots roots = someTrees();
#ifdef DOT1X_HAS_STORE
   Store::save( { roots.begin(), roots.end() }, ( folder / "trees.state" ).string() );
#endif
   std::string text;
   for ( std::string const& line : linesOf( roots ) ) {
      text += line + "\n";
   }
   write( folder / "trees.txt", text );

   // A new follower, then changes, among them trees that go and come.
   Mirror::Leader leader;
   for ( auto const& [name, root] : roots ) {
      leader.rootIs( name, root );
   }
   Mirror::Follower follower;
   Link link( leader, follower );
   link.pump();
   RandomChange change( 99 );
   for ( unsigned i = 0; i < 200; ++i ) {
      for ( auto& [name, root] : roots ) {
         change( *root );
      }
   }
   link.pump();
   leader.rootDel( "aaa" );
   link.pump();
   leader.rootIs( "again", roots["aaa"] );
   link.pump();
   ASSERT_TRUE( follower.synced() ) << follower.reason();
   write( folder / "changes.stream",
          { reinterpret_cast<char const*>( link.fromLeader.data() ), link.fromLeader.size() } );
   text.clear();
   for ( std::string const& line : linesOf( rootsOf( follower ) ) ) {
      text += line + "\n";
   }
   write( folder / "changes.txt", text );
}

std::vector<fs::path> recordings() {
   std::vector<fs::path> folders;
   for ( auto const& entry : fs::directory_iterator( DOT1X_RECORDED_DIR ) ) {
      if ( entry.is_directory() ) {
         folders.push_back( entry.path() );
      }
   }
   return folders;
}

TEST( Recorded, StreamsAreUnderstood ) {
   if ( char const* const folder = std::getenv( "DOT1X_RECORD_TO" ) ) {
      record( folder );
   }
   ASSERT_FALSE( recordings().empty() );
   for ( fs::path const& folder : recordings() ) {
      std::string const stream = Files::contents( ( folder / "changes.stream" ).string() );
      Mirror::Follower follower;
      bool whole = false;
      follower.onSynced = [&] { whole = true; };
      feed( follower,
            { { reinterpret_cast<std::uint8_t const*>( stream.data() ), stream.size() } } );
      EXPECT_TRUE( whole ) << folder << ": " << follower.reason();
      EXPECT_EQ( follower.stats().skipped, 0U ) << folder;
      expectRecorded( folder / "changes.txt", rootsOf( follower ) );
   }
}

#ifdef DOT1X_HAS_STORE
TEST( Recorded, StateFilesAreRead ) {
   for ( fs::path const& folder : recordings() ) {
      Store::LeftOut leftOut;
      auto const roots = Store::load( ( folder / "trees.state" ).string(), &leftOut );
      EXPECT_EQ( leftOut.entities + leftOut.messages, 0U ) << folder;
      expectRecorded( folder / "trees.txt", { roots.begin(), roots.end() } );
   }
}
#endif

} // namespace
