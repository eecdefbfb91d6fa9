#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Qel/Entity.h"
#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "framework/KeyedFlow.h"
#include "framework/Records.h"

/// The attribute log of entities, over the records alone: how changes become messages, how a stream
/// that was blocked or has just begun is brought up to date, and how messages become changes.
///
/// The unit is the attribute of one entity toward one stream. While the stream takes messages each
/// change is written at once. While it does not, a change is a mark in the entity's FlowOut: a bit
/// for an attribute, a key for an element; what is written later is the state of that moment, so
/// a stream that stands still costs memory for what is different, never for how often it changed.
namespace Qel {

class EntityQelNboAttrLogSa;
class FirstFailure;

namespace NboAttrLog {

/// A stream, as the handlers of its entities use it.
class VAREK_EXPORT Stream {
public:
   Out& out() const { return out_; }
   /// Offers a message to those streams that share one encoding of each change. True if this one is
   /// among them: then it needs nothing more.
   virtual bool doMessageMulticast( EntityQelNboAttrLogSa const&, Varek::FieldId,
                                    void const* key ) = 0;
   /// Makes \p child, under \p field of the entity of \p parent, known to the other end and sees to
   /// it that its contents follow. False, with nothing done, if that cannot go out now; true also
   /// if it is known there already.
   virtual bool childAnnounce( EntityQelNboAttrLogSa const& parent, Varek::FieldId field,
                               Entity& child ) = 0;

protected:
   explicit Stream( Out& out ) : out_( out ) {}
   ~Stream() = default;

private:
   Out& out_;
};

/// What the receiving end wants to know while messages are applied.
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
   /// With \p dirty, nothing has been said so far and all is to be from \p from on (0 for all).
   FlowOut( TypeRecord const& type, bool dirty, Varek::FieldId from = 0 );
   FlowOut( FlowOut&& ) noexcept = default;
   FlowOut& operator=( FlowOut&& ) noexcept = default;
   virtual ~FlowOut();
   /// The same, for another stream that has been told the same.
   FlowOut clone() const;

   bool isDirty() const { return ( unsynced_ | dirty_ ) != 0; }
   bool hasDirtyCollKeys() const;
   /// Whether the attribute at \p index of the type's records has been said at least once.
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
   /// The attribute whose full sync is under way; its bookmark is in its KeyedFlow. At most one is.
   static constexpr unsigned noResync = 64;
   unsigned resync() const { return resync_; }
   void resyncIs( unsigned index ) { resync_ = index; }
   bool bookmark() const { return resync_ != noResync; }

   /// Null while there is nothing to keep for the collection at \p index.
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

/// One entity and one stream, in either direction. Made for the moment of a call.
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
   /// Where what cannot go out is marked; null for a stream that is not flow-controlled.
   NboAttrLog::FlowOut* flowOut() const { return flowOut_; }

   /// Whether the entity only mirrors one of another process; then messages may change it only if
   /// the framework, which keeps the mirror, allows it.
   bool readOnlyProxy() const { return readOnlyProxy_; }
   bool allowWriteFromReadOnlyRemote() const { return allowWrite_; }
   void readOnlyProxyIs( bool proxy, bool allowWrite ) {
      readOnlyProxy_ = proxy;
      allowWrite_ = allowWrite;
   }

   /// Whether the other end may hold the element, or the child, that the change which is being told
   /// concerns, from before that change. So it is unless this is told otherwise.
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

/// Writes what attribute \p id (of the element with \p key, if it has several) is now, or marks it
/// in the flow-out; does neither for an element that is gone and was never said. False for an id
/// that is not written. Throws NboAttrLog::FrameTooLarge for a value that no frame can hold, with
/// nothing written.
VAREK_EXPORT bool streamAdapterOnAttribute( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                            void const* key );

/// What is to be said of sa's entity to a new stream (\p dirty: all, from \p from on), or to one
/// that is up to date.
VAREK_EXPORT std::unique_ptr<NboAttrLog::FlowOut> newFlowOut( EntityQelNboAttrLogSa const&,
                                                              bool dirty, Varek::FieldId from );
/// Says what is still to be said, in id order from \p from on (0: from the first). Returns 0 when
/// all is out, the id to go on with when the stream is blocked, and -1 for an id that is not
/// written.
VAREK_EXPORT int handleAttrFlowOut( EntityQelNboAttrLogSa const&, Varek::FieldId from,
                                    NboAttrLog::FlowOut& );
/// Gives up an unfinished full sync of a collection, which then begins anew. Whether there was one.
VAREK_EXPORT bool freeResyncState( NboAttrLog::FlowOut& );

// Reading

/// Whether the constructor parameters that come next are those of \p entity.
VAREK_EXPORT bool sameConstructorParams( TypeRecord const&, Entity const& entity, NboAttrLog::In& );
/// The entity whose constructor parameters come next.
VAREK_EXPORT Ptr<Entity> newEntityForAttrLog( TypeRecord const&, NboAttrLog::In& );

/// Applies a message of attribute \p id, or of a removal under the negative of one, to sa's entity
/// through its mutators. False, with nothing read, for an id that the type does not have. Throws
/// AttrLogError or AttrLogLengthError, with nothing changed, for a message that is not in form, and
/// Varek::WriteFromReadOnlyProxy before anything else.
VAREK_EXPORT bool doHandleAttrDeserialization( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                               NboAttrLog::In& );
/// Begins (\p kind 0) or ends (2) the full sync of a collection: elements that did not come in
/// between are removed, with notifications. At the beginning room is made for \p expected elements.
/// False for an id that is no collection of the type. One that is under way must end, or be given
/// up, before the next begins: what a peer says is held against attrTransactionActive() first.
VAREK_EXPORT bool doHandleAttrTransaction( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                           unsigned kind, std::uint32_t expected = 0 );
/// Whether a full sync of the collection with attribute \p id is under way.
VAREK_EXPORT bool attrTransactionActive( EntityQelNboAttrLogSa const&, Varek::FieldId id );
/// Gives up the full sync that is under way, if one is: nothing is removed.
VAREK_EXPORT void attrTransactionCancel( EntityQelNboAttrLogSa const&, Varek::FieldId id );
/// How many elements a begin marker with payload \p in promises, but no more than the \p ahead
/// bytes that have come after it could hold. Takes off \p ahead what these elements need at least:
/// bytes that have been counted on for one collection are not for another.
VAREK_EXPORT std::uint32_t expectedElements( NboAttrLog::In& in, std::size_t& ahead );
/// The child under attribute \p id whose constructor parameters come next: the one that is there
/// or, if it has other parameters or there is none, a new one. Null, with nothing read, for an id
/// under which the type has no children, and if an observer has taken the new one out again. What
/// is thrown after the child was looked for, by observers mostly, is in \p failure: there may be a
/// child all the same.
VAREK_EXPORT Entity* childForAttrLog( EntityQelNboAttrLogSa const&, Varek::FieldId id,
                                      NboAttrLog::In&, FirstFailure& failure );

/// The child entity that a change of attribute \p id removed or replaced, from its old value; null
/// if it did not.
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
