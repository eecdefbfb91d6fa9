#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <sys/types.h>

#include "Varek/Export.h"
#include "Varek/Failures.h"
#include "Varek/String.h"

/// Sockets for leaders and followers: all non-blocking, close-on-exec, and without SIGPIPE.
namespace Mirror {

/// A system call on a socket has failed. what() names the address and what the system said.
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

/// A file descriptor that is closed in the end.
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

/// A connection that came in.
struct Accepted {
   Fd fd;
   Varek::String peer;       ///< "unix, user 1000, process 4711" or "192.0.2.1:4711".
   std::optional<uid_t> uid; ///< Known for Unix sockets.
   Varek::String refusal;    ///< Why its user may not connect; empty if it may.
};

/// A listening socket. A Unix socket's file is removed in the end, if it is still the one that was
/// made.
class VAREK_EXPORT Listener {
public:
   /// At \p path, with the permissions \p mode. A socket that is left of a process that has ended
   /// is replaced; throws SocketError (EADDRINUSE) if one listens there, or \p path is something
   /// else.
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

   /// One that waits, or none.
   std::optional<Accepted> accept();

private:
   Listener( Fd fd, Varek::String address );
   void checkUser( Accepted& ) const;

   Fd fd_;
   Varek::String address_;
   Varek::String path_; // of a Unix socket
   dev_t device_ = 0;   // its file
   ino_t inode_ = 0;
   std::uint16_t port_ = 0;
   std::vector<uid_t> allowed_;
};

/// To the socket at \p path. Throws SocketError if nobody listens there, or this process may not
/// connect.
VAREK_EXPORT Fd connectUnix( Varek::String const& path );
/// To \p host, which may be a name: that is looked up first, and may take its time. Does not wait
/// for the connection; whether it comes about shows when it is used. Throws SocketError if there is
/// no such host, or the attempt fails at once.
VAREK_EXPORT Fd connectTcp( Varek::String const& host, std::uint16_t port );

} // namespace Mirror
