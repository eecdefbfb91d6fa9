#include <iostream>

#include "Dot1xV2/AuthNStatus.h"

int main() {
   auto const status = Dot1xV2::authNStatusFactory( "authNStatus" );
   auto const alice = status->supplicantIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) );
   auto const watching = alice->identityObserve( []( auto& supplicant, Varek::String const& old ) {
      std::cout << supplicant.mac() << " was \"" << old << "\", is \"" << supplicant.identity()
                << "\"\n";
   } );
   alice->identityIs( "alice" );
   alice->identityIs( "alice" ); // the same again: nobody is told
   alice->vlanIdIs( 20 );        // another attribute: observers of the identity are not told
}
