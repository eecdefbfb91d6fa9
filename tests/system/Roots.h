#pragma once

#include <span>

#include "Qel/Entity.h"

/// The trees that the processes of a test keep in step: one of each module that has a factory. A
/// type joins by one line in Roots.cpp; how it is changed, its record says.
namespace Roots {

struct Root {
   char const* name;
   Varek::Ptr<Qel::Entity> ( *make )();
};

std::span<Root const> all();

} // namespace Roots
