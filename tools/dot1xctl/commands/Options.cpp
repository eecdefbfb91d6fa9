#include "dot1xctl/commands/Options.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>

#include <pwd.h>

#include "dot1xctl/ShowState.h"

namespace Dot1xCtl {

using namespace Views;

Option fileOption( Command const& command, char const* name, std::string& to,
                   char const* description ) {
   return command.option( name, to, description ).typeName( "FILE" ).check( emptiness );
}

std::string emptiness( std::string const& given ) {
   return given.empty() ? "is empty" : std::string();
}

std::string decimalDigits( std::string& given ) {
   if ( given.empty() || given.find_first_not_of( "0123456789" ) != std::string::npos ) {
      return "a whole number in decimal digits expected, found \"" + given + "\"";
   }
   given.erase( 0, std::min( given.find_first_not_of( '0' ), given.size() - 1 ) );
   return {};
}

Option publishOptions( Command const& command, ReplayOptions& options ) {
   fileOption( command, "--config", options.config,
               "Publish its configuration, too, as \"status\"" );
   fileOption( command, "--dump", options.dump, "Write the trees to this file" )
      .check( []( std::string const& path ) -> std::string {
         return path == "-" ? "expected the name of a file; only dump writes to standard output"
                            : "";
      } );
   return addressOption( command, "--listen", options.listen, "Publish the trees there" );
}

namespace {

/// A user's number, from the number or the name; nothing if there is no such user.
std::optional<uid_t> userOf( std::string const& text ) {
   uid_t number = 0;
   char const* const end = text.data() + text.size();
   if ( auto const [stop, error] = std::from_chars( text.data(), end, number );
        error == std::errc() && stop == end ) {
      return number;
   }
   passwd const* const known = ::getpwnam( text.c_str() );
   return known ? std::optional( known->pw_uid ) : std::nullopt;
}

} // namespace

Option peerUserOption( Command const& command, std::vector<uid_t>& to ) {
   return command
      .eachOption(
         "--peer-user",
         [&to]( std::vector<std::string> const& names ) {
            for ( std::string const& name : names ) {
               to.push_back( *userOf( name ) );
            }
         },
         "Also believe this user at a unix: address" )
      .typeName( "USER" )
      .check( []( std::string const& text ) {
         return userOf( text ) ? std::string() : "there is no user " + text;
      } );
}

void waitOption( Command const& command, double& seconds ) {
   command.option( "--wait", seconds, "Seconds to wait for more" )
      .defaultShown()
      .check( []( std::string const& text ) -> std::string {
         // Among what is read as a number otherwise is "nan".
         bool const digits = text.find_first_not_of( "0123456789.eE+-" ) == std::string::npos;
         return digits ? "" : "a number of seconds expected, found " + text;
      } )
      .range( 0.001, 1e6 );
}

void colourOption( Command const& command, ColourUse& use ) {
   static std::map<std::string, ColourUse> const names = { { "auto", ColourUse::automatic },
                                                           { "always", ColourUse::always },
                                                           { "never", ColourUse::never } };
   command
      .option(
         "--color", [&use]( std::string const& name ) { use = names.at( name ); },
         "Colours in tables, where not JSON" )
      .oneOf( { "auto", "always", "never" } )
      .defaultShown( "auto" );
}

void addShowOptions( Command const& replay, ReplayOptions& options ) {
   replay
      .option(
         "--show",
         [&options]( std::string const& what ) { options.show.emplace().what = whatOf( what ); },
         "Print tables of the state instead, as show does" )
      .oneOf( { "all", "ports", "supplicants", "blocked", "sessions" } )
      .excludes( replay.option( "--tree" ) );
   colourOption( replay, options.colour );
   countOption( replay, "--block-after", options.agent.blockAfter,
                "Rejections in a row that block an address" )
      .defaultShown();
}

} // namespace Dot1xCtl
