#include "Varek/String.h"

#include <ostream>

namespace Varek {

String stringValue( Bytes const& bytes ) {
   constexpr char digits[] = "0123456789abcdef";
   String text = "0x";
   text.reserve( 2 + 2 * bytes.size() );
   for ( unsigned const byte : bytes ) {
      text += digits[byte >> 4];
      text += digits[byte & 0xF];
   }
   return text;
}

std::ostream& operator<<( std::ostream& out, Bytes const& bytes ) {
   return out << stringValue( bytes );
}

} // namespace Varek
