#include "agent/MbaName.h"

#include <cstddef>

namespace Agent {

Varek::String mbaUserName( Lumo::EthAddr const& address, Dot1xV2::MbaUserName const& form ) {
   char const* const digits = form.userNameIsUpperCase() ? "0123456789ABCDEF" : "0123456789abcdef";
   std::size_t const group = form.userNameGroupSize();
   Varek::String name;
   std::size_t written = 0;
   auto const write = [&]( unsigned digit ) {
      if ( group != 0 && written != 0 && written % group == 0 ) {
         name += form.userNameDelim();
      }
      name += digits[digit];
      ++written;
   };
   for ( std::uint8_t const octet : address.octets() ) {
      write( octet >> 4 );
      write( octet & 0xF );
   }
   return name;
}

} // namespace Agent
