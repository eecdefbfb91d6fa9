#pragma once

#include <cstdint>
#include <vector>

#include "framework/wire/AttrLog.h"
#include "mirror/Announcements.h"
#include "mirror/OutQueue.h"

namespace Mirror {

class FollowerStream;
struct What;

/// The connections that are up to date: they share the encoding of each change, in the same memory.
/// Every member receives each message, and all members know the same entities. A member whose queue
/// is over the limit leaves once the change is written, so the group never waits. A change that
/// cannot be encoded (for want of memory, or since it is too large) ends the connections of all
/// members; a change that cannot be queued for a member ends only that connection.
class Group final : private ChunkOut, private Qel::NboAttrLog::Stream {
public:
   Group( Announcements&, std::size_t outputLimit, std::size_t maxFrame );
   ~Group() override;

   Connections members() const { return bits_; }
   void join( FollowerStream& );
   void leave( FollowerStream& );
   /// A member got bytes that are not the group's: the next frame must not refer to the one before.
   void interrupted() { interrupted_ = true; }
   std::uint64_t messagesSent() const { return messages(); }

   /// Says to all what attribute \p id of an entity is now. \p held: whether members may hold the
   /// element, or the child, that was there before.
   void say( Announced const&, Varek::FieldId id, void const* key, bool held ) noexcept;
   void rootAnnounce( Varek::String const& name, Qel::Entity& root ) noexcept;
   void rootGone( std::uint32_t handle ) noexcept;
   /// What was said so far belongs together.
   void consistent( std::uint64_t sequence ) noexcept;

private:
   bool childAnnounce( Qel::EntityQelNboAttrLogSa const& parent, Varek::FieldId field,
                       Qel::Entity& child ) override {
      return announce( { parent.handle(), field, &parent.entity() }, child, nullptr );
   }
   void pass( Varek::Ptr<Chunk> const&, std::uint8_t const* from, std::uint8_t const* to ) override;
   template<class Say>
   void sayToAll( What const&, Say ) noexcept;
   void begin();
   bool announce( Parent const&, Qel::Entity& child, Varek::String const* rootName );
   void contents( Announced, std::uint64_t later );
   void contentsLeft( Announced const&, Qel::NboAttrLog::FlowOut const&, Varek::FieldId from );
   void leaveThoseOver() noexcept;

   Announcements& announcements_;
   std::size_t const outputLimit_;
   std::vector<FollowerStream*> members_;
   Connections bits_ = 0;
   unsigned depth_ = 0;
   bool interrupted_ = false;
   bool someOver_ = false;
};

} // namespace Mirror
