#include <iostream>

#include "Dot1xV2/AuthNStatus.h"
#include "framework/inspect/Whole.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "mirror/MemoryTransport.h"

// A leader and a follower in one process, over memory: how a part of a program gets a tree of its
// own, that it can only read. Mostly the two are in two threads, each with a loop.
int main() {
   auto const status = Dot1xV2::authNStatusFactory( "authNStatus" );
   status->supplicantIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) )->identityIs( "alice" );

   auto [ours, theirs] = Mirror::MemoryTransport::pair();
   Mirror::Leader leader;
   leader.rootIs( "authNStatus", status );
   Mirror::LeaderConnection& connection = leader.connectionIs( std::move( ours ), "in process" );
   Mirror::Follower follower;
   follower.connectedIs( std::move( theirs ) );
   while ( !follower.synced() || connection.wantsWrite() ) {
      connection.onReadable();
      connection.onWritable();
      follower.onReadable();
      follower.onWritable();
   }

   std::cout << std::boolalpha << ( *follower.root( "authNStatus" ) == *status ) << ' '
             << follower.root( "authNStatus" )->readOnlyProxy() << '\n';
}
