// Who may talk, and when silence ends it: versions, descriptions, users, clocks.
#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "mirror/Link.h"
#include "mirror/RawPeer.h"
#include "support/Contains.h"
#include "support/Files.h"
#include "support/Stranger.h"
#include "support/Trees.h"

using namespace TestModule;
using Mirror::Description;
using Mirror::Endpoint;
using Mirror::Follower;
using Mirror::Leader;
using namespace std::chrono_literals;
using Qel::NboAttrLog::FrameKind;

namespace {

/// What others do just before the next file is locked that has been opened for it.
std::function<void()> beforeLock;

Description::Type& typeNamed( Description& all, std::string const& name ) {
   for ( auto& module : all.modules ) {
      for ( auto& type : module.types ) {
         if ( type.name == name ) {
            return type;
         }
      }
   }
   throw std::out_of_range( name );
}

/// One side whose description of a type was changed, as that of another version of the program.
struct Difference {
   char const* type;
   std::function<void( Description&, Description::Type& )> change;
   std::string text; ///< Of the type; empty if the two can talk.
};

std::vector<Difference> const differences{
   { "Rack", []( auto&, auto& ) {}, "" },
   { "Rack", []( auto& all, auto& ) { all.modules.clear(); }, "" },
   { "Rack",
     []( auto&, auto& rack ) {
        rack.attributes.push_back( { 261, "colour", "plain", "U8" } );
     },
     "" },
   { "Mode",
     []( auto&, auto& mode ) {
        mode.enumerators.push_back( { 9, "asleep" } );
     },
     "" },
   { "Sensor", []( auto&, auto& sensor ) { sensor.attributes[1].form = "U64"; },
     "attribute 259 (level): form is U32 at the leader and U64 at the follower" },
   { "Sensor", []( auto&, auto& sensor ) { sensor.attributes[1].name = "height"; },
     "attribute 259 (level): name is level at the leader and height at the follower" },
   { "Rack", []( auto&, auto& rack ) { rack.attributes[2].kind = "collection"; },
     "attribute 260 (sensor): kind is children at the leader and collection at the follower" },
   { "Mode", []( auto&, auto& mode ) { mode.enumerators[1].name = "going"; },
     "value 1: enumerator is running at the leader and going at the follower" },
   { "Reading", []( auto&, auto& reading ) { reading.attributes.pop_back(); },
     "attribute 5 (mode): form is TestModule::Mode at the leader and missing at the follower" },
   { "Plant",
     []( auto&, auto& plant ) {
        plant.attributes.push_back( { 260, "p", "parameter", "U8" } );
     },
     "attribute 260 (p): form is missing at the leader and U8 at the follower" },
};

/// Drives an endpoint by itself at one end, whatever is at the other.
void exchange( Endpoint& endpoint, std::function<void()> const& other ) {
   for ( int i = 0; i < 10; ++i ) {
      endpoint.flush();
      other();
      endpoint.receive( []( auto const& ) {} );
   }
}

TEST( Differing, IsSeenByBothSidesOrByNone ) {
   for ( Difference const& one : differences ) {
      std::string const type = std::string( "TestModule::" ) + one.type;
      std::string const text = one.text.empty() ? "" : "type " + type + ", " + one.text;
      SCOPED_TRACE( text );
      Description changed = Description::ofThisProcess();
      one.change( changed, typeNamed( changed, type ) );

      Leader leader;
      auto [leads, follows] = Mirror::MemoryTransport::pair();
      auto& connection = leader.connectionIs( std::move( leads ), "test" );
      std::string told;
      leader.onClosed = [&]( auto&, auto& reason ) { told = reason; };
      Endpoint newer( {}, Endpoint::Role::follower );
      newer.start( std::move( follows ), "test", changed );
      exchange( newer, [&] {
         if ( connection.wantsWrite() ) {
            connection.onWritable();
         }
         connection.onReadable();
      } );
      EXPECT_EQ( connection.reason(), text );
      EXPECT_EQ( told, text );
      EXPECT_EQ( newer.closed(), !text.empty() );
      EXPECT_TRUE( contains( newer.reason(), text ) );
   }
}

struct Handshake : testing::Test {
   Leader leader;
   Follower follower;
   RawPeer peer;
   Mirror::LeaderConnection& leads() { return leader.connectionIs( peer.connected(), "test" ); }
   void follows() { follower.connectedIs( peer.connected() ); }
};

TEST_F( Handshake, AnotherVersionIsRefusedByEitherSide ) {
   auto& connection = leads();
   peer.hello( 1 );
   connection.onReadable();
   std::string const text = "protocol version 2 at the leader, 1 at the follower; version 1 was "
                            "never released, and is no longer spoken";
   EXPECT_EQ( connection.reason(), text );
   EXPECT_TRUE( contains( peer.received(), text ) );

   follows();
   peer.hello( 3 );
   follower.onReadable();
   EXPECT_EQ( follower.reason(), "protocol version 3 at the leader, 2 at the follower" );
   EXPECT_TRUE( follower.refused() );
   EXPECT_TRUE( contains( peer.received(), follower.reason() ) );

   follows();
   peer.hello( 2, "QNboALOG" );
   follower.onReadable();
   EXPECT_EQ( follower.reason(), "the first frame is no hello of this protocol" );
   EXPECT_TRUE( follower.refused() );
}

TEST_F( Handshake, WhatIsLostOrFaultyLaterOnIsNotRefused ) {
   follows();
   EXPECT_FALSE( follower.refused() );
   peer.end.reset();
   follower.onReadable();
   ASSERT_TRUE( follower.closed() );
   EXPECT_FALSE( follower.refused() );

   follows();
   peer.hello();
   peer.frame( FrameKind::attribute, 7, 259 );
   follower.onReadable();
   ASSERT_TRUE( follower.closed() );
   EXPECT_FALSE( follower.refused() ) << follower.reason();
}

TEST_F( Handshake, NothingIsSaidBeforeTheOtherSideHasAgreed ) {
   leader.rootIs( "plant", Plant::PlantIs() );
   auto& connection = leads();
   connection.onWritable();
   std::uint64_t const hello = connection.bytesSent();
   connection.onWritable();
   EXPECT_EQ( connection.bytesSent(), hello );
   peer.hello();
   connection.onReadable();
   ASSERT_TRUE( connection.wantsWrite() );
   connection.onWritable();
   EXPECT_GT( connection.bytesSent(), hello );
   EXPECT_TRUE( connection.synced() );
}

TEST_F( Handshake, AFollowerThatDoesMoreThanFollowIsRefused ) {
   auto& connection = leads();
   peer.hello();
   peer.frame( FrameKind::synced, 0, {} );
   connection.onReadable();
   EXPECT_TRUE( contains( connection.reason(), "only follows" ) );
}

TEST_F( Handshake, SilenceEndsIt ) {
   Mirror::Clock::time_point now{ 1h };
   auto& connection = leads();
   EXPECT_LE( leader.nextDeadline(), now );
   leader.tick( now );
   EXPECT_EQ( leader.nextDeadline(), now + 10s );
   leader.tick( now + 9s );
   EXPECT_FALSE( connection.closed() );
   leader.tick( now + 10s );
   EXPECT_EQ( connection.reason(), "no hello within 10000 ms" );
   EXPECT_EQ( leader.nextDeadline(), Mirror::Clock::time_point::max() );
}

TEST_F( Handshake, SignsOfLifeKeepAConnectionAndTheirLackEndsIt ) {
   auto const plant = Plant::PlantIs();
   leader.rootIs( "plant", plant );
   Link link( leader, follower );
   link.pump();
   Mirror::Clock::time_point now{ 1h };
   auto const tick = [&] {
      leader.tick( now );
      follower.tick( now );
   };
   tick();
   link.pump();
   std::size_t const quiet = link.fromLeader.size();
   for ( int i = 0; i < 600; ++i ) {
      now += 1s;
      tick();
      link.pump();
   }
   EXPECT_EQ( follower.reason() + link.connection->reason(), "" );
   // A byte each ten seconds: entity and field are as in the frame before, none.
   EXPECT_EQ( link.fromLeader.size() - quiet, 60U );

   // A process that was stopped for long finds what lies there before it gives up the other.
   link.connection->onReadable();
   leader.tick( now += 10s );
   link.leaderTurn();
   link.followerTurn( 0 );
   Link::pass( link.toFollower, *link.followerEnd, 100 );
   follower.tick( now += 50s );
   EXPECT_EQ( follower.reason(), "" );
   // Nothing more comes.
   leader.tick( now );
   EXPECT_EQ( link.connection->reason().rfind( "nothing came for ", 0 ), 0U );
   follower.tick( now += 29s );
   EXPECT_FALSE( follower.closed() );
   follower.tick( now += 1s );
   EXPECT_EQ( follower.reason(), "nothing came for 30000 ms" );
}

struct Sockets : Handshake {
   Files::Folder const folder;
   std::string const path = folder.path + "/socket";

   /// Connects a follower to what listens, and lets both talk.
   Mirror::LeaderConnection& talk( Mirror::Listener& listener, Mirror::Fd fd ) {
      follower.connectedIs( fd.release() );
      auto one = listener.accept();
      for ( int i = 0; !one && i < 1000; ++i, ::usleep( 1000 ) ) {
         one = listener.accept();
      }
      EXPECT_TRUE( one );
      auto& connection = leader.connectionIs( std::move( *one ) );
      for ( int i = 0; i < 1000 && !follower.closed() && !follower.synced(); ++i ) {
         follower.onWritable();
         if ( connection.wantsWrite() ) {
            connection.onWritable();
         }
         connection.onReadable();
         follower.onReadable();
         if ( i > 10 ) {
            ::usleep( 1000 );
         }
      }
      return connection;
   }
};

TEST_F( Sockets, UnixAndTcpConnect ) {
   leader.rootIs( "plant", Plant::PlantIs() );
   auto listener = Mirror::Listener::listenUnix( path );
   auto& unixConnection = talk( listener, Mirror::connectUnix( path ) );
   EXPECT_TRUE( follower.synced() ) << follower.reason();
   EXPECT_EQ( unixConnection.peer(), "unix, user " + std::to_string( ::getuid() ) + ", process " +
                                        std::to_string( ::getpid() ) );
   auto tcp = Mirror::Listener::listenTcp( 0 );
   talk( tcp, Mirror::connectTcp( "127.0.0.1", tcp.port() ) );
   EXPECT_TRUE( follower.synced() ) << follower.reason();
}

TEST_F( Sockets, AUserWhoIsNotAllowedIsToldSo ) {
   leader.rootIs( "plant", Plant::PlantIs() );
   auto listener = Mirror::Listener::listenUnix( path );
   listener.allowedIs( { ::getuid() + 1 } );
   auto& connection = talk( listener, Mirror::connectUnix( path ) );
   std::string const text = "user " + std::to_string( ::getuid() ) + " may not connect to " + path;
   EXPECT_EQ( connection.reason(), text );
   EXPECT_EQ( follower.reason(), "refused by the other side: " + text );
   EXPECT_TRUE( follower.refused() );
   EXPECT_FALSE( follower.root( "plant" ) );
}

TEST_F( Sockets, AStaleFileIsReplacedAndALiveOneIsNot ) {
   auto const errorOf = [&]( auto make ) {
      try {
         make();
      } catch ( Mirror::SocketError const& e ) {
         EXPECT_NE( std::string( e.what() ).find( e.address() ), std::string::npos );
         return e.error();
      }
      return 0;
   };
   {
      auto const live = Mirror::Listener::listenUnix( path );
      EXPECT_EQ( errorOf( [&] { Mirror::Listener::listenUnix( path ); } ), EADDRINUSE );
      ASSERT_EQ( ::link( path.c_str(), ( path + ".stale" ).c_str() ), 0 );
   }
   EXPECT_EQ( errorOf( [&] { Mirror::connectUnix( path ); } ), ENOENT );
   EXPECT_EQ( errorOf( [&] { Mirror::connectUnix( path + ".stale" ); } ), ECONNREFUSED );
   EXPECT_EQ( errorOf( [&] { Mirror::Listener::listenUnix( path + ".stale" ); } ), 0 );
   EXPECT_EQ( errorOf( [&] { Mirror::connectUnix( std::string( 200, 'x' ) ); } ), ENAMETOOLONG );
   // What is no socket is nobody's to remove.
   Mirror::Fd const file( ::open( path.c_str(), O_CREAT | O_CLOEXEC, 0600 ) );
   EXPECT_EQ( errorOf( [&] { Mirror::Listener::listenUnix( path ); } ), EADDRINUSE );
   EXPECT_EQ( ::access( path.c_str(), F_OK ), 0 );
}

TEST_F( Sockets, AFileThatAnotherHasMadeMeanwhileStays ) {
   std::optional<Mirror::Listener> first = Mirror::Listener::listenUnix( path );
   // Its inode lives on under another name: the next file cannot get the same number.
   for ( auto const& file : { path, path + ".lock" } ) {
      ASSERT_EQ( ::rename( file.c_str(), ( file + ".moved" ).c_str() ), 0 );
   }
   auto const second = Mirror::Listener::listenUnix( path );
   first.reset();
   EXPECT_GE( Mirror::connectUnix( path ).get(), 0 );
   EXPECT_THROW( Mirror::Listener::listenUnix( path ), Mirror::SocketError );
}

/// At one path at the same time, round after round; each has what it listens at to itself.
TEST_F( Sockets, OfThoseThatBeginAtOnceOneListens ) {
   std::atomic<unsigned> listening = 0, rounds = 0, most = 0;
   auto const begin = [&]( unsigned sleep ) {
      std::string const stale = path + std::to_string( sleep );
      for ( unsigned i = 0; i < 2000; ++i ) {
         try {
            auto const listener = Mirror::Listener::listenUnix( path );
            most = std::max( most.load(), ++listening );
            EXPECT_GE( Mirror::connectUnix( path ).get(), 0 );
            if ( i % sleep == 0 ) {
               ::usleep( sleep );
            }
            if ( i % 4 == 0 ) {
               ::link( path.c_str(), stale.c_str() );
            }
            --listening;
            ++rounds;
         } catch ( Mirror::SocketError const& e ) {
            EXPECT_EQ( e.error(), EADDRINUSE ) << e.what();
            // As one leaves it that is killed.
            if ( ::link( stale.c_str(), path.c_str() ) == 0 ) {
               ::unlink( stale.c_str() );
            }
         }
      }
   };
   { std::jthread const a( begin, 7 ), b( begin, 5 ), c( begin, 3 ); }
   EXPECT_EQ( most, 1U );
   EXPECT_GE( rounds, 50U );
   EXPECT_NE( ::access( ( path + ".lock" ).c_str(), F_OK ), 0 );
}

TEST_F( Sockets, ALockOfAFileThatIsGoneIsNone ) {
   std::optional<Mirror::Listener> before = Mirror::Listener::listenUnix( path );
   beforeLock = [&] { before.reset(); };
   auto const listener = Mirror::Listener::listenUnix( path );
   EXPECT_FALSE( before );
   EXPECT_EQ( ::access( ( path + ".lock" ).c_str(), F_OK ), 0 );
}

TEST_F( Sockets, ManyWaitToBeLetIn ) {
   auto listener = Mirror::Listener::listenUnix( path );
   std::vector<Mirror::Fd> all;
   for ( unsigned i = 0; i < 60; ++i ) {
      all.push_back( Mirror::connectUnix( path ) );
   }
   for ( unsigned i = 0; i < 60; ++i ) {
      EXPECT_TRUE( listener.accept() );
   }
}

TEST_F( Sockets, WhoListensIsBelievedIfItIsWhoItShouldBe ) {
   Stranger const stranger( path );
   if ( !stranger.listens() ) {
      GTEST_SKIP() << "only root can listen as another user";
   }
   auto const refuses = [&]( std::vector<uid_t> const& trusted = {} ) {
      try {
         Mirror::connectUnix( path, trusted );
      } catch ( Mirror::SocketError const& e ) {
         EXPECT_EQ( e.error(), EPERM );
         EXPECT_TRUE( contains( e.what(), path + ": cannot trust user 65534" ) );
         return true;
      }
      return false;
   };
   EXPECT_TRUE( refuses() );
   EXPECT_TRUE( refuses( { 1, 65533 } ) );
   EXPECT_FALSE( refuses( { 1, Stranger::user } ) );
   // The owner of a socket that root alone can have put there, under its own name.
   ASSERT_EQ( ::chmod( folder.path.c_str(), 0755 ), 0 );
   EXPECT_FALSE( refuses() );
   std::string const named = path + "-link";
   ASSERT_EQ( ::symlink( path.c_str(), named.c_str() ), 0 );
   EXPECT_THROW( Mirror::connectUnix( named ), Mirror::SocketError );
   ASSERT_EQ( ::chown( path.c_str(), 1, 1 ), 0 );
   EXPECT_TRUE( refuses() );
   ASSERT_EQ( ::chown( path.c_str(), Stranger::user, 1 ), 0 );
   EXPECT_FALSE( refuses() );
   ASSERT_EQ( ::chmod( folder.path.c_str(), 0775 ), 0 );
   EXPECT_TRUE( refuses() );
}

} // namespace

// In place of the C library's.
extern "C" int flock( int fd, int operation ) noexcept {
   if ( beforeLock ) {
      std::exchange( beforeLock, nullptr )();
   }
   return static_cast<int>( ::syscall( SYS_flock, fd, operation ) );
}
