// The attribute log of AaaAttribute and AaaResponse: bytes, handlers, blocked streams, and full
// synchronisation.

#include <limits>
#include <set>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "support/ChangeRecorder.h"
#include "support/LogStream.h"

namespace {

using namespace Dot1xV2;
using namespace Qel;
using NboAttrLog::FrameKind;
using NboAttrLog::In;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using Octets = std::vector<std::uint8_t>;

Attribute const userName( 0, 1 );
Attribute const vlan( 0, 81 );
Attribute const vendors( 30065, 2 );
Attribute standard( int type ) { return { 0, static_cast<std::uint16_t>( type ) }; }
Varek::FieldId field( int id ) { return static_cast<std::uint16_t>( id ); }
auto const& record = typeRecord( AaaResponse::qelBinding() );

AaaAttribute attribute( Attribute const& id, std::initializer_list<AttrValue> values ) {
   AaaAttribute made( id );
   for ( auto const& value : values ) {
      made.attrValuePush( value );
   }
   return made;
}

Octets written( AaaAttribute const& value ) {
   NboAttrLog::OutBuffer out;
   auto const size = attrLogSize( NboAttrLog::currentVersion, value );
   EXPECT_TRUE( out.outSmReserveMessage( FrameKind::attribute, 1, 260, size ) );
   out << value;
   out.outSmCommitMessage(); // aborts unless the size was exact
   auto const bytes = out.bytes();
   return { bytes.end() - static_cast<std::ptrdiff_t>( size ), bytes.end() };
}

TEST( AaaAttributeLog, HasTheseBytes ) {
   struct Case {
      AaaAttribute value;
      Octets bytes;
   };
   Lumo::IpGenPrefix const address( "192.0.2.1" ), net( "2001:db8::/32" );
   Octets prefix{ 0, 0, 0, 0, 0, 97, 0, 0, 0, 1, 29, 32, 0x20, 0x01, 0x0d, 0xb8 };
   prefix.resize( prefix.size() + 12 );
   Octets longText{ 0, 0, 0, 0, 0, 18, 0, 0, 0, 1, 248, 0, 0, 0, 31 };
   longText.resize( longText.size() + 31, 'x' );
   Case const cases[] = {
      { AaaAttribute( userName ), { 0, 0, 0, 0, 0, 1, 0, 0, 0, 0 } },
      { attribute( userName, { AttrValue( Varek::String( "ab" ) ) } ),
        { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 16, 'a', 'b' } },
      { attribute( standard( 18 ), { AttrValue( Varek::String( 31, 'x' ) ) } ), longText },
      { attribute( vendors, { AttrValue( std::uint32_t{ 7 } ), AttrValue( std::uint32_t{ 0 } ),
                              AttrValue( std::uint64_t{ 8 } ) } ),
        { 0, 0, 0x75, 0x71, 0, 2, 0, 0, 0, 3, 10, 7, 2, 12, 8 } },
      { attribute( standard( 27 ),
                   { AttrValue( ~std::uint32_t{ 0 } ), AttrValue( std::uint64_t{ 1 } << 56 ) } ),
        { 0, 0, 0, 0, 0, 27, 0, 0, 0, 2, 34, 0xFF, 0xFF, 0xFF, 0xFF, 68, 1, 0, 0, 0, 0, 0, 0, 0 } },
      { attribute( vlan, { RadiusPktParserBase::TaggedStr{ 3, "v" },
                           RadiusPktParserBase::TaggedInt{ 1, 0x102 } } ),
        { 0, 0, 0, 0, 0, 81, 0, 0, 0, 2, 9, 3, 'v', 19, 1, 1, 2 } },
      { attribute( standard( 8 ), { address, Varek::Bytes( "\xFF" ) } ),
        { 0, 0, 0, 0, 0, 8, 0, 0, 0, 2, 5, 192, 0, 2, 1, 14, 0xFF } },
      { attribute( standard( 97 ), { net } ), prefix },
   };
   for ( Case const& one : cases ) {
      EXPECT_EQ( written( one.value ), one.bytes );
      In in( one.bytes );
      EXPECT_EQ( AaaAttribute( in ), one.value );
      EXPECT_EQ( in.left(), 0U );
      for ( std::size_t size = 0; size < one.bytes.size(); ++size ) {
         In cut( std::span( one.bytes ).first( size ) );
         try {
            AaaAttribute const read( cut );
            ADD_FAILURE() << "read from " << size << " bytes";
         } catch ( NboAttrLog::AttrLogError const& error ) {
            EXPECT_LE( error.offset(), size );
         } catch ( std::length_error const& error ) {
            EXPECT_STREQ( error.what(), "vector::reserve" );
         }
      }
   }
}

TEST( AaaAttributeLog, RefusesWhatNoWriterWrites ) {
   struct Case {
      Octets bytes;
      char const* fault;
   };
   Case const cases[] = {
      { { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 7 }, "7 alternatives" },
      { { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 42, 1, 2, 3, 4, 5 }, "no 5 bytes" },
      { { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 37, 1, 2, 3, 4, 5 }, "no form 4" },
      { { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 21, 33, 0, 0, 0, 0 }, "prefix" },
      { { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 21, 8, 1, 1, 0, 0 }, "prefix" },
      { { 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 248, 0xFF, 0xFF, 0xFF, 0xFF }, "4294967295 bytes" },
   };
   for ( Case const& one : cases ) {
      In in( one.bytes, 100 );
      in.contextIs( "Dot1xV2::AaaResponse", 260 );
      try {
         AaaAttribute const read( in );
         ADD_FAILURE() << one.fault;
      } catch ( NboAttrLog::AttrLogError const& error ) {
         EXPECT_NE( std::string( error.what() ).find( one.fault ), std::string::npos )
            << error.what();
         EXPECT_NE(
            std::string( error.what() ).find( "Dot1xV2::AaaResponse, field 260, offset 11" ),
            std::string::npos )
            << error.what();
      }
   }
   for ( std::uint8_t const high : Octets{ 0x00, 0x7F, 0xFF } ) {
      Octets const bytes{ 0, 0, 0, 0, 0, 1, high, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0 };
      In in( bytes );
      EXPECT_THROW( AaaAttribute{ in }, std::length_error );
   }
}

class AaaResponseLog : public testing::Test {
protected:
   EntityQelNboAttrLogSa sa( NboAttrLog::FlowOut* flowOut = nullptr ) {
      return { *response, record, 9, stream, flowOut };
   }
   EntityQelNboAttrLogSa reader() { return { *response, record, nullptr }; }
   bool apply( Varek::FieldId id, Octets const& bytes ) {
      In in( bytes );
      return AaaResponse::doHandleAttrDeserialization( reader(), id, in );
   }
   static Octets keyOf( Attribute const& key ) {
      return { 0, 0, 0, 0, 0, static_cast<std::uint8_t>( key.type() ) };
   }

   Varek::Ptr<AaaResponse> response = aaaResponseFactory( AaaResponseType::accepted );
   LogStream stream;
};

TEST_F( AaaResponseLog, ConstructorParameterIsFourBytesOfWhichTheLastCounts ) {
   NboAttrLog::OutBuffer out;
   EXPECT_EQ( AaaResponse::attrLogSizeCtorParams( NboAttrLog::currentVersion, *response ), 4U );
   out.outSmReserveMessage( FrameKind::announce, 1, 1, 4 );
   AaaResponse::serializeConstructorParams( out, *response );
   out.outSmCommitMessage();
   EXPECT_EQ( out.bytes().back(), 1 );
   Octets const bytes{ 1, 2, 3, 2 };
   In in( bytes );
   auto const made = AaaResponse::newEntityForAttrLog( in );
   EXPECT_EQ( static_cast<AaaResponse&>( *made ).type(), AaaResponseType::challenge );
   Octets const cut{ 0, 0, 0 };
   In shortIn( cut );
   EXPECT_THROW( newEntityForAttrLog( record, shortIn ), NboAttrLog::AttrLogError );
}

TEST_F( AaaResponseLog, WritesItsTwoAttributesAndNoOthers ) {
   response->callingStationIdIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) );
   response->aaaAttributeIs( attribute( userName, { AttrValue( std::uint32_t{ 5 } ) } ) );
   EXPECT_TRUE( AaaResponse::streamAdapterOnAttribute( sa(), 259, nullptr ) );
   EXPECT_TRUE( AaaResponse::streamAdapterOnAttribute( sa(), 260, &userName ) );
   EXPECT_TRUE( AaaResponse::streamAdapterOnAttribute( sa(), 260, &vlan ) ); // absent: a removal
   for ( int const other : { 0, 2, 154, 257, 258, 261, 65276, 65277 } ) {
      EXPECT_FALSE( AaaResponse::streamAdapterOnAttribute( sa(), field( other ), nullptr ) )
         << other;
   }
   auto const frames = stream.frames();
   ASSERT_EQ( frames.size(), 3U );
   EXPECT_EQ( frames[0].head.field, 259 );
   EXPECT_EQ( frames[0].payload, ( Octets{ 0, 0, 0x5e, 0, 0x53, 1 } ) );
   EXPECT_EQ( frames[1].head.field, 260 );
   EXPECT_EQ( frames[1].payload.size(), 6U + 4U + 2U );
   EXPECT_EQ( frames[2].head.field, 65276 );
   EXPECT_EQ( frames[2].payload, keyOf( vlan ) );
   for ( auto const& frame : frames ) {
      EXPECT_EQ( frame.head.entity, 9U );
   }
}

TEST_F( AaaResponseLog, AChangeThatGoesOutWhileOthersWaitTakesItsMarkWithIt ) {
   AaaResponse::FlowOut flowOut( false );
   EXPECT_FALSE( flowOut.isDirty() );
   auto const change = [&]( int id, void const* key ) {
      AaaResponse::streamAdapterOnAttribute( sa( &flowOut ), field( id ), key );
   };
   stream.takes = 0;
   change( 260, &vlan );
   change( 260, &vendors );
   change( 259, nullptr );
   EXPECT_TRUE( flowOut.isDirty() && flowOut.hasDirtyCollKeys() );
   stream.takes = 1;
   change( 260, &vendors );
   EXPECT_EQ( stream.frames().size(), 1U );
   EXPECT_EQ( AaaResponse::handleAttrFlowOut( sa( &flowOut ), 0, flowOut ), 259 );
   stream.takes = 1;
   EXPECT_EQ( AaaResponse::handleAttrFlowOut( sa( &flowOut ), 259, flowOut ), 260 );
   stream.takes = LogStream::unlimited;
   EXPECT_EQ( AaaResponse::handleAttrFlowOut( sa( &flowOut ), 260, flowOut ), 0 );
   EXPECT_FALSE( flowOut.isDirty() || flowOut.hasDirtyCollKeys() );
   auto const frames = stream.frames();
   ASSERT_EQ( frames.size(), 2U );
   EXPECT_EQ( frames[0].head.field, 259 );
   EXPECT_EQ( frames[1].payload, keyOf( vlan ) );
   for ( int const other : { 1, 154, 258, 261, 65276 } ) {
      EXPECT_EQ( AaaResponse::handleAttrFlowOut( sa(), field( other ), flowOut ), -1 ) << other;
   }
}

// Whatever happens to the collection while its synchronisation is blocked at any of its messages.
TEST_F( AaaResponseLog, AFullSyncEndsWithTheStateOfTheEndWhereverItWasBlocked ) {
   for ( unsigned at = 0; at < 45; ++at ) {
      SCOPED_TRACE( at );
      response = aaaResponseFactory( AaaResponseType::accepted );
      auto const mirror = aaaResponseFactory( AaaResponseType::accepted );
      for ( int i = 1; i <= 40; ++i ) {
         response->aaaAttributeIs( AaaAttribute( standard( i ) ) );
         if ( i % 2 ) {
            mirror->aaaAttributeIs( AaaAttribute( standard( i ) ) );
         }
      }
      mirror->aaaAttributeIs( AaaAttribute( standard( 500 ) ) );
      ChangeRecorder<Attribute, AaaAttribute> told( *mirror );
      auto const flowOut = AaaResponse::newFlowOut( sa(), true, 0 );
      EXPECT_FALSE( flowOut->hasSynced( 2 ) );
      stream.takes = at;
      int next = AaaResponse::handleAttrFlowOut( sa( flowOut.get() ), 0, *flowOut );
      auto const changed = [&]( Attribute const& key ) {
         AaaResponse::streamAdapterOnAttribute( sa( flowOut.get() ), 260, &key );
      };
      response->aaaAttributeDel( { 0, 3 } );
      changed( { 0, 3 } );
      response->aaaAttributeDel( { 0, 4 } );
      changed( { 0, 4 } );
      response->aaaAttributeIs( AaaAttribute( standard( 4 ) ) );
      changed( { 0, 4 } );
      // Every other time it also grows, and so moves its elements.
      for ( int i = 100; i < ( at % 2 ? 200 : 101 ); ++i ) {
         response->aaaAttributeIs( AaaAttribute( standard( i ) ) );
         changed( standard( i ) );
      }
      if ( at % 4 == 3 && next == 260 && flowOut->resync() != NboAttrLog::FlowOut::noResync ) {
         EXPECT_TRUE( AaaResponse::freeResyncState( *flowOut ) );
         EXPECT_FALSE( AaaResponse::freeResyncState( *flowOut ) );
      }
      do {
         stream.takes = 3;
         next = AaaResponse::handleAttrFlowOut( sa( flowOut.get() ),
                                                static_cast<std::uint16_t>( next ), *flowOut );
      } while ( next != 0 );
      EXPECT_FALSE( flowOut->isDirty() );
      for ( auto const& frame : stream.frames() ) {
         EntityQelNboAttrLogSa const to( *mirror, record, nullptr );
         In in( frame.payload );
         if ( frame.head.kind == FrameKind::attribute ) {
            EXPECT_TRUE( AaaResponse::doHandleAttrDeserialization( to, frame.head.field, in ) );
         } else if ( frame.head.kind == FrameKind::transactionCancel ) {
            doHandleAttrTransaction( to, frame.head.field, Qel::Transaction::cancel );
         } else {
            EXPECT_TRUE( AaaResponse::doHandleAttrTransaction(
               to, frame.head.field, frame.head.kind == FrameKind::transactionEnd ? 2 : 0 ) );
         }
      }
      EXPECT_EQ( mirror->aaaAttribute().size(), response->aaaAttribute().size() );
      for ( auto const& one : response->aaaAttribute() ) {
         EXPECT_NE( mirror->aaaAttribute( one.attribute() ), nullptr );
      }
      // Nothing is told twice but what really came and went: 3 and, if it had been sent, itself.
      std::multiset<std::uint16_t> keys;
      for ( auto const& one : told.told ) {
         keys.insert( one.key->type() );
      }
      EXPECT_EQ( keys.count( 500 ), 1U );
      EXPECT_EQ( keys.count( 3 ), 1U );
      EXPECT_EQ( keys.count( 5 ), 0U );
      EXPECT_EQ( keys.count( 2 ), 1U );
      EXPECT_EQ( keys.count( 4 ), 1U );
   }
}

TEST_F( AaaResponseLog, AppliesMessagesThroughTheMutators ) {
   unsigned changes = 0;
   auto const subscription = response->subscribe( [&]( auto& ) { ++changes; } );
   auto const element = attribute( userName, { AttrValue( Varek::String( "x" ) ) } );
   EXPECT_TRUE( apply( 259, { 0, 0, 0x5e, 0, 0x53, 1 } ) );
   EXPECT_EQ( response->callingStationId(), Lumo::EthAddr( "00:00:5e:00:53:01" ) );
   EXPECT_TRUE( apply( 260, written( element ) ) );
   EXPECT_EQ( *response->aaaAttribute( userName ), element );
   EXPECT_EQ( changes, 2U );
   EXPECT_TRUE( apply( 260, written( element ) ) );
   EXPECT_TRUE( apply( 65276, keyOf( vlan ) ) ); // absent
   EXPECT_EQ( changes, 2U );
   EXPECT_TRUE( apply( 65276, keyOf( userName ) ) );
   EXPECT_EQ( changes, 3U );
   for ( int const other : { 0, 154, 258, 261, 65275, 65277, 65278, 65382 } ) {
      EXPECT_FALSE( apply( field( other ), {} ) ) << other;
   }
   EXPECT_THROW( apply( 259, { 1, 2, 3, 4, 5 } ), NboAttrLog::AttrLogError );
   EXPECT_THROW( apply( 259, { 1, 2, 3, 4, 5, 6, 7 } ), NboAttrLog::AttrLogError );
   auto longer = written( element );
   longer.push_back( 0 );
   EXPECT_THROW( apply( 260, longer ), NboAttrLog::AttrLogError );
   EXPECT_EQ( changes, 3U );
}

TEST_F( AaaResponseLog, AReadOnlyProxyIsLeftAloneWhateverTheId ) {
   auto proxy = reader();
   proxy.readOnlyProxyIs( true, false );
   Octets const bytes{ 1, 2, 3, 4, 5, 6 };
   for ( int const id : { 259, 260, 65276, 3 } ) {
      In in( bytes );
      EXPECT_THROW( AaaResponse::doHandleAttrDeserialization( proxy, field( id ), in ),
                    Varek::WriteFromReadOnlyProxy );
      EXPECT_EQ( in.left(), bytes.size() );
   }
   EXPECT_THROW( AaaResponse::doHandleAttrTransaction( proxy, 260, 0 ),
                 Varek::WriteFromReadOnlyProxy );
   EXPECT_EQ( response->callingStationId(), Lumo::EthAddr() );
   proxy.readOnlyProxyIs( true, true );
   In in( bytes );
   EXPECT_TRUE( AaaResponse::doHandleAttrDeserialization( proxy, 259, in ) );
}

TEST_F( AaaResponseLog, ATransactionLeavesJustWhatCameBetweenItsEnds ) {
   for ( auto const& key : { userName, vlan, Attribute( 0, 27 ) } ) {
      response->aaaAttributeIs( AaaAttribute( key ) );
   }
   ChangeRecorder<Attribute, AaaAttribute> changes( *response );
   for ( auto const kind : { 1U, 3U } ) {
      EXPECT_TRUE( AaaResponse::doHandleAttrTransaction( reader(), 260, kind ) );
   }
   EXPECT_TRUE( AaaResponse::doHandleAttrTransaction( reader(), 260, 2 ) ); // nothing is marked
   EXPECT_FALSE( AaaResponse::doHandleAttrTransaction( reader(), 259, 0 ) );
   EXPECT_FALSE( AaaResponse::doHandleAttrTransaction( reader(), 7, 0 ) );
   EXPECT_TRUE( AaaResponse::doHandleAttrTransaction( reader(), 260, 0 ) );
   EXPECT_TRUE( apply( 260, written( AaaAttribute( userName ) ) ) );
   EXPECT_TRUE( apply( 260, written( AaaAttribute( standard( 6 ) ) ) ) );
   EXPECT_TRUE( apply( 65276, keyOf( vlan ) ) );
   EXPECT_TRUE( AaaResponse::doHandleAttrTransaction( reader(), 260, 2 ) );
   EXPECT_TRUE( AaaResponse::doHandleAttrTransaction( reader(), 260, 2 ) );
   EXPECT_EQ( response->aaaAttribute().size(), 2U );
   EXPECT_TRUE( response->aaaAttribute( { 0, 6 } ) );
   EXPECT_TRUE( response->aaaAttribute( userName ) );
   EXPECT_EQ( changes.told.size(), 3U ); // 6 came, 81 and 27 went
}

TEST_F( AaaResponseLog, ATransactionDoesNotBeginWithinAnother ) {
   auto const begin = [&] { doHandleAttrTransaction( reader(), 260, 0 ); };
   auto const active = [&] { return attrTransactionActive( reader(), 260 ); };
   // Whatever there was as it began, and whatever came and went since.
   for ( int const elements : { 0, 1, 40 } ) {
      for ( int i = 1; i <= elements; ++i ) {
         response->aaaAttributeIs( AaaAttribute( standard( i ) ) );
      }
      EXPECT_FALSE( active() );
      begin();
      EXPECT_TRUE( active() );
      for ( int i = 1; i <= elements; ++i ) {
         response->aaaAttributeDel( standard( i ) );
      }
      EXPECT_DEATH( begin(), "!_isActive" );
      for ( int i = 1; i <= 40; ++i ) {
         response->aaaAttributeIs( AaaAttribute( standard( i ) ) );
      }
      response->aaaAttributeDelAll();
      response->aaaAttributeIs( AaaAttribute( userName ) );
      EXPECT_DEATH( begin(), "!_isActive" );
      doHandleAttrTransaction( reader(), 260, Qel::Transaction::cancel );
      EXPECT_FALSE( active() );
      begin();
      doHandleAttrTransaction( reader(), 260, 2 );
      EXPECT_FALSE( active() );
      EXPECT_EQ( response->aaaAttribute().size(), 0U );
   }
   EXPECT_FALSE( attrTransactionActive( reader(), 259 ) );
}

} // namespace
