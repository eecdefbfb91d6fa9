#include "views/Columns.h"

#include <ostream>

namespace Views {

void printWrapped( std::ostream& out, std::string_view first, std::string_view text,
                   std::size_t indent ) {
   std::string line( first );
   do {
      std::size_t const room = line.size() < columns ? columns - line.size() : 1;
      std::size_t count = text.size();
      if ( count > room ) {
         std::size_t const space = text.rfind( ' ', room );
         count = space != std::string_view::npos && space >= room / 2 ? space : room;
      }
      line.append( text.substr( 0, count ) );
      text.remove_prefix( count );
      if ( text.starts_with( ' ' ) ) {
         text.remove_prefix( 1 ); // the line's end replaces the space
      }
      line.erase( line.find_last_not_of( ' ' ) + 1 );
      out << line << '\n';
      line.assign( indent, ' ' );
   } while ( !text.empty() );
}

std::string padded( std::string_view text, std::size_t width ) {
   std::string result( text );
   result.append( text.size() < width ? width - text.size() : 1, ' ' );
   return result;
}

} // namespace Views
