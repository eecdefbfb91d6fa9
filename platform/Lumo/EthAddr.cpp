#include "Lumo/EthAddr.h"

#include <ostream>

#include "Lumo/TextCursor.h"

namespace Lumo {

namespace {

constexpr std::string_view expected =
   "a MAC address (00:11:22:aa:bb:cc, 00-11-22-aa-bb-cc, 0011.22aa.bbcc or 001122aabbcc)";

struct Notation {
   char separator; ///< NUL if the notation has no separator.
   std::size_t digitsApart;
};

/// The notation, by the first character that is no hexadecimal digit.
Notation notationOf( std::string_view text ) {
   if ( text.size() > 2 && ( text[2] == ':' || text[2] == '-' ) ) {
      return { text[2], 2 };
   }
   if ( text.size() > 4 && text[4] == '.' ) {
      return { '.', 4 };
   }
   return { '\0', 12 };
}

} // namespace

EthAddr::EthAddr( std::string_view text ) {
   Notation const notation = notationOf( text );
   TextCursor cursor( text );
   for ( std::size_t digit = 0; digit < 12; ++digit ) {
      bool const separated = digit != 0 && digit % notation.digitsApart == 0;
      if ( separated && !cursor.take( notation.separator ) ) {
         cursor.fail( expected );
      }
      auto& octet = octets_[digit / 2];
      octet = static_cast<std::uint8_t>( octet * 16U + cursor.hexDigit( expected ) );
   }
   cursor.end( expected );
}

Varek::String stringValue( EthAddr const& address ) {
   constexpr char digits[] = "0123456789abcdef";
   Varek::String text;
   text.reserve( 17 );
   for ( unsigned const octet : address.octets() ) {
      if ( !text.empty() ) {
         text += ':';
      }
      text += digits[octet >> 4];
      text += digits[octet & 0xF];
   }
   return text;
}

std::ostream& operator<<( std::ostream& out, EthAddr const& address ) {
   return out << stringValue( address );
}

} // namespace Lumo
