#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Qel/Entity.h"
#include "Varek/Export.h"
#include "Varek/String.h"
#include "mirror/Endpoint.h"
#include "mirror/LeaderConnection.h"
#include "mirror/Places.h"

namespace Mirror {

class FollowerStream;
class Publication;

struct LeaderOptions : EndpointOptions, PlaceLimits {
   /// The number that tells followers whether they talk to the same leader as before: drawn at
   /// random, or given by whoever keeps the count of points beyond this process.
   static constexpr std::uint64_t randomGeneration = ~std::uint64_t{ 0 };
   std::uint64_t generation = randomGeneration;
};

/// Publishes trees of entities to up to 64 followers, over sockets or other transports.
///
/// A follower first receives the whole state, then each change. Followers that keep up share the
/// encoding of each change. A slow follower costs memory for the parts that differ, never for the
/// number of changes, and delays nobody. The leader neither waits nor starts threads: the owner's
/// loop drives each connection, and tells the time by tick().
///
/// A tree must not change otherwise than through its mutators; its entities may be changed from
/// anywhere, also from observers, before connections come, while they are there, and after. A
/// mutator never fails for what the leader makes of the change: where that cannot be said, for want
/// of memory or since it is more than a frame may hold, the connections that it concerns end with a
/// reason.
class VAREK_EXPORT Leader {
public:
   explicit Leader( LeaderOptions = {} );
   Leader( Leader const& ) = delete;
   Leader& operator=( Leader const& ) = delete;
   ~Leader();

   /// Publishes \p root, with all that is below it, under \p name, in place of what is published
   /// so. Throws Varek::RangeError for an entity that is published already, in a tree or as a root.
   /// If it throws, what was published still is.
   void rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root );
   void rootDel( Varek::String const& name );

   /// Serves a follower over a transport. With \p refusal (see Accepted in Socket.h) the other side
   /// is told that and no more, as it is if there is no place for \p who. The result lives until
   /// connectionDel().
   LeaderConnection& connectionIs( std::unique_ptr<Transport>, Varek::String const& peer,
                                   Varek::String const& refusal = {}, Identity const& who = {} );
   /// The same over \p fd, a connected socket, which is taken over also if this throws.
   LeaderConnection& connectionIs( int fd, Varek::String const& peer,
                                   Varek::String const& refusal = {}, Identity const& who = {} );
   /// The same for what a listener gave.
   LeaderConnection& connectionIs( Accepted&& one ) {
      return connectionIs( one.fd.release(), one.peer, one.refusal, one.who );
   }
   /// Deletes the connection; ends it first, without onClosed, if it has not ended yet.
   void connectionDel( LeaderConnection& );
   /// Called once for each connection that ends otherwise, and last in the call in which it ends
   /// (or in the next call, for one that ends during a change): it may delete the connection.
   std::function<void( LeaderConnection&, Varek::String const& reason )> onClosed;

   /// What has changed since the last call belongs together: followers are told so (Follower::
   /// onConsistent). Called by itself before anything is sent, so an owner needs it only where one
   /// turn of its loop is more than one step of its state.
   void turnEnds();
   /// The last point that was told, or will be to those that are behind.
   Point point() const;

   /// To be called when nextDeadline() has come; more often does no harm.
   void tick( Clock::time_point now );
   Clock::time_point nextDeadline() const;

   struct Stats {
      std::uint32_t connections;
      std::uint32_t inGroup;
      std::uint32_t behind;        ///< Connections with something still to be written.
      std::uint32_t announced;     ///< Entities that some follower knows.
      std::uint64_t groupMessages; ///< Messages encoded once for all in the group.
      std::uint64_t ownMessages;   ///< Messages encoded for a single connection.
      std::uint64_t bytesSent;
   };
   /// Totals over the present connections.
   Stats stats() const;

   /// For tests of what happens when numbers run out.
   void nextHandleIs( std::uint32_t handle );

private:
   LeaderOptions const options_;
   std::unique_ptr<Publication> publication_;
   std::vector<std::unique_ptr<FollowerStream>> connections_;
};

} // namespace Mirror
