#pragma once

#include <string>

#include "config/Faults.h"

/// What the tool says on standard error, each line with its name in front.
namespace Dot1xCtl {

/// One message, with nothing in it that a terminal would obey.
void tell( std::string const& what );

/// What is wrong with the configuration in \p file; nothing if nothing is.
void tellFaults( std::string const& file, Config::Faults const& );

} // namespace Dot1xCtl
