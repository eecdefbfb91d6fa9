#pragma once

#include <string>
#include <vector>

#include "Varek/Failures.h"
#include "dot1xctl/ReplayRun.h"
#include "dot1xctl/commands/Command.h"
#include "loop/Address.h"
#include "views/Colour.h"

/// Options of several subcommands.
namespace Dot1xCtl {

/// What is wrong with \p text as a T; nothing if it is a T. A check of an option.
template<class T>
std::string faultAs( std::string const& text ) {
   try {
      (void)T( text );
      return {};
   } catch ( Varek::TextError const& error ) {
      return error.what();
   }
}

/// Adds an option that is an address, to an Address or an optional Address.
template<class To>
Option addressOption( Command const& command, char const* name, To& to, char const* description ) {
   return command
      .option(
         name, [&to]( std::string const& text ) { to = Loop::Address( text ); }, description )
      .typeName( "ADDRESS" )
      .check( faultAs<Loop::Address> );
}

/// Removes leading zeros of a given number, which would otherwise be read as octal.
std::string decimalDigits( std::string& given );

/// Adds an option that is the name of a file.
Option fileOption( Command const& command, char const* name, std::string& to,
                   char const* description );

/// Refuses an empty value: an empty variable of a script must not mean everything, or no file.
std::string emptiness( std::string const& given );

/// Adds --listen, which it returns, --config and --dump.
Option publishOptions( Command const& command, ReplayOptions& );

/// Adds an option that is a whole number from 1 to 1000000, in decimal digits.
template<class To>
Option countOption( Command const& command, char const* name, To& to, char const* description ) {
   return command.option( name, to, description ).transform( decimalDigits ).range( 1, 1000000 );
}

/// Adds --peer-user, for addresses that are followed: who else may publish there.
Option peerUserOption( Command const& command, std::vector<uid_t>& to );

/// \p address with \p peerUsers.
inline Loop::Address from( Loop::Address address, std::vector<uid_t> const& peerUsers ) {
   address.peerUsers = peerUsers;
   return address;
}

/// Adds --wait: how long to wait for more, in seconds.
void waitOption( Command const& command, double& seconds );

/// Adds --color.
void colourOption( Command const& command, Views::ColourUse& );

/// Adds what replay has of show: --show and --block-after.
void addShowOptions( Command const& replay, ReplayOptions& );

} // namespace Dot1xCtl
