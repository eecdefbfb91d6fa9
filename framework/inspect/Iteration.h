#pragma once

#include <cstdint>
#include <limits>
#include <utility>

#include "Pallo/Pallo.h"
#include "Qel/HashMap2018Generic.h"
#include "Varek/Export.h"
#include "Varek/Inspect.h"
#include "framework/declare/MapMember.h"
#include "framework/records/ValueTable.h"

/// The iterators behind genericIfIterator. All kinds know a container and a position, never an
/// element, so they stay safe whatever becomes of the elements meanwhile.
namespace Qel {

namespace Internal {

/// The storage and the functions of an iterator; \p Self adds key() and object().
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

namespace Internal {

/// A sequence or an array as its iterators see it.
struct SequenceForm {
   Varek::Inspect::AtomicFnTable const* object;
   std::uint32_t ( *size )( void const* sequence );
   void const* ( *at )( void const* sequence, std::uint32_t index );
};
/// A keyed collection as its iterators see it.
struct MapForm {
   HashMap2018Type const* type;
   Varek::Inspect::AtomicFnTable const* key;
   Varek::Inspect::AtomicFnTable const* object;
   /// What generic code sees of an element.
   void const* ( *shown )( void const* element );
};
/// Iterators of one sequence, by index, and of one keyed collection, by position.
class VAREK_EXPORT SequencePlace;
class VAREK_EXPORT MapPlace;
VAREK_EXPORT void* newIterator( SequenceForm const&, void const* sequence, void const* startKey );
VAREK_EXPORT void* newIterator( MapForm const&, HashMap2018Generic const&, void const* startKey );

/// What is done with either.
template<class Place>
struct VAREK_EXPORT Walk {
   static void iterKey( void const* iterator, void* key );
   static void iterObj( void const* iterator, void* object );
   static void const* iterPeek( void const* iterator );
   static void iterInc( void* iterator );
   static bool iterNonnull( void const* iterator );
   static void iterDel( void* iterator );
};
extern template struct Walk<SequencePlace>;
extern template struct Walk<MapPlace>;

template<class Place, class Key, class Object>
inline constexpr Varek::Inspect::IterFnTable walkTable{
   &Varek::Inspect::InspectAtomicFnTable<Key>::table,
   &Varek::Inspect::InspectAtomicFnTable<Object>::table,
   Walk<Place>::iterKey,
   Walk<Place>::iterObj,
   Walk<Place>::iterPeek,
   Walk<Place>::iterInc,
   Walk<Place>::iterNonnull,
   Walk<Place>::iterDel };

} // namespace Internal

/// Over a sequence or an array, by index.
template<class Sequence>
struct SequenceIteration {
   using Object = typename Sequence::value_type;
   static Sequence const& in( void const* sequence ) {
      return *static_cast<Sequence const*>( sequence );
   }
   static constexpr Internal::SequenceForm form{
      &Varek::Inspect::InspectAtomicFnTable<Object>::table,
      []( void const* sequence ) { return static_cast<std::uint32_t>( in( sequence ).size() ); },
      []( void const* sequence, std::uint32_t index ) -> void const* {
         return &in( sequence )[index];
      } };
   static void* make( Sequence const& sequence, void const* startKey ) {
      return Internal::newIterator( form, &sequence, startKey );
   }
   static constexpr Varek::Inspect::IterFnTable const& table =
      Internal::walkTable<Internal::SequencePlace, std::uint32_t, Object>;
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
struct MapIteration {
   using Key = typename Map::Key;
   using Element = typename Map::value_type;
   using Object = std::remove_cvref_t<decltype( shownOf( std::declval<Element const&>() ) )>;
   static constexpr Internal::MapForm form{
      &Map::type, &Varek::Inspect::InspectAtomicFnTable<Key>::table,
      &Varek::Inspect::InspectAtomicFnTable<Object>::table,
      []( void const* element ) -> void const* {
         return &shownOf( *static_cast<Element const*>( element ) );
      } };
   static void* make( Map const& map, void const* startKey ) {
      return Internal::newIterator( form, map, startKey );
   }
   static constexpr Varek::Inspect::IterFnTable const& table =
      Internal::walkTable<Internal::MapPlace, Key, Object>;
};

/// Over an ordered collection, in key order. It remembers the key that it stands on: if that key is
/// removed meanwhile, the walk goes on with the first greater key.
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
