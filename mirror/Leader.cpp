#include "mirror/Leader.h"

#include <algorithm>
#include <bit>
#include <new>
#include <utility>

#include "Varek/Failures.h"
#include "framework/AttrLog.h"

namespace Mirror {

Leader::Leader( LeaderOptions options )
   : options_( std::move( options ) ), group_( announcements_, options_.outputLimit ) {
   group_.payloadLimitIs( options_.maxFrame );
}

Leader::~Leader() = default;

// Roots

void Leader::requireUnpublished( Qel::Entity const& entity ) const {
   auto const isIn = []( Qel::Entity const* below, Qel::Entity const& tree ) {
      while ( below && below != &tree ) {
         below = below->parent();
      }
      return below != nullptr;
   };
   for ( auto const& [name, root] : roots_ ) {
      if ( isIn( &entity, *root.entity ) || isIn( root.entity.get(), entity ) ) {
         throw Varek::RangeError( "an entity is published once; this one is part of root \"" +
                                  name + "\", or that part of it" );
      }
   }
}

void Leader::rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root ) {
   auto const before = roots_.find( name );
   if ( before != roots_.end() && before->second.entity == root ) {
      return;
   }
   requireUnpublished( *root );
   // Called before all other observers, since the state right after each change is written.
   std::map<Varek::String, Root> made;
   made.emplace( name, Root{ root, root->subscribe(
                                      [this]( Varek::Change const& change ) { changed( change ); },
                                      Varek::Scope::subtreeFirst ) } );
   rootDel( name );
   roots_.merge( made );
   group_.rootAnnounce( name, *root );
   restartIfNeeded();
}

void Leader::rootDel( Varek::String const& name ) {
   auto const at = roots_.find( name );
   if ( at == roots_.end() ) {
      return;
   }
   Root const gone = std::move( at->second );
   roots_.erase( at );
   if ( Announced const* const known = announcements_.find( *gone.entity ) ) {
      Announced const root = *known;
      forEachBit( root.to & ~group_.members(),
                  [&]( unsigned i ) { byBit_[i]->rootGone( root.handle ); } );
      forget( *gone.entity );
      group_.rootGone( root.handle );
   }
}

// Changes

void Leader::forget( Qel::Entity const& entity ) noexcept {
   announcements_.forget( entity, [this]( Announced const& one ) {
      forEachBit( one.to & ~group_.members(), [&]( unsigned i ) {
         if ( byBit_[i] ) {
            byBit_[i]->forgotten( one.handle );
         }
      } );
   } );
}

void Leader::changed( Varek::Change const& change ) noexcept {
   Announced const* const known = announcements_.find( Qel::entityOf( change ) );
   if ( !known ) {
      return;
   }
   Announced const one = *known; // which moves when others are made known
   // Who may hold what was there before: a child, those who were told of it.
   Connections held = change.oldData() ? ~Connections{ 0 } : 0;
   if ( change.oldData() && one.type->mayHoldChild( change.id() ) ) {
      if ( Qel::Entity const* const old =
              Qel::oldChild( *one.type->record, change.id(), change.oldData() ) ) {
         Announced const* const gone = announcements_.find( *old );
         held = gone ? gone->to : 0;
         forget( *old );
      }
   }
   Connections const members = group_.members();
   if ( ( one.to & members ) != 0 ) {
      // The first of them encodes for all.
      Qel::EntityQelNboAttrLogSa sa( *one.entity, *one.type->record, one.handle,
                                     *group_.list().front() );
      sa.multicastIs( true );
      sa.heldBeforeIs( ( held & members ) != 0 );
      streamAdapterOnAttribute( sa, change.id(), change.keyData() );
   }
   forEachBit( one.to & ~members, [&]( unsigned i ) {
      if ( byBit_[i] ) {
         byBit_[i]->offer( one, change.id(), change.keyData(), ( held >> i & 1 ) != 0 );
      }
   } );
   restartIfNeeded();
}

// Connections

LeaderConnection& Leader::connectionIs( int fd, Varek::String const& peer,
                                        Varek::String const& refusal, Identity const& who ) {
   Fd owned( fd );
   return connectionIs( std::make_unique<SocketTransport>( std::move( owned ) ), peer, refusal,
                        who );
}

LeaderConnection& Leader::connectionIs( std::unique_ptr<Transport> transport,
                                        Varek::String const& peer, Varek::String const& refusal,
                                        Identity const& who ) {
   Varek::String const noPlace = places_.refusal( who );
   bool const refused = !noPlace.empty() || !refusal.empty();
   auto const free = std::ranges::find( byBit_, nullptr );
   auto const place = static_cast<std::size_t>( free - std::begin( byBit_ ) );
   Connections const bit = refused ? 0 : Connections{ 1 } << place;
   if ( std::ranges::all_of( byBit_, []( auto* one ) { return !one; } ) ) {
      announcements_.describe();
   }
   auto made = std::unique_ptr<LeaderConnection>( new LeaderConnection( *this, options_, bit ) );
   LeaderConnection& connection = *made;
   Varek::String name( peer );
   Description ours( announcements_.description() );
   connection.endpoint_.start( std::move( transport ), std::move( name ), std::move( ours ) );
   if ( !refusal.empty() ) {
      connection.endpoint_.refuse( refusal );
   } else if ( refused ) {
      connection.endpoint_.refuse( noPlace, Endpoint::Refusal::passing );
   }
   Identity taker( who );
   connections_.push_back( std::move( made ) );
   if ( !refused ) {
      places_.takenBy( place, std::move( taker ) );
      *free = &connection;
   }
   return connection;
}

void Leader::detach( LeaderConnection& connection ) noexcept {
   if ( connection.bit_ == 0 ) {
      return;
   }
   group_.leave( connection );
   connection.inGroup_ = false;
   connection.flows_.clear();
   auto const place = static_cast<std::size_t>( std::countr_zero( connection.bit_ ) );
   byBit_[place] = nullptr;
   places_.free( place );
   announcements_.connectionGone( connection.bit_ );
}

void Leader::connectionDel( LeaderConnection& connection ) {
   if ( !std::exchange( connection.detached_, true ) ) {
      detach( connection );
   }
   std::erase_if( connections_, [&]( auto const& one ) { return one.get() == &connection; } );
}

void Leader::restart() noexcept {
   for ( auto const& one : connections_ ) {
      if ( !one->detached_ ) {
         Varek::String reason;
         try {
            reason = "the leader numbers its entities anew; connect again";
         } catch ( std::bad_alloc const& ) {
            reason = "no numbers left"; // short enough not to need memory
         }
         one->end( std::move( reason ) );
      }
   }
   try {
      announcements_.restart();
   } catch ( std::bad_alloc const& ) {
      // No follower is connected; the next connection tries it again.
   }
}

void Leader::tick( Clock::time_point now ) {
   std::vector<LeaderConnection*> all;
   for ( auto const& one : connections_ ) {
      all.push_back( one.get() );
   }
   for ( LeaderConnection* const one : all ) {
      // Whoever is told of an end may delete others too.
      if ( std::ranges::none_of( connections_, [&]( auto& c ) { return c.get() == one; } ) ) {
         continue;
      }
      one->tick( now );
      one->finish();
   }
}

Clock::time_point Leader::nextDeadline() const {
   Clock::time_point first = Clock::time_point::max();
   for ( auto const& one : connections_ ) {
      first = std::min( first, one->reported_  ? Clock::time_point::max()
                               : one->closed() ? Clock::time_point::min()
                                               : one->endpoint_.nextDeadline() );
   }
   return first;
}

Leader::Stats Leader::stats() const {
   Stats all{};
   for ( auto const& one : connections_ ) {
      all.connections += !one->closed();
      all.inGroup += one->inGroup();
      all.behind += !one->closed() && !one->inGroup();
      all.ownMessages += one->ownMessages();
      all.bytesSent += one->bytesSent();
   }
   all.announced = announcements_.size();
   all.groupMessages = group_.messagesSent();
   return all;
}

} // namespace Mirror
