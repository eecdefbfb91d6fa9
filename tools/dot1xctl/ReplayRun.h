#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Address.h"
#include "Agent.h"
#include "Colour.h"
#include "ShowState.h"
#include "Sizing.h"

namespace Dot1xCtl {

struct ReplayOptions {
   std::vector<std::string> captures;
   bool json = false;
   bool tree = false;               ///< Print the trees instead of what is read.
   std::optional<ShowRequest> show; ///< Print this instead.
   AgentSettings agent;
   SizingOptions sizing;
   ColourUse colour = ColourUse::automatic;
   std::string config; ///< Of the file whose configuration is published, too; empty for none.
   std::optional<Address> listen;
   std::string dump; ///< Write the trees to this file; empty for none.
};

/// The subcommand replay. Returns the exit code; bad captures are told on standard error. An
/// address that cannot be listened at throws Mirror::SocketError before anything is read.
int replay( ReplayOptions const& );

} // namespace Dot1xCtl
