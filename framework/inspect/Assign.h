#pragma once

#include "Qel/Entity.h"
#include "Varek/Export.h"

/// Making a tree of entities of any types equal to another, for reloading a configuration or
/// restoring a saved state.
namespace Qel {

/// Makes \p target, with everything below it, equal to \p source, by the mutators of its own
/// attributes: observers are told of real differences alone. Attributes go in id order, and in
/// each, elements are removed before others are added. A child that both have stays the same
/// object, unless a constructor parameter differs.
///
/// Throws Varek::Failure, with nothing changed, if the two are of different types or were made
/// with different constructor parameters. An observer that throws ends it there; what was done
/// stands, and a further call does the rest. \p source must not change meanwhile.
///
/// Cost: a look-up or comparison for each attribute and element of either tree; memory only for the
/// keys of removed elements.
VAREK_EXPORT void assignEntity( Entity& target, Entity const& source );

} // namespace Qel
