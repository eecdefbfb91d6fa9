#include "store/Stream.h"

#include <array>
#include <cerrno>
#include <memory>
#include <span>
#include <utility>

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/socket.h>

#include "Varek/Failures.h"
#include "mirror/Leader.h"
#include "mirror/Socket.h"
#include "store/Replacement.h"

namespace Store {

namespace {

std::pair<Mirror::Fd, Mirror::Fd> socketPair() {
   int ends[2];
   if ( ::socketpair( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends ) != 0 ) {
      systemFailure( "two connected sockets", "cannot be made" );
   }
   return { Mirror::Fd( ends[0] ), Mirror::Fd( ends[1] ) };
}

/// Appends what has come.
void drain( Mirror::Fd const& from, std::string& to, std::span<char> buffer ) {
   std::ptrdiff_t got = 0;
   while ( ( got = ::recv( from.get(), buffer.data(), buffer.size(), MSG_DONTWAIT ) ) > 0 ) {
      to.append( buffer.data(), static_cast<std::size_t>( got ) );
   }
}

} // namespace

std::string streamOf( Views::Roots const& roots ) {
   auto [leading, following] = socketPair();
   // Says the hello of a follower. What comes is read behind its back.
   Mirror::Fd const heard( ::fcntl( following.get(), F_DUPFD_CLOEXEC, 0 ) );
   if ( heard.get() < 0 ) {
      systemFailure( "a socket", "cannot be duplicated" );
   }
   Mirror::Endpoint follower( {}, Mirror::Endpoint::Role::follower );
   follower.start( following.release(), "itself", Mirror::Description::ofThisProcess() );

   Mirror::Leader leader;
   for ( auto const& [name, root] : roots ) {
      leader.rootIs( name, root );
   }
   Mirror::LeaderConnection& connection = leader.connectionIs( leading.release(), "itself" );
   std::string result;
   auto const buffer = std::make_unique<std::array<char, 128 * 1024>>();
   while ( !connection.synced() || connection.wantsWrite() ) {
      follower.flush();
      connection.onReadable();
      connection.onWritable();
      drain( heard, result, *buffer );
      if ( connection.closed() ) {
         throw Varek::Failure( "the state cannot be told: " + connection.reason() );
      }
   }
   drain( heard, result, *buffer );
   return result;
}

LeftOut apply( std::string_view stream, Mirror::Follower& follower, std::string const& name,
               HowFar const& howFar ) {
   auto [leading, following] = socketPair();
   follower.connectedIs( following.release(), name );
   auto const wholeSize = stream.size();
   while ( !follower.closed() && follower.stats().bytes < wholeSize ) {
      if ( !stream.empty() ) {
         std::ptrdiff_t const taken =
            ::send( leading.get(), stream.data(), stream.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
         if ( taken > 0 ) {
            stream.remove_prefix( static_cast<std::size_t>( taken ) );
         } else if ( errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR ) {
            systemFailure( name, "cannot be passed on" );
         }
      }
      follower.onReadable();
      if ( howFar ) {
         howFar( follower.stats().bytes, wholeSize );
      }
   }
   if ( follower.closed() ) {
      refuse( name, "the state in it cannot be taken: " + follower.reason() );
   }
   Mirror::Follower::Stats const stats = follower.stats();
   bool const whole = follower.synced();
   follower.close();
   if ( !whole ) {
      refuse( name,
              fmt::format( "the state in it ends before it is whole, after {} bytes", wholeSize ) );
   }
   return { stats.unknownTypes, stats.skipped };
}

Views::Roots rootsOf( Mirror::Follower const& follower ) {
   Views::Roots roots;
   for ( Varek::String const& name : follower.roots() ) {
      roots[name] = follower.root( name );
   }
   return roots;
}

} // namespace Store
