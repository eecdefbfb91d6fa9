#pragma once

#include <functional>

namespace Dot1xCtl {

/// What a command line asks for; returns the exit code.
using Action = std::function<int()>;

/// What this command line asks for. One that is wrong, and --help and --version, has been answered
/// then, and the action is the exit code of that.
Action actionOf( int argc, char** argv );

} // namespace Dot1xCtl
