#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Varek/Failures.h"
#include "dot1xctl/ReplayRun.h"
#include "loop/Address.h"
#include "views/Colour.h"

/// Options of several subcommands.
namespace Dot1xCtl {

/// What is wrong with \p text as a T; nothing if it is one. A check of an option.
template<class T>
std::string faultAs( std::string const& text ) {
   try {
      (void)T( text );
      return {};
   } catch ( Varek::TextError const& error ) {
      return error.what();
   }
}

/// Adds an option that is an address, to an Address or to an optional one.
template<class To>
CLI::Option* addressOption( CLI::App& command, char const* name, To& to, char const* description ) {
   return command
      .add_option_function<std::string>(
         name, [&to]( std::string const& text ) { to = Loop::Address( text ); }, description )
      ->type_name( "ADDRESS" )
      ->check( faultAs<Loop::Address> );
}

/// Removes leading zeros of a given number, which would otherwise be read as octal.
std::string decimalDigits( std::string& given );

/// Adds an option that is the name of a file.
CLI::Option* fileOption( CLI::App& command, char const* name, std::string& to,
                         char const* description );

/// Refuses an empty value: an empty variable of a script must not mean everything, or no file.
std::string emptiness( std::string const& given );

/// Adds --listen, which it returns, --config and --dump.
CLI::Option* publishOptions( CLI::App& command, ReplayOptions& );

/// Adds an option that is a whole number from 1 to 1000000, in decimal digits.
template<class To>
CLI::Option* countOption( CLI::App& command, char const* name, To& to, char const* description ) {
   return command.add_option( name, to, description )
      ->transform( CLI::Validator( decimalDigits, "" ) )
      ->check( CLI::Range( 1, 1000000 ) );
}

/// Adds --peer-user, for addresses that are followed: who else may publish there.
CLI::Option* peerUserOption( CLI::App& command, std::vector<uid_t>& to );

/// \p address with \p peerUsers.
inline Loop::Address from( Loop::Address address, std::vector<uid_t> const& peerUsers ) {
   address.peerUsers = peerUsers;
   return address;
}

/// Adds --wait: how long to wait for more, in seconds.
void waitOption( CLI::App& command, double& seconds );

/// Adds --color.
void colourOption( CLI::App& command, Views::ColourUse& );

/// Adds what replay has of show: --show and --block-after.
void addShowOptions( CLI::App& replay, ReplayOptions& );

} // namespace Dot1xCtl
