#pragma once

#include <CLI/CLI.hpp>

#include "Action.h"
#include "ReplayRun.h"

/// The subcommands' command lines. Once one has been parsed, \p action does what is asked and
/// returns the exit code.
namespace Dot1xCtl {

void addReplay( CLI::App& app, Action& action );
void addServe( CLI::App& app, Action& action );
void addShow( CLI::App& app, Action& action );
void addWatch( CLI::App& app, Action& action );
/// dump, load and diff.
void addDump( CLI::App& app, Action& action );
void addConfig( CLI::App& app, Action& action );
void addSchema( CLI::App& app, Action& action );

/// What replay has of show: --show and --block-after.
void addShowOptions( CLI::App& replay, ReplayOptions& );
} // namespace Dot1xCtl
