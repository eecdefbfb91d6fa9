#include "config/Faults.h"

#include <ostream>
#include <utility>

#include <fmt/core.h>

#include "Varek/Text.h"

namespace Config {

using Varek::counted;
using Varek::escaped;

void Faults::add( std::size_t line, std::string what ) {
   ++count_;
   if ( kept_.size() < mostKept ) {
      kept_.push_back( { line, std::move( what ) } );
   }
}

void Faults::add( JsonPlace const& where, std::string const& what ) {
   add( where.node.line, where.path() + ": " + what );
}

void Faults::unexpected( JsonPlace const& where, std::string const& expected ) {
   add( where, fmt::format( "found {}, expected {}", found( where.node ), expected ) );
}

void printFaults( std::ostream& out, std::string_view program, std::string const& file,
                  Faults const& faults ) {
   std::string const begin = fmt::format( "{}: {}:", program, escaped( file ) );
   for ( Fault const& one : faults.kept() ) {
      out << begin << one.line << ": " << one.what << '\n';
   }
   if ( std::size_t const more = faults.count() - faults.kept().size(); more != 0 ) {
      out << begin << " " << counted( more, "more fault", "more faults" ) << '\n';
   }
   out.flush();
}

} // namespace Config
