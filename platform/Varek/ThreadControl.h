#pragma once

#if __has_include( <sys/single_threaded.h> )
#include <sys/single_threaded.h>
#define VAREK_THREADS_KNOWN 1
#else
#define VAREK_THREADS_KNOWN 0
#endif

namespace Varek {

/// Says whether more than one thread runs. While it says no, reference counts, the slab allocator
/// and the tracking of allocations work without atomic instructions and without locks. No program
/// has to tell it: glibc (2.32 and later) knows; with other C libraries it always says yes.
///
/// The answer is a promise to the calling thread and holds until that thread itself starts another.
/// It may become no again when the last other thread has been joined. Everything that the other
/// thread did has happened by then, so numbers that were counted atomically are counted plainly
/// from there on.
///
/// This does not make a tree usable from two threads. But each thread may have trees of its own:
/// trees in different threads share nothing that changes except these counts.
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
