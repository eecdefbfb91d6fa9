#include "dot1xctl/commands/Commands.h"

#include <iostream>
#include <memory>
#include <string>

#include <fmt/core.h>

#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "agent/MbaName.h"
#include "config/Config.h"
#include "config/ConfigOutput.h"
#include "dot1xctl/Telling.h"
#include "dot1xctl/commands/Options.h"

namespace Dot1xCtl {

using namespace Agent;
using namespace Config;

using Varek::counted;
using Varek::escaped;

namespace {

constexpr char const* configHelp = R"(
A configuration file is JSON: the attributes of Dot1xV2::Status and of all below
it, by their names ("dot1xctl schema" lists them).

  {
    "dot1xEnabled": true,
    "intfStatus": {
      "Ethernet1-46": {
        "authNProfile": { "eapolAuthNEnabled": true, "mbaAuthNEnabled": true },
        "authZProfile": { "guestVlan": 40 }
      },
      "Ethernet7": { "authZProfile": { "guestVlan": 41 } }
    }
  }

What is not named has its default. A key may name several interfaces
("Ethernet1-24,30"); what stands later counts. "-" is standard input. A file has
64 MiB at most.

Each fault is told on standard error, with line, path, what was found and what
is allowed; the exit code is 1 then.)";

constexpr char const* configShowHelp = R"(
Prints the configuration of FILE with all defaults filled in; interfaces that
are configured alike stand together. --diff leaves the defaults out. --json
prints a file that "config check" accepts, interface by interface.)";

constexpr char const* userNameHelp = R"(
Prints the user name under which MAC would be authenticated on INTERFACE, as
authNProfile.mbaUserName says there.)";

struct ConfigGiven {
   std::string file;
   bool json = false;
   bool diff = false;
   std::string interface;
   std::string mac;
};

using Status = Varek::Ptr<Dot1xV2::Status>;

void check( ConfigGiven const& given, Status const& status ) {
   std::cout << escaped( given.file ) << ": "
             << counted( status->intfStatus().size(), "interface", "interfaces" )
             << ", no faults\n";
}

void show( ConfigGiven const& given, Status const& status ) {
   printConfig( std::cout, *status, given.json ? ConfigForm::json : ConfigForm::text,
                given.diff ? ConfigExtent::difference : ConfigExtent::whole );
}

void userName( ConfigGiven const& given, Status const& status ) {
   auto const intf = status->intfStatus( Lumo::IntfId( given.interface ) );
   if ( !intf || !intf->authNProfile() ) {
      throw Varek::Failure(
         fmt::format( "{}: there is no authNProfile for {}", given.file, given.interface ) );
   }
   std::cout << mbaUserName( Lumo::EthAddr( given.mac ), intf->authNProfile()->mbaUserName() )
             << '\n';
}

} // namespace

void addConfig( Command const& program, Action& action ) {
   auto const given = std::make_shared<ConfigGiven>();
   Command const config =
      program.command( "config", "Check and show configuration files" ).commandRequired();
   config.help( configHelp );
   auto const add = [&]( char const* name, char const* what,
                         void ( *use )( ConfigGiven const&, Status const& ) ) {
      Command const command = config.command( name, what );
      command.option( "FILE", given->file, "The configuration" ).required();
      command.parsed( [given, &action, use] {
         action = [given, use] {
            Faults faults;
            Status const status = loadConfig( given->file, faults );
            tellFaults( given->file, faults );
            if ( status ) {
               use( *given, status );
            }
            return status ? 0 : 1;
         };
      } );
      return command;
   };
   add( "check", "Tell the faults of a file", check );
   Command const showCommand = add( "show", "Print what a file configures", show );
   showCommand.flag( "--json", given->json, "Print JSON instead of text" );
   showCommand.flag( "--diff", given->diff, "Print only what differs from the defaults" );
   showCommand.help( configShowHelp );
   Command const name = add( "username", "Print the user name of a MAC address", userName );
   name.option( "INTERFACE", given->interface, "Where the host is" )
      .required()
      .check( faultAs<Lumo::IntfId> );
   name.option( "MAC", given->mac, "The address of the host" )
      .required()
      .check( faultAs<Lumo::EthAddr> );
   name.help( userNameHelp );
}

} // namespace Dot1xCtl
