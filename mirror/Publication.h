#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "Qel/Entity.h"
#include "Varek/Publisher.h"
#include "Varek/String.h"
#include "mirror/Announcements.h"
#include "mirror/Connections.h"
#include "mirror/Endpoint.h"
#include "mirror/Group.h"
#include "mirror/Places.h"

namespace Mirror {

class FollowerStream;

/// What a leader publishes and to whom: its roots, the entities that its followers know, their
/// streams, and the way of each change to them. A change of a tree comes here first; it goes to the
/// group, which encodes it once for all that keep up, and to each stream that is behind.
class Publication {
public:
   /// \p generation: see LeaderOptions.
   Publication( EndpointOptions const&, PlaceLimits const&, std::uint64_t generation );
   Publication( Publication const& ) = delete;
   Publication& operator=( Publication const& ) = delete;
   ~Publication();

   // Roots

   /// As Leader::rootIs and Leader::rootDel.
   void rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root );
   void rootDel( Varek::String const& name );
   struct Root {
      Varek::Ptr<Qel::Entity> entity;
      Varek::Subscription subscription;
   };
   std::map<Varek::String, Root> const& roots() const { return roots_; }

   // Streams

   /// The reason why there is no place for \p who; empty if there is a place.
   Varek::String refusal( Identity const& who ) const { return places_.refusal( who ); }
   /// A place that is free; there must be one.
   Connections freeBit() const;
   bool hasStreams() const;
   /// From now on the stream takes part, in the place of its bit.
   void streamIs( FollowerStream&, Identity who ) noexcept;
   void streamDel( FollowerStream& ) noexcept;
   /// Called once for each stream that has closed, last in the call in which the owner learns it.
   std::function<void( FollowerStream& )> onStreamClosed;

   /// The entities that streams know; what they say is noted there.
   Announcements& announcements() { return announcements_; }
   Announcements const& announcements() const { return announcements_; }
   Group& group() { return group_; }
   Group const& group() const { return group_; }
   std::uint64_t generation() const { return generation_; }
   std::uint64_t sequence() const { return sequence_; }
   /// As Leader::turnEnds.
   void turnEnds() noexcept {
      if ( std::exchange( changedInTurn_, false ) ) {
         group_.consistent( ++sequence_ );
      }
   }
   /// Ends all streams if the numbers of entities have run out: they must begin anew.
   void restartIfNeeded() noexcept {
      if ( announcements_.needsRestart() ) [[unlikely]] {
         restart();
      }
   }

private:
   void changed( Varek::Change const& ) noexcept;
   /// Who may hold what was there before a change: of a child, those who were told of it, which is
   /// forgotten; otherwise all, if there was something.
   Connections heldBefore( Varek::Change const&, TypeNumber const& ) noexcept;
   void forget( Qel::Entity const& ) noexcept;
   void restart() noexcept;
   void requireUnpublished( Qel::Entity const& ) const;

   Announcements announcements_;
   Group group_;
   Places places_;
   FollowerStream* streams_[maxConnections] = {}; // by bit
   std::map<Varek::String, Root> roots_;
   std::uint64_t const generation_;
   std::uint64_t sequence_ = 0;
   bool changedInTurn_ = false;
};

} // namespace Mirror
