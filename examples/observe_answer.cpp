#include <iostream>

#include "Dot1xV2/AaaHelperLedraTypes.h"

int main() {
   using namespace Dot1xV2;
   auto const response = aaaResponseFactory( AaaResponseType::accepted );
   auto const subscription = response->publisher().subscribe( []( Varek::Change const& change ) {
      std::cout << "attribute " << change.id().value() << " changed\n";
   } );

   response->callingStationIdIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) );
   response->callingStationIdIs( Lumo::EthAddr( "0000.5e00.5301" ) ); // the same: nobody is told

   AaaAttribute vlan( RadiusPktParserBase::Attribute( "Tunnel-Private-Group-Id" ) );
   vlan.attrValuePush( RadiusPktParserBase::TaggedStr{ 1, "EMPLOYEES" } );
   response->aaaAttributeIs( vlan );

   for ( AaaAttribute const& attribute : response->aaaAttribute() ) {
      std::cout << attribute.attribute() << ' ' << attribute.attrValue()[0] << '\n';
   }
}
