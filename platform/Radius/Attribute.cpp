#include "Radius/Attribute.h"

#include <limits>
#include <ostream>
#include <string>

#include "Lumo/TextCursor.h"
#include "Radius/Dictionary.h"

namespace RadiusPktParserBase {

namespace {

using Lumo::TextCursor;

constexpr std::string_view standardPrefix = "Attribute-";
constexpr std::string_view extendedPrefix = "Extended-Attribute-";
constexpr std::string_view vendorPrefix = "Vendor-";
constexpr std::string_view expectedType = "a type of at most 65535";
constexpr std::uint16_t firstSpace = 241;
constexpr std::uint16_t lastSpace = 246;

std::uint16_t readType( TextCursor& cursor ) {
   auto const type = static_cast<std::uint16_t>( cursor.decimal( 65535, expectedType ) );
   cursor.end( expectedType );
   return type;
}

Attribute readExtended( TextCursor& cursor ) {
   std::size_t const start = cursor.position();
   constexpr std::string_view expected = "a space of 241 to 246";
   std::uint64_t const space = cursor.decimal( lastSpace, expected );
   if ( space < firstSpace ) {
      cursor.back( start );
      cursor.fail( expected );
   }
   if ( !cursor.take( '.' ) ) {
      cursor.fail( "'.' and an extended type" );
   }
   constexpr std::string_view expectedExtended = "an extended type of at most 255";
   std::uint64_t const type = cursor.decimal( 255, expectedExtended );
   cursor.end( expectedExtended );
   return Attribute( 0, static_cast<std::uint16_t>( space << 8 | type ) );
}

Attribute readVendor( TextCursor& cursor ) {
   auto const vendor = static_cast<std::uint32_t>( cursor.decimal(
      std::numeric_limits<std::uint32_t>::max(), "a vendor number of at most 32 bits" ) );
   if ( !cursor.take( '-' ) || !cursor.take( standardPrefix ) ) {
      cursor.fail( "\"-Attribute-\" and a type" );
   }
   return Attribute( vendor, readType( cursor ) );
}

Attribute read( std::string_view text ) {
   if ( DictionaryEntry const* entry = dictionaryEntry( text ) ) {
      return entry->attribute;
   }
   TextCursor cursor( text );
   if ( cursor.take( standardPrefix ) ) {
      return Attribute( 0, readType( cursor ) );
   }
   if ( cursor.take( extendedPrefix ) ) {
      return readExtended( cursor );
   }
   if ( cursor.take( vendorPrefix ) ) {
      return readVendor( cursor );
   }
   cursor.fail( "the name of a RADIUS attribute, Attribute-N, Extended-Attribute-N.N or "
                "Vendor-N-Attribute-N" );
}

} // namespace

Attribute::Attribute( std::string_view text ) : Attribute( read( text ) ) {}

Varek::String stringValue( Attribute attribute ) {
   if ( DictionaryEntry const* entry = dictionaryEntry( attribute ) ) {
      return Varek::String( entry->name );
   }
   std::string const type = std::to_string( attribute.type() );
   if ( attribute.vendor() != 0 ) {
      return std::string( vendorPrefix ) + std::to_string( attribute.vendor() ) + "-" +
             std::string( standardPrefix ) + type;
   }
   int const space = attribute.type() >> 8;
   if ( space >= firstSpace && space <= lastSpace ) {
      return std::string( extendedPrefix ) + std::to_string( space ) + "." +
             std::to_string( attribute.type() & 0xFF );
   }
   return std::string( standardPrefix ) + type;
}

std::ostream& operator<<( std::ostream& out, Attribute attribute ) {
   return out << stringValue( attribute );
}

} // namespace RadiusPktParserBase
