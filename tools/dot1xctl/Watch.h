#pragma once

#include "loop/Address.h"

namespace Dot1xCtl {

/// Prints each change until SIGINT or SIGTERM, also over restarts of the leader; ends at once if
/// that is one with which it cannot talk. Returns the exit code; what has gone wrong is told on
/// standard error.
int watch( Loop::Address const&, bool json );

} // namespace Dot1xCtl
