#include "Varek/Text.h"

namespace Varek {

std::string quoted( String const& text ) { return '"' + escaped( text ) + '"'; }

std::string escaped( String const& text ) {
   std::string result;
   result.reserve( text.size() );
   for ( char const c : text ) {
      if ( c == '"' || c == '\\' ) {
         result += '\\';
      }
      appendPrintable( result, c );
   }
   return result;
}

std::string printableLines( std::string_view text ) {
   std::string result;
   result.reserve( text.size() );
   for ( char const c : text ) {
      if ( c == '\n' ) {
         result += c;
      } else {
         appendPrintable( result, c );
      }
   }
   return result;
}

std::string counted( std::uint64_t count, char const* one, char const* several ) {
   return std::to_string( count ) + " " + ( count == 1 ? one : several );
}

} // namespace Varek
