#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Qel/HashGroup.h"
#include "Qel/HashHelper.h"
#include "Qel/HashMap2018Type.h"
#include "Varek/Export.h"
#include "Varek/Failures.h"

/// The common part of the keyed collections of Qel/HashMap2018.h, for elements of any type: the
/// groups, positions in them, the version, and marks for deletion.
namespace Qel {

namespace Internal {

/// Marks of elements, by position; they exist only while a resynchronisation runs.
class VAREK_EXPORT DeletionMarks {
public:
   explicit DeletionMarks( std::uint32_t positions ) : marked_( positions ) {}
   bool at( std::uint32_t position ) const {
      return position < marked_.size() && marked_[position];
   }
   void set( std::uint32_t position, bool marked ) {
      if ( position < marked_.size() ) {
         marked_[position] = marked;
      }
   }
   /// The marks of a map without elements, which most maps are when they are synchronised first:
   /// they are shared and allocate nothing.
   static DeletionMarks none;

private:
   std::vector<bool> marked_;
};
struct DeletionMarksEnd {
   void operator()( DeletionMarks* marks ) const {
      if ( marks != &DeletionMarks::none ) {
         delete marks;
      }
   }
};

/// The head of a map's only allocation; the groups follow it, and the elements follow the groups.
struct alignas( 16 ) MapHead {
   std::unique_ptr<DeletionMarks, DeletionMarksEnd> marks;
   std::uint32_t version = 0;
   std::uint32_t capacity = 0;
};
static_assert( sizeof( MapHead ) == 16 );

/// Prefetches \p size bytes at \p from, or the first of them if there are many.
inline void prefetch( void const* from, std::size_t size ) {
   constexpr std::size_t line = 64;
   constexpr std::size_t most = 8 * line; // more would drive out what is in use
   auto const* const at = static_cast<std::uint8_t const*>( from );
   for ( std::size_t i = 0; i < size && i < most; i += line ) {
      __builtin_prefetch( at + i );
   }
}

} // namespace Internal

/// The common base of all maps, for elements of any type.
class VAREK_EXPORT HashMap2018Generic {
public:
   static constexpr std::uint32_t none = 0xFFFFFFFFU;

   std::uint32_t size() const { return size_; }
   bool empty() const { return size_ == 0; }
   /// Names the present layout: as long as it is the same, no element has moved. 0 while nothing is
   /// allocated, unique in the process otherwise.
   std::uint32_t version() const { return groups_ ? head().version : 0; }

   /// Number of positions, taken or not.
   std::uint32_t positions() const { return groups_ ? slotCount() : 0; }
   bool taken( std::uint32_t position ) const {
      return group( position ).tags[position % Group::slots] != 0;
   }
   /// The first position from \p from on that is taken, or none.
   std::uint32_t nextTaken( std::uint32_t from ) const {
      std::uint32_t const end = positions();
      while ( from < end ) {
         std::uint32_t const slot = from % Group::slots;
         if ( std::uint32_t const bits = group( from ).used() >> slot ) {
            return from + static_cast<std::uint32_t>( std::countr_zero( bits ) );
         }
         from += Group::slots - slot;
      }
      return none;
   }

   /// The element with the key at \p key, or null.
   void* lookupNodeG( HashMap2018Type const& type, void const* key ) {
      return type.lookupNodeG( *this, key );
   }
   /// Inserts an element that takes over the contents of \p element. Its key must not be in the
   /// map.
   void* newMemberG( HashMap2018Type const& type, void* element ) {
      return type.newMemberG( *this, element );
   }
   /// Removes the element with that key, and constructs it at \p removed if that is not null.
   /// Returns whether there was such an element.
   bool deleteMemberG( HashMap2018Type const& type, void const* key, void* removed = nullptr ) {
      return type.deleteMemberG( *this, key, removed );
   }
   void memberDelAll( HashMap2018Type const& type ) { type.memberDelAll( *this ); }
   void qelMarkedForDeletionGIs( HashMap2018Type const& type, void const* key, bool marked ) {
      type.qelMarkedForDeletionGIs( *this, key, marked );
   }

   void reserve( HashMap2018Type const& type, std::uint32_t count ) {
      type.reserve( *this, count );
   }
   /// The element at \p position, which is taken.
   void const* at( HashMap2018Type const& type, std::uint32_t position ) const {
      return static_cast<std::byte const*>( storage( groups_, mask_ ) ) +
             position * type.elementSize;
   }
   std::uint32_t positionOf( HashMap2018Type const& type, void const* element ) const {
      auto const* const first = static_cast<std::byte const*>( storage( groups_, mask_ ) );
      return static_cast<std::uint32_t>(
         static_cast<std::size_t>( static_cast<std::byte const*>( element ) - first ) /
         type.elementSize );
   }
   /// Asks for the memory of the elements, of the first if there are many.
   void prefetch( HashMap2018Type const& type ) const {
      if ( groups_ ) {
         Internal::prefetch( &head(), sizeof( Internal::MapHead ) + sizeof( Group ) +
                                         Group::slots * type.elementSize );
      }
   }

   /// Marks every element for deletion. Elements that are inserted later are not marked.
   void qelMarkAllForDeletion();
   /// Forgets all marks.
   void qelDeletionMarksClear();
   /// Whether a resynchronisation is under way: from qelMarkAllForDeletion until
   /// qelDeletionMarksClear, even if the map becomes empty meanwhile.
   bool qelHasDeletionMarks() const { return groups_ ? bool( head().marks ) : mask_ == marking; }
   bool isMarkedForDeletion( std::uint32_t position ) const {
      return position != none && groups_ && head().marks && head().marks->at( position );
   }

protected:
   using Group = Internal::HashGroup;
   using Head = Internal::MapHead;

   HashMap2018Generic() = default;
   HashMap2018Generic( HashMap2018Generic&& other ) noexcept
      : groups_( std::exchange( other.groups_, nullptr ) ),
        size_( std::exchange( other.size_, 0 ) ), mask_( std::exchange( other.mask_, 0 ) ) {}
   ~HashMap2018Generic() = default;

   // Capacities: the slots of a single group, or perGroup times a power of two of groups.
   static constexpr std::uint32_t perGroup = 13;
   static constexpr std::uint32_t groupCount( std::uint32_t capacity ) {
      return capacity <= Group::slots ? 1 : capacity / perGroup;
   }
   static constexpr std::uint32_t slotCount( std::uint32_t capacity ) {
      return capacity <= Group::slots ? capacity : groupCount( capacity ) * Group::slots;
   }
   std::uint32_t slotCount() const { return slotCount( head().capacity ); }

   static Head& head( Group* groups ) { return *( reinterpret_cast<Head*>( groups ) - 1 ); }
   Head& head() const { return head( groups_ ); }
   Group& group( std::uint32_t position ) const { return groups_[position / Group::slots]; }
   /// An empty slot for an element with \p hash, now tagged; its position. There is room.
   std::uint32_t claim( std::uint32_t hash ) { return claim( groups_, mask_, hash ); }
   static std::uint32_t claim( Group* groups, std::uint32_t mask, std::uint32_t hash ) {
      std::uint32_t at = hash & mask;
      for ( std::uint32_t step = 1;; at = ( at + step++ ) & mask ) {
         Group& here = groups[at];
         // A single group may have fewer slots than tags: the lower slots are taken first.
         if ( std::uint32_t const empty = here.match( 0 ) ) [[likely]] {
            auto const slot = static_cast<std::uint32_t>( std::countr_zero( empty ) );
            here.tags[slot] = Internal::hashTag( hash );
            return at * Group::slots + slot;
         }
         here.overflowInc();
      }
   }
   /// Frees the slot at \p position, which held an element with \p hash.
   void disclaim( std::uint32_t hash, std::uint32_t position ) {
      std::uint32_t const home = position / Group::slots;
      std::uint32_t at = hash & mask_;
      for ( std::uint32_t step = 1; at != home; at = ( at + step++ ) & mask_ ) [[unlikely]] {
         groups_[at].overflowDec();
      }
      groups_[home].tags[position % Group::slots] = 0;
      if ( head().marks ) [[unlikely]] {
         head().marks->set( position, false );
      }
   }

   /// Where the elements lie.
   static void* storage( Group* groups, std::uint32_t mask ) { return groups + mask + 1; }

   // A map grows in three steps: room is made, elements are moved there, the old room is given up.
   Group* growBegin( std::uint32_t capacity, std::size_t elementSize ) const;
   /// Moves the mark of the element at \p from, if it has one.
   void markMove( std::uint32_t from, Group* bigger, std::uint32_t to ) const;
   void growEnd( Group* bigger, std::size_t elementSize ) noexcept;
   /// Gives up the groups of a map that has become empty.
   void emptyRelease( std::size_t elementSize ) noexcept;

   static std::uint32_t nextCapacity( std::uint32_t capacity );
   /// Groups of an empty map of \p capacity, with room for its elements behind them.
   static Group* newGroups( std::uint32_t capacity, std::size_t elementSize );
   static void releaseGroups( Group* groups, std::size_t elementSize ) noexcept;

   /// The mask of a map without groups while a resynchronisation is under way.
   static constexpr std::uint32_t marking = ~std::uint32_t{ 0 };

   Group* groups_ = nullptr;
   std::uint32_t size_ = 0;
   std::uint32_t mask_ = 0; // number of groups less one; see marking
};

} // namespace Qel
