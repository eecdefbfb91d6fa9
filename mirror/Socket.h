#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "Varek/Export.h"
#include "Varek/Failures.h"
#include "Varek/String.h"
#include "mirror/Transport.h"

/// Sockets for leaders and followers: all non-blocking, close-on-exec, and without SIGPIPE.
namespace Mirror {

/// A system call on a socket has failed. what() has the address and the system's words.
class VAREK_EXPORT SocketError : public Varek::Failure {
public:
   SocketError( Varek::String const& address, Varek::String const& doing, int error );
   ~SocketError() override;
   Varek::String const& address() const { return address_; }
   int error() const { return error_; } ///< An errno value.

private:
   Varek::String address_;
   int error_;
};

/// A file descriptor; closed by the destructor.
class VAREK_EXPORT Fd {
public:
   Fd() = default;
   explicit Fd( int fd ) : fd_( fd ) {}
   Fd( Fd&& other ) noexcept : fd_( other.release() ) {}
   Fd& operator=( Fd&& other ) noexcept {
      reset( other.release() );
      return *this;
   }
   ~Fd() { reset(); }
   int get() const { return fd_; }
   int release() {
      int const fd = fd_;
      fd_ = -1;
      return fd;
   }
   void reset( int fd = -1 );

private:
   int fd_ = -1;
};

/// A socket that is connected or about to be.
class VAREK_EXPORT SocketTransport final : public Transport {
public:
   explicit SocketTransport( Fd fd ) : fd_( std::move( fd ) ) {}
   ~SocketTransport() override;
   Transfer read( std::span<std::uint8_t> to ) noexcept override;
   Transfer write( std::span<Bytes const> pieces ) noexcept override;
   void end() noexcept override;
   int fd() const noexcept override { return fd_.get(); }

private:
   Fd fd_;
};

/// Who is at the other end of a connection.
struct Identity {
   /// "user 1000", "192.0.2.1"; of IPv6 the network of 64 bits: "2001:db8::/64". Empty for a
   /// connection that this process made itself.
   Varek::String name;
   bool own = true; ///< Whether it is the user of this process.
};

/// An incoming connection.
struct Accepted {
   Fd fd;
   Varek::String peer;       ///< "unix, user 1000, process 4711" or "192.0.2.1:4711".
   std::optional<uid_t> uid; ///< Known for Unix sockets.
   Varek::String refusal;    ///< Why its user may not connect; empty if it may.
   Identity who;
};

/// A listening socket. A Unix socket's file is removed in the end, if it is still the one that was
/// made; and so is the file beside it, called as it with ".lock" at the end, which is locked as
/// long as this listens.
class VAREK_EXPORT Listener {
public:
   /// At \p path, with the permissions \p mode. A socket that is left of a process that has ended
   /// is replaced; throws SocketError (EADDRINUSE) if one listens there, or \p path is something
   /// else. Of several that begin at once one succeeds.
   static Listener listenUnix( Varek::String const& path, mode_t mode = 0600 );
   /// At \p host, which may be a name; \p port 0 takes any that is free. Loopback unless told
   /// otherwise: nothing that comes over TCP says who it is.
   static Listener listenTcp( std::uint16_t port, Varek::String const& host = "127.0.0.1" );
   Listener( Listener&& ) noexcept = default;
   Listener& operator=( Listener&& ) = delete;
   ~Listener();

   int fd() const { return fd_.get(); }
   std::uint16_t port() const { return port_; }
   /// The users who may connect to a Unix socket: by default this process's own, and root.
   void allowedIs( std::vector<uid_t> users ) { allowed_ = std::move( users ); }

   /// The next waiting connection; nothing if none waits.
   std::optional<Accepted> accept();

private:
   /// A file that this object has made: its name and its identity.
   struct Made {
      Varek::String path;
      dev_t device = 0;
      ino_t inode = 0;

      bool isThere() const;
      void remove() const;
   };
   struct Lock {
      Made file;
      Fd fd;

      Lock() = default;
      explicit Lock( Varek::String const& path );
      Lock( Lock&& ) noexcept = default;
      Lock& operator=( Lock&& ) noexcept = default;
      ~Lock();
   };

   Listener( Fd fd, Varek::String address );
   void checkUser( Accepted& ) const;

   Fd fd_;
   Varek::String address_;
   Made socket_; // of a Unix socket
   Lock lock_;
   std::uint16_t port_ = 0;
   std::vector<uid_t> allowed_;
};

/// To the socket at \p path, if whoever listens there is to be believed: this process's own user,
/// root, one of \p trusted, or the owner of the socket if it is in a folder that only root may
/// change. Throws SocketError if nobody listens there (ECONNREFUSED, ENOENT), it is somebody else
/// (EPERM), more wait to be let in than the listener has room for (EAGAIN: they will be fewer), or
/// this process may not connect.
VAREK_EXPORT Fd connectUnix( Varek::String const& path, std::vector<uid_t> const& trusted = {} );
/// To \p host, which may be a name: that is looked up first, and may take its time. Does not wait
/// for the connection; whether it comes about shows when it is used. Throws SocketError if there is
/// no such host, or the attempt fails at once.
VAREK_EXPORT Fd connectTcp( Varek::String const& host, std::uint16_t port );

} // namespace Mirror
