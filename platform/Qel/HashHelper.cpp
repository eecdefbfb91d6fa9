#include "Qel/HashHelper.h"

#include <random>

namespace Qel {

constinit std::uint32_t HashHelper::seed_ = 0;

namespace {

// The lowest number that is not the compiler's own: before all dynamic initialisation.
[[gnu::constructor( 101 )]] void seedAtStart() {
   HashHelper::hashSeed32Is( std::random_device{}() );
}

} // namespace

} // namespace Qel
