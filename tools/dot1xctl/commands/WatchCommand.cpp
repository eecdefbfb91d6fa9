#include "dot1xctl/commands/Commands.h"

#include <memory>

#include "dot1xctl/Watch.h"
#include "dot1xctl/commands/Options.h"

namespace Dot1xCtl {

using namespace Loop;

namespace {

constexpr char const* watchHelp = R"(
Connects to a process that publishes trees and prints each change as it arrives,
one a line: time, path and attribute, what it was, what it is; "-" is what is
not there. What the other process changed in one step is printed together, with
one time. What is there in the beginning comes as changes, too. When the other
process ends, that is told on standard error and tried again at growing
intervals; what it then has is printed only where it differs. Ends with SIGINT
or SIGTERM; with exit code 1 and the reason if the other process refuses the
connection (not if it merely has as many followers as it can), if it is not
believed (see show), if what it says would be misread here, or if standard
output cannot be written.

--json prints an object a line, with members time, root, path (array of
{"attribute", "key"}), attribute, key, old and new.)";

} // namespace

void addWatch( Command const& program, Action& action ) {
   struct WatchGiven {
      Address connect;
      std::vector<uid_t> peerUsers;
      bool json = false;
   };
   auto const given = std::make_shared<WatchGiven>();
   Command const command =
      program.command( "watch", "Show changes as another process publishes them" );
   addressOption( command, "--connect", given->connect, "Where it listens" ).required();
   peerUserOption( command, given->peerUsers );
   command.flag( "--json", given->json, "Print JSON instead of text" );
   command.help( watchHelp );
   command.parsed( [given, &action] {
      action = [given] { return watch( from( given->connect, given->peerUsers ), given->json ); };
   } );
}

} // namespace Dot1xCtl
