// The attribute log of every type, value by value and entity by entity, and what is still to be said
// of one entity to one stream.

#include <map>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "support/LogStream.h"
#include "support/TestModule.h"
#include "support/Trees.h"

namespace {

using namespace TestModule;
using namespace Qel;
using NboAttrLog::FrameKind;
using NboAttrLog::In;
using Octets = std::vector<std::uint8_t>;

/// Reading is refused for want of bytes, or of elements that a count has promised.
template<class Read>
void expectTooShort( Read read ) {
   try {
      read();
      ADD_FAILURE() << "taken for whole";
   } catch ( NboAttrLog::AttrLogError const& ) {
   } catch ( NboAttrLog::AttrLogLengthError const& error ) {
      EXPECT_STREQ( error.what(), "vector::reserve" );
   }
}

class EveryValueLog : public testing::TestWithParam<TypeRecord const*> {};

TEST_P( EveryValueLog, IsReadBackFromAllOfItsBytesAndNotFromFewer ) {
   TypeRecord const& type = *GetParam();
   RandomValues random( 3 );
   for ( int i = 0; i < 60; ++i ) {
      AnyValue const value( *type.functions ), read( *type.functions );
      random.fill( value );
      random.fill( read ); // of which nothing is to stay
      Octets bytes( type.valueLog->size( value.data() ) );
      EXPECT_EQ( type.valueLog->put( bytes.data(), value.data() ), bytes.data() + bytes.size() );
      EXPECT_TRUE( type.enumerators.empty() || bytes.size() == 4 ) << "whatever its width";
      In in( bytes );
      type.valueLog->read( in, read.data() );
      EXPECT_EQ( in.left(), 0U );
      EXPECT_EQ( read, value ) << value.text();
      for ( std::size_t size = 0; size < bytes.size(); ++size ) {
         In cut{ std::span( bytes ).first( size ) };
         expectTooShort( [&] { type.valueLog->read( cut, read.data() ); } );
      }
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryValueLog, everyValueType(), registeredTypeName );

/// An entity, an entity of the same type that is to become equal, and the stream from the first to the second.
class EveryEntityLog : public testing::TestWithParam<TypeRecord const*> {
protected:
   static constexpr Varek::FieldId unknown{ 300 };
   TypeRecord const& type_ = *GetParam();
   Ptr<Entity> entity_ = freshEntity( type_ ), mirror_ = freshEntity( type_ );
   LogStream stream_;

   EntityQelNboAttrLogSa to( NboAttrLog::FlowOut& flowOut ) {
      return { *entity_, type_, 9, stream_, &flowOut };
   }
   EntityQelNboAttrLogSa from() { return { *mirror_, type_, nullptr }; }
   void apply( LogStream::Frame const& frame ) {
      In in( frame.payload );
      if ( frame.head.kind == FrameKind::attribute ) {
         EXPECT_TRUE( doHandleAttrDeserialization( from(), frame.head.field, in ) );
      } else if ( frame.head.kind == FrameKind::transactionCancel ) {
         doHandleAttrTransaction( from(), frame.head.field, Transaction::cancel );
      } else {
         bool const end = frame.head.kind == FrameKind::transactionEnd;
         EXPECT_TRUE( doHandleAttrTransaction( from(), frame.head.field, end ? 2 : 0 ) );
         EXPECT_NE( attrTransactionActive( from(), frame.head.field ), end );
      }
   }
   std::vector<LogStream::Frame> fullSync() {
      NboAttrLog::FlowOut all( type_, true );
      stream_.takes = LogStream::unlimited;
      EXPECT_EQ( handleAttrFlowOut( to( all ), 0, all ), 0 );
      EXPECT_FALSE( all.isDirty() );
      return stream_.frames();
   }
};

// Whatever is changed meanwhile, and wherever the stream blocks.
TEST_P( EveryEntityLog, AFullSyncEndsWithTheStateOfTheEndAndTellsRealChangesAlone ) {
   for ( std::uint32_t seed = 1; seed <= 6; ++seed ) {
      RandomChange change( seed );
      auto const some = [&]( Entity& of, std::uint32_t most ) {
         for ( std::uint32_t n = change.below( most ); n > 0; --n ) {
            change( of, false );
         }
      };
      some( *entity_, 50 );
      some( *mirror_, 50 );
      NboAttrLog::FlowOut flowOut( type_, true );
      auto const changed = entity_->subscribe( [&]( Varek::Change const& one ) {
         auto sa = to( flowOut );
         sa.heldBeforeIs( one.oldData() != nullptr );
         streamAdapterOnAttribute( sa, one.id(), one.keyData() );
      } );
      some( *entity_, 10 );
      EXPECT_TRUE( stream_.frames().empty() ) << "said before it is said as a whole";
      int next = 0;
      for ( unsigned round = 0; round < 60 || next != 0 || flowOut.isDirty(); ++round ) {
         stream_.takes = change.below( 4 );
         next = handleAttrFlowOut( to( flowOut ), static_cast<std::uint16_t>( next ), flowOut );
         some( *entity_, round < 50 ? 4 : 1 );
         if ( change.below( 12 ) == 0 ) {
            freeResyncState( flowOut );
         }
      }
      for ( auto const& frame : stream_.frames() ) {
         apply( frame );
      }
      ASSERT_EQ( Trees::difference( *entity_, *mirror_ ), "" ) << seed;
      auto const silent = mirror_->subscribe( []( auto& ) { ADD_FAILURE() << "no change"; } );
      for ( auto const& frame : fullSync() ) {
         apply( frame );
      }
   }
}

TEST_P( EveryEntityLog, WhatIsCutOrTooLongOrForAProxyChangesNothing ) {
   RandomChange change( 5 );
   for ( int i = 0; i < 40; ++i ) {
      change( *entity_, false );
   }
   for ( auto frame : fullSync() ) {
      if ( frame.head.kind != FrameKind::attribute ) {
         continue;
      }
      auto proxy = from();
      proxy.readOnlyProxyIs( true, false );
      In whole( frame.payload );
      EXPECT_THROW( doHandleAttrDeserialization( proxy, frame.head.field, whole ),
                    Varek::WriteFromReadOnlyProxy );
      EXPECT_EQ( whole.left(), frame.payload.size() );
      for ( std::size_t size = 0; size < frame.payload.size(); ++size ) {
         In cut( std::span( frame.payload ).first( size ) );
         expectTooShort( [&] { doHandleAttrDeserialization( from(), frame.head.field, cut ); } );
      }
      frame.payload.push_back( 0 );
      In longer( frame.payload );
      EXPECT_THROW( doHandleAttrDeserialization( from(), frame.head.field, longer ),
                    NboAttrLog::AttrLogError );
   }
   EXPECT_EQ( Trees::difference( *freshEntity( type_ ), *mirror_ ), "" );
}

TEST_P( EveryEntityLog, AnotherFieldIsNotItsOwn ) {
   NboAttrLog::FlowOut clean( type_, false );
   In none( {} );
   for ( Varek::FieldId const id :
         { Varek::FieldId(), unknown, unknown.removal(), Varek::nameStringId } ) {
      EXPECT_FALSE( streamAdapterOnAttribute( to( clean ), id, nullptr ) );
      EXPECT_FALSE( doHandleAttrDeserialization( from(), id, none ) );
      EXPECT_FALSE( doHandleAttrTransaction( from(), id, 0 ) );
      EXPECT_EQ( handleAttrFlowOut( to( clean ), id, clean ), id == Varek::FieldId() ? 0 : -1 );
   }
   for ( AttributeRecord const& one : type_.attributes ) {
      bool const keyed = one.onWire && one.iterate && one.kind != AttributeKind::array;
      EXPECT_EQ( doHandleAttrTransaction( from(), one.id, 1 ), keyed ) << one.name;
   }
   EXPECT_TRUE( stream_.frames().empty() );
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryEntityLog, everyEntityType(), registeredTypeName );

// Whoever is flushed beyond a collection that is under way gives it up: it is said anew, whole.
TEST( AttrLog, AFlowOutHoldsOneBookmark ) {
   LogStream stream;
   auto const depot = Depot::DepotIs( "depot" );
   auto const& type = typeRecord( depot->typeData() );
   for ( char const* const name : { "a", "b", "c", "d" } ) {
      depot->tagIs( name );
      depot->noteIs( name, name );
   }
   NboAttrLog::FlowOut flowOut( type, true );
   EntityQelNboAttrLogSa const all( *depot, type, 9, stream, &flowOut );
   stream.takes = 3;
   EXPECT_EQ( handleAttrFlowOut( all, 0, flowOut ), 258 );
   stream.takes = 3;
   EXPECT_EQ( handleAttrFlowOut( all, 260, flowOut ), 260 );
   EXPECT_EQ( type.attributes[flowOut.resync()].id, 260 );
   EXPECT_FALSE( flowOut.keyed( 1 ) && flowOut.keyed( 1 )->bookmark );
   stream.frames();
   stream.takes = LogStream::unlimited;
   EXPECT_EQ( handleAttrFlowOut( all, 0, flowOut ), 0 );
   std::map<int, std::vector<FrameKind>> kinds;
   for ( auto const& frame : stream.frames() ) {
      kinds[frame.head.field.value()].push_back( frame.head.kind );
   }
   using enum FrameKind;
   std::vector<FrameKind> const anew{ transactionCancel, transactionBegin, attribute,     attribute,
                                      attribute,         attribute,        transactionEnd };
   EXPECT_EQ( kinds[258], anew );
   EXPECT_EQ( kinds[260], anew ); // 258 was flushed before it, and took the bookmark
}

TEST( AttrLog, AChildThatCameAndWentWhileTheStreamWasBlockedIsNotSaid ) {
   auto const depot = Depot::DepotIs( "depot" );
   auto const& type = typeRecord( *depot );
   LogStream stream;
   NboAttrLog::FlowOut flowOut( type, false );
   EntityQelNboAttrLogSa sa( *depot, type, 9, stream, &flowOut );
   sa.heldBeforeIs( false );
   stream.takes = 0;
   depot->badgeIs( 1 );
   streamAdapterOnAttribute( sa, Depot::badgeField, nullptr );
   EXPECT_TRUE( flowOut.isDirty() );
   depot->badgeDel();
   streamAdapterOnAttribute( sa, Depot::badgeField, nullptr );
   stream.takes = LogStream::unlimited;
   EXPECT_EQ( handleAttrFlowOut( sa, 0, flowOut ), 0 );
   EXPECT_TRUE( stream.frames().empty() && stream.announced.empty() );
}

// Lengths take as few bytes as they need, and entity and field none where they are as before.
TEST( AttrLog, AFrameOfAnySizeIsReadBack ) {
   NboAttrLog::OutBuffer out;
   std::vector<NboAttrLog::FrameHead> said;
   for ( std::uint32_t const size :
         { 0U, 1U, 0xFEU, 0xFFU, 0x100U, 0xFFFFU, 0x10000U, 0x10001U } ) {
      for ( auto const& [entity, field] :
            { std::pair{ 1U, 259 }, { 1U, 259 }, { 1U, 260 }, { 2U, 260 } } ) {
         said.push_back(
            { FrameKind::attribute, entity, static_cast<std::uint16_t>( field ), size } );
         out.outSmReserveMessage( FrameKind::attribute, entity, said.back().field, size );
         out.putOctets( Octets( size ).data(), size );
         out.outSmCommitMessage();
      }
   }
   auto rest = out.bytes();
   NboAttrLog::FrameHeads heads;
   for ( auto const& one : said ) {
      NboAttrLog::FrameHead read;
      std::size_t const size = heads.read( rest, read );
      ASSERT_GT( size, 0U );
      EXPECT_EQ( std::tuple( read.entity, read.field, read.size ),
                 std::tuple( one.entity, one.field, one.size ) );
      rest = rest.subspan( size + read.size );
   }
   EXPECT_TRUE( rest.empty() );
}

// What 32 bits of length cannot say is refused before anything is written, not cut to them.
TEST( AttrLog, ALengthBeyondItsBitsIsRefused ) {
   if constexpr ( sizeof( std::size_t ) > 4 ) {
      NboAttrLog::OutBuffer out;
      for ( std::uint64_t const size : { 0xFFFFFFFFULL, 0x100000000ULL, 0x100000010ULL } ) {
         EXPECT_THROW( out.outSmReserveMessage( FrameKind::attribute, 1, 260,
                                                static_cast<std::size_t>( size ) ),
                       NboAttrLog::FrameTooLarge );
      }
      EXPECT_TRUE( out.bytes().empty() );
   }
}

} // namespace
