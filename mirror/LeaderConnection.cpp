#include "mirror/LeaderConnection.h"

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

// The group

void LeaderConnection::contentsLeft( Announced const& one ) {
   flows_.insert_or_assign( one.handle, Flow{ FlowOut( *one.type->record, true ), one.entity, 0 } );
}

void LeaderConnection::leaveGroup() {
   leader_.group_.leave( *this );
   inGroup_ = false;
   useOwnOut();
}

bool LeaderConnection::doMessageMulticast( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                           void const* key ) {
   if ( !inGroup_ )
      return false;
   leader_.group_.encode( sa, id, key );
   return true;
}

/// Frames of the connection's own follow.
void LeaderConnection::useOwnOut() {
   if ( !std::exchange( groupIsLast_, false ) )
      return;
   endpoint_.out().forgetLast();
   if ( inGroup_ )
      leader_.group_.interrupted();
   allowanceUpdate();
}

void LeaderConnection::allowanceUpdate() {
   endpoint_.out().passOn();
   std::size_t const waiting = queue().bytes();
   endpoint_.out().allowanceIs( waiting < outputLimit_ ? outputLimit_ - waiting : 0 );
}

// Changes

void LeaderConnection::offer( Announced const& one, Varek::FieldId id, void const* key ) {
   auto const at = flows_.find( one.handle );
   if ( at != flows_.end() ) {
      FlowOut& marks = at->second.marks;
      streamAdapterOnAttribute(
         EntityQelNboAttrLogSa( *one.entity, *one.type->record, one.handle, *this, &marks ), id,
         key );
      if ( !marks.isDirty() )
         flows_.erase( at );
      return;
   }
   FlowOut marks( *one.type->record, false );
   streamAdapterOnAttribute(
      EntityQelNboAttrLogSa( *one.entity, *one.type->record, one.handle, *this, &marks ), id, key );
   if ( marks.isDirty() )
      flows_.emplace( one.handle, Flow{ std::move( marks ), one.entity, 0 } );
}

bool LeaderConnection::announce( Parent const& parent, Qel::Entity& child,
                                 Varek::String const* rootName ) {
   Announced* const known = leader_.announcements_.findOrNew( child, parent.entity );
   if ( !known )
      return false;
   if ( ( known->to & bit_ ) != 0 )
      return true;
   if ( !writeAnnouncement( endpoint_.out(), parent, *known, rootName ) )
      return false;
   known->to |= bit_;
   contents( *known );
   return true;
}

void LeaderConnection::contents( Announced one ) {
   Flow flow{ FlowOut( *one.type->record, true ), one.entity, 0 };
   if ( depth_ < maxDepth ) {
      ++depth_;
      flow.from = handleAttrFlowOut(
         EntityQelNboAttrLogSa( *one.entity, *one.type->record, one.handle, *this, &flow.marks ), 0,
         flow.marks );
      --depth_;
      if ( flow.from == 0 )
         return;
   }
   flows_.insert_or_assign( one.handle, std::move( flow ) );
}

// What is still to be said

bool LeaderConnection::sayRoots() {
   QueueOut& to = endpoint_.out();
   while ( !rootsGone_.empty() ) {
      if ( !to.outSmReserveMessage( FrameKind::rootGone, rootsGone_.back(), {}, 0 ) )
         return false;
      to.outSmCommitMessage();
      rootsGone_.pop_back();
   }
   for ( auto const& [name, root] : leader_.roots_ )
      if ( !announce( {}, *root.entity, &name ) )
         return false;
   return true;
}

/// In the order of handles, from the one after the last: one that changes all the time starves
/// nobody.
bool LeaderConnection::sayMarked() {
   while ( !flows_.empty() ) {
      auto at = flows_.upper_bound( lastSaid_ );
      if ( at == flows_.end() )
         at = flows_.begin();
      lastSaid_ = at->first;
      Flow& flow = at->second;
      EntityQelNboAttrLogSa const sa( *flow.entity, Qel::typeRecord( *flow.entity ), at->first,
                                      *this, &flow.marks );
      flow.from = handleAttrFlowOut( sa, static_cast<std::uint16_t>( flow.from ), flow.marks );
      // Fields before the one that it went on with may have been marked meanwhile.
      if ( flow.from == 0 && flow.marks.isDirty() )
         flow.from = handleAttrFlowOut( sa, 0, flow.marks );
      if ( flow.from != 0 )
         return false;
      VAREK_ASSERT( !flow.marks.isDirty() );
      flows_.erase( at );
   }
   return true;
}

bool LeaderConnection::sayAll() {
   if ( !sayRoots() || !sayMarked() )
      return false;
   if ( syncedSent_ )
      return true;
   if ( !endpoint_.out().outSmReserveMessage( FrameKind::synced, 0, {}, 0 ) )
      return false;
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
   receive();
   finish();
}

void LeaderConnection::onWritable() {
   // A bounded number of times: the others want their turn too.
   for ( unsigned i = 0; i < 8; ++i ) {
      endpoint_.flush();
      if ( !endpoint_.running() || inGroup_ || queue().bytes() > outputLimit_ / 2 )
         break;
      useOwnOut();
      allowanceUpdate();
      if ( sayAll() ) {
         inGroup_ = true;
         leader_.group_.join( *this );
      }
      endpoint_.out().passOn();
   }
   leader_.restartIfNeeded();
   finish();
}

void LeaderConnection::tick( Clock::time_point now ) {
   // Words that lie unread are a sign of life: the process may have been stopped for a while.
   if ( endpoint_.nextDeadline() <= now )
      receive();
   if ( endpoint_.tick( now ) == Endpoint::Due::keepAlive ) {
      useOwnOut();
      endpoint_.keepAlive();
   }
}

/// Called last in whatever may have closed the connection: its end may be told only once, and who
/// is told may delete it.
void LeaderConnection::finish() {
   if ( !closed() )
      return;
   if ( !std::exchange( detached_, true ) )
      leader_.detach( *this );
   if ( !std::exchange( reported_, true ) && leader_.onClosed )
      leader_.onClosed( *this, reason() );
}

} // namespace Mirror
