#pragma once

#include <atomic>

#include "Varek/Export.h"

namespace Varek {

/// Says whether more than one thread runs. While it says no (as at start), reference counts and the
/// slab allocator work without atomic instructions and without locks. A program sets it before it
/// starts a second thread that touches entities; it does not make one tree usable from two threads.
class VAREK_EXPORT ThreadControl {
public:
   static bool multiThreaded() { return multiThreaded_.load( std::memory_order_relaxed ); }
   static void multiThreadedIs( bool );

private:
   static std::atomic<bool> multiThreaded_;
};

} // namespace Varek
