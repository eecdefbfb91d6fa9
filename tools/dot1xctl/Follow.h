#pragma once

#include <optional>

#include "ShowState.h"
#include "loop/Address.h"
#include "mirror/Follower.h"

/// The subcommands that follow what another process publishes. They return the exit code; what has
/// gone wrong is told on standard error.
namespace Dot1xCtl {

/// The state as it is, once it has come, within \p seconds. Nothing if that fails.
std::optional<Views::Roots> fetch( Loop::Address const&, double seconds );

/// Prints the state as it is, once it has come, within \p seconds.
int show( Loop::Address const&, double seconds, ShowRequest const& );

/// Prints each change until SIGINT or SIGTERM, also over restarts of the leader; ends at once if
/// that is one with which it cannot talk.
int watch( Loop::Address const&, bool json );

} // namespace Dot1xCtl
