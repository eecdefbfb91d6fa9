#include "Bridging/VlanId.h"

#include <charconv>
#include <ostream>
#include <string>

#include "Varek/Failures.h"

namespace Bridging {

namespace {

std::uint16_t readNumber( std::string_view text, std::uint16_t least, std::string_view expected ) {
   std::uint16_t value = 0;
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
   auto const position = static_cast<std::size_t>( end - text.data() );
   bool const leadingZero = text.size() > 1 && text[0] == '0';
   if ( error != std::errc() || leadingZero || ( position == text.size() && value < least ) ) {
      throw Varek::TextError( expected, text, 0 );
   }
   if ( position != text.size() ) {
      throw Varek::TextError( expected, text, position );
   }
   return value;
}

} // namespace

VlanId::VlanId( std::string_view text )
   : value_( readNumber( text, 0, "a VLAN number of 0 to 65535 without leading zeros" ) ) {}

VlanIdOrNone::VlanIdOrNone( std::string_view text )
   : value_( text == "none" ? std::uint16_t{ 0 }
                            : readNumber( text, 1,
                                          "\"none\" or a VLAN number of 1 to 65535 without "
                                          "leading zeros" ) ) {}

Varek::String stringValue( VlanId id ) { return std::to_string( id.value() ); }

std::ostream& operator<<( std::ostream& out, VlanId id ) { return out << id.value(); }

Varek::String stringValue( VlanIdOrNone id ) {
   return id.isNone() ? "none" : std::to_string( id.value() );
}

std::ostream& operator<<( std::ostream& out, VlanIdOrNone id ) { return out << stringValue( id ); }

} // namespace Bridging
