#include <iostream>
#include <sstream>
#include <vector>

#include <poll.h>

#include "Dot1xV2/AuthNStatus.h"
#include "mirror/Leader.h"
#include "mirror/Socket.h"

// Each line of standard input, "00:00:5e:00:53:01 alice", is a change of the state.
void change( Dot1xV2::AuthNStatus& status, std::string const& line ) try {
   std::istringstream words( line );
   std::string mac, identity;
   words >> mac >> identity;
   status.supplicantIs( Lumo::EthAddr( mac ) )->identityIs( identity );
} catch ( Varek::TextError const& error ) {
   std::cerr << error.what() << '\n';
}

int main( int argc, char** argv ) try {
   std::ios::sync_with_stdio( false ); // so that in_avail() counts further lines
   auto const status = Dot1xV2::authNStatusFactory( "authNStatus" );
   Mirror::Leader leader;
   leader.rootIs( "authNStatus", status );
   auto listener = Mirror::Listener::listenUnix( argc > 1 ? argv[1] : "" );
   std::vector<Mirror::LeaderConnection*> followers;
   while ( std::cin ) {
      std::vector<pollfd> ready{ { STDIN_FILENO, POLLIN, 0 }, { listener.fd(), POLLIN, 0 } };
      for ( auto const* one : followers ) {
         ready.push_back(
            { one->fd(), short( one->wantsWrite() ? POLLIN | POLLOUT : POLLIN ), 0 } );
      }
      poll( ready.data(), ready.size(), 1000 ); // deadlines are seconds away
      for ( std::size_t i = 0; i < followers.size(); ++i ) {
         if ( ready[i + 2].revents & POLLOUT ) {
            followers[i]->onWritable();
         }
         if ( ready[i + 2].revents & ~POLLOUT ) {
            followers[i]->onReadable();
         }
      }
      leader.tick( Mirror::Clock::now() );
      if ( ready[1].revents != 0 ) {
         if ( auto one = listener.accept() ) {
            followers.push_back( &leader.connectionIs( std::move( *one ) ) );
         }
      }
      if ( ready[0].revents != 0 ) {
         do {
            if ( std::string line; std::getline( std::cin, line ) ) {
               change( *status, line );
            }
         } while ( std::cin && std::cin.rdbuf()->in_avail() > 0 );
      }
      std::erase_if( followers, [&]( auto* one ) {
         bool const closed = one->closed();
         if ( closed ) {
            leader.connectionDel( *one );
         }
         return closed;
      } );
   }
} catch ( Varek::Failure const& failure ) {
   std::cerr << failure.what() << '\n';
   return 1;
}
