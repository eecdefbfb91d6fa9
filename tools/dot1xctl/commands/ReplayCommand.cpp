#include "dot1xctl/commands/Commands.h"

#include <memory>
#include <string>

#include "dot1xctl/commands/Options.h"

namespace Dot1xCtl {

namespace {

constexpr char const* replayHelp = R"(
Reads packet captures (pcap or pcapng; "-" is standard input) and makes, for
each RADIUS answer in them, the response that an authenticator would keep: its
type, the station it is for, its attributes. Prints each response, then the
requests without an answer, and at the end a summary over all captures.

RADIUS is UDP with port 1812, 1813, 1645 or 1646 on either side. A request and
its answer are looked for in the same capture. Times are UTC.

Input that cannot be read is told on standard error, with file, packet and
offset; all else is still shown, and the exit code is 1. Of each kind of fault
the first five of a file are told, and then their number; --json has all. Where
no packet could be read at all, nothing is published or dumped.

Of the requests, the answers and the EAPOL frames it makes the state, too, that
an authenticator would have: ports, supplicants, blocked addresses, accounting
sessions. --show prints tables of it instead, as show does.

--listen publishes that state as the trees "authNStatus", "authZStatus" and
"acctStatus", and beside them as "replay" the answers and the counts of the
summary (module "Replay"), until SIGINT or SIGTERM; show and watch follow them
from another process. "listening on ADDRESS" on standard error says that they
are there.
ADDRESS is unix:PATH (for this user and root alone), tcp:HOST:PORT or tcp:PORT
(this machine alone; over TCP nobody is asked who they are, so name a HOST of
yours with care). Port 0 takes any that is free.

SIGHUP reads the file of --config again meanwhile, see serve.

--dump writes those trees to a file (see dump): before they are published, and
again as they are at the end.

--tree prints those trees instead, as "show tree" does.

--macs and --repeat show what a deployment would cost: the state is made of
copies of the captured exchanges. The captured supplicants are the first; each
other has an address of its own (02:00 and a number), and each copy
ports of its own (Ethernet, beyond the highest captured), also in the attributes
that name them; ids of sessions become ID-COPY, and when played again
ID-COPY.TIME. All else is as captured; what is of no supplicant is not copied.
Time, rates and memory are told on standard error; the summary and the tree
"replay" are of the captures alone.)";

constexpr char const* answersHelp = R"(
--json prints one array of objects, one a line. Member "record" of each is
  answer      file packet time sinceStart code codeName identifier client server
              callingStationId request type duplicate notifications attributes
  broken      an answer that could not be read whole, of which no response is
              made: as above up to request, and fault offset offsetIn
              attributesBefore
  unanswered  file callingStationId request
  problem     file kind packet offset offsetIn what: each fault of the input,
              also where standard error has their number alone
  summary     the counts; always the last
A request (absent from an answer whose request is not in the capture) has packet
time code codeName timesSent attributes. An attribute has name vendor type
values; a value has form (text, integer, prefix, octets), value, tag where it is
tagged, and name where the dictionary has one. callingStationId is null where
the request is not known, names no station, or is not about one. The kind of a
problem is file, cut (at capture), fragment, malformed or radius; offset counts
from the beginning of offsetIn, which is file, packet or "RADIUS packet"; null
is what there is none of.)";

} // namespace

void addReplay( Command const& program, Action& action ) {
   auto const options = std::make_shared<ReplayOptions>();
   Command const command =
      program.command( "replay", "Show what the RADIUS answers of captures make" );
   command.option( "CAPTURE", options->captures, "Files to read, in this order" ).required();
   command.flag( "--json", options->json, "Print JSON instead of text" );
   command.flag( "--tree", options->tree, "Print the trees that --listen publishes" );
   countOption( command, "--macs", options->sizing.macs, "Play copies, for so many supplicants" );
   countOption( command, "--repeat", options->sizing.repeat, "Play everything so many times" )
      .defaultShown();
   publishOptions( command, *options );
   addShowOptions( command, *options );
   command.help( std::string( replayHelp ) + "\n" + answersHelp );
   command.parsed( [options, &action] { action = [options] { return replay( *options ); }; } );
}

} // namespace Dot1xCtl
