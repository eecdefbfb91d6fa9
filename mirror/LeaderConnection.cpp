#include "mirror/LeaderConnection.h"

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "mirror/Leader.h"

namespace Mirror {

using Qel::EntityQelNboAttrLogSa;
using Qel::NboAttrLog::FlowOut;
using Qel::NboAttrLog::FrameKind;

LeaderConnection::LeaderConnection( Leader& leader, EndpointOptions const& options,
                                    Connections bit )
   : HasEndpoint{ { options, Endpoint::Role::leader } }, Stream( endpoint_.out() ),
     leader_( leader ), outputLimit_( options.outputLimit ), bit_( bit ) {}
LeaderConnection::~LeaderConnection() = default;

// The end

namespace {

Varek::String text( What const& what ) {
   Varek::String made( what.type ? what.type->name : "this stream" );
   if ( Qel::AttributeRecord const* const attribute =
           what.type ? what.type->attribute( what.field ) : nullptr ) {
      made += ", field " + std::to_string( what.field.value() );
      made.append( " (" ).append( attribute->name ).append( ")" );
   }
   return made;
}

} // namespace

void LeaderConnection::fail( What const& what ) noexcept {
   if ( !std::exchange( detached_, true ) ) {
      leader_.detach( *this );
   }
   try {
      endpoint_.out().drop();
      try {
         throw;
      } catch ( Qel::NboAttrLog::FrameTooLarge const& tooLarge ) {
         // The next attempt would end alike.
         endpoint_.refuse( tooLarge.what() );
      } catch ( std::bad_alloc const& ) {
         endpoint_.refuse( "there was no memory for what was to be sent of " + text( what ),
                           Endpoint::Refusal::passing );
      } catch ( std::exception const& other ) {
         endpoint_.refuse( text( what ) + " could not be sent: " + other.what(),
                           Endpoint::Refusal::passing );
      }
   } catch ( ... ) {
      endpoint_.close( "no memory" );
   }
}

void LeaderConnection::end( Varek::String reason ) noexcept {
   if ( !std::exchange( detached_, true ) ) {
      leader_.detach( *this );
   }
   endpoint_.close( std::move( reason ) );
}

template<class Step>
void LeaderConnection::guarded( What const& what, Step step ) noexcept {
   try {
      step();
   } catch ( ... ) {
      fail( what );
   }
}

// The group

void LeaderConnection::contentsLeft( Announced const& one, FlowOut const& marks,
                                     Varek::FieldId from ) noexcept {
   guarded( { one.type->record, {} }, [&] {
      flows_.insert_or_assign( one.handle, Flow{ marks.clone(), one.entity, from } );
   } );
}

void LeaderConnection::leaveGroup() noexcept {
   leader_.group_.leave( *this );
   inGroup_ = false;
   guarded( {}, [&] { useOwnOut(); } );
}

bool LeaderConnection::doMessageMulticast( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                           void const* key ) {
   if ( !inGroup_ ) {
      return false;
   }
   leader_.group_.encode( sa, id, key );
   return true;
}

/// Frames of the connection's own follow.
void LeaderConnection::useOwnOut() {
   if ( !std::exchange( groupIsLast_, false ) ) {
      return;
   }
   endpoint_.out().forgetLast();
   if ( inGroup_ ) {
      leader_.group_.interrupted();
   }
   allowanceUpdate();
}

void LeaderConnection::allowanceUpdate() {
   endpoint_.out().passOn();
   std::size_t const waiting = queue().bytes();
   endpoint_.out().allowanceIs( waiting < outputLimit_ ? outputLimit_ - waiting : 0 );
}

// Changes

void LeaderConnection::offer( Announced const& one, Varek::FieldId id, void const* key,
                              bool held ) noexcept {
   guarded( { one.type->record, id }, [&] {
      auto const at = flows_.find( one.handle );
      FlowOut clean( *one.type->record, false );
      FlowOut& marks = at != flows_.end() ? at->second.marks : clean;
      EntityQelNboAttrLogSa sa( *one.entity, *one.type->record, one.handle, *this, &marks );
      sa.heldBeforeIs( held );
      streamAdapterOnAttribute( sa, id, key );
      if ( at == flows_.end() && clean.isDirty() ) {
         flows_.emplace( one.handle, Flow{ std::move( clean ), one.entity, 0 } );
      } else if ( at != flows_.end() && !marks.isDirty() ) {
         flows_.erase( at );
      }
   } );
}

void LeaderConnection::rootGone( std::uint32_t handle ) noexcept {
   guarded( {}, [&] { rootsGone_.push_back( handle ); } );
}

bool LeaderConnection::announce( Parent const& parent, Qel::Entity& child,
                                 Varek::String const* rootName ) {
   Announced* const known = leader_.announcements_.findOrNew( child, parent.entity );
   if ( !known ) {
      return false;
   }
   if ( ( known->to & bit_ ) != 0 ) {
      return true;
   }
   if ( !writeAnnouncement( endpoint_.out(), parent, *known, rootName ) ) {
      return false;
   }
   known->to |= bit_;
   contents( *known );
   return true;
}

void LeaderConnection::contents( Announced one ) {
   Flow flow{ FlowOut( *one.type->record, true ), one.entity, 0 };
   if ( depth_ < maxDepth ) {
      Internal::Deeper const deeper( depth_ );
      auto const came = flowOutContinue(
         EntityQelNboAttrLogSa( *one.entity, *one.type->record, one.handle, *this, &flow.marks ), 0,
         flow.marks );
      if ( came.done() ) {
         return;
      }
      flow.from = came.next;
   }
   flows_.insert_or_assign( one.handle, std::move( flow ) );
}

// What is still to be said

bool LeaderConnection::sayRoots() {
   QueueOut& to = endpoint_.out();
   while ( !rootsGone_.empty() ) {
      if ( !to.outSmReserveMessage( FrameKind::rootGone, rootsGone_.back(), {}, 0 ) ) {
         return false;
      }
      to.outSmCommitMessage();
      rootsGone_.pop_back();
   }
   for ( auto const& [name, root] : leader_.roots_ ) {
      if ( !announce( {}, *root.entity, &name ) ) {
         return false;
      }
   }
   return true;
}

/// In the order of handles, from the one after the last: one that changes all the time starves
/// nobody.
bool LeaderConnection::sayMarked() {
   while ( !flows_.empty() ) {
      auto at = flows_.upper_bound( lastSaid_ );
      if ( at == flows_.end() ) {
         at = flows_.begin();
      }
      lastSaid_ = at->first;
      Flow& flow = at->second;
      EntityQelNboAttrLogSa const sa( *flow.entity, Qel::typeRecord( *flow.entity ), at->first,
                                      *this, &flow.marks );
      auto came = flowOutContinue( sa, flow.from, flow.marks );
      // Fields before the one that it went on with may have been marked meanwhile.
      if ( came.done() && flow.marks.isDirty() ) {
         came = flowOutContinue( sa, 0, flow.marks );
      }
      if ( !came.done() ) {
         flow.from = came.next;
         return false;
      }
      VAREK_ASSERT( !flow.marks.isDirty() );
      flows_.erase( at );
   }
   return true;
}

bool LeaderConnection::sayAll() {
   if ( !sayRoots() || !sayMarked() ) {
      return false;
   }
   if ( syncedSent_ ) {
      return true;
   }
   if ( !endpoint_.out().outSmReserveMessage( FrameKind::synced, 0, {}, 0 ) ) {
      return false;
   }
   endpoint_.out().outSmCommitMessage();
   return syncedSent_ = true;
}

// Driving

void LeaderConnection::receive() {
   endpoint_.receive( [this]( Frame const& frame ) {
      endpoint_.refuse( "a frame of kind " +
                        std::to_string( static_cast<unsigned>( frame.head.kind ) ) + " at offset " +
                        std::to_string( frame.offset ) + ", from a side that only follows" );
   } );
}

void LeaderConnection::onReadable() {
   guarded( {}, [&] { receive(); } );
   finish();
}

void LeaderConnection::onWritable() {
   guarded( {}, [&] {
      if ( endpoint_.readAwaitsWritable() ) [[unlikely]] {
         receive();
      }
      say();
   } );
   leader_.restartIfNeeded();
   finish();
}

void LeaderConnection::say() {
   // A bounded number of times: the others want their turn too.
   for ( unsigned i = 0; i < 8; ++i ) {
      endpoint_.flush();
      if ( !endpoint_.running() || inGroup_ || queue().bytes() > outputLimit_ / 2 ) {
         break;
      }
      useOwnOut();
      allowanceUpdate();
      if ( sayAll() ) {
         inGroup_ = true;
         leader_.group_.join( *this );
      }
      endpoint_.out().passOn();
   }
}

void LeaderConnection::tick( Clock::time_point now ) {
   guarded( {}, [&] {
      // Words that lie unread are a sign of life: the process may have been stopped for a while.
      if ( endpoint_.nextDeadline() <= now ) {
         receive();
      }
      if ( endpoint_.tick( now ) == Endpoint::Due::keepAlive ) {
         useOwnOut();
         endpoint_.keepAlive();
      }
   } );
}

/// Called last in whatever may have closed the connection: its end may be told only once, and who
/// is told may delete it.
void LeaderConnection::finish() {
   if ( !closed() ) {
      return;
   }
   if ( !std::exchange( detached_, true ) ) {
      leader_.detach( *this );
   }
   if ( !std::exchange( reported_, true ) && leader_.onClosed ) {
      leader_.onClosed( *this, reason() );
   }
}

} // namespace Mirror
