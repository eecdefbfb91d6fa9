#pragma once

#include <optional>
#include <string>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/Child.h"

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
      process_.emplace( [&] {
         sockaddr_un address{ AF_UNIX, {} };
         path.copy( address.sun_path, sizeof address.sun_path - 1 );
         int const fd = ::socket( AF_UNIX, SOCK_STREAM, 0 );
         bool const listens =
            ::setgid( user ) == 0 && ::setuid( user ) == 0 &&
            ::bind( fd, reinterpret_cast<sockaddr*>( &address ), sizeof address ) == 0 &&
            ::listen( fd, 16 ) == 0;
         while ( listens && ::write( ready[1], "x", 1 ) == 1 ) {
            ::pause();
         }
      } );
      ::close( ready[1] );
      char byte;
      listens_ = ::read( ready[0], &byte, 1 ) == 1;
      ::close( ready[0] );
   }

   /// False if this process is not root's.
   bool listens() const { return listens_; }

private:
   std::optional<Child> process_;
   bool listens_ = false;
};
