#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "Schema.h"
#include "views/Columns.h"

namespace Dot1xCtl {

using namespace Views;

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t idWidth = 8;
constexpr std::size_t kindWidth = 12;
/// The indentation of continued lines: beneath the attribute's name, and a little to the right.
constexpr std::size_t moreIndent = idWidth + 3;

std::string text( Json const& value ) {
   return value.is_string() ? value.get<std::string>() : value.dump();
}

/// The parts of the text behind an attribute's type.
std::vector<std::string> behindType( Json const& attribute ) {
   std::vector<std::string> parts;
   if ( std::string const start = startText( attribute ); !start.empty() ) {
      parts.push_back( "= " + start );
   }
   if ( attribute.contains( "key" ) && attribute.at( "key" ) != attribute.at( "type" ) ) {
      parts.push_back( "by " + text( attribute.at( "key" ) ) );
   }
   if ( std::string const salt = saltText( attribute ); !salt.empty() ) {
      parts.push_back( "salt " + salt );
   }
   return parts;
}

/// Type and parts that do not fit go into further lines.
void printAttribute( std::ostream& out, Json const& attribute, std::size_t nameWidth ) {
   std::string line = "   " + padded( text( attribute.at( "id" ) ), idWidth - 3 ) +
                      padded( text( attribute.at( "name" ) ), nameWidth ) +
                      padded( text( attribute.at( "kind" ) ), kindWidth - 1 );
   std::string const more( moreIndent - 1, ' ' );
   auto parts = behindType( attribute );
   parts.insert( parts.begin(), text( attribute.at( "type" ) ) );
   for ( std::string const& part : parts ) {
      if ( line != more && line.size() + 1 + part.size() > columns ) {
         printWrapped( out, line, "", 0 );
         line = more;
      }
      line += ' ' + part;
   }
   printWrapped( out, "", line, moreIndent );
}

void printType( std::ostream& out, Json const& type ) {
   std::string const first = padded( text( type.at( "slot" ) ), idWidth - 5 );
   printWrapped( out, first,
                 text( type.at( "name" ) ) + "  " + text( type.at( "kind" ) ) +
                    ( type.at( "hashable" ).get<bool>() ? ", hashable" : "" ),
                 idWidth );
   Json const attributes = type.value( "attributes", Json::array() );
   std::size_t nameWidth = 0;
   for ( Json const& attribute : attributes ) {
      nameWidth = std::max( nameWidth, text( attribute.at( "name" ) ).size() + 2 );
   }
   for ( Json const& attribute : attributes ) {
      printAttribute( out, attribute, nameWidth );
   }
   for ( Json const& value : type.value( "values", Json::array() ) ) {
      printWrapped( out, "   " + padded( text( value.at( "value" ) ), idWidth - 3 ),
                    text( value.at( "name" ) ), idWidth );
   }
}

} // namespace

void printSchema( std::ostream& out, Json const& schema ) {
   bool first = true;
   for ( Json const& module : schema.at( "modules" ) ) {
      out << ( first ? "" : "\n" ) << "module " << text( module.at( "name" ) ) << '\n';
      first = false;
      for ( Json const& type : module.at( "types" ) ) {
         out << '\n';
         printType( out, type );
      }
   }
   out.flush();
}

} // namespace Dot1xCtl
