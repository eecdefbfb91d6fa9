#pragma once

#include <memory>

#include "dot1xctl/Action.h"
#include "dot1xctl/commands/Command.h"

namespace Dot1xCtl {

/// All subcommands. Once parsed, \p action does what is asked and returns the exit code.
std::unique_ptr<CommandLine> commandLine( Action& action );

} // namespace Dot1xCtl
