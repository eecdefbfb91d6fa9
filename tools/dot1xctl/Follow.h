#pragma once

#include <functional>
#include <iosfwd>

#include "Address.h"
#include "Tree.h"

/// The subcommands that follow what another process publishes. They return the exit code; what has
/// gone wrong is told on standard error.
namespace Dot1xCtl {

/// Prints the trees by \p print, once they have come, within \p seconds. What print throws as a
/// Varek::Failure is told, too.
using PrintRoots = std::function<void( std::ostream&, Roots const& )>;
int show( Address const&, double seconds, PrintRoots const& print );

/// The trees as they are.
void printRoots( std::ostream&, Roots const&, bool json );

/// Prints each change until SIGINT or SIGTERM, also over restarts of the leader.
int watch( Address const&, bool json );

} // namespace Dot1xCtl
