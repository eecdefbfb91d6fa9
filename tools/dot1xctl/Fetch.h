#pragma once

#include <optional>

#include "loop/Address.h"
#include "mirror/Follower.h"
#include "views/Tree.h"

namespace Dot1xCtl {

/// The whole state that another process publishes. Nothing, with the reason on standard error, if
/// nothing new comes for \p seconds.
std::optional<Views::Roots> fetch( Loop::Address const&, double seconds );

/// Says on standard error how much of the state at the address has types that are not known here.
void tellUnknown( Loop::Address const&, Mirror::Follower const& );

} // namespace Dot1xCtl
