#include "dot1xctl/commands/CommandLine.h"

#include <algorithm>
#include <iostream>
#include <span>
#include <sstream>
#include <string>

#include "Varek/Text.h"

#include "dot1xctl/commands/Commands.h"

namespace Dot1xCtl {

using Varek::printableLines;

namespace {

constexpr char const* generalHelp = R"(
"dot1xctl COMMAND --help" tells of one command. What goes wrong is told on
standard error.

Exit code 0: done; also when SIGINT or SIGTERM ended what goes on until then.
          1: failed, or input had faults; what could be done all the same is.
          2: wrong usage; nothing was done.
Of diff   0: no difference. 1: a difference. 2: it cannot be told.)";

/// Otherwise all that is told of a mistyped one is that one is required.
void expectCommands( CLI::App const& app, std::span<char* const> arguments ) {
   std::string const first = arguments.empty() ? "" : arguments.front();
   if ( app.get_require_subcommand_min() == 0 || first.empty() || first.front() == '-' ) {
      return;
   }
   auto const named =
      app.get_subcommands( [&]( CLI::App const* one ) { return one->check_name( first ); } );
   if ( named.empty() ) {
      throw CLI::ValidationError( app.get_name(), "there is no command \"" + first + "\"" );
   }
   expectCommands( *named.front(), arguments.subspan( 1 ) );
}

} // namespace

std::unique_ptr<CLI::App> commandLine( Action& action ) {
   auto app = std::make_unique<CLI::App>( "Shows the state of an IEEE 802.1X authenticator, and "
                                          "its types." );
   app->name( "dot1xctl" );
   app->set_version_flag( "--version", "dot1xctl " DOT1XCTL_VERSION );
   app->require_subcommand( 1 );
   app->footer( generalHelp );
   addReplay( *app, action );
   addServe( *app, action );
   addShow( *app, action );
   addWatch( *app, action );
   addDump( *app, action );
   addConfig( *app, action );
   addSchema( *app, action );
   return app;
}

Action actionOf( int argc, char** argv ) {
   constexpr int wrongUsage = 2;
   Action action;
   auto const app = commandLine( action );
   try {
      expectCommands( *app, { argv + std::min( argc, 1 ), argv + argc } );
      app->parse( argc, argv );
   } catch ( CLI::ParseError const& error ) {
      // Help and version are ends of this kind, too.
      std::ostringstream out, fault;
      int const exitCode = app->exit( error, out, fault ) == 0 ? 0 : wrongUsage;
      std::cout << out.str();
      std::cerr << printableLines( fault.str() );
      action = [exitCode] { return exitCode; };
   }
   return action;
}

} // namespace Dot1xCtl
