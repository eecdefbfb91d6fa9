#pragma once

#include <csignal>
#include <string>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

/// A process of another user that listens at \p path, in a folder that it lets everybody change.
struct Stranger {
   static constexpr uid_t user = 65534;

   explicit Stranger( std::string const& path ) {
      if ( ::getuid() != 0 ) {
         return;
      }
      ::chmod( path.substr( 0, path.rfind( '/' ) ).c_str(), 0777 );
      int ready[2];
      if ( ::pipe( ready ) != 0 ) {
         return;
      }
      process_ = ::fork();
      if ( process_ == 0 ) {
         sockaddr_un address{ AF_UNIX, {} };
         path.copy( address.sun_path, sizeof address.sun_path - 1 );
         int const fd = ::socket( AF_UNIX, SOCK_STREAM, 0 );
         bool const listens =
            ::setgid( user ) == 0 && ::setuid( user ) == 0 &&
            ::bind( fd, reinterpret_cast<sockaddr*>( &address ), sizeof address ) == 0 &&
            ::listen( fd, 16 ) == 0;
         if ( listens && ::write( ready[1], "x", 1 ) == 1 ) {
            for ( ;; ) {
               ::pause();
            }
         }
         ::_exit( 1 );
      }
      ::close( ready[1] );
      char byte;
      listens_ = ::read( ready[0], &byte, 1 ) == 1;
      ::close( ready[0] );
   }
   ~Stranger() {
      if ( process_ > 0 ) {
         ::kill( process_, SIGKILL );
         ::waitpid( process_, nullptr, 0 );
      }
   }
   Stranger( Stranger const& ) = delete;
   Stranger& operator=( Stranger const& ) = delete;

   /// False if this process is not root's.
   bool listens() const { return listens_; }

private:
   pid_t process_ = -1;
   bool listens_ = false;
};
