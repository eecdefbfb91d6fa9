#include <iostream>

#include "Dot1xV2/Version.h"
#include "framework/records/Records.h"
#ifdef LINKED_STATICALLY
#include "Dot1xV2/AllModules.h"
#endif

static_assert( DOT1X_VERSION >= 100 );

// Uses no symbol of the shared library's types, as a tool that knows them by their records alone: they have to be
// there all the same.
int main() {
   Varek::TypeInspectData const* const type =
      Varek::ModuleInspectData::findType( "Dot1xV2::AuthZPortStatus" );
   if ( !type ) {
      std::cerr << "there is no such type\n";
      return 1;
   }
   for ( Qel::AttributeRecord const& attribute : Qel::typeRecord( *type ).attributes ) {
      std::cout << attribute.name << ' ';
   }
}
