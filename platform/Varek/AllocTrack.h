#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/Failures.h"
#include "Varek/ThreadControl.h"

namespace Varek {

/// A number that several threads may adjust. While the process has a single thread, adjusting it
/// costs a plain addition.
class VAREK_EXPORT TrackedCount {
public:
   constexpr TrackedCount() = default;
   void add( std::size_t n ) {
      if ( ThreadControl::multiThreaded() ) [[unlikely]] {
         value_.fetch_add( n, std::memory_order_relaxed );
      } else {
         value_.store( value() + n, std::memory_order_relaxed );
      }
   }
   void subtract( std::size_t n ) { add( std::size_t{ 0 } - n ); }
   std::size_t value() const { return value_.load( std::memory_order_relaxed ); }

private:
   std::atomic<std::size_t> value_{ 0 };
};

/// Counts the live objects of an entity type. Each type has one tracker, reachable from the type's
/// record, so that a program can say at any time what its state costs.
///
/// The tracker gets the facts of the type at compile time: if the first object wrote them, the
/// first objects of two threads would race for them.
class VAREK_EXPORT AllocTrackTypeInfo {
public:
   /// \p identity is the type's qualified name, \p size that of each object in bytes and
   /// \p alignment the alignment of its storage.
   constexpr AllocTrackTypeInfo( std::string_view identity, std::size_t size,
                                 std::size_t alignment )
      : identity_( identity ), alignment_( alignment ), size_( size ) {}

   /// Counts a new object. The arguments must agree with the tracker's; a wrong size would falsify
   /// liveBytes(), so it ends the process.
   static void trackAllocation( AllocTrackTypeInfo& tracker, std::string_view /*identity*/,
                                std::size_t size, std::size_t /*alignment*/ ) {
      VAREK_ASSERT( size == tracker.size_, tracker.identity_, size, tracker.size_ );
      tracker.liveObjects_.add( 1 );
   }
   /// Records the end of an object, or of an attempt to make one that failed.
   static void trackRelease( AllocTrackTypeInfo& tracker ) { tracker.liveObjects_.subtract( 1 ); }

   std::string_view identity() const { return identity_; }
   std::size_t liveObjects() const { return liveObjects_.value(); }
   std::size_t liveBytes() const { return liveObjects() * size_; }
   std::size_t alignment() const { return alignment_; }

private:
   std::string_view const identity_;
   std::size_t const alignment_;
   std::size_t const size_; // all objects of a type have the same
   TrackedCount liveObjects_;
};

/// Counts the storage of one kind of value sequence, under a tag such as "VE_AttrValue".
class VAREK_EXPORT MemoryTracker {
public:
   explicit constexpr MemoryTracker( std::string_view tag ) : tag_( tag ) {}

   void alloc( std::size_t elementSize, std::size_t count ) {
      liveElements_.add( count );
      liveBytes_.add( elementSize * count );
   }
   void dealloc( std::size_t elementSize, std::size_t count ) {
      liveElements_.subtract( count );
      liveBytes_.subtract( elementSize * count );
   }

   std::string_view tag() const { return tag_; }
   std::size_t liveElements() const { return liveElements_.value(); }
   std::size_t liveBytes() const { return liveBytes_.value(); }

private:
   std::string_view tag_;
   TrackedCount liveElements_;
   TrackedCount liveBytes_;
};

} // namespace Varek
