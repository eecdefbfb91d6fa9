#pragma once

#include "loop/Address.h"

namespace Dot1xCtl {

/// Prints each change until SIGINT or SIGTERM, also over restarts of the leader; ends at once if it
/// cannot talk with that leader. Returns the exit code; errors are told on standard error.
int watch( Loop::Address const&, bool json );

} // namespace Dot1xCtl
