#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

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
class Background {
public:
   Background( Folder const& folder, std::string const& name, std::string const& arguments )
      : out_( folder.path + "/" + name + ".out" ), err_( folder.path + "/" + name + ".err" ) {
      std::string const command =
         "exec '" DOT1XCTL_PATH "' " + arguments + " >'" + out_ + "' 2>'" + err_ + "'";
      pid_ = ::fork();
      if ( pid_ == 0 ) {
         ::execl( "/bin/sh", "sh", "-c", command.c_str(), nullptr );
         ::_exit( 127 );
      }
   }
   ~Background() {
      if ( pid_ > 0 ) {
         end( SIGKILL );
      }
   }
   Background( Background const& ) = delete;
   Background& operator=( Background const& ) = delete;

   std::string out() const { return contents( out_ ); }
   std::string err() const { return contents( err_ ); }
   bool says( std::string const& text ) const {
      return soon( [&] { return err().find( text ) != std::string::npos; } );
   }
   void signal( int number ) const { ::kill( pid_, number ); }
   /// The exit code; -1 if the signal was its end.
   int end( int signal ) {
      int status = 0;
      ::kill( pid_, signal );
      ::waitpid( pid_, &status, 0 );
      pid_ = -1;
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   }
   /// The exit code, once it ends by itself; -1 if it does not.
   int ended() {
      int status = 0;
      if ( !soon( [&] { return ::waitpid( pid_, &status, WNOHANG ) == pid_; } ) ) {
         return -1;
      }
      pid_ = -1;
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   }

private:
   std::string out_, err_;
   pid_t pid_ = -1;
};

} // namespace Processes
