#include <iostream>

#include "Dot1xV2/AaaHelperLedraTypes.h"

int main() {
   auto const response = Dot1xV2::aaaResponseFactory( Dot1xV2::AaaResponseType::accepted );
   Lumo::EthAddr const station( "00:11:22:33:44:55" );
   response->callingStationIdIs( station );
   std::cout << stringValue( response->type() ) << ' ' << response->callingStationId() << '\n';
   return response->type() == Dot1xV2::AaaResponseType::accepted &&
                response->callingStationId() == station
             ? 0
             : 1;
}
