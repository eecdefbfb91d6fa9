#pragma once

#include "dot1xctl/Action.h"

namespace CLI {
class App;
}

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

} // namespace Dot1xCtl
