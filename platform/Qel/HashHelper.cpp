#include "Qel/HashHelper.h"

#include <random>

namespace Qel {

constinit std::uint32_t HashHelper::seed_ = 0;

namespace {

// Runs before all dynamic initialisation: the compiler keeps the priorities below 101 for itself.
[[gnu::constructor( 101 )]] void seedAtStart() {
   HashHelper::hashSeed32Is( std::random_device{}() );
}

} // namespace

} // namespace Qel
