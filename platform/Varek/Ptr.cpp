#include "Varek/Ptr.h"

namespace Varek {

void Counted::expire() const { delete this; }

} // namespace Varek
