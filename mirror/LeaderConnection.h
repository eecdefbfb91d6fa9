#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "Varek/Export.h"
#include "framework/AttrLog.h"
#include "mirror/Announcements.h"
#include "mirror/Endpoint.h"

namespace Mirror {

class Leader;

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

/// One follower, as its leader sees it. Made by Leader::connectionIs; driven by the owner's loop:
/// when its transport is readable while wantsRead(), which is nearly always, and when it is
/// writable while wantsWrite(), which may become true with every change of the trees. Not to be
/// driven from within an observer.
class VAREK_EXPORT LeaderConnection final : private Internal::HasEndpoint,
                                            private Qel::NboAttrLog::Stream {
public:
   LeaderConnection( LeaderConnection const& ) = delete;
   LeaderConnection& operator=( LeaderConnection const& ) = delete;
   ~LeaderConnection();

   /// What to wait with; -1 for a transport that has no descriptor.
   int fd() const { return endpoint_.fd(); }
   Varek::String const& peer() const { return endpoint_.peer(); }
   bool wantsRead() const { return endpoint_.wantsRead(); }
   bool wantsWrite() const {
      return endpoint_.wantsWrite() || ( endpoint_.running() && !inGroup_ && endpoint_.mayWrite() );
   }
   void onReadable();
   void onWritable();
   bool closed() const { return endpoint_.closed(); }
   /// The reason why it is closed; a sentence.
   Varek::String const& reason() const { return endpoint_.reason(); }
   /// Whether all that there was when it came has been sent, or at least waits in the output.
   bool synced() const { return syncedSent_; }
   /// Whether it shares the encoding of changes: all that there is has been said.
   bool inGroup() const { return inGroup_; }

   /// The number of frames that were written for it alone.
   std::uint64_t ownMessages() const { return endpoint_.messages(); }
   std::uint64_t bytesSent() const { return endpoint_.bytesSent(); }
   std::size_t bytesWaiting() { return endpoint_.queue().bytes(); }
   /// The number of entities with something still to be written.
   std::size_t entitiesMarked() const { return flows_.size(); }

private:
   friend Leader;
   friend class Group;

   struct Flow {
      Qel::NboAttrLog::FlowOut marks;
      Varek::Ptr<Qel::Entity> entity;
      Varek::FieldId from = 0; // to go on with
   };

   LeaderConnection( Leader&, EndpointOptions const&, Connections bit );

   Connections bit() const { return bit_; }
   OutQueue& queue() { return endpoint_.queue(); }
   bool isBehind() const { return !flows_.empty(); }
   void groupFollows() { groupIsLast_ = true; }
   void contentsLeft( Announced const&, Qel::NboAttrLog::FlowOut const&,
                      Varek::FieldId from ) noexcept;
   void leaveGroup() noexcept;
   void useOwnOut();
   void allowanceUpdate();

   /// \p held: whether the follower may hold the element, or the child, that was there before.
   void offer( Announced const&, Varek::FieldId id, void const* key, bool held ) noexcept;
   void forgotten( std::uint32_t handle ) { flows_.erase( handle ); }
   void rootGone( std::uint32_t handle ) noexcept;
   /// Ends the connection for the exception that is being handled, with a reason that says what
   /// could not be said. Perhaps during a change, so nobody is told before the connection is driven
   /// again; what ends is readable, which sees to that.
   void fail( What const& ) noexcept;
   void end( Varek::String reason ) noexcept;
   template<class Step>
   void guarded( What const&, Step ) noexcept;
   void say();
   bool sayAll();
   bool sayRoots();
   bool sayMarked();
   bool announce( Parent const&, Qel::Entity& child, Varek::String const* rootName );
   void contents( Announced );
   void tick( Clock::time_point now );
   void receive();
   void finish();

   bool doMessageMulticast( Qel::EntityQelNboAttrLogSa const&, Varek::FieldId,
                            void const* key ) override;
   bool childAnnounce( Qel::EntityQelNboAttrLogSa const& parent, Varek::FieldId field,
                       Qel::Entity& child ) override {
      return announce( { parent.handle(), field, &parent.entity() }, child, nullptr );
   }

   Leader& leader_;
   std::size_t const outputLimit_;
   Connections const bit_;               // none for one that is refused
   std::map<std::uint32_t, Flow> flows_; // by handle
   std::uint32_t lastSaid_ = 0;
   std::vector<std::uint32_t> rootsGone_;
   unsigned depth_ = 0;
   bool inGroup_ = false;
   bool groupIsLast_ = false; // the last bytes of the stream are the group's
   bool syncedSent_ = false;
   bool detached_ = false;
   bool reported_ = false;
};

} // namespace Mirror
