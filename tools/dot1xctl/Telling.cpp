#include "Telling.h"

#include <iostream>

#include "Varek/Text.h"

namespace Dot1xCtl {

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

} // namespace Dot1xCtl
