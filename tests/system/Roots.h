#pragma once

#include <random>
#include <span>

#include "Qel/Entity.h"

/// The trees that the processes of a test keep in step: one of each module that has a factory. A
/// type joins by one line in Roots.cpp.
namespace Roots {

using Random = std::mt19937;

struct Root {
   char const* name;
   Varek::Ptr<Qel::Entity> ( *make )();
   /// One random change among few keys, so that elements come, change, go and come again.
   void ( *change )( Qel::Entity&, Random& );
};

std::span<Root const> all();

} // namespace Roots
