#pragma once

#include <optional>

#include "loop/Address.h"
#include "mirror/Follower.h"
#include "views/Tree.h"

namespace Dot1xCtl {

/// The state that another process publishes, once it has come, within \p seconds. Nothing if that
/// fails, which is told on standard error.
std::optional<Views::Roots> fetch( Loop::Address const&, double seconds );

/// Tells how much of what is published at the address is of types that are not known here.
void tellUnknown( Loop::Address const&, Mirror::Follower const& );

} // namespace Dot1xCtl
