#pragma once

#include "Address.h"
#include "ShowState.h"

/// The subcommands that follow what another process publishes. They return the exit code; what has
/// gone wrong is told on standard error.
namespace Dot1xCtl {

/// Prints the state as it is, once it has come, within \p seconds.
int show( Address const&, double seconds, ShowRequest const& );

/// Prints each change until SIGINT or SIGTERM, also over restarts of the leader; ends at once if
/// that is one with which it cannot talk.
int watch( Address const&, bool json );

} // namespace Dot1xCtl
