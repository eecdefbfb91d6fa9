#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

#include "Action.h"
#include "Telling.h"

namespace {

constexpr int failed = 1;

/// The number of a closed standard stream would go to the next file or socket that is opened, and
/// output would be written there. So its place is taken by a stream that cannot be read or written.
void occupyClosedStreams() {
   for ( int const stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } ) {
      if ( ::fcntl( stream, F_GETFD ) == -1 ) {
         // The lowest number that is free is this one.
         (void)::open( "/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY );
      }
   }
}

int run( int argc, char** argv ) {
   int result = Dot1xCtl::actionOf( argc, argv )();
   std::cout.flush();
   if ( !std::cout ) {
      Dot1xCtl::tell( "standard output cannot be written" );
      result = std::max( result, failed );
   }
   return result;
}

} // namespace

int main( int argc, char** argv ) {
   occupyClosedStreams();
   // Reaching the size limit of a file is then an error of writing, which is reported.
   ::signal( SIGXFSZ, SIG_IGN );
   try {
      std::ios::sync_with_stdio( false );
      return run( argc, argv );
   } catch ( std::exception const& error ) {
      Dot1xCtl::tell( error.what() );
      return failed;
   }
}
