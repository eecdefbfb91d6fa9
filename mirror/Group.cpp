#include "mirror/Group.h"

#include <algorithm>
#include <utility>

#include "mirror/FollowerStream.h"

namespace Mirror {

using Qel::EntityQelNboAttrLogSa;
using Qel::NboAttrLog::FlowOut;
using Qel::NboAttrLog::FrameKind;

Group::Group( Announcements& announcements, std::size_t outputLimit, std::size_t maxFrame )
   : Stream( static_cast<Qel::NboAttrLog::Out&>( *this ) ), announcements_( announcements ),
     outputLimit_( outputLimit ) {
   payloadLimitIs( maxFrame );
}

Group::~Group() = default;

void Group::join( FollowerStream& member ) {
   members_.push_back( &member );
   bits_ |= member.bit();
   interrupted_ = true;
}

void Group::leave( FollowerStream& member ) {
   std::erase( members_, &member );
   bits_ &= ~member.bit();
}

// Members may go while they are gone through, from the last to the first.

void Group::leaveThoseOver() noexcept {
   someOver_ = false;
   for ( std::size_t i = members_.size(); i-- > 0; ) {
      if ( FollowerStream& member = *members_[i];
           member.isBehind() || member.queue().bytes() > outputLimit_ ) {
         member.leaveGroup();
      }
   }
}

void Group::pass( Varek::Ptr<Chunk> const& chunk, std::uint8_t const* from,
                  std::uint8_t const* to ) {
   for ( std::size_t i = members_.size(); i-- > 0; ) {
      OutQueue& queue = members_[i]->queue();
      try {
         queue.append( chunk, from, to );
         someOver_ |= queue.bytes() > outputLimit_;
      } catch ( ... ) {
         members_[i]->fail( {} );
      }
   }
}

void Group::begin() {
   rewind();
   if ( interrupted_ ) [[unlikely]] {
      forgetLast();
      interrupted_ = false;
      for ( FollowerStream* const member : members_ ) {
         member->groupFollows();
      }
   }
}

template<class Say>
void Group::sayToAll( What const& what, Say say ) noexcept {
   try {
      begin();
      say();
      passOn();
   } catch ( ... ) {
      // Some of it may have been said, and some is noted as said: no member has a stream that goes
      // on from here.
      drop();
      while ( !members_.empty() ) {
         members_.back()->fail( what );
      }
   }
   if ( someOver_ ) [[unlikely]] {
      leaveThoseOver();
   }
}

void Group::say( Announced const& one, Varek::FieldId id, void const* key, bool held ) noexcept {
   sayToAll( { one.type->record, id }, [&] {
      EntityQelNboAttrLogSa sa( *one.entity, *one.type->record, one.handle, *this );
      sa.heldBeforeIs( held );
      streamAdapterOnAttribute( sa, id, key );
   } );
}

bool Group::announce( Parent const& parent, Qel::Entity& child, Varek::String const* rootName ) {
   // Members may end while something is said, the last of them too: then there is nobody to say it
   // to, and nothing to be noted.
   if ( bits_ == 0 ) {
      return true;
   }
   Announced* const known = announcements_.findOrNew( child, parent.entity );
   // Without a number all connections end soon; the caller goes on as if it were said.
   if ( !known || ( known->to & bits_ ) == bits_ ) {
      return true;
   }
   // Noted first, so that the entry stays when a member ends meanwhile.
   Connections const before = std::exchange( known->to, known->to | bits_ );
   Announced const one = *known; // which goes with the last member
   auto const later = announcements_.announce( *this, parent, one, rootName, bits_ );
   if ( !later ) {
      if ( bits_ != 0 ) {
         known->to &= before;
      }
      return bits_ == 0;
   }
   if ( bits_ != 0 && *later != 0 ) {
      contents( one, *later );
   }
   return true;
}

/// What is in a new child is mostly little, but nothing bounds it: what is more than the limit is
/// left to each member.
void Group::contents( Announced one, std::uint64_t later ) {
   FlowOut all( *one.type->record, later );
   Varek::FieldId from = 0;
   if ( depth_ < maxDepth ) {
      Internal::Deeper const deeper( depth_ );
      bool const outermost = depth_ == 1;
      if ( outermost ) {
         allowanceIs( outputLimit_ );
      }
      auto const unlimit = [&] {
         if ( outermost ) {
            allowanceIs( unlimited );
         }
      };
      Qel::FlowOutProgress came{};
      try {
         came = flowOutContinue(
            EntityQelNboAttrLogSa( *one.entity, *one.type->record, one.handle, *this, &all ), 0,
            all );
      } catch ( ... ) {
         drop();
         unlimit();
         throw;
      }
      unlimit();
      if ( came.done() ) {
         return;
      }
      from = came.next;
   }
   contentsLeft( one, all, from );
}

void Group::contentsLeft( Announced const& one, FlowOut const& marks, Varek::FieldId from ) {
   for ( std::size_t i = members_.size(); i-- > 0; ) {
      members_[i]->contentsLeft( one, marks, from );
   }
   someOver_ = true;
}

void Group::rootAnnounce( Varek::String const& name, Qel::Entity& root ) noexcept {
   if ( !members_.empty() ) {
      sayToAll( { &Qel::typeRecord( root ), {} }, [&] { announce( {}, root, &name ); } );
   }
}

void Group::rootGone( std::uint32_t handle ) noexcept {
   if ( members_.empty() ) {
      return;
   }
   sayToAll( {}, [&] {
      outSmReserveMessage( FrameKind::rootGone, handle, {}, 0 );
      outSmCommitMessage();
   } );
}

void Group::consistent( std::uint64_t sequence ) noexcept {
   if ( members_.empty() ) {
      return;
   }
   sayToAll( {}, [&] {
      outSmReserveAside( FrameKind::consistent, 8 );
      put64( sequence );
      outSmCommitMessage();
   } );
}

} // namespace Mirror
