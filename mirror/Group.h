#pragma once

#include <cstdint>
#include <vector>

#include "framework/AttrLog.h"
#include "mirror/Announcements.h"
#include "mirror/OutQueue.h"

namespace Mirror {

class LeaderConnection;
struct What;

/// The connections that are up to date: they share the encoding of each change, in the same memory.
/// Every member receives each message, and all members know the same entities. A member whose queue
/// is over the limit leaves once the change is written, so the group never waits. A change that
/// cannot be encoded (for want of memory, or since it is too large) ends the connections of all
/// members; a change that cannot be queued for a member ends only that connection.
class Group final : private ChunkOut, public Qel::NboAttrLog::Stream {
public:
   Group( Announcements& announcements, std::size_t outputLimit )
      : Stream( static_cast<Qel::NboAttrLog::Out&>( *this ) ), announcements_( announcements ),
        outputLimit_( outputLimit ) {}
   ~Group() override;
   using Out::payloadLimitIs;

   Connections members() const { return bits_; }
   std::vector<LeaderConnection*> const& list() const { return members_; }
   void join( LeaderConnection& );
   void leave( LeaderConnection& );
   /// A member got bytes that are not the group's: the next frame must not refer to the one before.
   void interrupted() { interrupted_ = true; }
   std::uint64_t messagesSent() const { return messages(); }

   /// Encodes what attribute \p id of sa's entity is now, for all.
   void encode( Qel::EntityQelNboAttrLogSa const&, Varek::FieldId id, void const* key ) noexcept;
   void rootAnnounce( Varek::String const& name, Qel::Entity& root ) noexcept;
   void rootGone( std::uint32_t handle ) noexcept;

   bool doMessageMulticast( Qel::EntityQelNboAttrLogSa const&, Varek::FieldId,
                            void const* ) override {
      return false;
   }
   bool childAnnounce( Qel::EntityQelNboAttrLogSa const& parent, Varek::FieldId field,
                       Qel::Entity& child ) override {
      return announce( { parent.handle(), field, &parent.entity() }, child, nullptr );
   }

private:
   void pass( Varek::Ptr<Chunk> const&, std::uint8_t const* from, std::uint8_t const* to ) override;
   template<class Say>
   void sayToAll( What const&, Say ) noexcept;
   void begin();
   bool announce( Parent const&, Qel::Entity& child, Varek::String const* rootName );
   void contents( Announced );
   void contentsLeft( Announced const&, Qel::NboAttrLog::FlowOut const&, Varek::FieldId from );
   void leaveThoseOver() noexcept;

   Announcements& announcements_;
   std::size_t const outputLimit_;
   std::vector<LeaderConnection*> members_;
   Connections bits_ = 0;
   unsigned depth_ = 0;
   bool interrupted_ = false;
   bool someOver_ = false;
};

} // namespace Mirror
