#include "dot1xctl/commands/Commands.h"

#include <memory>

#include "dot1xctl/commands/Options.h"

namespace Dot1xCtl {

namespace {

constexpr char const* serveHelp = R"(
Publishes trees until SIGINT or SIGTERM, without printing anything of them:

  --config FILE   the configuration in a file (see config), as "status"
  --load FILE     the trees in a state file (see dump); but "status" is that
                  of --config, if both are given
  CAPTURE...      what replay makes of captures

"listening on ADDRESS" on standard error says that they are there; show and
watch follow them from another process. A unix: address that a process left
behind is taken over, one at which somebody listens is not; its file goes with
the process. See replay for the forms of ADDRESS.

SIGHUP reads the configuration again: those who follow are told of what is
different. If the file has a fault, that is told, and what is published stays.
Without --config it ends as SIGTERM does.

--dump writes all trees to FILE before they are published, and again at the end,
as they are then; so that serve --load FILE --dump FILE goes on where it ended.

Exit code 1, with the reason on standard error and before anything is published,
if ADDRESS is taken, a file of --config, --load or --dump is faulty or cannot be
read or written, or no packet could be read of any capture; at the end, if a
file of --dump cannot be written, or a capture had faults.)";

} // namespace

void addServe( Command const& program, Action& action ) {
   auto const options = std::make_shared<ReplayOptions>();
   options->silent = true;
   Command const command =
      program.command( "serve", "Publish a configuration or state until told to end" );
   Option const captures =
      command.option( "CAPTURE", options->captures, "Captures to publish the state of" );
   publishOptions( command, *options ).required();
   fileOption( command, "--load", options->load, "Publish the trees in this state file" )
      .excludes( captures );
   command.help( serveHelp );
   command.parsed( [options, &action] {
      if ( options->config.empty() && options->load.empty() && options->captures.empty() ) {
         wrongUsage( "serve", "one of --config, --load and CAPTURE is required" );
      }
      action = [options] { return replay( *options ); };
   } );
}

} // namespace Dot1xCtl
