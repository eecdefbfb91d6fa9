#pragma once

#include <string>

#include "config/Faults.h"
#include "store/Store.h"

/// What the tool says on standard error, each line with its name in front.
namespace Dot1xCtl {

/// One message, with nothing in it that a terminal would obey.
void tell( std::string const& what );

/// What is wrong with the configuration in \p file; nothing if nothing is.
void tellFaults( std::string const& file, Config::Faults const& );

/// What is in the state file \p name and not known here; nothing if that is nothing.
void tellLeftOut( std::string const& name, Store::LeftOut const& );

/// The trees in a state file, with a bar while they come, and told what is left out. Throws as
/// Store::load() does.
Views::Roots loadTold( std::string const& path );

} // namespace Dot1xCtl
