#include "mirror/Socket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
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
   if ( path.empty() || path.size() >= sizeof address.sun_path ) {
      fail( path, "use as a socket's path", path.empty() ? EINVAL : ENAMETOOLONG );
   }
   std::memcpy( address.sun_path, path.data(), path.size() );
   return address;
}

sockaddr const* generic( sockaddr_un const& address ) {
   return reinterpret_cast<sockaddr const*>( &address );
}

Fd openSocket( int family, Varek::String const& address ) {
   Fd fd( ::socket( family, flags, 0 ) );
   if ( fd.get() < 0 ) {
      fail( address, "make a socket" );
   }
   return fd;
}

/// Removes the socket file of a process that has ended; a socket that answers stays.
void removeStale( Varek::String const& path, sockaddr_un const& address ) {
   struct stat about {};
   if ( ::lstat( path.c_str(), &about ) != 0 ) {
      return; // bind() says what is wrong, if anything is
   }
   if ( !S_ISSOCK( about.st_mode ) ) {
      fail( path, "listen: there is something else than a socket", EADDRINUSE );
   }
   Fd const probe = openSocket( AF_UNIX, path );
   if ( ::connect( probe.get(), generic( address ), sizeof address ) == 0 || errno == EAGAIN ) {
      fail( path, "listen: a process listens there already", EADDRINUSE );
   }
   if ( errno == ECONNREFUSED ) {
      ::unlink( path.c_str() );
   }
}

using AddressList = std::unique_ptr<addrinfo, decltype( &::freeaddrinfo )>;

AddressList resolve( Varek::String const& host, std::uint16_t port, int more ) {
   addrinfo hints{};
   hints.ai_socktype = SOCK_STREAM;
   hints.ai_flags = more | AI_NUMERICSERV;
   addrinfo* found = nullptr;
   int const result = ::getaddrinfo( host.c_str(), std::to_string( port ).c_str(), &hints, &found );
   if ( result != 0 ) {
      fail( host, Varek::String( "find the address: " ) + ::gai_strerror( result ),
            result == EAI_SYSTEM ? errno : EADDRNOTAVAIL );
   }
   return { found, &::freeaddrinfo };
}

struct HostAndPort {
   Varek::String host, port;
};
HostAndPort nameOf( sockaddr_storage const& address, socklen_t size ) {
   std::array<char, NI_MAXHOST> host{};
   std::array<char, NI_MAXSERV> port{};
   if ( ::getnameinfo( reinterpret_cast<sockaddr const*>( &address ), size, host.data(),
                       host.size(), port.data(), port.size(),
                       NI_NUMERICHOST | NI_NUMERICSERV ) != 0 ) {
      return { "unknown", "unknown" };
   }
   return { host.data(), port.data() };
}

/// The holder of an IPv6 address has its whole network of 64 bits, so the network is the identity.
Varek::String networkOf( sockaddr_storage const& address, socklen_t size ) {
   auto network = reinterpret_cast<sockaddr_in6 const&>( address );
   if ( address.ss_family != AF_INET6 || IN6_IS_ADDR_V4MAPPED( &network.sin6_addr ) ) {
      return nameOf( address, size ).host;
   }
   std::fill_n( network.sin6_addr.s6_addr + 8, 8, std::uint8_t{ 0 } );
   sockaddr_storage all{};
   std::memcpy( &all, &network, sizeof network );
   return nameOf( all, sizeof network ).host + "/64";
}

ucred peerOf( int fd, Varek::String const& address, Varek::String const& whom ) {
   ucred who{};
   socklen_t size = sizeof who;
   if ( ::getsockopt( fd, SOL_SOCKET, SO_PEERCRED, &who, &size ) != 0 ) {
      fail( address, "find out who " + whom );
   }
   return who;
}

/// Whether nobody but root can put something else at \p folder, an absolute path without links, or
/// into it. Above it a folder like /tmp will do, in which nobody removes what is another's.
bool isRootsAlone( Varek::String const& folder ) {
   for ( std::size_t end = 1;; end = folder.find( '/', end + 1 ) ) {
      Varek::String const part = folder.substr( 0, end );
      bool const last = part == folder;
      struct stat about {};
      if ( ::lstat( part.c_str(), &about ) != 0 || about.st_uid != 0 ) {
         return false;
      }
      bool const sticky = ( about.st_mode & S_ISVTX ) != 0 && !last;
      if ( ( about.st_mode & ( S_IWGRP | S_IWOTH ) ) != 0 && !sticky ) {
         return false;
      }
      if ( last ) {
         return true;
      }
   }
}

/// The socket at a path, and its owner if its folder is one of the above; then the path has no
/// links, so that it stays what was looked at.
struct Found {
   Varek::String path;
   std::optional<uid_t> owner;
};
Found find( Varek::String const& path ) {
   std::size_t const slash = path.rfind( '/' );
   Varek::String const folder = slash == path.npos ? "." : path.substr( 0, slash + 1 );
   std::unique_ptr<char, decltype( &std::free )> const real( ::realpath( folder.c_str(), nullptr ),
                                                             &std::free );
   if ( !real || !isRootsAlone( real.get() ) ) {
      return { path, {} };
   }
   Varek::String const plain =
      Varek::String( real.get() ) + "/" + path.substr( slash == path.npos ? 0 : slash + 1 );
   struct stat about {};
   if ( ::lstat( plain.c_str(), &about ) != 0 || !S_ISSOCK( about.st_mode ) ||
        plain.size() >= sizeof sockaddr_un{}.sun_path ) {
      return { path, {} };
   }
   return { plain, about.st_uid };
}

/// For what a system call has left in errno.
Transfer notMoved( Transfer::State untilReady ) noexcept {
   return errno == EAGAIN || errno == EWOULDBLOCK
             ? Transfer::none( untilReady )
             : Transfer::none( Transfer::State::failed, errno );
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
   if ( fd_ >= 0 ) {
      ::close( fd_ );
   }
   fd_ = fd;
}

SocketTransport::~SocketTransport() = default;

Transfer SocketTransport::read( std::span<std::uint8_t> to ) noexcept {
   std::ptrdiff_t got = 0;
   do {
      got = ::recv( fd_.get(), to.data(), to.size(), MSG_DONTWAIT );
   } while ( got < 0 && errno == EINTR );
   if ( got > 0 ) [[likely]] {
      return Transfer::moved( static_cast<std::size_t>( got ) );
   }
   return got == 0 ? Transfer::none( Transfer::State::ended )
                   : notMoved( Transfer::State::untilReadable );
}

Transfer SocketTransport::write( std::span<Bytes const> pieces ) noexcept {
   std::array<iovec, mostPieces> each;
   std::size_t const count = std::min( each.size(), pieces.size() );
   for ( std::size_t i = 0; i < count; ++i ) {
      each[i] = { const_cast<std::uint8_t*>( pieces[i].data() ), pieces[i].size() };
   }
   msghdr message{};
   message.msg_iov = each.data();
   message.msg_iovlen = count;
   std::ptrdiff_t taken = 0;
   do {
      taken = ::sendmsg( fd_.get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT );
   } while ( taken < 0 && errno == EINTR );
   return taken >= 0 ? Transfer::moved( static_cast<std::size_t>( taken ) )
                     : notMoved( Transfer::State::untilWritable );
}

/// The descriptor itself stays, so that its number means nothing else meanwhile.
void SocketTransport::end() noexcept { ::shutdown( fd_.get(), SHUT_RDWR ); }

Listener::Listener( Fd fd, Varek::String address )
   : fd_( std::move( fd ) ), address_( std::move( address ) ), allowed_{ ::geteuid(), 0 } {
   if ( ::listen( fd_.get(), SOMAXCONN ) != 0 ) {
      fail( address_, "listen" );
   }
}

Listener::~Listener() {
   if ( fd_.get() >= 0 ) {
      socket_.remove();
   }
}

/// Somebody may have removed the file, and another process may have made a new file since.
bool Listener::Made::isThere() const {
   struct stat about {};
   return ::lstat( path.c_str(), &about ) == 0 && about.st_dev == device && about.st_ino == inode;
}

void Listener::Made::remove() const {
   if ( isThere() ) {
      ::unlink( path.c_str() );
   }
}

/// The kernel releases the lock when its holder ends, in whatever way.
Listener::Lock::Lock( Varek::String const& path ) : file{ path + ".lock", 0, 0 } {
   do {
      fd.reset( ::open( file.path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600 ) );
      if ( fd.get() < 0 ) {
         fail( file.path, "open" );
      }
      struct stat about {};
      if ( ::flock( fd.get(), LOCK_EX | LOCK_NB ) != 0 || ::fstat( fd.get(), &about ) != 0 ) {
         if ( errno == EWOULDBLOCK ) {
            fail( path, "listen: a process listens there already, or is about to", EADDRINUSE );
         }
         fail( file.path, "lock" );
      }
      file.device = about.st_dev;
      file.inode = about.st_ino;
      // The holder before may have removed the file after it was opened here.
   } while ( !file.isThere() );
}

/// Called with the lock held: a process that has opened the file meanwhile sees that it is gone.
Listener::Lock::~Lock() {
   if ( fd.get() >= 0 ) {
      file.remove();
   }
}

Listener Listener::listenUnix( Varek::String const& path, mode_t mode ) {
   sockaddr_un const address = unixAddress( path );
   Lock lock( path );
   removeStale( path, address );
   Fd fd = openSocket( AF_UNIX, path );
   // Nobody can connect before listen(), so there is no moment with other permissions.
   if ( ::bind( fd.get(), generic( address ), sizeof address ) != 0 ) {
      fail( path, "bind" );
   }
   if ( ::chmod( path.c_str(), mode ) != 0 ) {
      int const error = errno;
      ::unlink( path.c_str() );
      fail( path, "set permissions", error );
   }
   Listener made( std::move( fd ), path );
   made.lock_ = std::move( lock );
   made.socket_.path = path;
   struct stat about {};
   if ( ::lstat( path.c_str(), &about ) == 0 ) {
      made.socket_.device = about.st_dev;
      made.socket_.inode = about.st_ino;
   }
   return made;
}

Listener Listener::listenTcp( std::uint16_t port, Varek::String const& host ) {
   AddressList const found = resolve( host, port, AI_PASSIVE );
   Varek::String const address = host + ":" + std::to_string( port );
   Fd fd = openSocket( found->ai_family, address );
   int const on = 1;
   ::setsockopt( fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on );
   if ( ::bind( fd.get(), found->ai_addr, found->ai_addrlen ) != 0 ) {
      fail( address, "bind" );
   }
   Listener made( std::move( fd ), address );
   sockaddr_storage bound{};
   socklen_t size = sizeof bound;
   if ( ::getsockname( made.fd(), reinterpret_cast<sockaddr*>( &bound ), &size ) != 0 ) {
      fail( address, "find the port" );
   }
   made.port_ =
      ntohs( bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6 const&>( bound ).sin6_port
                                         : reinterpret_cast<sockaddr_in const&>( bound ).sin_port );
   return made;
}

void Listener::checkUser( Accepted& one ) const {
   ucred const from = peerOf( one.fd.get(), address_, "connects" );
   one.uid = from.uid;
   one.who = { "user " + std::to_string( from.uid ), from.uid == ::geteuid() };
   one.peer = "unix, " + one.who.name + ", process " + std::to_string( from.pid );
   if ( std::ranges::find( allowed_, from.uid ) == allowed_.end() ) {
      one.refusal = one.who.name + " may not connect to " + address_;
   }
}

std::optional<Accepted> Listener::accept() {
   sockaddr_storage from{};
   socklen_t size = sizeof from;
   Accepted one{ Fd( ::accept4( fd_.get(), reinterpret_cast<sockaddr*>( &from ), &size,
                                SOCK_NONBLOCK | SOCK_CLOEXEC ) ),
                 {},
                 {},
                 {},
                 {} };
   if ( one.fd.get() < 0 ) {
      // One that has gone again, or is not there yet, is no failure of the listener.
      if ( errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR || errno == ECONNABORTED ) {
         return std::nullopt;
      }
      fail( address_, "accept" );
   }
   if ( !socket_.path.empty() ) {
      checkUser( one );
   } else {
      noDelay( one.fd.get() );
      auto const [host, port] = nameOf( from, size );
      one.peer = host + ":" + port;
      one.who = { networkOf( from, size ), false };
   }
   return one;
}

Fd connectUnix( Varek::String const& path, std::vector<uid_t> const& trusted ) {
   unixAddress( path ); // the path that was given is the one that can be too long
   auto const [plain, owner] = find( path );
   sockaddr_un const address = unixAddress( plain );
   Fd fd = openSocket( AF_UNIX, path );
   if ( ::connect( fd.get(), generic( address ), sizeof address ) != 0 ) {
      fail( path, "connect" );
   }
   uid_t const leader = peerOf( fd.get(), path, "listens" ).uid;
   if ( leader != 0 && leader != ::geteuid() && leader != owner &&
        std::ranges::find( trusted, leader ) == trusted.end() ) {
      fail( path, "trust user " + std::to_string( leader ) + ", who listens there", EPERM );
   }
   return fd;
}

Fd connectTcp( Varek::String const& host, std::uint16_t port ) {
   AddressList const found = resolve( host, port, 0 );
   Varek::String const address = host + ":" + std::to_string( port );
   Fd fd = openSocket( found->ai_family, address );
   noDelay( fd.get() );
   if ( ::connect( fd.get(), found->ai_addr, found->ai_addrlen ) != 0 && errno != EINPROGRESS ) {
      fail( address, "connect" );
   }
   return fd;
}

} // namespace Mirror
