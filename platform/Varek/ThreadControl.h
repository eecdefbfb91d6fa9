#pragma once

#if __has_include( <sys/single_threaded.h> )
#include <sys/single_threaded.h>
#define VAREK_THREADS_KNOWN 1
#else
#define VAREK_THREADS_KNOWN 0
#endif

namespace Varek {

/// Says whether more than one thread runs. While it says no, reference counts, the slab allocator
/// and the tracking of allocations work without atomic instructions and without locks. Nobody has
/// to tell it: glibc (2.32 and later) knows, and where there is none it always says yes.
///
/// The answer is a promise to the calling thread and holds until that thread starts another itself.
/// It may become no again when the last other thread has been joined; all that this one did has
/// then happened before, so what was counted atomically goes on being counted plainly.
///
/// It does not make one tree usable from two threads. Trees in different threads share nothing that
/// changes but what is counted here, so each may have its own.
class ThreadControl {
public:
   static bool multiThreaded() {
#if VAREK_THREADS_KNOWN
      return __libc_single_threaded == 0;
#else
      return true;
#endif
   }
};

} // namespace Varek

#undef VAREK_THREADS_KNOWN
