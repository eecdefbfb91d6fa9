#include <exception>
#include <functional>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "ConfigCommand.h"
#include "ConfigOutput.h"
#include "Follow.h"
#include "ReplayCommand.h"
#include "Schema.h"
#include "Varek/Failures.h"

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

--listen publishes the answers and the counts of the summary, as a tree of the
types of module "Replay", until SIGINT or SIGTERM; show and watch follow it from
another process. "listening on ADDRESS" on standard error says that it is there.
ADDRESS is unix:PATH (for this user and root alone), tcp:HOST:PORT or tcp:PORT
(this machine alone; over TCP nobody is asked who they are, so name a HOST of
yours with care). Port 0 takes any that is free.

--tree prints that tree instead, in the form in which show prints it.)";

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
hashed, its attributes (id, name, kind, type, key, default, salt) and, of an
enumeration, its values.

--json prints one object:
  {"modules":[{"name","types":[{"name","kind","slot","hashable",
    "attributes":[{"id","name","type","kind","key","default","salt","onWire"}],
    "values":[{"value","name"}]}]}]}
"kind" of a type is entity, value, enum8 or enum32. Types are in slot order,
attributes in id order; what does not apply is left out.)";

constexpr char const* treeJsonHelp = R"(
--json: an entity is {"type", "attributes": {name: value}}, a value without a
text of its own {name: value}; sequences, arrays and sets are arrays, all else
that holds several is an object by key; what is absent is null. Booleans and
finite numbers are JSON's, text that is no UTF-8 is {"octets": "0x..."}, and
everything else a string.)";

constexpr char const* showHelp = R"(
Connects to a process that publishes trees ("replay --listen"), waits until they
have come whole, and prints them: an attribute or element a line, indented. Text
is in quotes; "-" is what is not there. Works for trees of any registered type.

"config" prints the configuration that is published as "status" ("replay
--config"), as "config show" prints that of a file.

Exit code 1, with the reason on standard error, if there is no connection, it is
refused or ends, or not everything has come in time.
)";

constexpr char const* watchHelp = R"(
Connects to a process that publishes trees and prints each change as it arrives,
one a line: time, path and attribute, what it was, what it is; "-" is what is
not there. What is there in the beginning comes as changes, too. When the other
process ends, that is told on standard error and tried again at growing
intervals; what it then has is printed only where it differs. Ends with SIGINT
or SIGTERM.

--json prints an object a line, with members time, root, path (array of
{"attribute", "key"}), attribute, key, old and new.)";

void schema( bool json ) {
   if ( json ) {
      std::cout << Dot1xCtl::schema().dump() << '\n';
   } else {
      Dot1xCtl::printSchema( std::cout, Dot1xCtl::schema() );
   }
}

/// Adds a required or optional option that is an address.
CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description ) {
   return command.add_option( name, text, description )
      ->type_name( "ADDRESS" )
      ->check( []( std::string const& given ) -> std::string {
         try {
            (void)Dot1xCtl::Address( given );
            return {};
         } catch ( Varek::TextError const& error ) {
            return error.what();
         }
      } );
}

Dot1xCtl::PrintRoots printConfig( bool json, bool diff ) {
   return [=]( std::ostream& out, Dot1xCtl::Roots const& roots ) {
      Dot1xCtl::printConfig(
         out, roots, json ? Dot1xCtl::ConfigForm::json : Dot1xCtl::ConfigForm::text,
         diff ? Dot1xCtl::ConfigExtent::difference : Dot1xCtl::ConfigExtent::whole );
   };
}

Dot1xCtl::PrintRoots printTree( bool json ) {
   return [=]( std::ostream& out, Dot1xCtl::Roots const& roots ) {
      Dot1xCtl::printRoots( out, roots, json );
   };
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
   replayCommand->add_flag( "--tree", options.tree, "Print the tree that --listen publishes" );
   std::string listen;
   addressOption( *replayCommand, "--listen", listen, "Then publish the answers there" );
   Dot1xCtl::addConfigOption( *replayCommand, options );
   replayCommand->footer( std::string( replayHelp ) + "\n" + jsonHelp );

   CLI::App* const showCommand =
      app.add_subcommand( "show", "Show what another process publishes" );
   std::string what = "tree";
   showCommand->add_option( "WHAT", what, "tree or config" )
      ->check( CLI::IsMember( { "tree", "config" } ) )
      ->capture_default_str();
   bool diff = false;
   showCommand->add_flag( "--diff", diff, "Of config only what differs from the defaults" );
   std::string connect;
   addressOption( *showCommand, "--connect", connect, "Where it listens" )->required();
   showCommand->add_flag( "--json", json, "Print JSON instead of text" );
   double wait = 5;
   showCommand->add_option( "--wait", wait, "How long to try, in seconds" )
      ->capture_default_str()
      ->check( CLI::Range( 0.001, 1e6 ) );
   showCommand->footer( std::string( showHelp ) + treeJsonHelp );

   CLI::App* const watchCommand =
      app.add_subcommand( "watch", "Show the changes in that, as they arrive" );
   addressOption( *watchCommand, "--connect", connect, "Where it listens" )->required();
   watchCommand->add_flag( "--json", json, "Print JSON instead of text" );
   watchCommand->footer( watchHelp );

   std::function<int()> runConfig;
   CLI::App* const configCommand = Dot1xCtl::addConfig( app, runConfig );

   CLI::App* const schemaCommand =
      app.add_subcommand( "schema", "Show the registered types and their attributes" );
   schemaCommand->add_flag( "--json", json, "Print JSON instead of tables" );
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
      result = Dot1xCtl::show( Dot1xCtl::Address( connect ), wait,
                               what == "config" ? printConfig( json, diff ) : printTree( json ) );
   } else if ( watchCommand->parsed() ) {
      result = Dot1xCtl::watch( Dot1xCtl::Address( connect ), json );
   } else if ( configCommand->parsed() ) {
      result = runConfig();
   } else {
      schema( json );
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
