#include "mirror/Leader.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "Varek/Failures.h"
#include "framework/AttrLog.h"

namespace Mirror {

Leader::Leader( LeaderOptions options )
   : options_( std::move( options ) ), group_( announcements_, options_.outputLimit ) {}

Leader::~Leader() = default;

// Roots

void Leader::requireUnpublished( Qel::Entity const& entity ) const {
   auto const isIn = []( Qel::Entity const* below, Qel::Entity const& tree ) {
      while ( below && below != &tree )
         below = below->parent();
      return below != nullptr;
   };
   for ( auto const& [name, root] : roots_ )
      if ( isIn( &entity, *root.entity ) || isIn( root.entity.get(), entity ) )
         throw Varek::RangeError( "an entity is published once; this one is part of root \"" +
                                  name + "\", or that part of it" );
}

bool Leader::isRoot( Qel::Entity const& entity ) const {
   return std::ranges::any_of( roots_,
                               [&]( auto& one ) { return one.second.entity.get() == &entity; } );
}

void Leader::rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root ) {
   auto const before = roots_.find( name );
   if ( before != roots_.end() && before->second.entity == root )
      return;
   requireUnpublished( *root );
   rootDel( name );
   // An observer may publish what was just removed, before this is told of the removal.
   forget( *root );
   Root& made = roots_[name];
   made.entity = std::move( root );
   made.subscription = made.entity->subscribe(
      [this]( Varek::Change const& change ) { changed( change ); }, Varek::Scope::subtree );
   group_.rootAnnounce( name, *made.entity );
   restartIfNeeded();
}

void Leader::rootDel( Varek::String const& name ) {
   auto const at = roots_.find( name );
   if ( at == roots_.end() )
      return;
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

void Leader::forget( Qel::Entity const& entity ) {
   announcements_.forget( entity, [this]( Announced const& one ) {
      forEachBit( one.to & ~group_.members(),
                  [&]( unsigned i ) { byBit_[i]->forgotten( one.handle ); } );
   } );
}

void Leader::changed( Varek::Change const& change ) {
   Announced const* const known = announcements_.find( Qel::entityOf( change ) );
   if ( !known )
      return;
   Announced const one = *known; // which moves when others are made known
   if ( change.oldData() && one.type->mayHoldChild( change.id() ) )
      if ( Qel::Entity const* const old =
              Qel::oldChild( *one.type->record, change.id(), change.oldData() );
           old && !isRoot( *old ) )
         forget( *old );
   Connections const members = group_.members();
   if ( ( one.to & members ) != 0 ) {
      // The first of them encodes for all.
      Qel::EntityQelNboAttrLogSa sa( *one.entity, *one.type->record, one.handle,
                                     *group_.list().front() );
      sa.multicastIs( true );
      streamAdapterOnAttribute( sa, change.id(), change.keyData() );
   }
   forEachBit( one.to & ~members,
               [&]( unsigned i ) { byBit_[i]->offer( one, change.id(), change.keyData() ); } );
   restartIfNeeded();
}

// Connections

LeaderConnection& Leader::connectionIs( int fd, Varek::String const& peer,
                                        Varek::String const& refusal, Identity const& who ) {
   Varek::String const noPlace = places_.refusal( who );
   bool const refused = !noPlace.empty() || !refusal.empty();
   auto const free = std::ranges::find( byBit_, nullptr );
   auto const place = static_cast<std::size_t>( free - std::begin( byBit_ ) );
   Connections const bit = refused ? 0 : Connections{ 1 } << place;
   connections_.push_back(
      std::unique_ptr<LeaderConnection>( new LeaderConnection( *this, options_, bit ) ) );
   LeaderConnection& made = *connections_.back();
   if ( std::ranges::all_of( byBit_, []( auto* one ) { return !one; } ) )
      announcements_.describe();
   made.endpoint_.start( fd, peer, announcements_.description() );
   if ( !refused ) {
      places_.takenBy( place, who );
      *free = &made;
   } else if ( !refusal.empty() ) {
      made.endpoint_.refuse( refusal );
   } else {
      made.endpoint_.refuse( noPlace, Endpoint::Refusal::passing );
   }
   return made;
}

void Leader::detach( LeaderConnection& connection ) {
   if ( connection.bit_ == 0 )
      return;
   group_.leave( connection );
   connection.inGroup_ = false;
   connection.flows_.clear();
   auto const place = static_cast<std::size_t>( std::countr_zero( connection.bit_ ) );
   byBit_[place] = nullptr;
   places_.free( place );
   announcements_.connectionGone( connection.bit_ );
}

void Leader::connectionDel( LeaderConnection& connection ) {
   if ( !std::exchange( connection.detached_, true ) )
      detach( connection );
   std::erase_if( connections_, [&]( auto const& one ) { return one.get() == &connection; } );
}

/// During a change perhaps, so nobody is told before the connection is driven again; what ends is
/// readable, which sees to that.
void Leader::restart() {
   for ( auto const& one : connections_ )
      if ( !std::exchange( one->detached_, true ) ) {
         detach( *one );
         one->endpoint_.close( "the leader numbers its entities anew; connect again" );
      }
   announcements_.restart();
}

void Leader::tick( Clock::time_point now ) {
   std::vector<LeaderConnection*> all;
   for ( auto const& one : connections_ )
      all.push_back( one.get() );
   for ( LeaderConnection* const one : all ) {
      // Whoever is told of an end may delete others too.
      if ( std::ranges::none_of( connections_, [&]( auto& c ) { return c.get() == one; } ) )
         continue;
      one->tick( now );
      one->finish();
   }
}

Clock::time_point Leader::nextDeadline() const {
   Clock::time_point first = Clock::time_point::max();
   for ( auto const& one : connections_ )
      first = std::min( first, one->reported_  ? Clock::time_point::max()
                               : one->closed() ? Clock::time_point::min()
                                               : one->endpoint_.nextDeadline() );
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
