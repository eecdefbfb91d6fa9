#include "framework/AttrLog.h"

#include <algorithm>

#include "framework/Ahead.h"
#include "framework/AttrLogRecords.h"

namespace Qel {

namespace NboAttrLog {

FlowOut::FlowOut( TypeRecord const& type, bool dirty, Varek::FieldId from ) : unsynced_( 0 ) {
   if ( !dirty )
      return;
   for ( unsigned i = 0; i < type.attributes.size(); ++i )
      if ( type.wire[i].log && type.attributes[i].id >= from )
         unsynced_ |= bit( i );
}

bool FlowOut::hasDirtyCollKeys() const {
   for ( auto const& one : keyed_ )
      if ( one && one->dirtyKeys() != 0 )
         return true;
   return false;
}

KeyedFlow& FlowOut::keyedIs( unsigned index, std::unique_ptr<KeyedFlow> keyed ) {
   if ( keyed_.size() <= index )
      keyed_.resize( index + 1 );
   keyed_[index] = std::move( keyed );
   return *keyed_[index];
}

} // namespace NboAttrLog

namespace {

using NboAttrLog::FlowOut;
using NboAttrLog::In;

/// The attribute of \p type with this id that travels in messages; null if there is none.
AttributeLog const* logOf( TypeRecord const& type, Varek::FieldId id, unsigned& index ) {
   AttributeRecord const* const attribute = type.attribute( id );
   if ( !attribute )
      return nullptr;
   index = static_cast<unsigned>( attribute - type.attributes.data() );
   return type.wire[index].log;
}

/// Writes the state of the attribute, or marks it; then the mark follows what happened.
void writeOrMark( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
                  void const* key ) {
   FlowOut* const flowOut = sa.flowOut();
   NboAttrLog::KeyedFlow* keyed = nullptr;
   if ( flowOut && !flowOut->hasSynced( index ) ) {
      // It will be said as a whole, unless that has begun.
      keyed = flowOut->keyed( index );
      if ( !keyed )
         return;
   }
   bool const out = log.write( sa, key );
   if ( !flowOut )
      return;
   if ( !log.flush ) {
      flowOut->dirtyIs( index, !out );
      return;
   }
   if ( !keyed )
      keyed = flowOut->keyed( index );
   if ( !keyed ) {
      if ( out )
         return;
      keyed = &flowOut->keyedIs( index, log.newKeyedFlow() );
   }
   keyed->dirtyKeyIs( key, !out );
   flowOut->dirtyIs( index, keyed->dirtyKeys() != 0 );
}

bool flush( EntityQelNboAttrLogSa const& sa, AttributeLog const& log, unsigned index,
            FlowOut& flowOut ) {
   if ( flowOut.hasSynced( index ) && !flowOut.dirty( index ) )
      return true;
   if ( log.flush )
      return log.flush( sa, flowOut, index );
   if ( !log.write( sa, nullptr ) )
      return false;
   flowOut.synced( index );
   flowOut.dirtyIs( index, false );
   return true;
}

/// Before anything of a message is looked at.
void requireWritable( EntityQelNboAttrLogSa const& sa ) {
   bool const proxy = sa.readOnlyProxy() || sa.entity().readOnlyProxy();
   if ( proxy && !sa.allowWriteFromReadOnlyRemote() ) [[unlikely]]
      throw Varek::WriteFromReadOnlyProxy( sa.type().name );
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
   if ( !log )
      return false;
   if ( !sa.multicast() || !sa.stream().doMessageMulticast( sa, id, key ) )
      writeOrMark( sa, *log, index, key );
   return true;
}

std::unique_ptr<FlowOut> newFlowOut( EntityQelNboAttrLogSa const& sa, bool dirty,
                                     Varek::FieldId from ) {
   return std::make_unique<FlowOut>( sa.type(), dirty, from );
}

int handleAttrFlowOut( EntityQelNboAttrLogSa const& sa, Varek::FieldId from, FlowOut& flowOut ) {
   TypeRecord const& type = sa.type();
   unsigned index = 0;
   if ( from != Varek::FieldId( 0 ) && !logOf( type, from, index ) )
      return -1;
   for ( ; index < type.attributes.size(); ++index ) {
      AttributeLog const* const log = type.wire[index].log;
      if ( log && !flush( sa, *log, index, flowOut ) )
         return type.attributes[index].id.value();
   }
   return 0;
}

bool freeResyncState( FlowOut& flowOut ) {
   unsigned const index = flowOut.resync();
   if ( index == FlowOut::noResync )
      return false;
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
   if ( !log || !log->remove )
      return false;
   in.contextIs( sa.type().name, id.removal() );
   log->remove( sa, in );
   return true;
}

bool doHandleAttrTransaction( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, unsigned kind,
                              std::uint32_t expected ) {
   requireWritable( sa );
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   if ( !log || !log->transaction )
      return false;
   if ( kind == 0 || kind == 2 )
      log->transaction( sa, kind == 2, expected );
   return true;
}

std::uint32_t expectedElements( In& in, std::size_t& ahead ) {
   constexpr std::size_t leastFrame = 3;
   std::uint32_t count = 0;
   for ( std::size_t bytes = in.left(); bytes > 0; --bytes )
      count = count << 8 | in.get8();
   count = static_cast<std::uint32_t>( std::min<std::size_t>( count, ahead / leastFrame ) );
   ahead -= count * leastFrame;
   return count;
}

Entity* childForAttrLog( EntityQelNboAttrLogSa const& sa, Varek::FieldId id, In& in,
                         FirstFailure& failure ) {
   requireWritable( sa );
   unsigned index = 0;
   AttributeLog const* const log = logOf( sa.type(), id, index );
   if ( !log || !log->child )
      return nullptr;
   in.contextIs( sa.type().name, id );
   return log->child( sa, in, failure );
}

void forEachChild( TypeRecord const& type, Entity const& entity, void ( *visit )( Entity&, void* ),
                   void* context ) {
   for ( std::size_t i = 0; i < type.attributes.size(); ++i )
      if ( AttributeLog const* const log = type.wire[i].log; log && log->visit )
         log->visit( entity, visit, context );
}

void prefetchContents( TypeRecord const& type, Entity const& entity, bool below ) {
   for ( std::size_t i = 0; i < type.attributes.size(); ++i )
      if ( AttributeLog const* const log = type.wire[i].log; log && log->prefetch )
         log->prefetch( entity, below );
}

Entity* oldChild( TypeRecord const& type, Varek::FieldId id, void const* oldData ) {
   unsigned index = 0;
   AttributeLog const* const log = logOf( type, id, index );
   return log && log->oldChild && oldData ? log->oldChild( oldData ) : nullptr;
}

} // namespace Qel
