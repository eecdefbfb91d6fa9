#include <gtest/gtest.h>

#include "Bridging/VlanId.h"
#include "support/TextCases.h"

namespace {

using Bridging::VlanId;
using Bridging::VlanIdOrNone;

TEST( VlanId, TextAndNumberAreOneToOne ) {
   for ( unsigned number = 0; number <= 65535; ++number ) {
      auto const value = static_cast<std::uint16_t>( number );
      ASSERT_EQ( VlanId( std::string_view( stringValue( VlanId( value ) ) ) ).value(), value );
      ASSERT_EQ( VlanIdOrNone( std::string_view( stringValue( VlanIdOrNone( value ) ) ) ).value(),
                 value );
   }
   EXPECT_EQ( stringValue( VlanId() ), "0" );
   EXPECT_EQ( stringValue( VlanIdOrNone() ), "none" );
   EXPECT_EQ( stringValue( VlanIdOrNone( 4094 ) ), "4094" );
   EXPECT_LT( VlanIdOrNone(), VlanIdOrNone( 1 ) );
   EXPECT_LT( VlanId( 9 ), VlanId( 10 ) );
}

TEST( VlanId, RefusesOtherText ) {
   for ( BadText const& bad : { BadText{ "", 0, "0 to 65535" },
                                { "65536", 0 },
                                { "070", 0, "leading zeros" },
                                { "-1", 0 },
                                { "+1", 0 },
                                { " 1", 0 },
                                { "10 ", 2 },
                                { "10x", 2 },
                                { "0x10", 0 } } ) {
      expectRefused<VlanId>( bad );
      expectRefused<VlanIdOrNone>( { bad.text, bad.position } );
   }
   expectRefused<VlanId>( { "none", 0 } );
   expectRefused<VlanIdOrNone>( { "0", 0, "\"none\"" } );
   expectRefused<VlanIdOrNone>( { "None", 0 } );
}

} // namespace
