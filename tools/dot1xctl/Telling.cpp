#include "Telling.h"

#include <iostream>

#include <fmt/core.h>

#include "Progress.h"
#include "Varek/Text.h"

namespace Dot1xCtl {

using Varek::counted;
using Varek::escaped;

using namespace Config;

namespace {

constexpr char const* program = "dot1xctl";

} // namespace

void tell( std::string const& what ) {
   std::cerr << program << ": " << Varek::printableLines( what ) << std::endl;
}

void tellFaults( std::string const& file, Config::Faults const& faults ) {
   printFaults( std::cerr, program, file, faults );
}

void tellLeftOut( std::string const& name, Store::LeftOut const& leftOut ) {
   if ( leftOut.entities != 0 || leftOut.messages != 0 ) {
      tell( fmt::format( "{}: {} and {} of types and attributes that are not known here left out",
                         escaped( name ), counted( leftOut.entities, "entity", "entities" ),
                         counted( leftOut.messages, "message", "messages" ) ) );
   }
}

Views::Roots loadTold( std::string const& path ) {
   Progress bar( "loading" );
   Store::LeftOut leftOut;
   Views::Roots roots =
      Store::load( path, &leftOut, [&]( auto done, auto all ) { bar.at( done, all ); } );
   bar.hide();
   tellLeftOut( path, leftOut );
   return roots;
}

} // namespace Dot1xCtl
