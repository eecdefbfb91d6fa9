#include "framework/AttrLog.h"

#include <algorithm>
#include <bit>

#include "framework/Ahead.h"
#include "framework/AttrLogRecords.h"

namespace Qel {

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
         made.keyed_[i] = keyed_[i]->clone();
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
   for ( unsigned i = bytes; i > 0; --i ) {
      sa.out().put8( static_cast<std::uint8_t>( count >> 8 * ( i - 1 ) ) );
   }
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

/// For an attribute without keys.
void writeOrMarkSingle( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index ) {
   FlowOut* const flowOut = sa.flowOut();
   if ( flowOut && !flowOut->hasSynced( index ) ) {
      return; // the attribute will be written as a whole
   }
   bool const held =
      flowOut && flowOut->dirty( index ) ? !flowOut->isNew( index ) : sa.heldBefore();
   bool const out = log.write( sa, nullptr, held );
   if ( flowOut ) {
      flowOut->dirtyIs( index, !out );
      flowOut->newIs( index, !out && !held );
   }
}

/// Restarts the full sync of a collection if continuing it would cost more.
void abandonOutgrown( EntityQelNboAttrLogSa const& sa, FlowOut& flowOut, unsigned index ) {
   NboAttrLog::KeyedFlow const* const keyed = flowOut.keyed( index );
   if ( !keyed->bookmark() ||
        !keyed->outgrown( sa.type().attributes[index].size( &sa.entity() ) ) ) {
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
   bool const out = log.write( sa, key, held );
   if ( !flowOut || ( out && !keyed ) ) {
      return;
   }
   if ( !keyed ) {
      keyed = &flowOut->keyedIs( index, log.newKeyedFlow() );
   }
   if ( out ) {
      keyed->dirtyKeyDel( key );
   } else {
      keyed->dirtyKeyIs( key, held );
   }
   flowOut->dirtyIs( index, keyed->dirtyKeys() != 0 );
   abandonOutgrown( sa, *flowOut, index );
}

bool flush( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
            FlowOut& flowOut ) {
   if ( flowOut.hasSynced( index ) && !flowOut.dirty( index ) ) {
      return true;
   }
   if ( log.flush ) {
      // An earlier one comes first now.
      if ( flowOut.resync() != index ) {
         freeResyncState( flowOut );
      }
      return log.flush( sa, flowOut, index );
   }
   if ( !log.write( sa, nullptr, !flowOut.isNew( index ) ) ) {
      return false;
   }
   flowOut.synced( index );
   flowOut.dirtyIs( index, false );
   flowOut.newIs( index, false );
   return true;
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
   return type.constructorLog->size( entity );
}

void serializeConstructorParams( NboAttrLog::Out& out, TypeRecord const& type,
                                 Entity const& entity ) {
   out.cursorIs( type.constructorLog->put( out.cursor(), entity ) );
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
         if ( log->flush ) {
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

int handleAttrFlowOut( EntityQelNboAttrLogSa const& sa, Varek::FieldId from, FlowOut& flowOut ) {
   TypeRecord const& type = sa.type();
   unsigned index = 0;
   if ( from != Varek::FieldId( 0 ) && !logOf( type, from, index ) ) {
      return -1;
   }
   // A flow-out holds one bookmark; whoever jumps ahead of it gives it up.
   if ( flowOut.bookmark() && flowOut.resync() < index ) {
      freeResyncState( flowOut );
   }
   for ( ; index < type.attributes.size(); ++index ) {
      AttributeLog const* const log = type.wire[index].log;
      if ( log && !naming( sa, index, [&] { return flush( sa, *log, index, flowOut ); } ) ) {
         return type.attributes[index].id.value();
      }
   }
   return 0;
}

bool freeResyncState( FlowOut& flowOut ) {
   unsigned const index = flowOut.resync();
   if ( index == FlowOut::noResync ) {
      return false;
   }
   flowOut.keyed( index )->bookmarkDel();
   flowOut.resyncIs( FlowOut::noResync );
   return true;
}

bool sameConstructorParams( TypeRecord const& type, Entity const& entity, In& in ) {
   return type.constructorLog->equal( entity, in );
}

Ptr<Entity> newEntityForAttrLog( TypeRecord const& type, In& in ) {
   return type.constructorLog->make( in );
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
   if ( !log || !log->remove ) {
      return false;
   }
   in.contextIs( sa.type().name, id.removal() );
   log->remove( sa, in );
   return true;
}

bool doHandleAttrTransaction( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, unsigned kind,
                              std::uint32_t expected ) {
   requireWritable( sa );
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   if ( !log || !log->transaction ) {
      return false;
   }
   if ( kind == 0 ) {
      VAREK_ASSERT_TEXT( !log->active( sa.entity() ), "!_isActive" );
      log->transaction( sa, Transaction::begin, expected );
   } else if ( kind == 2 ) {
      log->transaction( sa, Transaction::end, 0 );
   }
   return true;
}

bool attrTransactionActive( EntityQelNboAttrLogSa const& sa, Varek::FieldId id ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   return log && log->active && log->active( sa.entity() );
}

void attrTransactionCancel( EntityQelNboAttrLogSa const& sa, Varek::FieldId id ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   if ( log && log->transaction ) {
      log->transaction( sa, Transaction::cancel, 0 );
   }
}

std::uint32_t expectedElements( In& in, std::size_t& ahead ) {
   constexpr std::size_t leastFrame = 3;
   std::uint32_t count = 0;
   for ( std::size_t bytes = in.left(); bytes > 0; --bytes ) {
      count = count << 8 | in.get8();
   }
   count = static_cast<std::uint32_t>( std::min<std::size_t>( count, ahead / leastFrame ) );
   ahead -= count * leastFrame;
   return count;
}

Entity* childForAttrLog( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, In& in,
                         FirstFailure& failure ) {
   requireWritable( sa );
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   if ( !log || !log->child ) {
      return nullptr;
   }
   in.contextIs( sa.type().name, id );
   return log->child( sa, in, failure );
}

void forEachChild( TypeRecord const& type, Entity const& entity, void ( *visit )( Entity&, void* ),
                   void* context ) {
   for ( std::size_t i = 0; i < type.attributes.size(); ++i ) {
      if ( AttributeLog const* const log = type.wire[i].log; log && log->visit ) {
         log->visit( entity, visit, context );
      }
   }
}

void prefetchContents( TypeRecord const& type, Entity const& entity, bool below ) {
   for ( std::size_t i = 0; i < type.attributes.size(); ++i ) {
      if ( AttributeLog const* const log = type.wire[i].log; log && log->prefetch ) {
         log->prefetch( entity, below );
      }
   }
}

Entity* oldChild( TypeRecord const& type, Varek::FieldId id, void const* oldData ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( type, id, index );
   return log && log->oldChild && oldData ? log->oldChild( oldData ) : nullptr;
}

} // namespace Qel
