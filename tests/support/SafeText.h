#pragma once

#include <string_view>

#include "framework/text/Strep.h"

/// Whether \p text may be given to \p type. For an optional value with a collection, any text but
/// "absent" ends the process, as documented.
inline bool isSafeText( Varek::Inspect::AtomicFnTable const& type, std::string_view text ) {
   if ( Qel::isSafelyReadable( type ) ) {
      return true;
   }
   constexpr std::string_view name = "egressVlan";
   for ( std::size_t at = text.find( name ); at != std::string_view::npos;
         at = text.find( name, at ) ) {
      if ( at += name.size(); !text.substr( at ).starts_with( ": absent )" ) ) {
         return false;
      }
   }
   return true;
}
