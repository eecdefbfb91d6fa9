#include "Qel/HashMap2018.h"

#include <atomic>
#include <limits>

#include "Pallo/Pallo.h"

namespace Qel {

Internal::DeletionMarks Internal::DeletionMarks::none( 0 );

namespace {

std::uint32_t newVersion() {
   static constinit std::atomic<std::uint32_t> layouts{ 0 };
   std::uint32_t const number = layouts.fetch_add( 1, std::memory_order_relaxed ) + 1;
   return number == 0 ? newVersion() : number;
}

std::size_t storageSize( std::uint32_t groups, std::uint32_t slots, std::size_t elementSize ) {
   std::size_t const front =
      sizeof( Internal::MapHead ) + std::size_t{ groups } * sizeof( Internal::HashGroup );
   if ( slots > ( std::numeric_limits<std::size_t>::max() / 2 - front ) / elementSize ) {
      throw std::bad_alloc();
   }
   return front + slots * elementSize;
}

} // namespace

std::uint32_t HashMap2018Generic::nextCapacity( std::uint32_t capacity ) {
   constexpr std::uint32_t largest = perGroup << 27;
   switch ( capacity ) {
   case 0:
      return 2;
   case 2:
   case 4:
      return 2 * capacity;
   case 8:
      return Group::slots;
   case Group::slots:
      return 2 * perGroup;
   default:
      if ( capacity >= largest ) {
         throw std::bad_alloc();
      }
      return 2 * capacity;
   }
}

HashMap2018Generic::Group* HashMap2018Generic::newGroups( std::uint32_t capacity,
                                                          std::size_t elementSize ) {
   std::uint32_t const groups = groupCount( capacity );
   void* const storage =
      Pallo::allocate( storageSize( groups, slotCount( capacity ), elementSize ) );
   auto* const front = ::new ( storage ) Head{ nullptr, newVersion(), capacity };
   void* const first = front + 1;
   std::memset( first, 0, std::size_t{ groups } * sizeof( Group ) );
   return static_cast<Group*>( first );
}

void HashMap2018Generic::releaseGroups( Group* groups, std::size_t elementSize ) noexcept {
   auto* const front = reinterpret_cast<Head*>( groups ) - 1;
   std::uint32_t const capacity = front->capacity;
   std::destroy_at( front );
   Pallo::release( front,
                   storageSize( groupCount( capacity ), slotCount( capacity ), elementSize ) );
}

void HashMap2018Generic::qelMarkAllForDeletion() {
   if ( !groups_ ) {
      mask_ = marking;
      return;
   }
   if ( size_ == 0 ) {
      head().marks.reset( &Internal::DeletionMarks::none );
      return;
   }
   // Marks only slots that are taken: an empty slot may get an element before the marks go.
   decltype( Head::marks ) marks( new Internal::DeletionMarks( slotCount() ) );
   for ( std::uint32_t at = nextTaken( 0 ); at != none; at = nextTaken( at + 1 ) ) {
      marks->set( at, true );
   }
   head().marks = std::move( marks );
}

void HashMap2018Generic::qelDeletionMarksClear() {
   if ( groups_ ) {
      head().marks.reset();
   } else {
      mask_ = 0;
   }
}

} // namespace Qel
