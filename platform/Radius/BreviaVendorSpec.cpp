#include "Radius/BreviaVendorSpec.h"

#include <iterator>
#include <ostream>
#include <string>

#include "Lumo/TextCursor.h"

namespace RadiusPacketParser {

namespace {

/// The names of the values from 1 on.
constexpr std::string_view names[] = {
   "Brevia-Acl-Name",
   "Brevia-Web-Auth-Url",
   "Brevia-Web-Auth-Mode",
   "Brevia-Segment-Id",
   "Brevia-Device-Profile",
   "Brevia-Periodic-Identity",
   "Brevia-Reauth-Timeout-Seed",
   "Brevia-Av-Pair",
};
static_assert( std::size( names ) == BreviaVendorSpec::avPair );

constexpr std::string_view numberPrefix = "Brevia-Attribute-";

} // namespace

BreviaVendorSpec::BreviaVendorSpecEnum BreviaVendorSpec::fromText( std::string_view text ) {
   for ( std::size_t i = 0; i < std::size( names ); ++i ) {
      if ( names[i] == text ) {
         return static_cast<BreviaVendorSpecEnum>( i + 1 );
      }
   }
   Lumo::TextCursor cursor( text );
   if ( !cursor.take( numberPrefix ) ) {
      cursor.fail( "the name of an attribute of Brevia or Brevia-Attribute-N" );
   }
   constexpr std::string_view expected = "a type of at most 255";
   std::uint64_t const value = cursor.decimal( 255, expected );
   cursor.end( expected );
   return static_cast<BreviaVendorSpecEnum>( value );
}

Varek::String stringValue( BreviaVendorSpec::BreviaVendorSpecEnum value ) {
   if ( value != 0 && value <= std::size( names ) ) {
      return Varek::String( names[value - 1] );
   }
   return Varek::String( numberPrefix ) + std::to_string( value );
}

std::ostream& operator<<( std::ostream& out, BreviaVendorSpec::BreviaVendorSpecEnum value ) {
   return out << stringValue( value );
}

} // namespace RadiusPacketParser
