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
#include "Qel/HashMap2018Generic.h"
#include "Qel/HashMap2018Type.h"
#include "Varek/Export.h"
#include "Varek/Failures.h"

/// Keyed collections: open addressing over groups of fifteen slots (HashGroup.h). The elements,
/// each with its key inside, lie in the slots themselves, so a look-up that hits touches one group
/// and one element.
///
/// A map is 16 bytes on 64-bit. A new map has allocated nothing. A small map has a single group
/// with as many slots as it needs, and keeps it when its last element is erased; a map of several
/// groups gives its memory back then. Elements stay where they are (references and positions hold)
/// until the map grows. version() changes when it grows and when it gives its memory back.
///
/// A walk by position asks anew at each step. So it is safe while elements are erased, replaced or,
/// up to the capacity, inserted; when version() changes it has to find its place again by key. A
/// range-for walks the groups in memory order and looks at each group once. So it is safe while
/// elements are replaced and while its body erases the element that it stands on, but not while
/// other elements are erased. See const_iterator.
namespace Qel {

/// A map of \p Element, each with its key inside: KeyFunktor::Key is the key type and
/// KeyFunktor{}( element ) the key. The hash of a key is seeded with the process seed XOR \p salt.
template<class Element, class KeyFunktor, std::uint32_t salt>
class HashMap2018 : public HashMap2018Generic {
public:
   using Key = typename KeyFunktor::Key;
   using KeyOf = KeyFunktor;
   using value_type = Element;
   static constexpr std::uint32_t hashSalt = salt;
   static_assert( std::is_nothrow_move_constructible_v<Element> );
   static_assert( alignof( Element ) <= 16 );

   /// Walks the elements in position order. The element that it stands on may be erased, and the
   /// walk goes on, even if that was the last element and the map gave its memory back. The walk
   /// may or may not meet elements that are inserted meanwhile. It is an error to go on after
   /// another element that was still to come has been erased, or after the map has grown: builds
   /// with assertions end the process.
   class const_iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = Element;
      using difference_type = std::ptrdiff_t;
      using pointer = Element const*;
      using reference = Element const&;

      const_iterator() = default;
      reference operator*() const {
         VAREK_DEBUG_ASSERT( map_->version() == version_ ); // the map has not grown
         VAREK_DEBUG_ASSERT( group_->tags[std::countr_zero( bits_ )] != 0 ); // is not erased
         return base_[std::countr_zero( bits_ )];
      }
      pointer operator->() const { return &**this; }
      const_iterator& operator++() {
         VAREK_DEBUG_ASSERT( map_->version() == version_ || map_->empty() ); // has not grown
         bits_ &= bits_ - 1;
         if ( bits_ == 0 ) {
            skip();
         }
         return *this;
      }
      const_iterator operator++( int ) {
         const_iterator const before = *this;
         ++*this;
         return before;
      }
      friend bool operator==( const_iterator const& a, const_iterator const& b ) {
         return a.group_ == b.group_ && a.bits_ == b.bits_;
      }

   private:
      friend HashMap2018;
      const_iterator( HashMap2018 const& map, std::uint32_t group, std::uint32_t slot = 0 )
         : group_( map.groups_ + group ), last_( map.groups_ + map.mask_ + 1 ),
           base_( map.elements() + std::size_t{ group } * Group::slots ), map_( &map ),
           bits_( group_->used() >> slot << slot ), version_( map.version() ) {
         if ( bits_ == 0 ) {
            skip();
         }
      }
      void skip() {
         if ( !map_->empty() ) [[likely]] { // else the groups may have been given back
            while ( ++group_ != last_ ) {
               base_ += Group::slots;
               bits_ = group_->used();
               if ( bits_ ) {
                  return;
               }
            }
         }
         group_ = nullptr;
      }
      Group const* group_ = nullptr;
      Group const* last_ = nullptr;
      Element const* base_ = nullptr;
      HashMap2018 const* map_ = nullptr;
      std::uint32_t bits_ = 0;    // those that are still to come; the lowest is that of the element
      std::uint32_t version_ = 0; // for assertions
   };

   HashMap2018() = default;
   HashMap2018( HashMap2018 const& other ) : HashMap2018() {
      for ( Element const& element : other ) {
         newMemberG( element );
      }
   }
   HashMap2018( HashMap2018&& ) noexcept = default;
   HashMap2018& operator=( HashMap2018 other ) noexcept {
      std::swap( groups_, other.groups_ );
      std::swap( size_, other.size_ );
      std::swap( mask_, other.mask_ );
      return *this;
   }
   ~HashMap2018() {
      if ( !groups_ ) {
         return;
      }
      if constexpr ( !std::is_trivially_destructible_v<Element> ) {
         for ( Element const& element : *this ) {
            std::destroy_at( &element );
         }
      }
      releaseGroups( groups_, sizeof( Element ) );
   }

   const_iterator begin() const {
      if ( size_ == 0 ) {
         return {};
      }
      return { *this, 0 };
   }
   const_iterator end() const { return {}; }
   /// Walks the elements from \p position on.
   const_iterator from( std::uint32_t position ) const {
      if ( position >= positions() ) {
         return {};
      }
      std::uint32_t const group = position / Group::slots;
      return { *this, group, position % Group::slots };
   }
   /// The position of \p element, which must be in the map.
   std::uint32_t positionOf( Element const& element ) const {
      return static_cast<std::uint32_t>( &element - elements() );
   }
   Element const& at( std::uint32_t position ) const { return elements()[position]; }
   Element& at( std::uint32_t position ) { return elements()[position]; }

   static std::uint32_t hash( Key const& key ) {
      return hashSingleAttr( key, HashHelper::hashSeed32() ^ salt );
   }

   /// The position of the element with \p key, or none.
   std::uint32_t position( Key const& key ) const {
      Element const* const found = lookupNodeG( key );
      return found ? static_cast<std::uint32_t>( found - elements() ) : none;
   }

   /// The element with \p key, or null.
   Element const* lookupNodeG( Key const& key ) const {
      return groups_ ? find( key, hash( key ) ) : nullptr;
   }
   Element* lookupNodeG( Key const& key ) {
      return const_cast<Element*>( std::as_const( *this ).lookupNodeG( key ) );
   }

   /// Inserts an element made from \p arguments. Its key must not be in the map.
   template<class... Arguments>
   Element& newMemberG( Arguments&&... arguments ) {
      // Constructed first: its source may be an element that is about to move, and it may throw.
      Element made( std::forward<Arguments>( arguments )... );
      std::uint32_t const keyHash = hash( KeyFunktor{}( made ) );
      return place( keyHash, std::move( made ) );
   }

   /// The element with \p key and whether it is new; a new element is made from \p arguments.
   template<class... Arguments>
   std::pair<Element&, bool> findOrNewMemberG( Key const& key, Arguments&&... arguments ) {
      std::uint32_t const keyHash = hash( key );
      if ( groups_ ) {
         if ( Element const* const found = find( key, keyHash ) ) {
            return { const_cast<Element&>( *found ), false };
         }
      }
      // An rvalue Element is moved in directly, without a temporary.
      if constexpr ( ( std::is_same_v<Arguments&&, Element&&> && ... &&
                       ( sizeof...( Arguments ) == 1 ) ) ) {
         return { place( keyHash, std::forward<Arguments>( arguments )... ), true };
      } else {
         return { place( keyHash, Element( std::forward<Arguments>( arguments )... ) ), true };
      }
   }

   /// Removes the element with \p key and returns it; nothing if there is none.
   std::optional<Element> deleteMemberG( Key const& key ) {
      if ( !groups_ ) {
         return std::nullopt;
      }
      std::uint32_t const keyHash = hash( key );
      Element const* const found = find( key, keyHash );
      if ( !found ) {
         return std::nullopt;
      }
      auto const at = static_cast<std::uint32_t>( found - elements() );
      std::optional<Element> removed( std::move( elements()[at] ) );
      std::destroy_at( elements() + at );
      disclaim( keyHash, at );
      if ( --size_ == 0 && mask_ != 0 ) [[unlikely]] {
         emptyRelease( sizeof( Element ) );
      }
      return removed;
   }

   /// Makes room for \p count elements at once. Elements move if the map has to grow.
   void reserve( std::uint32_t count ) {
      std::uint32_t const held = groups_ ? head().capacity : 0;
      std::uint32_t capacity = held;
      while ( capacity < count ) {
         capacity = nextCapacity( capacity );
      }
      if ( capacity != held ) {
         growTo( capacity );
      }
   }

   /// Empties the map and gives its memory back.
   void memberDelAll() noexcept {
      // The elements are taken out first: a destructor may run code that looks at this map.
      HashMap2018 const old( std::move( *this ) );
      if ( old.qelHasDeletionMarks() ) {
         mask_ = marking;
      }
   }

   /// Sets or clears the deletion mark of the element with \p key, if there is such an element.
   /// Marks exist only from qelMarkAllForDeletion on until they are cleared: outside of a
   /// resynchronisation this does nothing.
   void qelMarkedForDeletionGIs( Key const& key, bool marked ) {
      if ( !groups_ || !head().marks ) {
         return;
      }
      if ( marked && head().marks.get() == &Internal::DeletionMarks::none ) {
         head().marks.reset( new Internal::DeletionMarks( slotCount() ) );
      }
      if ( std::uint32_t const at = position( key ); at != none ) {
         head().marks->set( at, marked );
      }
   }

private:
   static HashMap2018& typed( HashMap2018Generic& map ) { return static_cast<HashMap2018&>( map ); }

public:
   static constexpr HashMap2018Type type{
      .elementSize = sizeof( Element ),
      .lookupNodeG = []( HashMap2018Generic& map, void const* key ) -> void* {
         return typed( map ).lookupNodeG( *static_cast<Key const*>( key ) );
      },
      .newMemberG = []( HashMap2018Generic& map, void* element ) -> void* {
         return &typed( map ).newMemberG( std::move( *static_cast<Element*>( element ) ) );
      },
      .deleteMemberG =
         []( HashMap2018Generic& map, void const* key, void* removed ) {
            auto gone = typed( map ).deleteMemberG( *static_cast<Key const*>( key ) );
            if ( gone && removed ) {
               ::new ( removed ) Element( std::move( *gone ) );
            }
            return gone.has_value();
         },
      .memberDelAll = []( HashMap2018Generic& map ) { typed( map ).memberDelAll(); },
      .qelMarkedForDeletionGIs =
         []( HashMap2018Generic& map, void const* key, bool marked ) {
            typed( map ).qelMarkedForDeletionGIs( *static_cast<Key const*>( key ), marked );
         },
      .reserve = []( HashMap2018Generic& map,
                     std::uint32_t count ) { typed( map ).reserve( count ); },
      .keyOf = []( void const* element ) -> void const* {
         return &KeyFunktor{}( *static_cast<Element const*>( element ) );
      } };

private:
   Element* elements() const { return static_cast<Element*>( storage( groups_, mask_ ) ); }

   Element const* find( Key const& key, std::uint32_t keyHash ) const {
      std::uint32_t const at = keyHash & mask_;
      std::uint32_t const seen = groups_[at].look( keyHash );
      if ( seen == Group::lastBit ) {
         return nullptr;
      }
      if ( Element const* const found = findIn( at, seen, key ) ) [[likely]] {
         return found;
      }
      return ( seen & Group::lastBit ) != 0 ? nullptr : findFurther( at, key, keyHash );
   }

   Element const* findIn( std::uint32_t at, std::uint32_t seen, Key const& key ) const {
      for ( std::uint32_t hits = seen & ( Group::lastBit - 1 ); hits; hits &= hits - 1 ) {
         auto const slot = static_cast<std::uint32_t>( std::countr_zero( hits ) );
         std::size_t const position = std::size_t{ at } * Group::slots + slot;
         Element const* const element = elements() + position;
         if ( KeyFunktor{}( *element ) == key ) [[likely]] {
            return element;
         }
      }
      return nullptr;
   }

   // Not inlined: it would take registers from the many look-ups that end in the first group.
   [[gnu::noinline]] Element const* findFurther( std::uint32_t at, Key const& key,
                                                 std::uint32_t keyHash ) const {
      for ( std::uint32_t step = 1; step <= mask_; ++step ) {
         at = ( at + step ) & mask_;
         std::uint32_t const seen = groups_[at].look( keyHash );
         if ( Element const* const found = findIn( at, seen, key ) ) {
            return found;
         }
         if ( ( seen & Group::lastBit ) != 0 ) {
            break;
         }
      }
      return nullptr;
   }

   Element& place( std::uint32_t keyHash, Element&& element ) {
      if ( !groups_ || size_ == head().capacity ) [[unlikely]] {
         grow();
      }
      std::uint32_t const at = claim( keyHash );
      ++size_;
      return *std::construct_at( elements() + at, std::move( element ) );
   }

   void grow() { growTo( nextCapacity( groups_ ? head().capacity : 0 ) ); }
   void growTo( std::uint32_t capacity ) {
      Group* const bigger = growBegin( capacity, sizeof( Element ) );
      if ( groups_ ) {
         std::uint32_t const mask = groupCount( capacity ) - 1;
         for ( std::uint32_t at = 0; at <= mask_; ++at ) {
            for ( std::uint32_t bits = groups_[at].used(); bits; bits &= bits - 1 ) {
               move( at * Group::slots + static_cast<unsigned>( std::countr_zero( bits ) ), bigger,
                     mask );
            }
         }
      }
      growEnd( bigger, sizeof( Element ) );
   }

   void move( std::uint32_t from, Group* bigger, std::uint32_t mask ) noexcept {
      Element& element = elements()[from];
      std::uint32_t const to = claim( bigger, mask, hash( KeyFunktor{}( element ) ) );
      std::construct_at( static_cast<Element*>( storage( bigger, mask ) ) + to,
                         std::move( element ) );
      std::destroy_at( &element );
      if ( head().marks ) [[unlikely]] {
         markMove( from, bigger, to );
      }
   }
};

/// The key functor of a set, whose members are their own keys.
template<class T>
struct MemberKeyFunktor {
   using Key = T;
   Key const& operator()( T const& member ) const { return member; }
};

/// A set: a map whose elements are their own keys.
template<class T, std::uint32_t salt = 1>
using HSet = HashMap2018<T, MemberKeyFunktor<T>, salt>;

} // namespace Qel
