// One attribute of an answer: its rules as a value.

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"

namespace {

using Dot1xV2::AaaAttribute;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using Varek::Inspect::InspectAtomicFnTable;

constexpr Attribute userName( 0, 1 ), egressVlan( 0, 56 );

AaaAttribute with( Attribute attribute, std::initializer_list<AttrValue> values ) {
   AaaAttribute made( attribute );
   for ( AttrValue const& value : values )
      made.attrValuePush( value );
   return made;
}

auto const& tracker() { return AaaAttribute::QelattrValueTag::tracker; }

TEST( AaaAttribute, IsEqualByAttributeAndValuesInOrder ) {
   AttrValue const one( 1U ), two( 2U ), text( Varek::String( "1" ) ), wide( std::uint64_t{ 1 } );
   AaaAttribute const reference = with( userName, { one, two } );
   EXPECT_EQ( AaaAttribute(), AaaAttribute( Attribute() ) );
   EXPECT_EQ( reference, with( userName, { one, two } ) );
   EXPECT_TRUE( AaaAttribute::isEq( reference, AaaAttribute( reference ) ) );
   for ( AaaAttribute const& other :
         { with( userName, { two, one } ), with( userName, { one } ), with( userName, {} ),
           with( userName, { one, two, two } ), with( egressVlan, { one, two } ),
           with( userName, { text, two } ), with( userName, { wide, two } ),
           with( Attribute( 9, 1 ), { one, two } ) } ) {
      EXPECT_NE( reference, other );
      EXPECT_FALSE( AaaAttribute::isEq( other, reference ) );
   }
}

TEST( AaaAttribute, ChangesItsValuesByIndexAndFromTheEnd ) {
   AaaAttribute value = with( userName, { AttrValue( 1U ), AttrValue( 2U ) } );
   value.attrValueIs( 1, AttrValue( 7U ) );
   EXPECT_EQ( value, with( userName, { AttrValue( 1U ), AttrValue( 7U ) } ) );
   EXPECT_EQ( value.attrValuePop(), AttrValue( 7U ) );
   EXPECT_EQ( value.attrValuePop(), AttrValue( 1U ) );
   EXPECT_EQ( value, AaaAttribute( userName ) );
   value.attrValuePush( AttrValue( 3U ) );
   value.attrValuePopAll();
   EXPECT_TRUE( value.attrValue().empty() );
   EXPECT_EQ( value.attribute(), userName );
}

TEST( AaaAttribute, RefusesWhatIsNotThereWithTheFacts ) {
   for ( std::uint32_t const size : { 0U, 1U, 2U } )
      for ( std::uint32_t const index : { size, size + 1, 0xFFFFFFFFU } ) {
         AaaAttribute value( userName );
         for ( std::uint32_t i = 0; i < size; ++i )
            value.attrValuePush( AttrValue( i ) );
         AaaAttribute const before = value;
         try {
            value.attrValueIs( index, AttrValue( 9U ) );
            ADD_FAILURE() << index << " of " << size;
         } catch ( Varek::VectorOutOfRange const& error ) {
            EXPECT_EQ( error.index(), index );
            EXPECT_EQ( error.size(), size );
         }
         EXPECT_EQ( value, before );
      }
   AaaAttribute empty( userName );
   EXPECT_THROW( empty.attrValuePop(), Varek::VectorEmptyBack );
   EXPECT_NO_THROW( empty.attrValuePopAll() );
}

TEST( AaaAttributeDeathTest, HasNoTextToBeReadFrom ) {
   EXPECT_DEATH( AaaAttribute{ Qel::CharRange( "User-Name" ) },
                 "^\"No String constructor for AaaAttribute - has collection\" == nullptr\n$" );
}

TEST( AaaAttribute, HasNoHash ) {
   AaaAttribute const value( userName );
   auto const& table = InspectAtomicFnTable<AaaAttribute>::table;
   EXPECT_FALSE( table.hashable );
   try {
      table.inspectGetHash( &value );
      ADD_FAILURE();
   } catch ( Varek::NonHashableType const& error ) {
      EXPECT_EQ( error.module(), "AaaHelperLedraTypes" );
      EXPECT_EQ( error.index(), 0U );
      EXPECT_NE( std::string( error.what() ).find( "Dot1xV2::AaaAttribute" ), std::string::npos );
   }
}

TEST( AaaAttribute, IsMadeThroughItsTable ) {
   auto const& table = InspectAtomicFnTable<AaaAttribute>::table;
   AaaAttribute const source = with( egressVlan, { AttrValue( 5U ) } );
   union Room {
      Room() {}
      ~Room() {}
      AaaAttribute value;
   } plain, copy;
   table.inspectConstruct( &plain.value, nullptr );
   table.inspectConstruct( &copy.value, &source );
   EXPECT_EQ( plain.value, AaaAttribute() );
   EXPECT_EQ( copy.value, source );
   copy.value.attrValuePopAll(); // its own
   EXPECT_EQ( source.attrValue().size(), 1U );
   table.assign( &plain.value, &source );
   EXPECT_TRUE( table.equal( &plain.value, &source ) );
   table.inspectDestroy( &plain.value );
   table.inspectDestroy( &copy.value );
}

TEST( AaaAttribute, AccountsForItsValues ) {
   EXPECT_EQ( tracker().tag(), "VE_AttrValue" );
   std::size_t const elements = tracker().liveElements(), bytes = tracker().liveBytes();
   {
      AaaAttribute const none( userName );
      EXPECT_EQ( tracker().liveElements(), elements );
      AaaAttribute value = with( userName, { AttrValue( 1U ), AttrValue( 2U ) } );
      EXPECT_GE( tracker().liveElements(), elements + 2 );
      AaaAttribute const copy( value );
      AaaAttribute const moved( std::move( value ) );
      EXPECT_GE( tracker().liveElements(), elements + 4 );
      EXPECT_EQ( tracker().liveBytes() - bytes,
                 ( tracker().liveElements() - elements ) * sizeof( AttrValue ) );
   }
   EXPECT_EQ( tracker().liveElements(), elements );
   EXPECT_EQ( tracker().liveBytes(), bytes );
}

} // namespace
