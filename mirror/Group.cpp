#include "mirror/Group.h"

#include <algorithm>

#include "mirror/LeaderConnection.h"

namespace Mirror {

using Qel::EntityQelNboAttrLogSa;
using Qel::NboAttrLog::FlowOut;
using Qel::NboAttrLog::FrameKind;

Group::~Group() = default;

void Group::join( LeaderConnection& member ) {
   members_.push_back( &member );
   bits_ |= member.bit();
   interrupted_ = true;
}

void Group::leave( LeaderConnection& member ) {
   std::erase( members_, &member );
   bits_ &= ~member.bit();
}

void Group::leaveThoseOver() {
   someOver_ = false;
   auto const all = members_;
   for ( LeaderConnection* const member : all )
      if ( member->isBehind() || member->queue().bytes() > outputLimit_ )
         member->leaveGroup();
}

void Group::pass( Varek::Ptr<Chunk> const& chunk, std::uint8_t const* from,
                  std::uint8_t const* to ) {
   for ( LeaderConnection* const member : members_ ) {
      OutQueue& queue = member->queue();
      queue.append( chunk, from, to );
      someOver_ |= queue.bytes() > outputLimit_;
   }
}

void Group::begin() {
   rewind();
   if ( interrupted_ ) [[unlikely]] {
      forgetLast();
      interrupted_ = false;
      for ( LeaderConnection* const member : members_ )
         member->groupFollows();
   }
}

void Group::end() {
   passOn();
   if ( someOver_ ) [[unlikely]]
      leaveThoseOver();
}

void Group::encode( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, void const* key ) {
   begin();
   streamAdapterOnAttribute( EntityQelNboAttrLogSa( sa.entity(), sa.type(), sa.handle(), *this ),
                             id, key );
   end();
}

bool Group::announce( Parent const& parent, Qel::Entity& child, Varek::String const* rootName ) {
   Announced* const known = announcements_.findOrNew( child, parent.entity );
   // Without a number all connections end soon; the caller goes on as if it were said.
   if ( !known || ( known->to & bits_ ) == bits_ )
      return true;
   if ( !writeAnnouncement( *this, parent, *known, rootName ) )
      return false;
   known->to |= bits_;
   contents( *known );
   return true;
}

/// What is in a new child is mostly little, but nothing bounds it: what is more than the limit is
/// said to each member on its own.
void Group::contents( Announced one ) {
   bool const outermost = depth_ == 0;
   bool said = false;
   if ( depth_ < maxDepth ) {
      if ( outermost )
         allowanceIs( outputLimit_ );
      FlowOut all( *one.type->record, true );
      ++depth_;
      said = handleAttrFlowOut(
                EntityQelNboAttrLogSa( *one.entity, *one.type->record, one.handle, *this, &all ), 0,
                all ) == 0;
      --depth_;
   }
   if ( !said ) {
      // All is said anew, between new markers: so must be what is below, or the end marker removes
      // it.
      announcements_.unsayBelow( *one.entity, bits_, [this]( std::uint32_t handle ) {
         for ( LeaderConnection* const member : members_ )
            member->forgotten( handle );
      } );
      for ( LeaderConnection* const member : members_ )
         member->contentsLeft( one );
      someOver_ = true;
   }
   if ( outermost )
      allowanceIs( unlimited );
}

void Group::rootAnnounce( Varek::String const& name, Qel::Entity& root ) {
   if ( members_.empty() )
      return;
   begin();
   announce( {}, root, &name );
   end();
}

void Group::rootGone( std::uint32_t handle ) {
   if ( members_.empty() )
      return;
   begin();
   outSmReserveMessage( FrameKind::rootGone, handle, {}, 0 );
   outSmCommitMessage();
   end();
}

} // namespace Mirror
