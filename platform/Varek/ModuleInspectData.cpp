#include "Varek/ModuleInspectData.h"

#include <algorithm>
#include <mutex>

#include "Varek/Failures.h"

namespace Varek {

namespace {

struct Registry {
   std::mutex mutex;
   std::vector<ModuleInspectData const*> modules; // sorted by name
};

// Made at the first use, since modules register from static initialisers in any order, and never
// torn down, since a module may still be looked up while the process ends.
Registry& registry() {
   static Registry& all = *new Registry;
   return all;
}

auto lowerBound( std::vector<ModuleInspectData const*>& modules, std::string_view name ) {
   return std::lower_bound( modules.begin(), modules.end(), name,
                            []( auto* module, auto wanted ) { return module->name < wanted; } );
}

} // namespace

void ModuleInspectData::loaded( ModuleInspectData const& module ) {
   Registry& all = registry();
   std::lock_guard const lock( all.mutex );
   auto const at = lowerBound( all.modules, module.name );
   bool const moduleIsKnown = at != all.modules.end() && ( *at )->name == module.name;
   VAREK_ASSERT( !moduleIsKnown || *at == &module, module.name );
   if ( !moduleIsKnown ) {
      all.modules.insert( at, &module );
   }
}

ModuleInspectData const* ModuleInspectData::find( std::string_view name ) {
   Registry& all = registry();
   std::lock_guard const lock( all.mutex );
   auto const at = lowerBound( all.modules, name );
   return at != all.modules.end() && ( *at )->name == name ? *at : nullptr;
}

TypeInspectData const* ModuleInspectData::findType( std::string_view qualifiedName ) {
   for ( ModuleInspectData const* module : all() ) {
      for ( TypeInspectData const* type : module->types ) {
         if ( type->name == qualifiedName ) {
            return type;
         }
      }
   }
   return nullptr;
}

std::vector<ModuleInspectData const*> ModuleInspectData::all() {
   Registry& known = registry();
   std::lock_guard const lock( known.mutex );
   return known.modules;
}

} // namespace Varek
