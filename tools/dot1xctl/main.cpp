#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Output.h"
#include "Problems.h"
#include "Replay.h"
#include "Schema.h"

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
the first five of a file are told, and then their number.)";

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

int replay( std::vector<std::string> const& captures, bool json ) {
   Dot1xCtl::Problems problems( std::cerr );
   auto const output = json ? Dot1xCtl::jsonOutput( std::cout ) : Dot1xCtl::textOutput( std::cout );
   Dot1xCtl::Replay replay( *output, problems );
   for ( std::string const& capture : captures ) {
      replay.file( capture );
   }
   output->summary( replay.summary() );
   return problems.count() == 0 ? 0 : failed;
}

void schema( bool json ) {
   if ( json ) {
      std::cout << Dot1xCtl::schema().dump() << '\n';
   } else {
      Dot1xCtl::printSchema( std::cout, Dot1xCtl::schema() );
   }
}

int run( int argc, char** argv ) {
   CLI::App app( "Shows the state of an IEEE 802.1X authenticator, and its types." );
   app.name( "dot1xctl" );
   app.set_version_flag( "--version", "dot1xctl " DOT1XCTL_VERSION );
   app.require_subcommand( 1 );

   bool json = false;
   std::vector<std::string> captures;
   CLI::App* const replayCommand =
      app.add_subcommand( "replay", "Show what the RADIUS answers of captures make" );
   replayCommand->add_option( "CAPTURE", captures, "Files to read, in this order" )->required();
   replayCommand->add_flag( "--json", json, "Print JSON instead of text" );
   replayCommand->footer( std::string( replayHelp ) + "\n" + jsonHelp );
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
      result = replay( captures, json );
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
