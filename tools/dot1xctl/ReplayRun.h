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
   bool tree = false;               ///< Print the trees instead of what is read.
   std::optional<ShowRequest> show; ///< Print this instead.
   Agent::AuthenticatorSettings agent;
   bool silent = false; ///< Print none of these.
   std::string config;  ///< Of the file whose configuration is published, too; empty for none.
   std::string load;    ///< Of the state file whose trees are published, too; empty for none.
   SizingOptions sizing;
   Views::ColourUse colour = Views::ColourUse::automatic;
   std::optional<Loop::Address> listen;
   std::string dump; ///< Write the trees to this file; empty for none.
};

/// The subcommands replay and serve. Returns the exit code; bad captures are told on standard
/// error. An address that cannot be listened at throws Mirror::SocketError before any capture is
/// read.
///
/// Of a tree that several make, that of the configuration counts before that of the captures, and
/// that before that of the state file. While it is published, the configuration is read again at
/// SIGHUP; the trees are written to the file before they are published, so that a fault of the file
/// is told at once, and again as they are at the end.
int replay( ReplayOptions const& );

} // namespace Dot1xCtl
