#include "mirror/Leader.h"

#include <algorithm>
#include <utility>

#include "Varek/Failures.h"
#include "mirror/FollowerStream.h"
#include "mirror/Publication.h"

namespace Mirror {

Leader::Leader( LeaderOptions options )
   : options_( std::move( options ) ),
     publication_( std::make_unique<Publication>( options_, options_, options_.generation ) ) {
   publication_->onStreamClosed = [this]( FollowerStream& one ) {
      if ( onClosed ) {
         onClosed( one, one.reason() );
      }
   };
}

Leader::~Leader() = default;

void Leader::rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root ) {
   publication_->rootIs( name, std::move( root ) );
}

void Leader::rootDel( Varek::String const& name ) { publication_->rootDel( name ); }

LeaderConnection& Leader::connectionIs( int fd, Varek::String const& peer,
                                        Varek::String const& refusal, Identity const& who ) {
   Fd owned( fd );
   return connectionIs( std::make_unique<SocketTransport>( std::move( owned ) ), peer, refusal,
                        who );
}

LeaderConnection& Leader::connectionIs( std::unique_ptr<Transport> transport,
                                        Varek::String const& peer, Varek::String const& refusal,
                                        Identity const& who ) {
   Varek::String const noPlace = publication_->refusal( who );
   bool const refused = !noPlace.empty() || !refusal.empty();
   if ( !publication_->hasStreams() ) {
      publication_->announcements().describe();
   }
   auto made = std::make_unique<FollowerStream>( *publication_, options_,
                                                 refused ? 0 : publication_->freeBit() );
   FollowerStream& stream = *made;
   Varek::String name( peer );
   Description ours( publication_->announcements().description() );
   stream.start( std::move( transport ), std::move( name ), std::move( ours ) );
   if ( !refusal.empty() ) {
      stream.refuse( refusal, Endpoint::Refusal::final );
   } else if ( refused ) {
      stream.refuse( noPlace, Endpoint::Refusal::passing );
   }
   Identity taker( who );
   connections_.push_back( std::move( made ) );
   if ( !refused ) {
      publication_->streamIs( stream, std::move( taker ) );
   }
   return stream;
}

void Leader::connectionDel( LeaderConnection& connection ) {
   auto const at = std::ranges::find_if(
      connections_, [&]( auto const& one ) { return one.get() == &connection; } );
   VAREK_ASSERT( at != connections_.end() );
   auto const gone = std::move( *at ); // after whose end entities may end, which runs others' code
   connections_.erase( at );
}

void Leader::turnEnds() { publication_->turnEnds(); }

Point Leader::point() const { return { publication_->generation(), publication_->sequence() }; }

void Leader::tick( Clock::time_point now ) {
   std::vector<FollowerStream*> all;
   for ( auto const& one : connections_ ) {
      all.push_back( one.get() );
   }
   for ( FollowerStream* const one : all ) {
      // Whoever is told of an end may delete others too.
      if ( std::ranges::any_of( connections_, [&]( auto& c ) { return c.get() == one; } ) ) {
         one->tick( now );
      }
   }
}

Clock::time_point Leader::nextDeadline() const {
   Clock::time_point first = Clock::time_point::max();
   for ( auto const& one : connections_ ) {
      first = std::min( first, one->nextDeadline() );
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
   all.announced = publication_->announcements().size();
   all.groupMessages = publication_->group().messagesSent();
   return all;
}

void Leader::nextHandleIs( std::uint32_t handle ) {
   publication_->announcements().nextHandleIs( handle );
}

} // namespace Mirror
