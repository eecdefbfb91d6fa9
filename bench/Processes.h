#pragma once

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <span>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

/// The parts of benchmarks with several processes.
namespace Bench {

inline void require( bool held, char const* what ) {
   if ( !held ) {
      throw std::runtime_error( what );
   }
}

inline void nonBlocking( int fd ) { fcntl( fd, F_SETFL, fcntl( fd, F_GETFL ) | O_NONBLOCK ); }

/// The computing time of this process in seconds, the kernel's included.
inline double cpuSeconds() {
   timespec now;
   clock_gettime( CLOCK_PROCESS_CPUTIME_ID, &now );
   return static_cast<double>( now.tv_sec ) + 1e-9 * static_cast<double>( now.tv_nsec );
}

/// A process at the other end of a socket, which reports by bytes.
class Child {
public:
   /// \p run( socket, report ) runs in the child, which then waits to be killed. It reports by
   /// report(), "ready" first. The socket of this side is non-blocking.
   explicit Child( std::function<void( int socket, std::function<void()> const& report )> run ) {
      int data[2], told[2];
      require( socketpair( AF_UNIX, SOCK_STREAM, 0, data ) == 0, "socketpair" );
      require( socketpair( AF_UNIX, SOCK_STREAM, 0, told ) == 0, "socketpair" );
      pid_ = fork();
      require( pid_ >= 0, "fork" );
      if ( pid_ == 0 ) {
         ::close( data[0] );
         ::close( told[0] );
         int const to = told[1];
         try {
            run( data[1], [to] { require( ::write( to, "x", 1 ) == 1, "report" ); } );
         } catch ( ... ) {
            _exit( 1 );
         }
         char byte;
         while ( ::read( to, &byte, 1 ) > 0 ) {
         }
         _exit( 0 );
      }
      ::close( data[1] );
      ::close( told[1] );
      socket_ = data[0];
      told_ = told[0];
   }
   Child( Child const& ) = delete;
   Child& operator=( Child const& ) = delete;
   ~Child() {
      if ( socket_ >= 0 ) {
         ::close( socket_ );
      }
      ::close( told_ );
      // Later children hold copies of its socket, so the child would not see its end.
      ::kill( pid_, SIGKILL );
      int status;
      ::waitpid( pid_, &status, 0 );
   }

   int socket() const { return socket_; }
   int release() { return std::exchange( socket_, -1 ); }
   int told() const { return told_; }
   /// Waits for a report.
   void await() const {
      char byte;
      require( ::read( told_, &byte, 1 ) == 1, "the child has ended" );
   }

private:
   pid_t pid_;
   int socket_;
   int told_;
};

/// A process that computes a plain value, so that it leaves no traces in this process.
template<class T>
class Reporter {
public:
   template<class F>
   explicit Reporter( F run ) {
      int ends[2];
      require( pipe( ends ) == 0, "pipe" );
      pid_ = fork();
      require( pid_ >= 0, "fork" );
      if ( pid_ == 0 ) {
         ::close( ends[0] );
         try {
            T const value = run();
            _exit( ::write( ends[1], &value, sizeof value ) == sizeof value ? 0 : 1 );
         } catch ( std::exception const& e ) {
            std::fprintf( stderr, "%s\n", e.what() );
            _exit( 1 );
         }
      }
      ::close( ends[1] );
      end_ = ends[0];
   }
   Reporter( Reporter const& ) = delete;
   Reporter& operator=( Reporter const& ) = delete;
   ~Reporter() {
      ::close( end_ );
      int status;
      ::waitpid( pid_, &status, 0 );
   }
   T get() const {
      T value;
      require( ::read( end_, &value, sizeof value ) == sizeof value, "a process has failed" );
      return value;
   }

private:
   pid_t pid_;
   int end_;
};

inline bool readable( int fd, int milliseconds ) {
   pollfd one{ fd, POLLIN, 0 };
   return poll( &one, 1, milliseconds ) > 0;
}

inline void writeAll( int fd, std::span<char const> bytes ) {
   while ( !bytes.empty() ) {
      ssize_t const n = ::write( fd, bytes.data(), bytes.size() );
      require( n > 0, "write" );
      bytes = bytes.subspan( static_cast<std::size_t>( n ) );
   }
}

/// The bytes that came over a blocking socket and have not been consumed.
class ReadBuffer {
public:
   explicit ReadBuffer( int fd ) : fd_( fd ), buffer_( 262144 ) {}

   std::span<char const> held() const { return { buffer_.data() + at_, end_ - at_ }; }
   void takenIs( std::size_t count ) { at_ += count; }
   void more() {
      std::memmove( buffer_.data(), buffer_.data() + at_, end_ - at_ );
      end_ -= at_;
      at_ = 0;
      ssize_t const n = ::read( fd_, buffer_.data() + end_, buffer_.size() - end_ );
      require( n > 0, "read" );
      end_ += static_cast<std::size_t>( n );
   }

private:
   int const fd_;
   std::vector<char> buffer_;
   std::size_t at_ = 0;
   std::size_t end_ = 0;
};

} // namespace Bench
