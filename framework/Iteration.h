#pragma once

#include <cstdint>
#include <utility>

#include "Pallo/Pallo.h"
#include "Varek/Inspect.h"
#include "framework/ValueTable.h"

/// The iterators behind genericIfIterator. Both kinds know a container and a position, never an
/// element, so they stay safe whatever becomes of the elements meanwhile.
namespace Qel {

namespace Internal {

/// The storage and the functions that all generic iterators share; \p Self adds key() and object().
template<class Self, class Key, class Object>
struct Iteration {
   static Self& at( void* iterator ) { return *static_cast<Self*>( iterator ); }
   static Self const& at( void const* iterator ) { return *static_cast<Self const*>( iterator ); }

   template<class Container>
   static void* make( Container const& container, void const* startKey ) {
      void* const storage = Pallo::allocate( sizeof( Self ) );
      return ::new ( storage ) Self( container, static_cast<Key const*>( startKey ) );
   }
   // The element may have gone since the caller asked: then the target stays as it is.
   static void iterKey( void const* iterator, void* key ) {
      if ( at( iterator ).nonnull() )
         *static_cast<Key*>( key ) = at( iterator ).key();
   }
   static void iterObj( void const* iterator, void* object ) {
      if ( at( iterator ).nonnull() )
         *static_cast<Object*>( object ) = at( iterator ).object();
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

/// Over a sequence, by index.
template<class Sequence>
struct SequenceIteration : Internal::Iteration<SequenceIteration<Sequence>, std::uint32_t,
                                               typename Sequence::value_type> {
   SequenceIteration( Sequence const& sequence, std::uint32_t const* start )
      : sequence_( &sequence ), index_( start ? *start : 0 ) {}
   std::uint32_t key() const { return index_; }
   auto const& object() const { return ( *sequence_ )[index_]; }
   void advance() { ++index_; }
   bool nonnull() const { return index_ < sequence_->size(); }

private:
   Sequence const* sequence_;
   std::uint32_t index_;
};

/// What generic code sees of an element: the element itself, or the pointer to a child entity.
template<class Element>
auto const& shownOf( Element const& element ) {
   if constexpr ( requires { element.child; } )
      return element.child;
   else
      return element;
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
      if ( position_ != Map::none )
         position_ = map_->nextTaken( position_ + 1 );
      remember();
   }
   bool nonnull() const {
      settle();
      return position_ != Map::none && map_->taken( position_ ) && key() == key_;
   }

private:
   void settle() const {
      if ( version_ == map_->version() )
         return;
      version_ = map_->version();
      if ( position_ != Map::none )
         position_ = map_->position( key_ );
   }
   void remember() {
      if ( position_ != Map::none )
         key_ = key();
   }

   Map const* map_;
   mutable std::uint32_t version_;
   mutable std::uint32_t position_;
   Key key_{};
};

} // namespace Qel
