#include "mirror/Transport.h"

namespace Mirror {

Transport::~Transport() = default;

} // namespace Mirror
