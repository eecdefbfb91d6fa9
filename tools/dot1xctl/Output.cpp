#include "Output.h"

#include "Radius/Packet.h"
#include "Radius/RadiusAttributeId.h"

namespace Dot1xCtl {

std::string codeText( std::uint8_t code ) {
   std::string const name( RadiusPktParserBase::codeName( code ) );
   return name.empty() ? "code " + std::to_string( code ) : name;
}

Lumo::EthAddr station( Request const* request ) {
   if ( request != nullptr ) {
      if ( auto const* id = textOf( request->attributes,
                                    RadiusPacketParser::RadiusAttributeId::callingStationId ) ) {
         return stationOf( *id ).value_or( Lumo::EthAddr() );
      }
   }
   return {};
}

} // namespace Dot1xCtl
