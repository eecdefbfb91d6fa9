#pragma once

#include "Address.h"

/// The subcommands that follow what another process publishes. They return the exit code; what has
/// gone wrong is told on standard error.
namespace Dot1xCtl {

/// Prints the trees as they are, once they have come, within \p seconds.
int show( Address const&, double seconds, bool json );

/// Prints each change until SIGINT or SIGTERM, also over restarts of the leader; ends at once if
/// that is one with which it cannot talk.
int watch( Address const&, bool json );

} // namespace Dot1xCtl
