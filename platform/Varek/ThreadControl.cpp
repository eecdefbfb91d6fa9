#include "Varek/ThreadControl.h"

namespace Varek {

constinit std::atomic<bool> ThreadControl::multiThreaded_{ false };

void ThreadControl::multiThreadedIs( bool value ) {
   multiThreaded_.store( value, std::memory_order_seq_cst );
}

} // namespace Varek
