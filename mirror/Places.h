#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "mirror/Connections.h"
#include "mirror/Socket.h"

/// The places of a leader's followers. Some are held back, so that a single identity, even with
/// silent connections or as many as it can make, does not keep out the others.
namespace Mirror {

struct PlaceLimits {
   /// Connections that an identity may have; this process's own user may have all but
   /// placesHeldBack.
   unsigned placesEach = 48;
   /// Places reserved for users other than this process's own, and as many for its own user alone.
   unsigned placesHeldBack = 8;
};

class Places {
public:
   explicit Places( PlaceLimits const& limits ) : limits_( limits ) {}

   /// The reason why \p who gets no place now; empty if there is a place.
   Varek::String refusal( Identity const& who ) const {
      unsigned all = 0, same = 0, others = 0;
      for ( auto const& one : taken_ ) {
         if ( one ) {
            ++all;
            same += one->name == who.name;
            others += !one->own;
         }
      }
      if ( all == maxConnections ) {
         return "the leader has " + std::to_string( all ) + " followers already, as many as it can";
      }
      if ( who.name.empty() ) {
         return {};
      }
      unsigned const free = maxConnections - std::min( limits_.placesHeldBack, maxConnections );
      if ( unsigned const each = who.own ? free : std::min( free, limits_.placesEach );
           same >= each ) {
         return who.name + " has " + std::to_string( same ) +
                " connections to the leader already, as many as it may";
      }
      if ( !who.own && others >= free ) {
         return "the other places are held back for the leader's own user";
      }
      return {};
   }
   void takenBy( std::size_t place, Identity who ) { taken_[place] = std::move( who ); }
   void free( std::size_t place ) { taken_[place].reset(); }

private:
   PlaceLimits const limits_;
   std::array<std::optional<Identity>, maxConnections> taken_;
};

} // namespace Mirror
