#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

#include "support/Child.h"
#include "support/Files.h"

/// Runs the real dot1xctl beside the test.
namespace Processes {

using Files::contents;
using Files::Folder;

inline bool soon( std::function<bool()> const& condition ) {
   for ( int i = 0; i < 1000; ++i ) {
      if ( condition() ) {
         return true;
      }
      std::this_thread::sleep_for( std::chrono::milliseconds( 10 ) );
   }
   return false;
}

/// A dot1xctl that goes on until it is told to end.
class Background : public Child {
public:
   Background( Folder const& folder, std::string const& name, std::string const& arguments )
      : Background( arguments, folder.path + "/" + name ) {}

   std::string out() const { return contents( path_ + ".out" ); }
   std::string err() const { return contents( path_ + ".err" ); }
   bool says( std::string const& text ) const {
      return soon( [&] { return err().find( text ) != std::string::npos; } );
   }
   /// The exit code, once it ends by itself; -1 if it does not.
   int ended() {
      return soon( [&] { return !runs(); } ) ? awaited() : -1;
   }

private:
   Background( std::string const& arguments, std::string const& path )
      : Child( { "/bin/sh", "-c",
                 "exec '" DOT1XCTL_PATH "' " + arguments + " >'" + path + ".out' 2>'" + path +
                    ".err'" },
               STDIN_FILENO, STDOUT_FILENO ),
        path_( path ) {}

   std::string path_;
};

} // namespace Processes
