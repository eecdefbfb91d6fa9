#include "framework/wire/AttrLog.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <span>

#include "Varek/ByteOrder.h"
#include "framework/wire/AttrLogRecords.h"
#include "framework/wire/Contents.h"

namespace Qel {

void formAppend( Varek::String& text, std::string_view part ) { text += part; }

namespace NboAttrLog {

FlowOut::FlowOut( TypeRecord const& type, bool dirty, Varek::FieldId from ) {
   if ( !dirty ) {
      return;
   }
   for ( unsigned i = 0; i < type.attributes.size(); ++i ) {
      if ( type.wire[i].log && type.attributes[i].id >= from ) {
         unsynced_ |= bit( i );
      }
   }
}

FlowOut::FlowOut( TypeRecord const& type, std::uint64_t later ) : FlowOut( type, true ) {
   for ( unsigned i = 0; i < type.attributes.size(); ++i ) {
      if ( ( later & contentsBit( type.attributes[i].id ) ) == 0 ) {
         synced( i );
      }
   }
}

FlowOut::~FlowOut() = default;

bool FlowOut::hasDirtyCollKeys() const {
   for ( auto const& one : keyed_ ) {
      if ( one && one->dirtyKeys() != 0 ) {
         return true;
      }
   }
   return false;
}

FlowOut FlowOut::clone() const {
   FlowOut made( *this, keyed_.size() );
   for ( std::size_t i = 0; i < keyed_.size(); ++i ) {
      if ( keyed_[i] ) {
         made.keyed_[i] = std::make_unique<KeyedFlow>( *keyed_[i] );
      }
   }
   return made;
}

KeyedFlow& FlowOut::keyedIs( unsigned index, std::unique_ptr<KeyedFlow> keyed ) {
   if ( keyed_.size() <= index ) {
      keyed_.resize( index + 1 );
   }
   keyed_[index] = std::move( keyed );
   return *keyed_[index];
}

} // namespace NboAttrLog

namespace Internal {

namespace {

/// The begin marker gives the number of elements, in as few bytes as the number needs.
bool transactionMarker( EntityQelNboAttrLogSa const& sa, unsigned index, NboAttrLog::FrameKind kind,
                        std::uint32_t count = 0 ) {
   auto const bytes = ( static_cast<unsigned>( std::bit_width( count ) ) + 7 ) / 8;
   if ( !sa.out().outSmReserveMessage( kind, sa.handle(), sa.type().attributes[index].id,
                                       bytes ) ) {
      return false;
   }
   sa.out().cursorIs( Varek::putBigEndian( sa.out().cursor(), count, bytes ) );
   sa.out().outSmCommitMessage();
   return true;
}

} // namespace

bool syncBegin( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut, unsigned index,
                std::uint32_t elements ) {
   VAREK_ASSERT_TEXT( !flowOut.bookmark(), "!rsc->bookmark()" );
   if ( flowOut.begun( index ) ) {
      if ( !transactionMarker( sa, index, NboAttrLog::FrameKind::transactionCancel ) ) {
         return false;
      }
      flowOut.begunIs( index, false );
   }
   if ( !transactionMarker( sa, index, NboAttrLog::FrameKind::transactionBegin, elements ) ) {
      return false;
   }
   flowOut.begunIs( index, true );
   return true;
}

bool syncEnd( EntityQelNboAttrLogSa const& sa, NboAttrLog::FlowOut& flowOut, unsigned index ) {
   if ( !transactionMarker( sa, index, NboAttrLog::FrameKind::transactionEnd ) ) {
      return false;
   }
   flowOut.resyncIs( NboAttrLog::FlowOut::noResync );
   flowOut.begunIs( index, false );
   flowOut.synced( index );
   return true;
}

void childApply( EntityQelNboAttrLogSa const&, NboAttrLog::In& in ) {
   in.fail( "a child entity is announced, it has no value" );
}

void childRemoved( EntityQelNboAttrLogSa const& sa, Entity* child ) {
   if ( child && sa.receiver() ) {
      sa.receiver()->entityRemoved( *child );
   }
}

} // namespace Internal

namespace {

using NboAttrLog::FlowOut;
using NboAttrLog::In;

/// The attribute of \p type with this id that travels in messages; null if there is none.
AttributeLog const* logOf( TypeRecord const& type, Varek::FieldId id, unsigned& index ) {
   AttributeRecord const* const attribute = type.attribute( id );
   if ( !attribute ) {
      return nullptr;
   }
   index = static_cast<unsigned>( attribute - type.attributes.data() );
   return type.wire[index].log;
}

/// Calls \p say; if it throws because a value is too large, adds the type and attribute.
template<class Say>
bool naming( EntityQelNboAttrLogSa const& sa, unsigned index, Say say ) {
   try {
      return say();
   } catch ( NboAttrLog::FrameTooLarge& tooLarge ) {
      tooLarge.ownerIs( sa.type().name, sa.type().attributes[index].name );
      throw;
   }
}

/// For an attribute without keys. That there is no child needs to be said only where one may be
/// \p held.
bool writeSingle( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
                  bool held ) {
   if ( log.write ) [[likely]] {
      return log.write( sa );
   }
   AttributeRecord const& attribute = sa.type().attributes[index];
   if ( Entity* const child = attribute.child( &sa.entity() ) ) {
      return sa.stream().childAnnounce( sa, attribute.id, *child );
   }
   if ( !held ) {
      return true;
   }
   if ( !Internal::collSerializeCheck( sa, attribute.id, true, 0 ) ) {
      return false;
   }
   sa.out().outSmCommitMessage();
   return true;
}

void writeOrMarkSingle( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index ) {
   FlowOut* const flowOut = sa.flowOut();
   if ( flowOut && !flowOut->hasSynced( index ) ) {
      return; // the attribute will be written as a whole
   }
   bool const held =
      flowOut && flowOut->dirty( index ) ? !flowOut->isNew( index ) : sa.heldBefore();
   bool const out = writeSingle( sa, log, index, held );
   if ( flowOut ) {
      flowOut->dirtyIs( index, !out );
      flowOut->newIs( index, !out && !held );
   }
}

/// Restarts the full sync of a collection if continuing it would cost more.
void abandonOutgrown( EntityQelNboAttrLogSa const& sa, FlowOut& flowOut, unsigned index ) {
   NboAttrLog::KeyedFlow const* const keyed = flowOut.keyed( index );
   if ( !keyed->bookmark || !keyed->outgrown( sa.type().attributes[index].size( &sa.entity() ) ) ) {
      return;
   }
   freeResyncState( flowOut );
   flowOut.keyedDel( index );
}

/// For the element with \p key.
void writeOrMarkElement( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
                         void const* key ) {
   FlowOut* const flowOut = sa.flowOut();
   NboAttrLog::KeyedFlow* keyed = flowOut ? flowOut->keyed( index ) : nullptr;
   if ( flowOut && !flowOut->hasSynced( index ) && !keyed ) {
      return; // the collection will be written as a whole, which has not begun
   }
   bool const held = keyed ? keyed->mayBeHeld( key, sa.heldBefore() ) : sa.heldBefore();
   bool const out = Internal::keyedWrite( sa, index, key, held );
   if ( !flowOut || ( out && !keyed ) ) {
      return;
   }
   if ( !keyed ) {
      keyed =
         &flowOut->keyedIs( index, std::make_unique<NboAttrLog::KeyedFlow>( *log.keyed->key ) );
   }
   if ( out ) {
      keyed->dirty.erase( key );
   } else {
      keyed->dirty.insert( key, held );
   }
   flowOut->dirtyIs( index, keyed->dirtyKeys() != 0 );
   abandonOutgrown( sa, *flowOut, index );
}

bool flush( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
            FlowOut& flowOut ) {
   if ( flowOut.hasSynced( index ) && !flowOut.dirty( index ) ) {
      return true;
   }
   if ( log.keyed ) {
      // A collection with a lower id comes first now.
      if ( flowOut.resync() != index ) {
         freeResyncState( flowOut );
      }
      return Internal::keyedFlush( sa, flowOut, index );
   }
   if ( !writeSingle( sa, log, index, !flowOut.isNew( index ) ) ) {
      return false;
   }
   flowOut.synced( index );
   flowOut.dirtyIs( index, false );
   flowOut.newIs( index, false );
   return true;
}

/// The constructor parameter that comes next in a message, if entities of the type have one.
class Parameter {
public:
   Parameter( TypeRecord const& type, In& in ) : log_( *type.constructorLog ) {
      if ( log_.form ) {
         given_.emplace( *log_.form, in );
      }
      in.expectEnd();
   }
   /// Null if there is none.
   void const* get() const { return given_ ? given_->get() : nullptr; }
   /// Whether \p entity, of that type, has been made with it.
   bool isOf( Entity const& entity ) const {
      return !given_ || log_.form->equal( given_->get(), log_.read( entity ) );
   }

private:
   ConstructorLog const& log_;
   std::optional<Internal::UntypedKey> given_;
};

void childRemove( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
                  In& in ) {
   in.expectEnd();
   Ptr<Entity> const before( sa.type().attributes[index].child( &sa.entity() ) );
   FirstFailure failure;
   failure.guard( [&] { log.childDel( sa.entity() ); } );
   Internal::childRemoved( sa, before.get() );
   failure.rethrow();
}

Entity* childMake( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index, In& in,
                   FirstFailure& failure, bool& isNew ) {
   AttributeRecord const& attribute = sa.type().attributes[index];
   Parameter const given( typeRecord( attribute.childType() ), in );
   Ptr<Entity> const keepAlive( &sa.entity() );
   Ptr<Entity> const before( attribute.child( &sa.entity() ) );
   failure.guard( [&] { log.childIs( sa.entity(), given.get() ); } );
   if ( before && before->parent() != &sa.entity() ) {
      Internal::childRemoved( sa, before.get() );
   }
   Entity* const held = attribute.child( &sa.entity() );
   isNew = held != before.get();
   return held && given.isOf( *held ) ? held : nullptr;
}

/// Before anything of a message is looked at.
void requireWritable( EntityQelNboAttrLogSa const& sa ) {
   bool const proxy = sa.readOnlyProxy() || sa.entity().readOnlyProxy();
   if ( proxy && !sa.allowWriteFromReadOnlyRemote() ) [[unlikely]] {
      throw Varek::WriteFromReadOnlyProxy( sa.type().name );
   }
}

} // namespace

std::size_t attrLogSizeCtorParams( NboAttrLog::Version, TypeRecord const& type,
                                   Entity const& entity ) {
   ConstructorLog const& log = *type.constructorLog;
   return log.form ? log.form->wireSize( log.read( entity ) ) : 0;
}

void serializeConstructorParams( NboAttrLog::Out& out, TypeRecord const& type,
                                 Entity const& entity ) {
   ConstructorLog const& log = *type.constructorLog;
   if ( log.form ) {
      out.cursorIs( log.form->put( out.cursor(), log.read( entity ) ) );
   }
}

bool streamAdapterOnAttribute( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                               void const* key ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   if ( !log ) {
      return false;
   }
   if ( !sa.multicast() || !sa.stream().doMessageMulticast( sa, id, key ) ) {
      naming( sa, index, [&] {
         if ( log->keyed ) {
            writeOrMarkElement( sa, *log, index, key );
         } else {
            writeOrMarkSingle( sa, *log, index );
         }
         return true;
      } );
   }
   return true;
}

std::unique_ptr<FlowOut> newFlowOut( EntityQelNboAttrLogSa const& sa, bool dirty,
                                     Varek::FieldId from ) {
   return std::make_unique<FlowOut>( sa.type(), dirty, from );
}

FlowOutProgress flowOutContinue( EntityQelNboAttrLogSa const& sa, Varek::FieldId from,
                                 FlowOut& flowOut ) {
   using State = FlowOutProgress::State;
   TypeRecord const& type = sa.type();
   unsigned index = 0;
   if ( from != Varek::FieldId( 0 ) && !logOf( type, from, index ) ) {
      return { State::unknownField };
   }
   // A flow-out holds a single bookmark; a caller that jumps ahead of it gives it up.
   if ( flowOut.bookmark() && flowOut.resync() < index ) {
      freeResyncState( flowOut );
   }
   for ( ; index < type.attributes.size(); ++index ) {
      AttributeLog const* const log = type.wire[index].log;
      if ( log && !naming( sa, index, [&] { return flush( sa, *log, index, flowOut ); } ) ) {
         return { State::blocked, type.attributes[index].id };
      }
   }
   return { State::done };
}

int handleAttrFlowOut( EntityQelNboAttrLogSa const& sa, Varek::FieldId from, FlowOut& flowOut ) {
   FlowOutProgress const came = flowOutContinue( sa, from, flowOut );
   return came.state == FlowOutProgress::State::unknownField ? -1 : came.next.value();
}

bool freeResyncState( FlowOut& flowOut ) {
   unsigned const index = flowOut.resync();
   if ( index == FlowOut::noResync ) {
      return false;
   }
   flowOut.keyed( index )->bookmark.reset();
   flowOut.resyncIs( FlowOut::noResync );
   return true;
}

bool sameConstructorParams( TypeRecord const& type, Entity const& entity, In& in ) {
   Parameter const given( type, in );
   return given.isOf( entity );
}

Ptr<Entity> newEntityForAttrLog( TypeRecord const& type, In& in ) {
   Parameter const given( type, in );
   ConstructorArgument const argument{ nullptr, given.get() };
   return type.construct( std::span( &argument, given.get() ? 1 : 0 ) );
}

bool doHandleAttrDeserialization( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, In& in ) {
   requireWritable( sa );
   unsigned index = 0;
   if ( AttributeLog const* const log = logOf( sa.type(), id, index ) ) [[likely]] {
      in.contextIs( sa.type().name, id );
      log->apply( sa, in );
      return true;
   }
   AttributeLog const* const log = logOf( sa.type(), id.removal(), index );
   if ( !log || !( log->keyed || log->childDel ) ) {
      return false;
   }
   in.contextIs( sa.type().name, id.removal() );
   if ( log->keyed ) {
      Internal::keyedRemove( sa, index, in );
   } else {
      childRemove( sa, *log, index, in );
   }
   return true;
}

namespace {

AttributeLog const* collectionLog( EntityQelNboAttrLogSa const& sa, Varek::FieldId id,
                                   unsigned& index ) {
   AttributeLog const* const log = logOf( sa.type(), id, index );
   return log && log->keyed ? log : nullptr;
}

} // namespace

bool doHandleAttrTransaction( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, Transaction kind,
                              std::uint32_t expected ) {
   requireWritable( sa );
   unsigned index = 0;
   AttributeLog const* const log = collectionLog( sa, id, index );
   if ( !log ) {
      return false;
   }
   VAREK_ASSERT_TEXT( kind != Transaction::begin ||
                         !Internal::keyedActive( *log->keyed, sa.entity() ),
                      "!_isActive" );
   Internal::keyedTransaction( sa, index, kind, expected );
   return true;
}

bool doHandleAttrTransaction( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, unsigned kind,
                              std::uint32_t expected ) {
   if ( kind == 0 || kind == 2 ) {
      return doHandleAttrTransaction( sa, id, kind == 0 ? Transaction::begin : Transaction::end,
                                      expected );
   }
   requireWritable( sa );
   unsigned index = 0;
   return collectionLog( sa, id, index ) != nullptr;
}

bool attrTransactionActive( EntityQelNboAttrLogSa const& sa, Varek::FieldId id ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   return log && log->keyed && Internal::keyedActive( *log->keyed, sa.entity() );
}

std::uint32_t expectedElements( In& in, std::size_t& ahead ) {
   constexpr std::size_t leastFrame = 3;
   std::size_t const bytes = in.left();
   // As before, of a longer number the last 32 bits.
   auto const said =
      static_cast<std::uint32_t>( Varek::bigEndianNumber( { in.getOctets( bytes ), bytes } ) );
   auto const count =
      static_cast<std::uint32_t>( std::min<std::size_t>( said, ahead / leastFrame ) );
   ahead -= count * leastFrame;
   return count;
}

Entity* childForAttrLog( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, In& in,
                         FirstFailure& failure, bool& isNew ) {
   requireWritable( sa );
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   // What can have an old child holds children.
   if ( !log || !log->oldChild ) {
      return nullptr;
   }
   in.contextIs( sa.type().name, id );
   return log->keyed ? Internal::keyedChild( sa, index, in, failure, isNew )
                     : childMake( sa, *log, index, in, failure, isNew );
}

Entity* oldChild( TypeRecord const& type, Varek::FieldId id, void const* oldData ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( type, id, index );
   return log && log->oldChild && oldData ? log->oldChild( oldData ) : nullptr;
}

} // namespace Qel
