#include "Qel/HashHelper.h"

#include <random>

namespace Qel {

std::uint32_t HashHelper::seed_ = std::random_device{}();

} // namespace Qel
