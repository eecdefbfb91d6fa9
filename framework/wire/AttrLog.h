#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Qel/Entity.h"
#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "framework/records/Records.h"
#include "framework/wire/KeyedFlow.h"

/// The attribute log of entities, from the records alone: changes become messages, a stream that
/// was blocked or is new is brought up to date, and messages become changes.
///
/// The unit is the attribute of one entity toward one stream. While the stream takes messages each
/// change is written at once. While it does not, a change is a mark in the entity's FlowOut: a bit
/// for an attribute, a key for an element; what is written later is the state of that moment, so
/// a stream that stands still costs memory for what is different, never for how often it changed.
namespace Qel {

class EntityQelNboAttrLogSa;
class FirstFailure;

/// What happens to a collection's full sync at the receiving end.
enum class Transaction : std::uint8_t {
   begin, ///< All elements that are there are marked.
   end,   ///< Elements that are still marked are removed, with notifications.
   cancel ///< Marks are forgotten, and nothing is removed.
};

namespace NboAttrLog {

/// A stream, as the handlers of its entities use it.
class VAREK_EXPORT Stream {
public:
   Out& out() const { return out_; }
   /// Offers a message to the streams that share one encoding of each change. True if this stream
   /// is among them, and so needs nothing more. Asked in multicast mode alone.
   virtual bool doMessageMulticast( EntityQelNboAttrLogSa const&, Varek::FieldId,
                                    [[maybe_unused]] void const* key ) {
      return false;
   }
   /// Announces \p child, under \p field of the entity of \p parent, to the other end, and has its
   /// contents follow. True also if the other end knows it already. False, with nothing done, if
   /// the stream is blocked.
   virtual bool childAnnounce( EntityQelNboAttrLogSa const& parent, Varek::FieldId field,
                               Entity& child ) = 0;

protected:
   explicit Stream( Out& out ) : out_( out ) {}
   ~Stream() = default;

private:
   Out& out_;
};

/// Notifications to the receiving end while messages are applied.
class VAREK_EXPORT Receiver {
public:
   /// \p removed is no longer part of the tree, with all that is below it.
   virtual void entityRemoved( Entity& removed ) = 0;

protected:
   ~Receiver() = default;
};

/// What is still to be said of one entity to one stream.
class VAREK_EXPORT FlowOut {
public:
   /// With \p dirty, every attribute from id \p from on (0 for all) is still to be written.
   FlowOut( TypeRecord const& type, bool dirty, Varek::FieldId from = 0 );
   /// Only the attributes whose bits are in \p later (framework/wire/Contents.h) are.
   FlowOut( TypeRecord const& type, std::uint64_t later );
   FlowOut( FlowOut&& ) noexcept = default;
   FlowOut& operator=( FlowOut&& ) noexcept = default;
   virtual ~FlowOut();
   /// A copy for another stream that has received the same.
   FlowOut clone() const;

   bool isDirty() const { return ( unsynced_ | dirty_ ) != 0; }
   bool hasDirtyCollKeys() const;
   /// Whether the attribute at \p index of the type's records has been written at least once.
   bool hasSynced( unsigned index ) const { return ( unsynced_ >> index & 1 ) == 0; }
   void synced( unsigned index ) { unsynced_ &= ~bit( index ); }
   bool dirty( unsigned index ) const { return ( dirty_ >> index & 1 ) != 0; }
   void dirtyIs( unsigned index, bool dirty ) { set( dirty_, index, dirty ); }
   /// Of a dirty single child: whether the other end holds none.
   bool isNew( unsigned index ) const { return ( new_ >> index & 1 ) != 0; }
   void newIs( unsigned index, bool isNew ) { set( new_, index, isNew ); }
   /// Whether the begin marker of a collection has been sent, and no end marker.
   bool begun( unsigned index ) const { return ( begun_ >> index & 1 ) != 0; }
   void begunIs( unsigned index, bool begun ) { set( begun_, index, begun ); }
   /// The only attribute whose full sync may be under way; its bookmark is in its KeyedFlow.
   static constexpr unsigned noResync = 64;
   unsigned resync() const { return resync_; }
   void resyncIs( unsigned index ) { resync_ = index; }
   bool bookmark() const { return resync_ != noResync; }

   /// Null while nothing is pending for the collection at \p index.
   KeyedFlow* keyed( unsigned index ) const {
      return index < keyed_.size() ? keyed_[index].get() : nullptr;
   }
   KeyedFlow& keyedIs( unsigned index, std::unique_ptr<KeyedFlow> );
   void keyedDel( unsigned index ) { keyed_[index].reset(); }

private:
   FlowOut( FlowOut const& other, std::size_t keyed )
      : unsynced_( other.unsynced_ ), dirty_( other.dirty_ ), new_( other.new_ ),
        begun_( other.begun_ ), resync_( other.resync_ ), keyed_( keyed ) {}
   static constexpr std::uint64_t bit( unsigned index ) { return std::uint64_t{ 1 } << index; }
   static void set( std::uint64_t& bits, unsigned index, bool value ) {
      bits = value ? bits | bit( index ) : bits & ~bit( index );
   }

   std::uint64_t unsynced_ = 0;
   std::uint64_t dirty_ = 0;
   std::uint64_t new_ = 0;
   std::uint64_t begun_ = 0;
   unsigned resync_ = noResync;
   std::vector<std::unique_ptr<KeyedFlow>> keyed_;
};

} // namespace NboAttrLog

/// An entity and a stream, in either direction. Lives no longer than a call.
class VAREK_EXPORT EntityQelNboAttrLogSa {
public:
   /// For writing; \p handle names the entity on the stream.
   EntityQelNboAttrLogSa( Entity& entity, TypeRecord const& type, std::uint32_t handle,
                          NboAttrLog::Stream& stream, NboAttrLog::FlowOut* flowOut = nullptr )
      : entity_( entity ), type_( type ), handle_( handle ), stream_( &stream ),
        flowOut_( flowOut ) {}
   /// For reading.
   EntityQelNboAttrLogSa( Entity& entity, TypeRecord const& type, NboAttrLog::Receiver* receiver )
      : entity_( entity ), type_( type ), receiver_( receiver ) {}

   Entity& entity() const { return entity_; }
   TypeRecord const& type() const { return type_; }
   std::uint32_t handle() const { return handle_; }
   NboAttrLog::Stream& stream() const { return *stream_; }
   NboAttrLog::Out& out() const { return stream_->out(); }
   NboAttrLog::Receiver* receiver() const { return receiver_; }
   /// Marks the changes that cannot go out; null for a stream that is not flow-controlled.
   NboAttrLog::FlowOut* flowOut() const { return flowOut_; }

   /// Whether the entity mirrors an entity of another process; then messages may change it only if
   /// the framework, which keeps the mirror, allows it.
   bool readOnlyProxy() const { return readOnlyProxy_; }
   bool allowWriteFromReadOnlyRemote() const { return allowWrite_; }
   void readOnlyProxyIs( bool proxy, bool allowWrite ) {
      readOnlyProxy_ = proxy;
      allowWrite_ = allowWrite;
   }

   /// The same toward \p child, whose messages are in those of this entity.
   EntityQelNboAttrLogSa of( Entity& child, TypeRecord const& type ) const {
      EntityQelNboAttrLogSa made( child, type, receiver_ );
      made.readOnlyProxyIs( readOnlyProxy_, allowWrite_ );
      return made;
   }

   /// Whether the other end may hold the changed element or child from before the present change;
   /// true unless set otherwise.
   bool heldBefore() const { return heldBefore_; }
   void heldBeforeIs( bool held ) { heldBefore_ = held; }

   /// Whether the stream shares one encoding of each change with others.
   bool multicast() const { return multicast_; }
   void multicastIs( bool multicast ) { multicast_ = multicast; }

private:
   Entity& entity_;
   TypeRecord const& type_;
   std::uint32_t handle_ = 0;
   bool readOnlyProxy_ = false;
   bool allowWrite_ = false;
   bool multicast_ = false;
   bool heldBefore_ = true;
   NboAttrLog::Stream* stream_ = nullptr;
   NboAttrLog::FlowOut* flowOut_ = nullptr;
   NboAttrLog::Receiver* receiver_ = nullptr;
};

// Writing

/// Size of the constructor parameters of \p entity, and their writing, in order.
VAREK_EXPORT std::size_t attrLogSizeCtorParams( NboAttrLog::Version, TypeRecord const&,
                                                Entity const& );
VAREK_EXPORT void serializeConstructorParams( NboAttrLog::Out&, TypeRecord const&, Entity const& );

/// Writes the present value of attribute \p id (of the element with \p key, if it has several), or
/// marks it in the flow-out; does neither for an element that is gone and was never written. False
/// for an id that is not written. Throws NboAttrLog::FrameTooLarge, with nothing written, for a
/// value that no frame can hold.
VAREK_EXPORT bool streamAdapterOnAttribute( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                            void const* key );

/// What is to be said of sa's entity to a new stream (\p dirty: all, from \p from on), or to a
/// stream that is up to date.
VAREK_EXPORT std::unique_ptr<NboAttrLog::FlowOut> newFlowOut( EntityQelNboAttrLogSa const&,
                                                              bool dirty, Varek::FieldId from );
/// How far flowOutContinue() came.
struct FlowOutProgress {
   enum class State : std::uint8_t {
      done,        ///< All is out.
      blocked,     ///< The stream takes no more; \p next is the id to go on with.
      unknownField ///< Nothing is written under the id that was given.
   };
   State state;
   Varek::FieldId next = 0; ///< 0 unless blocked.

   bool done() const { return state == State::done; }
};
/// Says what is still to be said, in id order from \p from on (0: from the first).
VAREK_EXPORT FlowOutProgress flowOutContinue( EntityQelNboAttrLogSa const&, Varek::FieldId from,
                                              NboAttrLog::FlowOut& );
/// The same as a number: 0 when all is out, the id to go on with when the stream is blocked, and -1
/// for an id under which nothing is written.
VAREK_EXPORT int handleAttrFlowOut( EntityQelNboAttrLogSa const&, Varek::FieldId from,
                                    NboAttrLog::FlowOut& );
/// Gives up an unfinished full sync of a collection, which then begins anew. Returns whether there
/// was such a sync.
VAREK_EXPORT bool freeResyncState( NboAttrLog::FlowOut& );

// Reading

/// Whether the constructor parameters that come next are those of \p entity.
VAREK_EXPORT bool sameConstructorParams( TypeRecord const&, Entity const& entity, NboAttrLog::In& );
/// The entity whose constructor parameters come next.
VAREK_EXPORT Ptr<Entity> newEntityForAttrLog( TypeRecord const&, NboAttrLog::In& );

/// Applies a message of attribute \p id, or a removal under the negative of an id, to sa's entity
/// through its mutators. False, with nothing read, for an id that the type does not have. Throws
/// AttrLogError or AttrLogLengthError, with nothing changed, for a message that is not in form, and
/// Varek::WriteFromReadOnlyProxy before anything else.
VAREK_EXPORT bool doHandleAttrDeserialization( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                               NboAttrLog::In& );
/// Begins, ends or gives up the full sync of a collection. At the beginning room is made for \p
/// expected elements. False for an id that is no collection of the type. A full sync that is under
/// way must end, or be given up, before the next begins: the caller checks what a peer says by
/// attrTransactionActive() first.
VAREK_EXPORT bool doHandleAttrTransaction( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                           Transaction kind, std::uint32_t expected = 0 );
/// The same by number: 0 begins, 2 ends, any other number does nothing.
VAREK_EXPORT bool doHandleAttrTransaction( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                           unsigned kind, std::uint32_t expected = 0 );
/// Whether a full sync of the collection with attribute \p id is under way.
VAREK_EXPORT bool attrTransactionActive( EntityQelNboAttrLogSa const&, Varek::FieldId id );
/// How many elements a begin marker with payload \p in promises, but no more than the \p ahead
/// bytes that have come after it could hold. Takes off \p ahead what these elements need at least:
/// bytes that have been counted on for one collection are not for another.
VAREK_EXPORT std::uint32_t expectedElements( NboAttrLog::In& in, std::size_t& ahead );
/// The child under attribute \p id whose constructor parameters come next: the present child or, if
/// it has other parameters or there is none, a new child. Null, with nothing read, for an id under
/// which the type has no children; null also if an observer has taken the new child out again.
/// Exceptions after the look-up, which come mostly from observers, are put in \p failure: there may
/// be a child all the same. \p isNew: the child was made here.
VAREK_EXPORT Entity* childForAttrLog( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                      NboAttrLog::In&, FirstFailure& failure, bool& isNew );

/// The child entity that a change of attribute \p id removed or replaced, from the old value; null
/// if the change did neither.
VAREK_EXPORT Entity* oldChild( TypeRecord const&, Varek::FieldId id, void const* oldData );

/// Calls \p visit for each child entity of \p entity.
VAREK_EXPORT void forEachChild( TypeRecord const&, Entity const& entity,
                                void ( *visit )( Entity&, void* ), void* context );

namespace Internal {

/// The same of an entity of any type, for who does not know that they are entities.
VAREK_EXPORT void visitChildren( Entity const& entity, void ( *visit )( Varek::Publisher&, void* ),
                                 void* context );

} // namespace Internal

} // namespace Qel
