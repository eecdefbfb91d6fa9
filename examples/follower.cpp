#include <cerrno>
#include <iostream>
#include <map>

#include <poll.h>

#include "mirror/Follower.h"
#include "mirror/Socket.h"

// "Dot1xV2::AuthZPortStatus authorized: true", "Dot1xV2::AuthNStatus supplicant[00:00:5e:00:53:08]"
void print( Varek::Change const& change ) {
   Qel::Entity const& entity = Qel::entityOf( change );
   Qel::AttributeRecord const& attribute = *Qel::typeRecord( entity ).attribute( change.id() );
   std::cout << Qel::typeRecord( entity ).name << ' ' << attribute.name;
   if ( change.keyData() ) {
      std::cout << '[' << attribute.key->encode( change.keyData() ) << ']';
   }
   if ( attribute.kind == Qel::AttributeKind::plain ) {
      std::cout << ": " << attribute.value->encode( attribute.read( &entity ) );
   }
   std::cout << std::endl;
}

// Connects; waits while too many others connect.
Mirror::Fd connected( char const* path ) {
   for ( ;; ) {
      try {
         return Mirror::connectUnix( path );
      } catch ( Mirror::SocketError const& error ) {
         if ( error.error() != EAGAIN ) {
            throw;
         }
         poll( nullptr, 0, 50 );
      }
   }
}

int main( int argc, char** argv ) try {
   Mirror::Follower follower;
   std::map<Varek::String, Varek::Subscription> subscriptions;
   follower.onRoot = [&]( Varek::String const& name, Qel::Entity& root ) {
      subscriptions[name] = root.subscribe( print, Varek::Scope::subtree );
   };
   follower.onSynced = [] { std::cout << "in step" << std::endl; };
   follower.connectedIs( connected( argc > 1 ? argv[1] : "" ).release() );
   while ( !follower.closed() ) {
      pollfd ready{ follower.fd(), short( follower.wantsWrite() ? POLLIN | POLLOUT : POLLIN ), 0 };
      poll( &ready, 1, 1000 ); // deadlines are seconds away
      if ( ready.revents & POLLOUT ) {
         follower.onWritable();
      }
      if ( ready.revents & ~POLLOUT ) {
         follower.onReadable();
      }
      follower.tick( Mirror::Clock::now() );
   }
   throw Varek::Failure( follower.reason() );
} catch ( Varek::Failure const& failure ) {
   std::cerr << failure.what() << '\n';
   return 1;
}
