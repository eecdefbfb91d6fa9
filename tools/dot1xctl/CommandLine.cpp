#include "CommandLine.h"

#include "Commands.h"

namespace Dot1xCtl {

namespace {

constexpr char const* help = R"(
"dot1xctl COMMAND --help" tells of one command. What goes wrong is told on
standard error.

Exit code 0: done; also when SIGINT or SIGTERM ended what goes on until then.
          1: failed, or input had faults; what could be done all the same is.
          2: wrong usage; nothing was done.
Of diff   0: no difference. 1: a difference. 2: it cannot be told.)";

} // namespace

std::unique_ptr<CLI::App> commandLine( Action& action ) {
   auto app = std::make_unique<CLI::App>( "Shows the state of an IEEE 802.1X authenticator, and "
                                          "its types." );
   app->name( "dot1xctl" );
   app->set_version_flag( "--version", "dot1xctl " DOT1XCTL_VERSION );
   app->require_subcommand( 1 );
   app->footer( help );
   addReplay( *app, action );
   addServe( *app, action );
   addShow( *app, action );
   addWatch( *app, action );
   addDump( *app, action );
   addConfig( *app, action );
   addSchema( *app, action );
   return app;
}

} // namespace Dot1xCtl
