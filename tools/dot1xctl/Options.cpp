#include "Options.h"

#include <map>

#include "Address.h"

namespace Dot1xCtl {

CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description ) {
   return command.add_option( name, text, description )
      ->type_name( "ADDRESS" )
      ->check( faultAs<Address> );
}

void colourOption( CLI::App& command, ColourUse& use ) {
   static std::map<std::string, ColourUse> const names = { { "auto", ColourUse::automatic },
                                                           { "always", ColourUse::always },
                                                           { "never", ColourUse::never } };
   command
      .add_option_function<std::string>(
         "--color", [&use]( std::string const& name ) { use = names.at( name ); },
         "Colours in tables, where not JSON" )
      ->check( CLI::IsMember( { "auto", "always", "never" } ) )
      ->default_str( "auto" );
}

} // namespace Dot1xCtl
