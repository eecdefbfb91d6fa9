// The attribute log of AaaAttribute and AaaResponse: their bytes, and what each type offers itself.

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "framework/inspect/Whole.h"
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
   auto const mirror = aaaResponseFactory( AaaResponseType::accepted );
   for ( auto const& frame : frames ) {
      EXPECT_EQ( frame.head.entity, 9U );
      In in( frame.payload );
      EXPECT_TRUE( AaaResponse::doHandleAttrDeserialization( { *mirror, record, nullptr },
                                                             frame.head.field, in ) );
   }
   EXPECT_EQ( *mirror, *response );
}

TEST_F( AaaResponseLog, WhatIsBlockedIsMarkedAndItsTypeGoesOnFromThere ) {
   auto const flowOut = AaaResponse::newFlowOut( sa(), true, 0 );
   EXPECT_TRUE( flowOut->isDirty() && !flowOut->hasSynced( 2 ) );
   response->aaaAttributeIs( AaaAttribute( userName ) );
   stream.takes = 2;
   EXPECT_EQ( AaaResponse::handleAttrFlowOut( sa( flowOut.get() ), 0, *flowOut ), 260 );
   EXPECT_TRUE( AaaResponse::freeResyncState( *flowOut ) );
   EXPECT_FALSE( AaaResponse::freeResyncState( *flowOut ) );
   stream.takes = LogStream::unlimited;
   EXPECT_EQ( AaaResponse::handleAttrFlowOut( sa( flowOut.get() ), 260, *flowOut ), 0 );
   EXPECT_FALSE( flowOut->isDirty() || flowOut->hasDirtyCollKeys() );
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
