#include "Qel/Entity.h"

#include "Varek/Failures.h"

namespace Qel {

void throwWriteFromReadOnlyProxy( Entity const& entity ) {
   Varek::TypeData const type = entity.typeData();
   throw Varek::WriteFromReadOnlyProxy( type.module->types[type.index]->name );
}

} // namespace Qel
