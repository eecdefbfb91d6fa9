#pragma once

#include <functional>

namespace Dot1xCtl {

/// The action of a command line; returns the exit code.
using Action = std::function<int()>;

/// The action of this command line. A wrong command line, --help and --version are answered at
/// once, and the action then only returns their exit code.
Action actionOf( int argc, char** argv );

} // namespace Dot1xCtl
