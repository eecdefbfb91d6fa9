#pragma once

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

/// A process beside the test, which is killed with it.
class Child {
public:
   /// Does \p what and then ends with 0.
   template<class What>
   explicit Child( What what ) : process_( ::fork() ) {
      if ( process_ == 0 ) {
         what();
         ::_exit( 0 );
      }
   }
   /// Runs a program, with these for its standard input and output.
   Child( std::vector<std::string> arguments, int in, int out )
      : Child( [&] {
           ::dup2( in, STDIN_FILENO );
           ::dup2( out, STDOUT_FILENO );
           std::vector<char*> argv;
           for ( std::string& one : arguments ) {
              argv.push_back( one.data() );
           }
           argv.push_back( nullptr );
           ::execv( argv[0], argv.data() );
           ::_exit( 127 );
        } ) {}
   ~Child() {
      if ( process_ > 0 ) {
         end( SIGKILL );
      }
   }
   Child( Child const& ) = delete;
   Child& operator=( Child const& ) = delete;

   void signal( int number ) const { ::kill( process_, number ); }
   /// The exit code; -1 if a signal was its end.
   int end( int number ) {
      signal( number );
      return awaited();
   }
   int awaited() {
      int status = 0;
      ::waitpid( std::exchange( process_, -1 ), &status, 0 );
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
   }
   bool runs() const {
      siginfo_t ended{};
      return ::waitid( P_PID, static_cast<id_t>( process_ ), &ended,
                       WEXITED | WNOHANG | WNOWAIT ) == 0 &&
             ended.si_pid == 0;
   }

private:
   pid_t process_;
};
