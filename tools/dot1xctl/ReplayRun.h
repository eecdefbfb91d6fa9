#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ShowState.h"
#include "Sizing.h"
#include "agent/Authenticator.h"
#include "loop/Address.h"
#include "views/Colour.h"

namespace Dot1xCtl {

struct ReplayOptions {
   std::vector<std::string> captures;
   bool json = false;
   bool tree = false;               ///< Print the trees instead of the answers.
   std::optional<ShowRequest> show; ///< Print this instead.
   Agent::AuthenticatorSettings agent;
   bool silent = false; ///< Print nothing of this.
   std::string config;  ///< Of the file whose configuration is published, too; empty for none.
   std::string load;    ///< Of the state file whose trees are published, too; empty for none.
   SizingOptions sizing;
   Views::ColourUse colour = Views::ColourUse::automatic;
   std::optional<Loop::Address> listen;
   std::string dump; ///< Write the trees to this file; empty for none.
};

/// The subcommands replay and serve. Returns the exit code; bad captures are reported on standard
/// error. Throws Mirror::SocketError, before any capture is read, if it cannot listen at the
/// address.
///
/// Where several sources have a tree of the same name, the configuration's wins over the captures',
/// and that over the state file's. While trees are published, SIGHUP makes it read the
/// configuration again. The trees are written to the file before they are published, so that a
/// fault of the file is reported at once, and again at the end.
int replay( ReplayOptions const& );

} // namespace Dot1xCtl
