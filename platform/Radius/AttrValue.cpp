#include "Radius/AttrValue.h"

#include <limits>
#include <ostream>
#include <string>

#include "Lumo/TextCursor.h"
#include "Varek/Hash.h"
#include "Varek/Text.h"

namespace RadiusPktParserBase {

namespace {

using Lumo::TextCursor;
using Varek::quoted;

constexpr std::string_view wideSuffix = "u64";

char readEscape( TextCursor& cursor ) {
   for ( char const c : { '"', '\\' } ) {
      if ( cursor.take( c ) ) {
         return c;
      }
   }
   if ( !cursor.take( 'x' ) ) {
      cursor.fail( "one of \\\", \\\\ and \\xNN" );
   }
   constexpr std::string_view expected = "two hexadecimal digits after \\x";
   unsigned const high = cursor.hexDigit( expected );
   return static_cast<char>( high << 4 | cursor.hexDigit( expected ) );
}

std::string readQuoted( TextCursor& cursor ) {
   if ( !cursor.take( '"' ) ) {
      cursor.fail( "text in quotes" );
   }
   std::string text;
   while ( !cursor.take( '"' ) ) {
      if ( cursor.atEnd() ) {
         cursor.fail( "a quote that ends the text" );
      }
      if ( cursor.take( '\\' ) ) {
         text += readEscape( cursor );
      } else {
         text += cursor.peek();
         cursor.take( cursor.peek() );
      }
   }
   return text;
}

Varek::Bytes readBytes( TextCursor& cursor ) {
   constexpr std::string_view expected = "an even number of hexadecimal digits after 0x";
   std::string octets;
   while ( !cursor.atEnd() ) {
      unsigned const high = cursor.hexDigit( expected );
      octets += static_cast<char>( high << 4 | cursor.hexDigit( expected ) );
   }
   return Varek::Bytes( octets );
}

constexpr std::uint64_t largest32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t largest64 = std::numeric_limits<std::uint64_t>::max();

AttrValueVariant readTagged( TextCursor& cursor ) {
   auto const tag =
      static_cast<std::uint8_t>( cursor.decimal( 255, "a tag of at most 255 after ':'" ) );
   if ( !cursor.take( ' ' ) ) {
      cursor.fail( "a space after the tag" );
   }
   if ( cursor.peek() == '"' ) {
      return TaggedStr{ tag, readQuoted( cursor ) };
   }
   return TaggedInt{ tag, static_cast<std::uint32_t>(
                             cursor.decimal( largest32, "text in quotes or a 32-bit number" ) ) };
}

AttrValueVariant readNumber( TextCursor& cursor, bool wide ) {
   constexpr std::string_view expected =
      "the value of an attribute: \"text\", :1 \"text\", 13, :1 13, 13u64, 192.0.2.0/24 or 0x00ff";
   std::uint64_t const number = cursor.decimal( wide ? largest64 : largest32, expected );
   if ( wide ) {
      cursor.take( wideSuffix );
      return number;
   }
   return static_cast<std::uint32_t>( number );
}

AttrValueVariant read( std::string_view text ) {
   TextCursor cursor( text );
   AttrValueVariant value;
   if ( cursor.peek() == '"' ) {
      value = readQuoted( cursor );
   } else if ( cursor.take( "0x" ) ) {
      value = readBytes( cursor );
   } else if ( text.starts_with( ':' ) && !text.starts_with( "::" ) ) {
      value = ( cursor.take( ':' ), readTagged( cursor ) );
   } else if ( text.find_first_of( ".:" ) != std::string_view::npos ) {
      return Lumo::IpGenPrefix( text );
   } else {
      value = readNumber( cursor, text.ends_with( wideSuffix ) );
   }
   cursor.end( "the end of the value" );
   return value;
}

struct Printed {
   std::string operator()( Varek::String const& value ) const { return quoted( value ); }
   std::string operator()( TaggedStr const& value ) const { return stringValue( value ); }
   std::string operator()( std::uint32_t value ) const { return std::to_string( value ); }
   std::string operator()( TaggedInt const& value ) const { return stringValue( value ); }
   std::string operator()( std::uint64_t value ) const {
      return std::to_string( value ).append( wideSuffix );
   }
   std::string operator()( Lumo::IpGenPrefix const& value ) const { return stringValue( value ); }
   std::string operator()( Varek::Bytes const& value ) const { return stringValue( value ); }
};

struct Hashed {
   std::uint32_t seed;

   std::uint32_t operator()( Varek::String const& value ) const {
      return Varek::hashBytes( value, seed );
   }
   std::uint32_t operator()( std::uint64_t value ) const { return Varek::hashWord( value, seed ); }
   std::uint32_t operator()( std::uint32_t value ) const { return Varek::hashWord( value, seed ); }
   std::uint32_t operator()( Varek::Bytes const& value ) const {
      return Varek::hashBytes( value.view(), seed );
   }
   template<class T>
   std::uint32_t operator()( T const& value ) const {
      return value.hash( seed );
   }
};

} // namespace

std::uint32_t TaggedStr::hash( std::uint32_t seed ) const {
   return Varek::hashBytes( value, Varek::hashWord( tag, seed ) );
}

std::uint32_t TaggedInt::hash( std::uint32_t seed ) const {
   return Varek::hashWord( static_cast<std::uint64_t>( tag ) << 32 | value, seed );
}

AttrValue::AttrValue( std::string_view text ) : AttrValueVariant( read( text ) ) {}

std::uint32_t AttrValue::hash( std::uint32_t seed ) const {
   return std::visit( Hashed{ Varek::hashWord( index(), seed ) }, variant() );
}

Varek::String stringValue( AttrValue const& value ) {
   return std::visit( Printed(), value.variant() );
}

Varek::String stringValue( TaggedStr const& value ) {
   return ":" + std::to_string( value.tag ) + " " + quoted( value.value );
}

Varek::String stringValue( TaggedInt const& value ) {
   return ":" + std::to_string( value.tag ) + " " + std::to_string( value.value );
}

std::ostream& operator<<( std::ostream& out, AttrValue const& value ) {
   return out << stringValue( value );
}

std::ostream& operator<<( std::ostream& out, TaggedStr const& value ) {
   return out << stringValue( value );
}

std::ostream& operator<<( std::ostream& out, TaggedInt const& value ) {
   return out << stringValue( value );
}

} // namespace RadiusPktParserBase
