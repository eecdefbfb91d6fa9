#pragma once

#include "Qel/Entity.h"
#include "Varek/Export.h"

/// Making one tree of entities equal to another, of whatever types: what a reload of a
/// configuration or the restoring of a saved state needs.
namespace Qel {

/// Makes \p target, with everything below it, equal to \p source, by the mutators of its own
/// attributes: observers are told of real differences alone. Attributes go in id order, and of each
/// what is to go before what is to come. A child that both have stays the same object, unless a
/// constructor parameter differs.
///
/// Throws Varek::Failure, with nothing changed, if the two are of different types or were made
/// with different constructor parameters. An observer that throws ends it there; what was done
/// stands, and a further call does the rest. \p source must not change meanwhile.
///
/// Cost: a look-up or comparison for each attribute and element of either; memory only for the keys
/// that go.
VAREK_EXPORT void assignEntity( Entity& target, Entity const& source );

} // namespace Qel
