#pragma once

#include <string>

#include "config/Faults.h"
#include "store/Store.h"

/// The tool's messages on standard error, each line with the tool's name in front.
namespace Dot1xCtl {

/// Prints a message, without bytes that a terminal would obey.
void tell( std::string const& what );

/// Prints the faults of the configuration in \p file, if there are any.
void tellFaults( std::string const& file, Config::Faults const& );

/// Prints how much of the state file \p name is not known here, if anything is.
void tellLeftOut( std::string const& name, Store::LeftOut const& );

/// The trees in a state file. Shows a bar while they load, and prints what is left out. Throws as
/// Store::load() does.
Views::Roots loadTold( std::string const& path );

} // namespace Dot1xCtl
