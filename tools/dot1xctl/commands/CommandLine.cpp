#include "dot1xctl/commands/CommandLine.h"

#include "dot1xctl/commands/Commands.h"

namespace Dot1xCtl {

namespace {

constexpr char const* generalHelp = R"(
"dot1xctl COMMAND --help" tells of one command. What goes wrong is told on
standard error.

Exit code 0: done; also when SIGINT or SIGTERM ended what goes on until then.
          1: failed, or input had faults; what could be done all the same is.
          2: wrong usage; nothing was done.
Of diff   0: no difference. 1: a difference. 2: it cannot be told.)";

} // namespace

std::unique_ptr<CommandLine> commandLine( Action& action ) {
   auto line = std::make_unique<CommandLine>(
      "dot1xctl", "Shows the state of an IEEE 802.1X authenticator, and its types.",
      "dot1xctl " DOT1XCTL_VERSION );
   Command const program = line->program().commandRequired().help( generalHelp );
   addReplay( program, action );
   addServe( program, action );
   addShow( program, action );
   addWatch( program, action );
   addDump( program, action );
   addConfig( program, action );
   addSchema( program, action );
   return line;
}

Action actionOf( int argc, char** argv ) {
   Action action;
   // What was asked for is in the action; the command line itself is needed no more.
   if ( auto const exitCode = commandLine( action )->parse( argc, argv ) ) {
      return [code = *exitCode] { return code; };
   }
   return action;
}

} // namespace Dot1xCtl
