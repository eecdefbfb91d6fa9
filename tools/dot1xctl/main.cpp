#include <exception>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "ConfigCommand.h"
#include "Follow.h"
#include "Options.h"
#include "ReplayCommand.h"
#include "Schema.h"
#include "ShowCommand.h"

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;

constexpr char const* replayHelp = R"(
Reads packet captures (pcap or pcapng; "-" is standard input) and makes, for
each RADIUS answer in them, the response that an authenticator would keep: its
type, the station it is for, its attributes. Prints each response, then the
requests without an answer, and at the end a summary over all captures.

RADIUS is UDP with port 1812, 1813, 1645 or 1646 on either side. A request and
its answer are looked for in the same capture. Times are UTC.

Input that cannot be read is told on standard error, with file, packet and
offset; all else is still shown, and the exit code is 1. Of each kind of fault
the first five of a file are told, and then their number.

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

--tree prints those trees instead, as "show tree" does.)";

constexpr char const* jsonHelp = R"(
--json prints one array of objects, one a line. Member "record" of each is
  answer      file packet time sinceStart code codeName identifier client server
              callingStationId request type duplicate notifications attributes
  broken      an answer that could not be read whole, of which no response is
              made: as above up to request, and fault attributesBefore
  unanswered  file callingStationId request
  summary     the counts; always the last
A request (absent from an answer whose request is not in the capture) has packet
time code codeName timesSent attributes. An attribute has name vendor type
values; a value has form (text, integer, prefix, octets), value, tag where it is
tagged, and name where the dictionary has one.)";

constexpr char const* schemaHelp = R"(
Prints, module by module, each type with its slot, kind and whether it can be
hashed, its attributes (id, name, kind, type, default or constant, key, salt of
the hash) and, of an enumeration, its values. A TYPE is a name with or without
its namespace.

--json prints one object:
  {"modules":[{"name","types":[{"name","kind","slot","hashable",
    "attributes":[{"id","name","type","kind","key","default","value","salt",
    "onWire"}],"values":[{"value","name"}]}]}]}
"kind" of a type is entity, value, enum8 or enum32. Types are in slot order,
attributes in id order; what does not apply is left out. "value" is that of a
constant.

--markdown prints a document with a table of contents, of the library's types
and not of "Replay".)";

constexpr char const* watchHelp = R"(
Connects to a process that publishes trees and prints each change as it arrives,
one a line: time, path and attribute, what it was, what it is; "-" is what is
not there. What is there in the beginning comes as changes, too. When the other
process ends, that is told on standard error and tried again at growing
intervals; what it then has is printed only where it differs. Ends with SIGINT
or SIGTERM; with exit code 1 and the reason if the other process refuses the
connection, or what it says would be misread here.

--json prints an object a line, with members time, root, path (array of
{"attribute", "key"}), attribute, key, old and new.)";

void schema( bool json, bool markdown, std::vector<std::string> const& types ) {
   using Dot1xCtl::Modules;
   auto const made =
      Dot1xCtl::schema( markdown && types.empty() ? Modules::library : Modules::all, types );
   if ( json ) {
      std::cout << made.dump() << '\n';
   } else if ( markdown ) {
      Dot1xCtl::printMarkdown( std::cout, made );
   } else {
      Dot1xCtl::printSchema( std::cout, made );
   }
}

int run( int argc, char** argv ) {
   CLI::App app( "Shows the state of an IEEE 802.1X authenticator, and its types." );
   app.name( "dot1xctl" );
   app.set_version_flag( "--version", "dot1xctl " DOT1XCTL_VERSION );
   app.require_subcommand( 1 );

   bool json = false;
   Dot1xCtl::ReplayOptions options;
   CLI::App* const replayCommand =
      app.add_subcommand( "replay", "Show what the RADIUS answers of captures make" );
   replayCommand->add_option( "CAPTURE", options.captures, "Files to read, in this order" )
      ->required();
   replayCommand->add_flag( "--json", json, "Print JSON instead of text" );
   replayCommand->add_flag( "--tree", options.tree, "Print the trees that --listen publishes" );
   std::string listen;
   Dot1xCtl::addressOption( *replayCommand, "--listen", listen, "Then publish the trees there" );
   Dot1xCtl::addShowOptions( *replayCommand, options );
   Dot1xCtl::addConfigOption( *replayCommand, options );
   replayCommand->footer( std::string( replayHelp ) + "\n" + jsonHelp );

   std::function<int()> runShow;
   CLI::App* const showCommand = Dot1xCtl::addShow( app, runShow );

   CLI::App* const watchCommand =
      app.add_subcommand( "watch", "Show the changes in that, as they arrive" );
   std::string connect;
   Dot1xCtl::addressOption( *watchCommand, "--connect", connect, "Where it listens" )->required();
   watchCommand->add_flag( "--json", json, "Print JSON instead of text" );
   watchCommand->footer( watchHelp );

   std::function<int()> runConfig;
   CLI::App* const configCommand = Dot1xCtl::addConfig( app, runConfig );

   CLI::App* const schemaCommand =
      app.add_subcommand( "schema", "Show the registered types and their attributes" );
   std::vector<std::string> types;
   schemaCommand->add_option( "TYPE", types, "Types to show; all, if none is given" )
      ->check( []( std::string const& given ) -> std::string {
         try {
            (void)Dot1xCtl::schema( Dot1xCtl::Modules::all, { given } );
            return {};
         } catch ( std::runtime_error const& error ) {
            return error.what();
         }
      } );
   bool markdown = false;
   schemaCommand->add_flag( "--markdown", markdown, "Print Markdown instead of tables" )
      ->excludes( schemaCommand->add_flag( "--json", json, "Print JSON instead of tables" ) );
   schemaCommand->footer( schemaHelp );

   try {
      app.parse( argc, argv );
   } catch ( CLI::ParseError const& error ) {
      return app.exit( error ) == 0 ? 0 : wrongUsage;
   }

   int result = 0;
   if ( replayCommand->parsed() ) {
      options.json = json;
      if ( !listen.empty() ) {
         options.listen.emplace( listen );
      }
      result = Dot1xCtl::replay( options );
   } else if ( showCommand->parsed() ) {
      result = runShow();
   } else if ( watchCommand->parsed() ) {
      result = Dot1xCtl::watch( Dot1xCtl::Address( connect ), json );
   } else if ( configCommand->parsed() ) {
      result = runConfig();
   } else {
      schema( json, markdown, types );
   }
   std::cout.flush();
   if ( !std::cout ) {
      std::cerr << "dot1xctl: standard output cannot be written\n";
      result = failed;
   }
   return result;
}

} // namespace

int main( int argc, char** argv ) {
   try {
      std::ios::sync_with_stdio( false );
      return run( argc, argv );
   } catch ( std::exception const& error ) {
      std::cerr << "dot1xctl: " << error.what() << '\n';
      return failed;
   }
}
