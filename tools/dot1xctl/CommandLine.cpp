#include "CommandLine.h"

#include "Commands.h"

namespace Dot1xCtl {

std::unique_ptr<CLI::App> commandLine( Action& action ) {
   auto app = std::make_unique<CLI::App>( "Shows the state of an IEEE 802.1X authenticator, and "
                                          "its types." );
   app->name( "dot1xctl" );
   app->set_version_flag( "--version", "dot1xctl " DOT1XCTL_VERSION );
   app->require_subcommand( 1 );
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
