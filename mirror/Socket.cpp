#include "mirror/Socket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Mirror {

namespace {

constexpr int flags = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;

[[noreturn]] void fail( Varek::String const& address, Varek::String const& doing,
                        int error = errno ) {
   throw SocketError( address, doing, error );
}

sockaddr_un unixAddress( Varek::String const& path ) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if ( path.empty() || path.size() >= sizeof address.sun_path )
      fail( path, "use as a socket's path", path.empty() ? EINVAL : ENAMETOOLONG );
   std::memcpy( address.sun_path, path.data(), path.size() );
   return address;
}

sockaddr const* generic( sockaddr_un const& address ) {
   return reinterpret_cast<sockaddr const*>( &address );
}

Fd openSocket( int family, Varek::String const& address ) {
   Fd fd( ::socket( family, flags, 0 ) );
   if ( fd.get() < 0 )
      fail( address, "make a socket" );
   return fd;
}

/// Removes the socket file that a process left behind. One that answers stays.
void removeStale( Varek::String const& path, sockaddr_un const& address ) {
   struct stat about {};
   if ( ::lstat( path.c_str(), &about ) != 0 )
      return; // bind() says what is wrong, if anything is
   if ( !S_ISSOCK( about.st_mode ) )
      fail( path, "listen: there is something else than a socket", EADDRINUSE );
   Fd const probe = openSocket( AF_UNIX, path );
   if ( ::connect( probe.get(), generic( address ), sizeof address ) == 0 || errno == EAGAIN )
      fail( path, "listen: a process listens there already", EADDRINUSE );
   if ( errno == ECONNREFUSED )
      ::unlink( path.c_str() );
}

using AddressList = std::unique_ptr<addrinfo, decltype( &::freeaddrinfo )>;

AddressList resolve( Varek::String const& host, std::uint16_t port, int more ) {
   addrinfo hints{};
   hints.ai_socktype = SOCK_STREAM;
   hints.ai_flags = more | AI_NUMERICSERV;
   addrinfo* found = nullptr;
   int const result = ::getaddrinfo( host.c_str(), std::to_string( port ).c_str(), &hints, &found );
   if ( result != 0 )
      fail( host, Varek::String( "find the address: " ) + ::gai_strerror( result ),
            result == EAI_SYSTEM ? errno : EADDRNOTAVAIL );
   return { found, &::freeaddrinfo };
}

Varek::String nameOf( sockaddr_storage const& address, socklen_t size ) {
   std::array<char, NI_MAXHOST> host{};
   std::array<char, NI_MAXSERV> port{};
   if ( ::getnameinfo( reinterpret_cast<sockaddr const*>( &address ), size, host.data(),
                       host.size(), port.data(), port.size(),
                       NI_NUMERICHOST | NI_NUMERICSERV ) != 0 )
      return "unknown";
   return Varek::String( host.data() ) + ":" + port.data();
}

void noDelay( int fd ) {
   int const on = 1;
   ::setsockopt( fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on );
}

} // namespace

SocketError::SocketError( Varek::String const& address, Varek::String const& doing, int error )
   : Failure( address + ": cannot " + doing + ": " + std::generic_category().message( error ) ),
     address_( address ), error_( error ) {}
SocketError::~SocketError() = default;

void Fd::reset( int fd ) {
   if ( fd_ >= 0 )
      ::close( fd_ );
   fd_ = fd;
}

Listener::Listener( Fd fd, Varek::String address )
   : fd_( std::move( fd ) ), address_( std::move( address ) ), allowed_{ ::geteuid(), 0 } {
   if ( ::listen( fd_.get(), 16 ) != 0 )
      fail( address_, "listen" );
}

Listener::~Listener() {
   // Somebody may have removed the file, and another process listen there now.
   struct stat about {};
   if ( fd_.get() >= 0 && !path_.empty() && ::lstat( path_.c_str(), &about ) == 0 &&
        about.st_dev == device_ && about.st_ino == inode_ )
      ::unlink( path_.c_str() );
}

Listener Listener::listenUnix( Varek::String const& path, mode_t mode ) {
   sockaddr_un const address = unixAddress( path );
   removeStale( path, address );
   Fd fd = openSocket( AF_UNIX, path );
   // Nobody can connect before listen(), so there is no moment with other permissions.
   if ( ::bind( fd.get(), generic( address ), sizeof address ) != 0 )
      fail( path, "bind" );
   if ( ::chmod( path.c_str(), mode ) != 0 ) {
      int const error = errno;
      ::unlink( path.c_str() );
      fail( path, "set permissions", error );
   }
   Listener made( std::move( fd ), path );
   made.path_ = path;
   struct stat about {};
   if ( ::lstat( path.c_str(), &about ) == 0 ) {
      made.device_ = about.st_dev;
      made.inode_ = about.st_ino;
   }
   return made;
}

Listener Listener::listenTcp( std::uint16_t port, Varek::String const& host ) {
   AddressList const found = resolve( host, port, AI_PASSIVE );
   Varek::String const address = host + ":" + std::to_string( port );
   Fd fd = openSocket( found->ai_family, address );
   int const on = 1;
   ::setsockopt( fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on );
   if ( ::bind( fd.get(), found->ai_addr, found->ai_addrlen ) != 0 )
      fail( address, "bind" );
   Listener made( std::move( fd ), address );
   sockaddr_storage bound{};
   socklen_t size = sizeof bound;
   if ( ::getsockname( made.fd(), reinterpret_cast<sockaddr*>( &bound ), &size ) != 0 )
      fail( address, "find the port" );
   made.port_ =
      ntohs( bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6 const&>( bound ).sin6_port
                                         : reinterpret_cast<sockaddr_in const&>( bound ).sin_port );
   return made;
}

void Listener::checkUser( Accepted& one ) const {
   ucred who{};
   socklen_t size = sizeof who;
   if ( ::getsockopt( one.fd.get(), SOL_SOCKET, SO_PEERCRED, &who, &size ) != 0 )
      fail( address_, "find out who connects" );
   one.uid = who.uid;
   one.peer = "unix, user " + std::to_string( who.uid ) + ", process " + std::to_string( who.pid );
   if ( std::ranges::find( allowed_, who.uid ) == allowed_.end() )
      one.refusal = "user " + std::to_string( who.uid ) + " may not connect to " + address_;
}

std::optional<Accepted> Listener::accept() {
   sockaddr_storage from{};
   socklen_t size = sizeof from;
   Accepted one{ Fd( ::accept4( fd_.get(), reinterpret_cast<sockaddr*>( &from ), &size,
                                SOCK_NONBLOCK | SOCK_CLOEXEC ) ),
                 {},
                 {},
                 {} };
   if ( one.fd.get() < 0 ) {
      // One that has gone again, or is not there yet, is no failure of the listener.
      if ( errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ECONNABORTED )
         return std::nullopt;
      fail( address_, "accept" );
   }
   if ( !path_.empty() ) {
      checkUser( one );
   } else {
      noDelay( one.fd.get() );
      one.peer = nameOf( from, size );
   }
   return one;
}

Fd connectUnix( Varek::String const& path ) {
   sockaddr_un const address = unixAddress( path );
   Fd fd = openSocket( AF_UNIX, path );
   if ( ::connect( fd.get(), generic( address ), sizeof address ) != 0 )
      fail( path, "connect" );
   return fd;
}

Fd connectTcp( Varek::String const& host, std::uint16_t port ) {
   AddressList const found = resolve( host, port, 0 );
   Varek::String const address = host + ":" + std::to_string( port );
   Fd fd = openSocket( found->ai_family, address );
   noDelay( fd.get() );
   if ( ::connect( fd.get(), found->ai_addr, found->ai_addrlen ) != 0 && errno != EINPROGRESS )
      fail( address, "connect" );
   return fd;
}

} // namespace Mirror
