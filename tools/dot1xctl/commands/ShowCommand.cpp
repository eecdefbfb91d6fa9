#include "dot1xctl/commands/Commands.h"

#include <iostream>
#include <memory>
#include <optional>

#include "Varek/Failures.h"
#include "dot1xctl/Fetch.h"
#include "dot1xctl/ShowState.h"
#include "dot1xctl/Telling.h"
#include "dot1xctl/commands/Options.h"

namespace Dot1xCtl {

using namespace Loop;
using namespace Views;

namespace {

constexpr char const* showHelp = R"(
Connects to a process that publishes trees ("replay --listen"), waits until they
have come whole, or reads a state file, and prints of an authenticator's state

  ports             what each port lets through, and who is authorized there
  supplicants       how far each is, and what the server said of it
  supplicants MAC   all that is known of one
  blocked           the addresses that are blocked
  sessions          the accounting sessions
  all               each of these tables (the default); without them, tree
  config            the configuration, as "config show" prints that of a file
  tree              the trees as they are, of any registered type: an attribute
                    or element a line, indented; text is in quotes

"-" is what is not there. Tables have 80 columns; what does not fit is cut.
Colours are for a terminal, unless NO_COLOR is set or TERM is "dumb"; --color
says otherwise.

Exit code 1, with the reason on standard error, if there is no connection, it is
refused or ends, who listens is not believed, not everything has come in time,
the file is damaged, or there is no such table or supplicant. Rows are selected
by what a table has a column of; nothing is of tree, config and one supplicant.
--state takes the words of the columns "state" and "result", those in JSON, too;
--port the name of an interface, or "-" for none; --mac an address. What nothing
can have is wrong usage, what nothing has selects no row. The VLANs 7 and 007
are the same.

At a unix: address are believed this user, root, the owner of the socket if its
folder is one that only root may change, and each --peer-user.

--json prints a table as an array of objects, whole; all as an object of such
arrays; a supplicant as one object. Of a tree, an entity is {"type",
"attributes": {name: value}}, a value without a text of its own {name: value};
sequences, arrays and sets are arrays, all else that holds several is an object
by key; what is absent is null. Booleans and finite numbers are JSON's, text
that is no UTF-8 is {"octets": "0x..."}, and everything else a string.)";

/// Brings an address in any notation into the form in which it is printed.
std::string canonicalMac( std::string& given ) {
   try {
      given = stringValue( Lumo::EthAddr( given ) );
      return {};
   } catch ( Varek::TextError const& error ) {
      return error.what();
   }
}

/// Likewise for a port; "-" selects rows without a port.
std::string canonicalPort( std::string& given ) {
   try {
      given = given == "-" ? given : stringValue( Lumo::IntfId( given ) );
      return emptiness( given );
   } catch ( Varek::TextError const& error ) {
      return std::string( error.what() ) +
             "; names are as Ethernet3, Ethernet3/1, Ethernet3.100 or Port-Channel10";
   }
}

struct ShowGiven {
   std::string what = "all";
   std::string mac;
   std::optional<Address> connect;
   std::vector<uid_t> peerUsers;
   std::string load;
   double wait = 5;
   std::map<std::string, std::string> filters;
   bool difference = false;
   bool json = false;
   ColourUse colour = ColourUse::automatic;
};

int show( Address const& address, double seconds, ShowRequest const& request ) {
   std::optional<Roots> const roots = fetch( address, seconds );
   if ( !roots ) {
      return 1;
   }
   try {
      printState( std::cout, *roots, request );
      return 0;
   } catch ( Varek::Failure const& failure ) {
      tell( stringValue( address ) + ": " + failure.what() );
      return 1;
   }
}

int run( ShowGiven const& given ) {
   ShowRequest request;
   request.what = whatOf( given.what );
   request.json = given.json;
   request.colour = coloured( given.colour );
   request.difference = given.difference;
   for ( auto const& [name, value] : given.filters ) {
      if ( !value.empty() ) {
         request.filters[name] = value;
      }
   }
   if ( !given.mac.empty() ) {
      request.mac.emplace( given.mac );
   }
   if ( given.connect ) {
      return show( from( *given.connect, given.peerUsers ), given.wait, request );
   }
   printState( std::cout, loadTold( given.load ), request );
   return 0;
}

} // namespace

void addShow( Command const& program, Action& action ) {
   auto const given = std::make_shared<ShowGiven>();
   Command const command = program.command( "show", "Show what another process publishes" );
   command.option( "WHAT", given->what, "Which of it; see below" )
      .oneOf( { "all", "ports", "supplicants", "blocked", "sessions", "config", "tree" } )
      .defaultShown();
   command.option( "MAC", given->mac, "Of supplicants: this one, in detail" )
      .transform( canonicalMac, "MAC" );
   Option const connect = addressOption( command, "--connect", given->connect, "Where it listens" );
   Option const load =
      fileOption( command, "--load", given->load, "Show this state file, and no process" )
         .excludes( connect );
   peerUserOption( command, given->peerUsers ).needs( connect );
   command.flag( "--json", given->json, "Print JSON instead of text" );
   colourOption( command, given->colour );
   command.flag( "--diff", given->difference, "With config: only what differs from the defaults" );
   waitOption( command, given->wait );
   auto& filters = given->filters;
   command.option( "--port", filters["port"], "Only what is on this port" )
      .transform( canonicalPort, "NAME" );
   command.option( "--mac", filters["mac"], "Only this address" ).transform( canonicalMac, "MAC" );
   command.option( "--vlan", filters["vlan"], "Only this VLAN, a number or a name" )
      .check( emptiness );
   command.option( "--identity", filters["identity"], "Only this identity" ).check( emptiness );
   command.option( "--state", filters["state"], "Only this state of a port, or result" )
      .check( emptiness );
   command.help( showHelp );
   command.parsed( [given, connect, load, &action] {
      if ( !connect.given() && !load.given() ) {
         missing( "--connect or --load" );
      }
      if ( !given->mac.empty() && given->what != "supplicants" ) {
         wrongUsage( "MAC", "only supplicants can be asked for by address" );
      }
      if ( given->difference && given->what != "config" ) {
         wrongUsage( "--diff", "only config has defaults to differ from" );
      }
      for ( auto const& [name, value] : given->filters ) {
         if ( !value.empty() &&
              ( !given->mac.empty() || !canSelect( whatOf( given->what ), name ) ) ) {
            wrongUsage( "--" + name, "nothing of " + given->what + " can be selected by that" );
         }
         auto const fault = filterFault( whatOf( given->what ), name, value );
         if ( !value.empty() && !fault.empty() ) {
            wrongUsage( "--" + name, fault );
         }
      }
      action = [given] { return run( *given ); };
   } );
}

} // namespace Dot1xCtl
