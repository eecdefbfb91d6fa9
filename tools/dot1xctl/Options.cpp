#include "Options.h"

#include "Address.h"
#include "Varek/Failures.h"

namespace Dot1xCtl {

CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description ) {
   return command.add_option( name, text, description )
      ->type_name( "ADDRESS" )
      ->check( []( std::string const& given ) -> std::string {
         try {
            (void)Address( given );
            return {};
         } catch ( Varek::TextError const& error ) {
            return error.what();
         }
      } );
}

} // namespace Dot1xCtl
