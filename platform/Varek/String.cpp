#include "Varek/String.h"

#include <ostream>

namespace Varek {

namespace {

void appendHex( String& text, unsigned byte ) {
   constexpr char digits[] = "0123456789abcdef";
   text += digits[byte >> 4];
   text += digits[byte & 0xF];
}

} // namespace

void appendPrintable( String& text, char c ) {
   if ( c >= ' ' && c <= '~' ) {
      text += c;
   } else {
      text += "\\x";
      appendHex( text, static_cast<unsigned char>( c ) );
   }
}

String printable( std::string_view text ) {
   String result;
   result.reserve( text.size() );
   for ( char const c : text ) {
      appendPrintable( result, c );
   }
   return result;
}

String stringValue( Bytes const& bytes ) {
   String text = "0x";
   text.reserve( 2 + 2 * bytes.size() );
   for ( unsigned const byte : bytes ) {
      appendHex( text, byte );
   }
   return text;
}

std::ostream& operator<<( std::ostream& out, Bytes const& bytes ) {
   return out << stringValue( bytes );
}

} // namespace Varek
