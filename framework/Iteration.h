#pragma once

#include <cstdint>
#include <limits>
#include <utility>

#include "Pallo/Pallo.h"
#include "Varek/Inspect.h"
#include "framework/MapMember.h"
#include "framework/ValueTable.h"

/// The iterators behind genericIfIterator. All kinds know a container and a position, never an
/// element, so they stay safe whatever becomes of the elements meanwhile.
namespace Qel {

namespace Internal {

/// The storage and the functions that all generic iterators share; \p Self adds key() and object().
template<class Self, class Key, class Shown>
struct Iteration {
   using Object = Shown;
   static Self& at( void* iterator ) { return *static_cast<Self*>( iterator ); }
   static Self const& at( void const* iterator ) { return *static_cast<Self const*>( iterator ); }

   template<class Container>
   static void* make( Container const& container, void const* startKey ) {
      void* const storage = Pallo::allocate( sizeof( Self ) );
      try {
         return ::new ( storage ) Self( container, static_cast<Key const*>( startKey ) );
      } catch ( ... ) {
         Pallo::release( storage, sizeof( Self ) );
         throw;
      }
   }
   // The element may have gone since the caller asked: then the target stays as it is.
   static void iterKey( void const* iterator, void* key ) {
      if ( at( iterator ).nonnull() ) {
         *static_cast<Key*>( key ) = at( iterator ).key();
      }
   }
   static void iterObj( void const* iterator, void* object ) {
      if ( at( iterator ).nonnull() ) {
         *static_cast<Object*>( object ) = at( iterator ).object();
      }
   }
   static void const* iterPeek( void const* iterator ) {
      return at( iterator ).nonnull() ? &at( iterator ).object() : nullptr;
   }
   static void iterInc( void* iterator ) { at( iterator ).advance(); }
   static bool iterNonnull( void const* iterator ) { return at( iterator ).nonnull(); }
   static void iterDel( void* iterator ) {
      std::destroy_at( &at( iterator ) );
      Pallo::release( iterator, sizeof( Self ) );
   }

   static constexpr Varek::Inspect::IterFnTable table{
      &Varek::Inspect::InspectAtomicFnTable<Key>::table,
      &Varek::Inspect::InspectAtomicFnTable<Object>::table,
      iterKey,
      iterObj,
      iterPeek,
      iterInc,
      iterNonnull,
      iterDel };
};

} // namespace Internal

/// Over a sequence or an array, by index.
template<class Sequence>
struct SequenceIteration : Internal::Iteration<SequenceIteration<Sequence>, std::uint32_t,
                                               typename Sequence::value_type> {
   SequenceIteration( Sequence const& sequence, std::uint32_t const* start )
      : sequence_( &sequence ), index_( start ? *start : 0 ) {}
   std::uint32_t key() const { return index_; }
   auto const& object() const { return ( *sequence_ )[index_]; }
   // The greatest index is never that of an element: it must not become 0.
   void advance() { index_ += index_ != std::numeric_limits<std::uint32_t>::max(); }
   bool nonnull() const { return index_ < sequence_->size(); }

private:
   Sequence const* sequence_;
   std::uint32_t index_;
};

/// What generic code sees of an element: the value beside its key, the pointer to a child entity,
/// or the element itself.
template<class K, class V>
V const& shownOf( MapMember<K, V> const& member ) {
   return member.value;
}
template<class Element>
auto const& shownOf( Element const& element ) {
   if constexpr ( requires { element.child; } ) {
      return element.child;
   } else {
      return element;
   }
}

/// Over a keyed collection, by position. An element that stays is visited once as long as the map
/// does not grow; when it has grown, the walk goes on from where the element that it stood on is
/// now, and ends if that is gone.
template<class Map>
struct MapIteration : Internal::Iteration<MapIteration<Map>, typename Map::Key,
                                          std::remove_cvref_t<decltype( shownOf(
                                             std::declval<typename Map::value_type const&>() ) )>> {
   using Key = typename Map::Key;

   MapIteration( Map const& map, Key const* start )
      : map_( &map ), version_( map.version() ),
        position_( start ? map.position( *start ) : map.nextTaken( 0 ) ) {
      remember();
   }
   Key const& key() const { return typename Map::KeyOf{}( map_->at( position_ ) ); }
   auto const& object() const { return shownOf( map_->at( position_ ) ); }
   void advance() {
      settle();
      if ( position_ != Map::none ) {
         position_ = map_->nextTaken( position_ + 1 );
      }
      remember();
   }
   bool nonnull() const {
      settle();
      return position_ != Map::none && map_->taken( position_ ) && key() == key_;
   }

private:
   void settle() const {
      if ( version_ == map_->version() ) {
         return;
      }
      version_ = map_->version();
      if ( position_ != Map::none ) {
         position_ = map_->position( key_ );
      }
   }
   void remember() {
      if ( position_ != Map::none ) {
         key_ = key();
      }
   }

   Map const* map_;
   mutable std::uint32_t version_;
   mutable std::uint32_t position_;
   Key key_{};
};

/// Over an ordered collection, in key order. It remembers the key that it stands on: if that is
/// removed meanwhile the walk goes on with the first greater one.
template<class Map>
struct OrderedIteration
   : Internal::Iteration<OrderedIteration<Map>, typename Map::Key,
                         std::remove_cvref_t<decltype( std::declval<typename Map::const_iterator>()
                                                          ->second->value() )>> {
   using Key = typename Map::Key;

   OrderedIteration( Map const& map, Key const* start )
      : map_( &map ), version_( map.version() ), at_( start ? map.find( *start ) : map.begin() ) {
      remember();
   }
   Key const& key() const { return at_->first; }
   auto const& object() const { return at_->second->value(); }
   void advance() {
      settle();
      if ( ended_ ) {
         return;
      }
      if ( here_ ) {
         ++at_;
      }
      remember();
   }
   bool nonnull() const {
      settle();
      return here_;
   }

private:
   void settle() const {
      if ( version_ == map_->version() ) {
         return;
      }
      version_ = map_->version();
      if ( ended_ ) {
         return;
      }
      at_ = map_->lowerBound( key_ );
      here_ = at_ != map_->end() && at_->first == key_;
   }
   void remember() {
      ended_ = at_ == map_->end();
      here_ = !ended_;
      if ( here_ ) {
         key_ = at_->first;
      }
   }

   Map const* map_;
   mutable std::uint32_t version_;
   mutable typename Map::const_iterator at_;
   Key key_{};
   mutable bool here_ = false; // the element that it stands on is there
   bool ended_ = false;
};

} // namespace Qel
