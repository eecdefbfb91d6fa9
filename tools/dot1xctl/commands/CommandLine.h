#pragma once

#include <memory>

#include <CLI/CLI.hpp>

#include "dot1xctl/Action.h"

namespace Dot1xCtl {

/// All subcommands. Once parsed, \p action does what is asked and returns the exit code.
std::unique_ptr<CLI::App> commandLine( Action& action );

} // namespace Dot1xCtl
