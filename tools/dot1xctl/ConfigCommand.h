#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "ReplayCommand.h"

namespace Dot1xCtl {

/// Adds the subcommand config. When it has been parsed, \p action does it and returns the exit
/// code.
CLI::App* addConfig( CLI::App& app, std::function<int()>& action );

/// Adds what replay has of it: the file whose configuration is published.
void addConfigOption( CLI::App& replay, ReplayOptions& options );

} // namespace Dot1xCtl
