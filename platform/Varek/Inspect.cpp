#include "Varek/Inspect.h"

#include "Varek/Failures.h"

namespace Varek::Inspect {

void throwNonHashableType( ModuleInspectData const* module, std::uint32_t index,
                           std::string_view type ) {
   throw NonHashableType( module ? module->name : "none", index, type );
}

} // namespace Varek::Inspect
