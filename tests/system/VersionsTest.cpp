#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "mirror/Socket.h"
#include "support/Child.h"

/// Leaders and followers that were really built from different versions of one module.
namespace {

/// version_node \p version with \p socket for its standard input.
class Process {
public:
   Process( unsigned version, char const* role, int socket ) {
      int ends[2];
      EXPECT_EQ( ::pipe2( ends, O_CLOEXEC ), 0 );
      heard_.reset( ends[0] );
      Mirror::Fd const theirs( ends[1] );
      process_.emplace(
         std::vector{ VERSION_NODE_PATH + std::to_string( version ), std::string( role ) }, socket,
         theirs.get() );
   }
   /// All that it says until it ends.
   std::string text() {
      std::string all;
      std::array<char, 4096> buffer;
      for ( ssize_t got; ( got = ::read( heard_.get(), buffer.data(), buffer.size() ) ) > 0; ) {
         all.append( buffer.data(), static_cast<std::size_t>( got ) );
      }
      EXPECT_EQ( process_->awaited(), 0 ) << all;
      return all;
   }

private:
   Mirror::Fd heard_;
   std::optional<Child> process_;
};

struct Said {
   std::string leader, follower;
};
Said talk( unsigned leaderVersion, unsigned followerVersion ) {
   int ends[2];
   EXPECT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends ), 0 );
   Process leader( leaderVersion, "leader", ends[0] );
   Process follower( followerVersion, "follower", ends[1] );
   ::close( ends[0] );
   ::close( ends[1] );
   return { leader.text(), follower.text() };
}

/// What a follower prints of a house and its lamps, each run of blanks as one. \p more is what else
/// there is of it.
std::string lamp( std::string const& place, std::string const& light, int level,
                  std::string const& more = "" ) {
   return " lamp[\"" + place + "\"] Versions::Lamp\n light " + light + "\n level " +
          std::to_string( level ) + "\n" + more;
}
std::string house( std::string const& lamps, std::string const& changed, int unknown, int skipped,
                   std::string const& more = "" ) {
   return "house Versions::House\n" + lamps + " changed " + changed + "\n" + more +
          "entities 3, of unknown types " + std::to_string( unknown ) + ", messages skipped " +
          std::to_string( skipped ) + "\n";
}
std::string withoutColumns( std::string text ) {
   auto const bothBlank = []( char a, char b ) { return a == ' ' && b == ' '; };
   text.erase( std::unique( text.begin(), text.end(), bothBlank ), text.end() );
   return text;
}

TEST( Versions, AnOlderFollowerSkipsAndCountsWhatItDoesNotKnow ) {
   Said const said = talk( 2, 1 );
   EXPECT_EQ( said.leader, "closed by the other side\n" );
   // Skipped with the contents of the house are the colour and the notes of the hall, and the
   // sensors, whatever is in them. Then 5 messages: colour, two notes, a level, a sensor that goes.
   EXPECT_EQ( withoutColumns( said.follower ),
              house( lamp( "hall", "2", 7 ) + lamp( "porch", "off", 0 ), "false", 0, 3 ) +
                 house( lamp( "attic", "on", 0 ) + lamp( "hall", "off", 70 ), "true", 0, 8 ) );
}

TEST( Versions, AnOlderLeaderLeavesWhatIsNewAsItIs ) {
   Said const said = talk( 1, 2 );
   EXPECT_EQ( said.leader, "closed by the other side\n" );
   std::string const ofLamp = " colour \"\"\n note -\n", ofHouse = " sensor -\n";
   EXPECT_EQ( withoutColumns( said.follower ),
              house( lamp( "hall", "on", 7, ofLamp ) + lamp( "porch", "off", 0, ofLamp ), "false",
                     0, 0, ofHouse ) +
                 house( lamp( "attic", "on", 0, ofLamp ) + lamp( "hall", "off", 70, ofLamp ),
                        "true", 0, 0, ofHouse ) );
}

// What is at its default is not told, but to a side that has another.
TEST( Versions, ADefaultThatDiffersIsTold ) {
   for ( auto const& [leader, follower] : { std::pair{ 1U, 4U }, { 4U, 1U } } ) {
      Said const said = talk( leader, follower );
      int const untouched = leader == 4 ? 5 : 0;
      EXPECT_EQ(
         withoutColumns( said.follower ),
         house( lamp( "hall", "on", 7 ) + lamp( "porch", "off", untouched ), "false", 0, 0 ) +
            house( lamp( "attic", "on", untouched ) + lamp( "hall", "off", 70 ), "true", 0, 0 ) );
   }
}

TEST( Versions, AnAttributeOfAnotherFormIsRefusedByBothSides ) {
   std::string const differs = "type Versions::Lamp, attribute 260 (level): form is ";
   Said const said = talk( 3, 1 );
   EXPECT_EQ( said.leader, differs + "U64 at the leader and U32 at the follower\n" );
   EXPECT_EQ( said.follower, "for good: " + said.leader );
   Said const other = talk( 2, 3 );
   EXPECT_EQ( other.leader, differs + "U32 at the leader and U64 at the follower\n" );
   EXPECT_EQ( other.follower, "for good: " + other.leader );
}

} // namespace
