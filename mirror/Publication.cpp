#include "mirror/Publication.h"

#include <algorithm>
#include <bit>
#include <new>
#include <random>
#include <utility>

#include "Varek/Failures.h"
#include "framework/wire/AttrLog.h"
#include "mirror/FollowerStream.h"
#include "mirror/Leader.h"

namespace Mirror {

namespace {

/// What an entity holds is told in the frame that announces it up to this size, so that no frame is
/// much of what may wait.
std::size_t contentsLimit( EndpointOptions const& options ) {
   constexpr std::size_t usual = 16 * 1024;
   return std::min( { usual, options.outputLimit / 4, options.maxFrame / 4 } );
}

std::uint64_t randomNumber() {
   std::random_device random;
   return std::uint64_t{ random() } << 32 | random();
}

} // namespace

Publication::Publication( EndpointOptions const& options, PlaceLimits const& limits,
                          std::uint64_t generation )
   : announcements_( contentsLimit( options ) ),
     group_( announcements_, options.outputLimit, options.maxFrame ), places_( limits ),
     generation_( generation != LeaderOptions::randomGeneration ? generation : randomNumber() ) {}

Publication::~Publication() = default;

// Roots

void Publication::requireUnpublished( Qel::Entity const& entity ) const {
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

void Publication::rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root ) {
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
   changedInTurn_ = true;
   group_.rootAnnounce( name, *root );
   restartIfNeeded();
}

void Publication::rootDel( Varek::String const& name ) {
   auto const at = roots_.find( name );
   if ( at == roots_.end() ) {
      return;
   }
   Root const gone = std::move( at->second );
   roots_.erase( at );
   changedInTurn_ = true;
   if ( Announced const* const known = announcements_.find( *gone.entity ) ) {
      Announced const root = *known;
      forEachBit( root.to & ~group_.members(),
                  [&]( unsigned i ) { streams_[i]->rootGone( root.handle ); } );
      forget( *gone.entity );
      group_.rootGone( root.handle );
   }
}

// Changes

void Publication::forget( Qel::Entity const& entity ) noexcept {
   announcements_.forget( entity, [this]( Announced const& one ) {
      forEachBit( one.to & ~group_.members(), [&]( unsigned i ) {
         if ( streams_[i] ) {
            streams_[i]->forgotten( one.handle );
         }
      } );
   } );
}

Connections Publication::heldBefore( Varek::Change const& change,
                                     TypeNumber const& type ) noexcept {
   if ( !change.oldData() ) {
      return 0;
   }
   Qel::Entity const* const old = type.mayHoldChild( change.id() )
                                     ? Qel::oldChild( *type.record, change.id(), change.oldData() )
                                     : nullptr;
   if ( !old ) {
      return ~Connections{ 0 };
   }
   Announced const* const gone = announcements_.find( *old );
   Connections const held = gone ? gone->to : 0;
   forget( *old );
   return held;
}

void Publication::changed( Varek::Change const& change ) noexcept {
   Announced const* const known = announcements_.find( Qel::entityOf( change ) );
   if ( !known ) {
      return;
   }
   changedInTurn_ = true;
   Announced const one = *known; // which may go while its change is said
   Connections const held = heldBefore( change, *one.type );
   Connections const members = group_.members();
   if ( ( one.to & members ) != 0 ) {
      group_.say( one, change.id(), change.keyData(), ( held & members ) != 0 );
   }
   forEachBit( one.to & ~members, [&]( unsigned i ) {
      if ( streams_[i] ) {
         streams_[i]->offer( one, change.id(), change.keyData(), ( held >> i & 1 ) != 0 );
      }
   } );
   restartIfNeeded();
}

// Streams

bool Publication::hasStreams() const {
   return std::ranges::any_of( streams_, []( auto* one ) { return one != nullptr; } );
}

Connections Publication::freeBit() const {
   auto const place = std::ranges::find( streams_, nullptr ) - std::begin( streams_ );
   return Connections{ 1 } << place;
}

void Publication::streamIs( FollowerStream& stream, Identity who ) noexcept {
   auto const place = static_cast<std::size_t>( std::countr_zero( stream.bit() ) );
   places_.takenBy( place, std::move( who ) );
   streams_[place] = &stream;
}

void Publication::streamDel( FollowerStream& stream ) noexcept {
   auto const place = static_cast<std::size_t>( std::countr_zero( stream.bit() ) );
   if ( streams_[place] != &stream ) {
      return; // it has failed before it took part
   }
   group_.leave( stream );
   streams_[place] = nullptr;
   places_.free( place );
   announcements_.connectionGone( stream.bit() );
}

void Publication::restart() noexcept {
   for ( FollowerStream* const one : streams_ ) {
      if ( one ) {
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

} // namespace Mirror
