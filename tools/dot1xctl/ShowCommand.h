#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "ReplayCommand.h"

/// The command lines of what shows state.
namespace Dot1xCtl {

/// Adds the subcommand show. \p run is what it then does; it returns the exit code.
CLI::App* addShow( CLI::App&, std::function<int()>& run );

/// Adds --show and --block-after to replay.
void addShowOptions( CLI::App& replay, ReplayOptions& );

} // namespace Dot1xCtl
