#include <ostream>
#include <string>

#include "Columns.h"
#include "Schema.h"

namespace Dot1xCtl {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t idWidth = 8;
constexpr std::size_t nameWidth = 26;
constexpr std::size_t kindWidth = 12;

std::string text( Json const& value ) {
   return value.is_string() ? value.get<std::string>() : value.dump();
}

void printAttribute( std::ostream& out, Json const& attribute ) {
   std::string const first = "   " + padded( text( attribute.at( "id" ) ), idWidth - 3 ) +
                             padded( text( attribute.at( "name" ) ), nameWidth ) +
                             padded( text( attribute.at( "kind" ) ), kindWidth );
   std::string rest = text( attribute.at( "type" ) );
   for ( char const* name : { "key", "default", "salt" } ) {
      if ( attribute.contains( name ) ) {
         rest += std::string( ", " ) + name + " " + text( attribute.at( name ) );
      }
   }
   if ( attribute.contains( "onWire" ) && !attribute.at( "onWire" ).get<bool>() ) {
      rest += ", not on the wire";
   }
   printWrapped( out, first, rest, idWidth + nameWidth + kindWidth );
}

void printType( std::ostream& out, Json const& type ) {
   std::string first = padded( text( type.at( "slot" ) ), idWidth - 5 ) + text( type.at( "name" ) );
   printWrapped( out, "",
                 first + "  " + text( type.at( "kind" ) ) +
                    ( type.at( "hashable" ).get<bool>() ? ", hashable" : "" ),
                 idWidth );
   for ( Json const& attribute : type.value( "attributes", Json::array() ) ) {
      printAttribute( out, attribute );
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
