#pragma once

#include <cstddef>
#include <limits>
#include <new>

#include "Varek/AllocTrack.h"
#include "Varek/Export.h"

/// Slab allocation for small objects that come and go in great numbers.
///
/// Sizes up to largestSize are rounded up to a multiple of 16 and served from slabs of one size
/// each, so an object carries no header. Slabs are cut from regions of memory that the system gives: of
/// 256 KiB, and of 2 MiB, all of whose pages come at once, when there are 4 MiB. A region goes back when
/// it is wholly free, except for 1 MiB or one region, which is kept so that a workload at the edge does
/// not take and return it all the time. Larger sizes come from the heap. Under the address sanitizer everything does, so that errors are still found.
///
/// The last slab of each size stays when its last object goes. So with nothing alive the allocator
/// may still keep a region for each size.
///
/// Thread safety: safe from any thread. A lock is taken while several run (Varek/ThreadControl.h),
/// and none otherwise.
namespace Pallo {

inline constexpr std::size_t largestSize = 512;

/// Storage for \p size bytes, aligned for any fundamental type. Throws std::bad_alloc.
[[nodiscard]] VAREK_EXPORT void* allocate( std::size_t size );
/// Gives back what allocate( \p size ) returned.
VAREK_EXPORT void release( void* storage, std::size_t size ) noexcept;

struct Usage {
   std::size_t liveBytes = 0;   ///< Of slab objects, each rounded up to its size class.
   std::size_t regionBytes = 0; ///< Taken from the system for slabs.
};
VAREK_EXPORT Usage usage();

/// Allocator for a standard container whose storage is counted by \p tracker.
template<class T, Varek::MemoryTracker& tracker>
class SequenceAllocator {
public:
   using value_type = T;
   template<class U>
   struct rebind {
      using other = SequenceAllocator<U, tracker>;
   };
   SequenceAllocator() = default;
   template<class U>
   SequenceAllocator( SequenceAllocator<U, tracker> const& ) noexcept {}

   T* allocate( std::size_t count ) {
      if ( count > std::numeric_limits<std::size_t>::max() / sizeof( T ) ) {
         throw std::bad_array_new_length();
      }
      auto* const storage = static_cast<T*>( Pallo::allocate( count * sizeof( T ) ) );
      tracker.alloc( sizeof( T ), count );
      return storage;
   }
   void deallocate( T* storage, std::size_t count ) noexcept {
      tracker.dealloc( sizeof( T ), count );
      Pallo::release( storage, count * sizeof( T ) );
   }
   friend bool operator==( SequenceAllocator const&, SequenceAllocator const& ) { return true; }
};

} // namespace Pallo
