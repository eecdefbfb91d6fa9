#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "Dot1xV2/AuthNStatus.h"
#include "framework/inspect/Assign.h"
#include "store/Store.h"

// State that outlives the process: persist FILE MAC IDENTITY prints the saved state and adds to it.
int main( int argc, char** argv ) try {
   if ( argc != 4 ) {
      throw Varek::Failure( "usage: persist FILE MAC IDENTITY" );
   }
   std::string const file = argv[1];
   auto const status = Dot1xV2::authNStatusFactory( "authNStatus" );
   if ( std::filesystem::exists( file ) ) {
      Qel::assignEntity( *status, *Store::load( file ).at( "authNStatus" ) );
   }

   for ( auto const& [mac, supplicant] : status->supplicant() ) {
      std::cout << mac << ' ' << supplicant->identity() << '\n';
   }
   status->supplicantIs( Lumo::EthAddr( argv[2] ) )->identityIs( argv[3] );

   Store::save( { { "authNStatus", status } }, file );
} catch ( std::exception const& failure ) {
   std::cerr << failure.what() << '\n';
   return 1;
}
