#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "framework/wire/AttrLog.h"
#include "mirror/Announcements.h"
#include "mirror/Connections.h"
#include "mirror/Endpoint.h"
#include "mirror/LeaderConnection.h"

namespace Mirror {

class Publication;

/// A deeper tree is not written in a single recursion but entity by entity, to bound the stack.
inline constexpr unsigned maxDepth = 64;

/// What could not be said: an attribute, all of an entity (without a field), or all of several.
struct What {
   Qel::TypeRecord const* type = nullptr;
   Varek::FieldId field;
};

namespace Internal {

/// One level deeper, for as long as it lives.
class Deeper {
public:
   explicit Deeper( unsigned& depth ) : depth_( depth ) { ++depth_; }
   Deeper( Deeper const& ) = delete;
   Deeper& operator=( Deeper const& ) = delete;
   ~Deeper() { --depth_; }

private:
   unsigned& depth_;
};

/// Made before the stream that writes through it.
struct HasEndpoint {
   Endpoint endpoint_;
};

} // namespace Internal

/// What goes to one follower. While the follower keeps up, its stream is in the group, and others
/// encode for it; while it does not, the stream keeps marks of what is still to be said, and says
/// it when the follower can take more.
class FollowerStream final : private Internal::HasEndpoint,
                             private Qel::NboAttrLog::Stream,
                             public LeaderConnection {
public:
   /// \p bit: its place among the streams of the publication; 0 for one that is refused.
   FollowerStream( Publication&, EndpointOptions const&, Connections bit );
   ~FollowerStream();

   int fd() const override { return endpoint_.fd(); }
   Varek::String const& peer() const override { return endpoint_.peer(); }
   bool wantsRead() const override { return endpoint_.wantsRead(); }
   bool wantsWrite() const override {
      return endpoint_.wantsWrite() || ( endpoint_.running() && !inGroup_ && endpoint_.mayWrite() );
   }
   void onReadable() override;
   void onWritable() override;
   bool closed() const override { return endpoint_.closed(); }
   Varek::String const& reason() const override { return endpoint_.reason(); }
   bool synced() const override { return syncedSent_; }
   bool inGroup() const override { return inGroup_; }
   std::uint64_t ownMessages() const override { return endpoint_.messages(); }
   std::uint64_t bytesSent() const override { return endpoint_.bytesSent(); }
   std::size_t bytesWaiting() const override { return endpoint_.queue().bytes(); }
   std::size_t entitiesMarked() const override { return flows_.size(); }

   // For the leader

   Connections bit() const { return bit_; }
   void start( std::unique_ptr<Transport>, Varek::String peer, Description ours );
   void refuse( Varek::String const& text, Endpoint::Refusal kind ) {
      endpoint_.refuse( text, kind );
   }
   void tick( Clock::time_point now );
   Clock::time_point nextDeadline() const;

   // For the publication

   /// Says the present state of an attribute, or marks it. \p held: whether the follower may hold
   /// the element, or the child, that was there before.
   void offer( Announced const&, Varek::FieldId id, void const* key, bool held ) noexcept;
   void forgotten( std::uint32_t handle ) { flows_.erase( handle ); }
   void rootGone( std::uint32_t handle ) noexcept;
   /// Nothing goes to the follower any more.
   void end( Varek::String reason ) noexcept;

   // For the group

   OutQueue& queue() { return endpoint_.queue(); }
   bool isBehind() const { return !flows_.empty(); }
   /// The last bytes of the stream are the group's.
   void groupFollows() { groupIsLast_ = true; }
   /// The group has announced an entity, but \p marks of its contents are still to be said.
   void contentsLeft( Announced const&, Qel::NboAttrLog::FlowOut const& marks,
                      Varek::FieldId from ) noexcept;
   void leaveGroup() noexcept;
   /// Ends the connection for the exception that is being handled, with a reason that says what
   /// could not be said. Perhaps during a change, so nobody is told before the connection is driven
   /// again; what ends is readable, which sees to that.
   void fail( What const& ) noexcept;

private:
   struct Flow {
      Qel::NboAttrLog::FlowOut marks;
      Varek::Ptr<Qel::Entity> entity;
      Varek::FieldId from = 0; // to go on with
   };

   void detach() noexcept;
   void useOwnOut();
   void allowanceUpdate();
   template<class Step>
   void guarded( What const&, Step ) noexcept;
   void say();
   bool sayAll();
   bool sayRoots();
   bool sayMarked();
   bool announce( Parent const&, Qel::Entity& child, Varek::String const* rootName );
   void contents( Announced, std::uint64_t later );
   void receive();
   void finish();

   bool childAnnounce( Qel::EntityQelNboAttrLogSa const& parent, Varek::FieldId field,
                       Qel::Entity& child ) override {
      return announce( { parent.handle(), field, &parent.entity() }, child, nullptr );
   }

   Publication& publication_;
   std::size_t const outputLimit_;
   Connections const bit_;
   std::map<std::uint32_t, Flow> flows_; // by handle
   std::uint32_t lastSaid_ = 0;
   std::vector<std::uint32_t> rootsGone_;
   unsigned depth_ = 0;
   bool inGroup_ = false;
   bool groupIsLast_ = false;
   bool syncedSent_ = false;
   bool defaultsKnown_ = false;
   bool detached_ = false;
   bool reported_ = false;
};

} // namespace Mirror
