#include "mirror/FollowerStream.h"

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "mirror/Publication.h"

namespace Mirror {

using Qel::EntityQelNboAttrLogSa;
using Qel::NboAttrLog::FlowOut;
using Qel::NboAttrLog::FrameKind;

FollowerStream::FollowerStream( Publication& publication, EndpointOptions const& options,
                                Connections bit )
   : HasEndpoint{ { options, Endpoint::Role::leader } }, Stream( endpoint_.out() ),
     publication_( publication ), outputLimit_( options.outputLimit ), bit_( bit ) {}
FollowerStream::~FollowerStream() { detach(); }

void FollowerStream::start( std::unique_ptr<Transport> transport, Varek::String peer,
                            Description ours ) {
   endpoint_.start( std::move( transport ), std::move( peer ), std::move( ours ),
                    publication_.generation() );
}

// The end

namespace {

/// False if it cannot go out.
bool sayPoint( ChunkOut& out, std::uint64_t sequence ) {
   if ( !out.outSmReserveAside( FrameKind::consistent, 8 ) ) {
      return false;
   }
   out.put64( sequence );
   out.outSmCommitMessage();
   return true;
}

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

void FollowerStream::detach() noexcept {
   if ( !std::exchange( detached_, true ) && bit_ != 0 ) {
      publication_.streamDel( *this );
      inGroup_ = false;
      flows_.clear();
   }
}

void FollowerStream::fail( What const& what ) noexcept {
   detach();
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

void FollowerStream::end( Varek::String reason ) noexcept {
   detach();
   endpoint_.close( std::move( reason ) );
}

template<class Step>
void FollowerStream::guarded( What const& what, Step step ) noexcept {
   try {
      step();
   } catch ( ... ) {
      fail( what );
   }
}

// The group

void FollowerStream::contentsLeft( Announced const& one, FlowOut const& marks,
                                   Varek::FieldId from ) noexcept {
   guarded( { one.type->record, {} }, [&] {
      flows_.insert_or_assign( one.handle, Flow{ marks.clone(), one.entity, from } );
   } );
}

void FollowerStream::leaveGroup() noexcept {
   publication_.group().leave( *this );
   inGroup_ = false;
   guarded( {}, [&] { useOwnOut(); } );
}

/// Frames of the connection's own follow.
void FollowerStream::useOwnOut() {
   if ( !std::exchange( groupIsLast_, false ) ) {
      return;
   }
   endpoint_.out().forgetLast();
   if ( inGroup_ ) {
      publication_.group().interrupted();
   }
   allowanceUpdate();
}

void FollowerStream::allowanceUpdate() {
   endpoint_.out().passOn();
   std::size_t const waiting = queue().bytes();
   endpoint_.out().allowanceIs( waiting < outputLimit_ ? outputLimit_ - waiting : 0 );
}

// Changes

void FollowerStream::offer( Announced const& one, Varek::FieldId id, void const* key,
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

void FollowerStream::rootGone( std::uint32_t handle ) noexcept {
   guarded( {}, [&] { rootsGone_.push_back( handle ); } );
}

bool FollowerStream::announce( Parent const& parent, Qel::Entity& child,
                               Varek::String const* rootName ) {
   Announced* const known = publication_.announcements().findOrNew( child, parent.entity );
   if ( !known ) {
      return false;
   }
   if ( ( known->to & bit_ ) != 0 ) {
      return true;
   }
   auto const later =
      publication_.announcements().announce( endpoint_.out(), parent, *known, rootName, bit_ );
   if ( !later ) {
      return false;
   }
   known->to |= bit_;
   if ( *later != 0 ) {
      contents( *known, *later );
   }
   return true;
}

void FollowerStream::contents( Announced one, std::uint64_t later ) {
   Flow flow{ FlowOut( *one.type->record, later ), one.entity, 0 };
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

bool FollowerStream::sayRoots() {
   QueueOut& to = endpoint_.out();
   while ( !rootsGone_.empty() ) {
      if ( !to.outSmReserveMessage( FrameKind::rootGone, rootsGone_.back(), {}, 0 ) ) {
         return false;
      }
      to.outSmCommitMessage();
      rootsGone_.pop_back();
   }
   for ( auto const& [name, root] : publication_.roots() ) {
      if ( !announce( {}, *root.entity, &name ) ) {
         return false;
      }
   }
   return true;
}

/// In the order of handles, from the one after the last: one that changes all the time starves
/// nobody.
bool FollowerStream::sayMarked() {
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

bool FollowerStream::sayAll() {
   if ( !sayRoots() || !sayMarked() ) {
      return false;
   }
   if ( !syncedSent_ ) {
      if ( !endpoint_.out().outSmReserveMessage( FrameKind::synced, 0, {}, 0 ) ) {
         return false;
      }
      endpoint_.out().outSmCommitMessage();
      syncedSent_ = true;
   }
   return sayPoint( endpoint_.out(), publication_.sequence() );
}

// Driving

void FollowerStream::receive() {
   endpoint_.receive( [this]( Frame const& frame ) {
      endpoint_.refuse( "a frame of kind " +
                        std::to_string( static_cast<unsigned>( frame.head.kind ) ) + " at offset " +
                        std::to_string( frame.offset ) + ", from a side that only follows" );
   } );
}

void FollowerStream::onReadable() {
   guarded( {}, [&] { receive(); } );
   finish();
}

void FollowerStream::onWritable() {
   guarded( {}, [&] {
      if ( endpoint_.readAwaitsWritable() ) [[unlikely]] {
         receive();
      }
      say();
   } );
   publication_.restartIfNeeded();
   finish();
}

void FollowerStream::say() {
   publication_.turnEnds();
   if ( endpoint_.running() && !std::exchange( defaultsKnown_, true ) ) {
      publication_.announcements().otherDefaultsAre( endpoint_.agreement().otherDefaults );
   }
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
         publication_.group().join( *this );
      }
      endpoint_.out().passOn();
   }
}

Clock::time_point FollowerStream::nextDeadline() const {
   return reported_  ? Clock::time_point::max()
          : closed() ? Clock::time_point::min()
                     : endpoint_.nextDeadline();
}

void FollowerStream::tick( Clock::time_point now ) {
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
   finish();
}

/// Called last in whatever may have closed the connection: its end may be told only once, and who
/// is told may delete it.
void FollowerStream::finish() {
   if ( !closed() ) {
      return;
   }
   detach();
   if ( !std::exchange( reported_, true ) ) {
      publication_.onStreamClosed( *this );
   }
}

} // namespace Mirror
