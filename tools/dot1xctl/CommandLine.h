#pragma once

#include <functional>
#include <memory>

#include <CLI/CLI.hpp>

namespace Dot1xCtl {

/// All subcommands. Once parsed, \p action does what is asked and returns the exit code.
std::unique_ptr<CLI::App> commandLine( std::function<int()>& action );

} // namespace Dot1xCtl
