#include "Options.h"

#include "Address.h"

namespace Dot1xCtl {

CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description ) {
   return command.add_option( name, text, description )
      ->type_name( "ADDRESS" )
      ->check( faultAs<Address> );
}

} // namespace Dot1xCtl
