#include "agent/Asked.h"

#include <variant>

#include "Radius/RadiusAttributeId.h"
#include "Varek/Failures.h"

namespace Agent {

using namespace Capture;

using Id = RadiusPacketParser::RadiusAttributeId;

std::optional<std::uint32_t> integerOf( Attributes const& attributes, std::uint16_t type ) {
   for ( auto const& [attribute, value] : attributes ) {
      if ( attribute == RadiusPktParserBase::Attribute( 0, type ) ) {
         auto const* const number = std::get_if<std::uint32_t>( &value.variant() );
         return number ? std::optional( *number ) : std::nullopt;
      }
   }
   return std::nullopt;
}

bool isOfNas( Request const& request ) {
   auto const type = integerOf( request.attributes, Id::acctStatusType );
   return request.code == statusServer || ( request.code == accountingRequest &&
                                            ( type == accountingOn || type == accountingOff ) );
}

Lumo::IntfId portOf( Attributes const& attributes ) {
   if ( auto const* const name = textOf( attributes, Id::nasPortId ) ) {
      try {
         return Lumo::IntfId( *name );
      } catch ( Varek::TextError const& ) {
      }
   }
   return {};
}

std::optional<Asked> askedBy( Request const& request ) {
   constexpr std::uint32_t callCheck = 10;
   auto const& mac = request.station;
   if ( request.code != accessRequest || !mac ) {
      return std::nullopt;
   }
   Asked asked{ *mac, portOf( request.attributes ), false, {} };
   if ( auto const* const user = textOf( request.attributes, Id::userName ) ) {
      asked.user = *user;
   }
   for ( auto const& [attribute, value] : request.attributes ) {
      asked.eap = asked.eap || attribute == RadiusPktParserBase::Attribute( 0, Id::eapMessage );
   }
   bool const byAddress = integerOf( request.attributes, Id::serviceType ) == callCheck ||
                          stationOf( asked.user ) == mac;
   return asked.eap || byAddress ? std::optional( asked ) : std::nullopt;
}

} // namespace Agent
