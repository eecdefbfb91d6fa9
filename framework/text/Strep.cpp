#include "framework/text/Strep.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ostream>
#include <string>
#include <vector>

#include "Qel/EnumType.h"
#include "Varek/Inspect.h"
#include "framework/records/Untyped.h"
#include "framework/records/ValueOf.h"

namespace Qel {

namespace {

using std::string_view;
using Varek::Inspect::AtomicFnTable;

bool isEnumeration( TypeRecord const& type ) {
   return type.kind == Varek::TypeKind::enum8 || type.kind == Varek::TypeKind::enum32;
}

bool isStoredIn( AttributeRecord const& attribute ) { return !attribute.compute; }

bool isOfConstants( TypeRecord const& type ) {
   return std::none_of( type.attributes.begin(), type.attributes.end(), isStoredIn );
}

std::uint32_t enumerationValue( TypeRecord const& type, void const* value ) {
   return type.size == 1 ? *static_cast<std::uint8_t const*>( value )
                         : *static_cast<std::uint32_t const*>( value );
}

// Printing

void enumerationPrint( Varek::String& to, TypeRecord const& type, void const* value ) {
   std::uint32_t const number = enumerationValue( type, value );
   if ( Varek::EnumeratorData const* const one = enumerator( type, number ) ) {
      to += one->name;
   } else {
      to += std::to_string( number );
   }
}

/// The addresses of the elements in printing order: a sequence's own order, and ascending order for
/// a set, whose own order depends on its history.
std::vector<void const*> elementsOf( AttributeRecord const& attribute, void const* value ) {
   struct Iterator {
      AttributeRecord const& attribute;
      void* at;
      ~Iterator() { attribute.iterator->iterDel( at ); }
   };
   std::vector<void const*> elements;
   elements.reserve( attribute.size( value ) );
   Iterator const walk{ attribute, attribute.iterate( value, nullptr ) };
   for ( auto const& use = *attribute.iterator; use.iterNonnull( walk.at );
         use.iterInc( walk.at ) ) {
      elements.push_back( use.iterPeek( walk.at ) );
   }
   if ( attribute.kind == AttributeKind::set && attribute.value->less ) {
      std::sort( elements.begin(), elements.end(), attribute.value->less );
   }
   return elements;
}

void elementsPrint( Varek::String& to, AttributeRecord const& attribute, void const* value ) {
   char const* separator = "[ ";
   for ( void const* const element : elementsOf( attribute, value ) ) {
      to += separator;
      attribute.value->print( to, element );
      separator = ", ";
   }
   to += *separator == '[' ? "[]" : " ]";
}

void recordPrint( Varek::String& to, TypeRecord const& type, void const* value ) {
   to += type.name;
   char const* separator = "( ";
   for ( AttributeRecord const& one : type.attributes ) {
      if ( !isStoredIn( one ) ) {
         continue;
      }
      to += separator;
      to += one.name;
      to += ": ";
      if ( one.read ) {
         one.value->print( to, one.read( value ) );
      } else {
         elementsPrint( to, one, value );
      }
      separator = ", ";
   }
   to += *separator == '(' ? "()" : " )";
}

// Reading

void enumerationRead( CharRange& range, TypeRecord const& type, void* value ) {
   std::uint32_t number = 0;
   string_view const word = range.identifier();
   if ( !word.empty() && word[0] >= '0' && word[0] <= '9' ) {
      number = static_cast<std::uint32_t>(
         Strep::numberRead( range, type.size == 1 ? std::uint64_t{ 0xFF } : 0xFFFFFFFF ) );
   } else {
      Varek::EnumeratorData const* const one = enumerator( type, word );
      if ( !one ) {
         range.fail( "an enumerator of " + std::string( type.name ) + ", or its number" );
      }
      number = one->value;
      range.advance( word.size() );
   }
   if ( type.size == 1 ) {
      *static_cast<std::uint8_t*>( value ) = static_cast<std::uint8_t>( number );
   } else {
      *static_cast<std::uint32_t*>( value ) = number;
   }
}

/// Any number of blanks may stand between the parts of a record.
void partExpect( CharRange& range, string_view part ) {
   range.skipBlanks();
   range.expect( part );
}

void recordRead( CharRange& range, TypeRecord const& type, void* value ) {
   range.expect( type.name );
   partExpect( range, "(" );
   bool first = true;
   for ( AttributeRecord const& one : type.attributes ) {
      if ( !isStoredIn( one ) ) {
         continue;
      }
      if ( !first ) {
         partExpect( range, "," );
      }
      first = false;
      partExpect( range, one.name );
      partExpect( range, ":" );
      range.skipBlanks();
      if ( !one.value->parse ) {
         range.fail( "a " + std::string( one.typeName() ) + ", which has no string form" );
      }
      // The record only reads, but the caller's value is not constant.
      void* const at = const_cast<void*>( one.read( value ) );
      std::size_t const end = one.value->parse( range.text(), range.position(), at );
      range.advance( end - range.position() );
   }
   partExpect( range, ")" );
}

bool isNext( CharRange const& range, string_view name ) {
   CharRange ahead( range );
   return ahead.take( name ) && ahead.identifier().empty();
}

} // namespace

Varek::String valueToStrep( TypeRecord const& type, void const* value ) {
   Varek::String text;
   valuePrint( text, type, value );
   return text;
}

void valuePrint( Varek::String& to, TypeRecord const& type, void const* value ) {
   VAREK_ASSERT( type.kind != Varek::TypeKind::entity, type.name );
   if ( isEnumeration( type ) ) {
      enumerationPrint( to, type, value );
   } else {
      recordPrint( to, type, value );
   }
}

std::ostream& valuePrint( std::ostream& to, TypeRecord const& type, void const* value ) {
   return to << valueToStrep( type, value );
}

bool hasStringConstructor( TypeRecord const& type ) {
   return type.kind != Varek::TypeKind::entity &&
          std::all_of( type.attributes.begin(), type.attributes.end(),
                       []( auto& one ) { return !one.iterate; } );
}

bool isSafelyReadable( AtomicFnTable const& table ) {
   if ( !table.inspectDecodeFromString ) {
      return false;
   }
   auto const* const type = ( table.optionalOf ? *table.optionalOf : table ).registered();
   if ( !type || type->kind != Varek::TypeKind::value ) {
      return true;
   }
   TypeRecord const& record = typeRecord( *type );
   return hasStringConstructor( record ) &&
          std::all_of( record.attributes.begin(), record.attributes.end(), []( auto& one ) {
             return !isStoredIn( one ) || !one.value->parse || isSafelyReadable( *one.value );
          } );
}

void valueReadWhole( CharRange const& range, TypeRecord const& type, void* value ) {
   if ( !hasStringConstructor( type ) ) {
      noStringConstructor( type.name );
   }
   CharRange left( range );
   if ( isEnumeration( type ) ) {
      enumerationRead( left, type, value );
   } else {
      if ( isOfConstants( type ) ) {
         return;
      }
      recordRead( left, type, value );
   }
   left.expectEnd();
   if ( type.rangesCheck ) {
      type.rangesCheck( value );
   }
}

void valueRead( CharRange& range, TypeRecord const& type, void* value ) {
   if ( !hasStringConstructor( type ) ) {
      noStringConstructor( type.name );
   }
   if ( isEnumeration( type ) ) {
      enumerationRead( range, type, value );
   } else if ( isOfConstants( type ) ) {
      range.advance( Strep::wordAhead( range ).size() );
   } else {
      recordRead( range, type, value );
      if ( type.rangesCheck ) {
         type.rangesCheck( value );
      }
   }
}

void Internal::registeredPrint( Varek::String& to, Varek::TypeData type, void const* value ) {
   valuePrint( to, typeRecord( type ), value );
}

std::size_t Internal::registeredParse( string_view text, std::size_t position, Varek::TypeData type,
                                       void* value ) {
   CharRange range( text, position );
   valueRead( range, typeRecord( type ), value );
   return range.position();
}

Varek::String Internal::printed( AtomicFnTable const& table, void const* value ) {
   Varek::String text;
   table.print( text, value );
   return text;
}

void Internal::decode( AtomicFnTable const& table, void* value, string_view text ) {
   auto const* const type = table.registered();
   if ( !type || type->kind != Varek::TypeKind::value ) {
      return formDecode( table, value, text );
   }
   UntypedValue const read( table );
   valueReadWhole( CharRange( text ), typeRecord( *type ), read.get() );
   table.assign( value, read.get() );
}

void Internal::formDecode( AtomicFnTable const& table, void* value, string_view text ) {
   UntypedValue const read( table );
   CharRange( text, table.parse( text, 0, read.get() ) ).expectEnd();
   table.assign( value, read.get() );
}

namespace Strep {

namespace {

constexpr string_view hexDigits = "0123456789abcdef";

/// The value of a hexadecimal digit of either case; 16 or more of anything else.
std::size_t hexValue( char c ) {
   return hexDigits.find( c >= 'A' && c <= 'F' ? static_cast<char>( c - 'A' + 'a' ) : c );
}

char hexPairRead( CharRange& range, string_view expected ) {
   unsigned octet = 0;
   for ( int i = 0; i < 2; ++i ) {
      std::size_t const digit = range.empty() ? 16 : hexValue( range.peek() );
      if ( digit >= 16 ) {
         range.fail( expected );
      }
      octet = octet << 4 | static_cast<unsigned>( digit );
      range.advance( 1 );
   }
   return static_cast<char>( octet );
}

char escapeRead( CharRange& range ) {
   for ( auto const& [letter, meant] :
         { std::pair{ '"', '"' }, { '\\', '\\' }, { 'n', '\n' }, { 't', '\t' } } ) {
      if ( range.take( letter ) ) {
         return meant;
      }
   }
   if ( !range.take( 'x' ) ) {
      range.fail( "one of \\\", \\\\, \\n, \\t and \\xNN" );
   }
   return hexPairRead( range, "two hexadecimal digits after \\x" );
}

/// Reads a number by std::from_chars; the range moves only if a number is there that fits.
template<class T>
bool fromChars( CharRange& range, T& value ) {
   string_view const text = range.rest();
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
   if ( error != std::errc() ) {
      return false;
   }
   range.advance( static_cast<std::size_t>( end - text.data() ) );
   return true;
}

template<class T>
T integerRead( CharRange& range, T least, T most ) {
   std::size_t const start = range.position();
   T value = 0;
   if ( fromChars( range, value ) && value >= least && value <= most ) {
      return value;
   }
   CharRange( range.text(), start )
      .fail( "a number of " + std::to_string( least ) + " to " + std::to_string( most ) );
}

} // namespace

void quotedPrint( Varek::String& to, string_view text ) {
   to += '"';
   for ( char const c : text ) {
      auto const octet = static_cast<unsigned char>( c );
      if ( c == '"' || c == '\\' ) {
         to += '\\';
         to += c;
      } else if ( c == '\n' || c == '\t' ) {
         to += c == '\n' ? "\\n" : "\\t";
      } else if ( octet < 0x20 || octet > 0x7E ) {
         to += "\\x";
         to += hexDigits[octet >> 4];
         to += hexDigits[octet & 0xF];
      } else {
         to += c;
      }
   }
   to += '"';
}

void quotedRead( CharRange& range, Varek::String& text ) {
   if ( !range.take( '"' ) ) {
      range.fail( "text in quotes" );
   }
   text.clear();
   while ( !range.take( '"' ) ) {
      if ( range.empty() ) {
         range.fail( "a quote that ends the text" );
      }
      if ( range.take( '\\' ) ) {
         text += escapeRead( range );
      } else {
         text += range.peek();
         range.advance( 1 );
      }
   }
}

Varek::String numberText( double value ) {
   if ( std::isnan( value ) ) {
      return "nan"; // of either sign
   }
   char text[40];
   return { text, std::to_chars( text, text + sizeof text, value ).ptr };
}

double numberRead( CharRange& range ) {
   for ( auto const& [word, value] : { std::pair<string_view, double>{ "inf", HUGE_VAL },
                                       { "-inf", -HUGE_VAL },
                                       { "nan", std::nan( "" ) } } ) {
      if ( isNext( range, word ) ) {
         range.take( word );
         return value;
      }
   }
   // std::from_chars knows further words for these.
   string_view const digits = range.rest().substr( range.peek() == '-' );
   double value = 0;
   bool const isNumber = !digits.empty() && ( digits[0] == '.' || hexValue( digits[0] ) < 10 );
   if ( !isNumber || !fromChars( range, value ) ) {
      range.fail( "a number, inf, -inf or nan" );
   }
   return value;
}

std::uint64_t numberRead( CharRange& range, std::uint64_t most ) {
   return integerRead<std::uint64_t>( range, 0, most );
}

std::int64_t numberRead( CharRange& range, std::int64_t least, std::int64_t most ) {
   return integerRead( range, least, most );
}

void bytesRead( CharRange& range, Varek::Bytes& bytes ) {
   if ( !range.take( "0x" ) ) {
      range.fail( "0x and bytes in hexadecimal digits" );
   }
   std::string octets;
   while ( !range.empty() && hexValue( range.peek() ) < 16 ) {
      octets += hexPairRead( range, "an even number of hexadecimal digits after 0x" );
   }
   bytes = Varek::Bytes( octets );
}

bool booleanRead( CharRange& range ) {
   string_view const word = range.identifier();
   if ( word != "true" && word != "false" ) {
      range.fail( "true or false" );
   }
   range.advance( word.size() );
   return word == "true";
}

bool absentRead( CharRange& range ) {
   return isNext( range, absentWord ) && range.take( absentWord );
}

string_view wordAhead( CharRange const& range ) {
   string_view const text = range.rest();
   std::size_t end = 0;
   int depth = 0;
   bool quoted = false;
   for ( ; end < text.size(); ++end ) {
      char const c = text[end];
      if ( quoted ) {
         end += c == '\\';
         quoted = c != '"';
      } else if ( c == '"' ) {
         quoted = true;
      } else if ( c == '(' || c == '[' ) {
         ++depth;
      } else if ( c == ')' || c == ']' ) {
         if ( depth-- == 0 ) {
            break;
         }
      } else if ( c == ',' && depth == 0 ) {
         break;
      }
   }
   string_view const word = text.substr( 0, end );
   return word.substr( 0, word.find_last_not_of( " \t\r\n" ) + 1 );
}

} // namespace Strep

} // namespace Qel
