#pragma once

#include <vector>

#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "framework/records/Records.h"
#include "framework/text/Strep.h"

/// What attributes hold and are keyed by, and all registered value and enumeration types.
inline std::vector<Varek::Inspect::AtomicFnTable const*> readableTypes() {
   using Varek::Inspect::AtomicFnTable;
   std::vector<AtomicFnTable const*> all;
   auto const add = [&]( AtomicFnTable const* type ) {
      if ( type && ( Qel::isSafelyReadable( *type ) || type->typeName == "Dot1xV2::AuthZAttrs" ) ) {
         all.push_back( type );
      }
   };
   for ( auto const* const module : Varek::ModuleInspectData::all() ) {
      for ( auto const* const one : module->types ) {
         Qel::TypeRecord const& type = Qel::typeRecord( *one );
         add( type.functions );
         for ( Qel::AttributeRecord const& attribute : type.attributes ) {
            add( attribute.value );
            add( attribute.key );
         }
      }
   }
   return all;
}
