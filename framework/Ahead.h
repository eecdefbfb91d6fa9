#pragma once

#include "Qel/HashMap2018.h"
#include "framework/Records.h"

/// A hash table holds children in an order that has nothing to do with where they lie, so a walk
/// over a large tree waits for memory at each of them. While one is written, the memory of those
/// that follow is asked for, in three steps: a child itself, then what its attributes point to,
/// then what the attributes of its single children point to. Nothing depends on it but time.
namespace Qel {

/// Asks for the memory that the attributes of \p entity point to and, with \p below, that those of
/// its single children do.
VAREK_EXPORT void prefetchContents( TypeRecord const&, Entity const& entity, bool below );

namespace Internal {

/// Goes ahead of a walk over a map; does nothing for one without children.
template<class Map, bool ofChildren>
class Ahead {
public:
   explicit Ahead( typename Map::const_iterator ) {}
   void step() {}
};

template<class Map>
class Ahead<Map, true> {
   using Iterator = typename Map::const_iterator;

public:
   explicit Ahead( Iterator from ) : object_( from ), contents_( from ), below_( from ) {
      for ( unsigned i = 0; i < 3 * distance; ++i ) {
         step( i >= distance, i >= 2 * distance );
      }
   }
   void step( bool contents = true, bool below = true ) {
      if ( auto const* const child = next( object_ ) ) {
         prefetch( child, sizeof( *child ) );
      }
      if ( contents ) {
         look( contents_, false );
      }
      if ( below ) {
         look( below_, true );
      }
   }

private:
   static constexpr unsigned distance = 4;

   static auto const* next( Iterator& at ) {
      return at != Iterator() ? at++->child.get() : nullptr;
   }
   static void look( Iterator& at, bool below ) {
      if ( auto const* const child = next( at ) ) {
         prefetchContents( typeRecord( child->qelBinding() ), *child, below );
      }
   }

   Iterator object_;
   Iterator contents_;
   Iterator below_;
};

} // namespace Internal

} // namespace Qel
