#include "Radius/RadiusAttributeId.h"

#include <ostream>

#include "Radius/Attribute.h"
#include "Varek/Failures.h"

namespace RadiusPacketParser {

using RadiusPktParserBase::Attribute;

RadiusAttributeId::RadiusAttributeIdEnum RadiusAttributeId::fromText( std::string_view text ) {
   Attribute const attribute( text );
   if ( attribute.vendor() != 0 || attribute.type() > 0xFF ) {
      throw Varek::TextError( "a standard RADIUS attribute of a number of at most 255", text, 0 );
   }
   return static_cast<RadiusAttributeIdEnum>( attribute.type() );
}

Varek::String stringValue( RadiusAttributeId::RadiusAttributeIdEnum id ) {
   return stringValue( Attribute( 0, id ) );
}

std::ostream& operator<<( std::ostream& out, RadiusAttributeId::RadiusAttributeIdEnum id ) {
   return out << stringValue( id );
}

} // namespace RadiusPacketParser
