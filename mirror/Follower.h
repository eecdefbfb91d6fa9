#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <vector>

#include "Qel/Entity.h"
#include "Qel/HashMap2018.h"
#include "Varek/Export.h"
#include "Varek/Hash.h"
#include "Varek/String.h"
#include "framework/wire/AttrLog.h"
#include "framework/wire/Contents.h"
#include "mirror/Endpoint.h"
#include "mirror/EntityTable.h"

namespace Mirror {

struct FollowerOptions : EndpointOptions {};

/// Mirrors the trees that a leader publishes, over a socket or another transport, and keeps them
/// through reconnects: entities and their observers stay, and what the new connection brings is published
/// only where it differs, also if the leader has restarted meanwhile.
///
/// No input is trusted. A fault closes the connection with a reason; messages before it stay
/// applied, and no message is half applied. Types and attributes that only the leader knows are
/// skipped and counted. Observers may do anything but drive or delete the follower.
///
/// The mirrored trees are read-only proxies (Qel/Entity.h): a mutator that would change them, even
/// from an observer, raises Varek::WriteFromReadOnlyProxy. That holds with and without a
/// connection. It ends for an entity that is removed from a tree, for a root that is withdrawn or
/// replaced, and for all with the follower.
class VAREK_EXPORT Follower final : private Qel::NboAttrLog::Receiver,
                                    private Qel::ContentsReceiver {
public:
   explicit Follower( FollowerOptions = {} );
   Follower( Follower const& ) = delete;
   Follower& operator=( Follower const& ) = delete;
   ~Follower();

   /// Makes \p root, perhaps with observers on it already, the mirror of what the leader publishes
   /// under \p name, and a read-only proxy at once. If what is published has another type or other
   /// constructor parameters, it is replaced.
   /// To be called before the leader announces \p name: once it has, on the connection that
   /// connectedIs() gave last, this ends the process, until the leader withdraws it. Throws
   /// Varek::RangeError, with nothing changed, if \p root is part of a mirror already: a tree has
   /// one.
   void rootIs( Varek::String const& name, Varek::Ptr<Qel::Entity> root );
   /// The root under \p name; null if there is none.
   Varek::Ptr<Qel::Entity> root( Varek::String const& name ) const;
   std::vector<Varek::String> roots() const;

   using RootCall = std::function<void( Varek::String const& name, Qel::Entity& root )>;
   /// Called when a root is first published under its name, before its contents come.
   RootCall onRoot;
   /// Called when a root is no longer published and has become an ordinary entity. A root from
   /// rootIs() stays held, and is a proxy again when it is published again.
   RootCall onRootGone;
   /// Called when everything has come that was published when the connection began.
   std::function<void()> onSynced;
   /// Called when all has come that belongs together: what changed at the leader in one turn of its
   /// loop, or everything. The trees are then as they were at the leader at one moment.
   std::function<void( Point )> onConsistent;
   /// Called once when the connection ends, last in the call in which it ends: it may connect anew.
   std::function<void( Varek::String const& reason )> onClosed;

   /// Follows the leader at the other side of a transport. A connection that is there is dropped,
   /// without onClosed.
   void connectedIs( std::unique_ptr<Transport>, Varek::String const& peer = {} );
   /// The same for what a leader has said to a file, perhaps in an older version of the protocol.
   void recordedIs( std::unique_ptr<Transport>, Varek::String const& name );
   /// The same over \p fd, a socket that is connected or about to be, which is taken over also if
   /// this throws.
   void connectedIs( int fd, Varek::String const& peer = {} );
   /// What to wait with; -1 for none.
   int fd() const { return endpoint_ ? endpoint_->fd() : -1; }
   /// Whether to call onReadable() when the transport is readable, which is nearly always so while
   /// it is not closed, and onWritable() when it is writable.
   bool wantsRead() const { return endpoint_ && endpoint_->wantsRead(); }
   bool wantsWrite() const { return endpoint_ && endpoint_->wantsWrite(); }
   /// Reads and applies what has come, then rethrows the first exception that came of an observer,
   /// onRoot, onRootGone or onSynced. One that came during tick() waits for the next onReadable().
   void onReadable();
   void onWritable();
   bool closed() const { return !endpoint_ || endpoint_->closed(); }
   Varek::String reason() const { return endpoint_ ? endpoint_->reason() : Varek::String(); }
   /// Whether the connection has ended because the two sides do not fit together or the leader does
   /// not admit this follower: another attempt would fail in the same way. False for a lost
   /// connection, a later fault, and a leader that is full.
   bool refused() const { return endpoint_ && endpoint_->refused(); }
   /// Whether the leader has refused this follower but may admit it later, since it is full.
   bool refusedForNow() const { return endpoint_ && endpoint_->refusedForNow(); }
   bool synced() const { return synced_; }
   /// Ends the connection, without onClosed.
   void close();

   /// To be called when nextDeadline() has come; more often does no harm.
   void tick( Clock::time_point now );
   Clock::time_point nextDeadline() const;

   struct Stats {
      std::uint64_t frames;
      std::uint64_t bytes;
      std::uint64_t skipped; ///< Messages of attributes or entities that this side does not know.
      std::uint64_t unknownTypes; ///< Entities of types that this side does not know.
      std::uint64_t incomplete;   ///< Bytes of a frame that has not come as a whole.
      std::uint32_t entities; ///< That the leader has made known and this side knows the types of.
   };
   /// The statistics of the present connection.
   Stats stats() const;

private:
   struct Known : EntityRecord {
      Known() = default;
      Known( Qel::Entity& entity_, std::uint32_t handle_, Qel::TypeRecord const& type_ )
         : EntityRecord( Varek::Ptr<Qel::Entity>( &entity_ ), handle_ ), type( &type_ ) {}

      Qel::TypeRecord const* type = nullptr;
   };
   struct Root {
      Varek::Ptr<Qel::Entity> entity;
      std::uint32_t handle = 0;
      bool given = false;     // by rootIs()
      bool told = false;      // to onRoot
      bool announced = false; // on the present connection

      void readOnlyProxyIs( bool proxy ) const {
         if ( entity ) {
            entity->qelReadOnlyProxyIs( proxy );
         }
      }
   };

   /// A full sync of a collection that has begun and not ended.
   struct Transaction {
      Varek::Ptr<Qel::Entity> entity;
      Varek::FieldId field;
   };
   struct TransactionKey {
      struct Key {
         Qel::Entity const* entity;
         Varek::FieldId field;
         bool operator==( Key const& ) const = default;
         std::uint32_t hash( std::uint32_t seed ) const {
            return Varek::hashWord( reinterpret_cast<std::uintptr_t>( entity ),
                                    seed ^ field.value() );
         }
      };
      Key operator()( Transaction const& one ) const { return { one.entity.get(), one.field }; }
   };

   void entityRemoved( Qel::Entity& ) override;
   void childCame( Qel::Entity& parent, Qel::Entity& child, Qel::TypeRecord const&,
                   std::uint32_t handle ) override;
   void childLost( std::uint32_t handle ) override { announced( handle ); }
   void unknownSkipped( unsigned attributes ) override;

   void begin( EndpointOptions const&, std::unique_ptr<Transport>, Varek::String const& peer );
   void receive();
   void frame( Frame const& );
   void apply( Frame const& );
   void attribute( Frame const&, Known const& );
   void transaction( Frame const&, Known const& );
   void transactionBegin( Qel::EntityQelNboAttrLogSa const&, Frame const&, Qel::NboAttrLog::In& );
   void transactionCancel( Transaction const& );
   void transactionsCancel();
   void transactionsCancelOf( Qel::Entity&, Qel::TypeRecord const& );
   std::uint32_t expectedElements( Qel::NboAttrLog::In&, Frame const& begin );
   void announce( Frame const&, Known const& parent );
   void notKnown( Frame const& );
   void rootFrame( Frame const& );
   void rootGone( std::uint32_t handle );
   void syncedFrame();
   void consistentFrame( Frame const& );
   void contents( Qel::Entity&, Qel::TypeRecord const&, Qel::NboAttrLog::In&, bool isNew );
   void rootDrop( Varek::String const& name );
   Varek::Ptr<Qel::Entity> rootFor( Varek::String const& name, Qel::TypeRecord const&,
                                    Qel::NboAttrLog::In&, bool& isNew );
   template<class Call, class... Arguments>
   void tell( Call const&, Arguments&&... );
   void fail( Frame const&, std::string_view fault );
   void refuse( Frame const& );

   Known* find( std::uint32_t handle );
   Qel::TypeRecord const* typeNumbered( Qel::NboAttrLog::In& );
   static std::uint32_t childHandle( Qel::NboAttrLog::In&, std::uint32_t parent );
   void announced( std::uint32_t handle );
   void knownIs( std::uint32_t handle, std::uint32_t parentPlace, Qel::TypeRecord const&,
                 Qel::Entity& );
   void forget( std::uint32_t handle );
   void forgetAll();
   void finish();

   FollowerOptions const options_;
   std::unique_ptr<Endpoint> endpoint_;
   std::map<Varek::String, Root> roots_;
   EntityTable<Known> known_;
   HandleMap places_;         // of the above, by handle
   Known* last_ = nullptr;    // mostly the next message is of the same entity
   std::uint32_t newest_ = 0; // handle that has been announced
   bool blind_ = false;       // there may be newer ones in what was skipped
   Qel::HashMap2018<Transaction, TransactionKey, 0x3A94E6C1> transactions_; // none at most times
   std::exception_ptr observersFault_;
   std::uint64_t skipped_ = 0;
   std::uint64_t unknownTypes_ = 0;
   std::uint64_t countedOn_ = 0; // up to here room has been made for what the stream may hold
   bool synced_ = false;
   bool reported_ = false;
};

} // namespace Mirror
