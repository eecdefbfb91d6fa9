#pragma once

#include "dot1xctl/Action.h"
#include "dot1xctl/commands/Command.h"

/// The subcommands' command lines. Once a command line has been parsed, \p action does what it asks
/// and returns the exit code.
namespace Dot1xCtl {

void addReplay( Command const& program, Action& action );
void addServe( Command const& program, Action& action );
void addShow( Command const& program, Action& action );
void addWatch( Command const& program, Action& action );
/// dump, load and diff.
void addDump( Command const& program, Action& action );
void addConfig( Command const& program, Action& action );
void addSchema( Command const& program, Action& action );

} // namespace Dot1xCtl
