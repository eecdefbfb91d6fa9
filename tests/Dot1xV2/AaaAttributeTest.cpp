// One attribute of an answer: its rules as a value.

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"

namespace {

using Dot1xV2::AaaAttribute;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;

constexpr Attribute userName( 0, 1 ), egressVlan( 0, 56 );

AaaAttribute with( Attribute attribute, std::initializer_list<AttrValue> values ) {
   AaaAttribute made( attribute );
   for ( AttrValue const& value : values ) {
      made.attrValuePush( value );
   }
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

TEST( AaaAttribute, RefusesWhatIsNotThereWithTheFacts ) {
   AaaAttribute value = with( userName, { AttrValue( 1U ), AttrValue( 2U ) } );
   AaaAttribute const before = value;
   for ( std::uint32_t const index : { 2U, 3U, 0xFFFFFFFFU } ) {
      try {
         value.attrValueIs( index, AttrValue( 9U ) );
         ADD_FAILURE() << index;
      } catch ( Varek::VectorOutOfRange const& error ) {
         EXPECT_EQ( error.index(), index );
         EXPECT_EQ( error.size(), 2U );
      }
   }
   EXPECT_EQ( value, before );
   AaaAttribute empty( userName );
   EXPECT_THROW( empty.attrValuePop(), Varek::VectorEmptyBack );
   EXPECT_NO_THROW( empty.attrValuePopAll() );
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
