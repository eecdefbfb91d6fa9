// What is said when an assertion fails.

#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Bridging/VlanId.h"
#include "Varek/Failures.h"
#include "Varek/Log.h"
#include "support/LastWords.h"

namespace {

enum class Plain : std::uint8_t { two = 2 };

TEST( AssertionDeathTest, SaysWhereItStandsWhatItIsAndWhatItsValuesAre ) {
   std::string const text( "a \"b\"" );
   void const* const nowhere = nullptr;
   std::uint64_t const most = ~std::uint64_t{ 0 };
   EXPECT_DEATH( VAREK_ASSERT( text.empty() ),
                 lastWords( "platform/VarekFailuresTest.cpp:[0-9]+: assertion failed: "
                            "text.empty\\(\\)" ) );
   EXPECT_DEATH( VAREK_ASSERT( (std::is_same_v<int, long>), text, most, -1, most == 0 ),
                 lastWords( "failed: .*std::is_same_v<int, long>.*, where text, most, -1, "
                            "most == 0 = \"a \"b\"\", 18446744073709551615, -1, false" ) );
   EXPECT_DEATH(
      VAREK_ASSERT( nowhere, nowhere, Plain::two, Bridging::VlanId( 7 ), std::set<int>() ),
      lastWords( " = (\\(nil\\)|0|0x0+), 2, 7, \\?" ) );
}

TEST( AssertionDeathTest, OneThatIsKnownByItsWordsSaysNoOthers ) {
   EXPECT_DEATH( VAREK_ASSERT_TEXT( 1 > 2, "these words" ), lastWords( "^these words" ) );
}

TEST( AssertionDeathTest, WhatIsSaidGoesToTheHook ) {
   EXPECT_DEATH(
      {
         Varek::logHookIs( []( std::string_view line ) noexcept {
            std::fprintf( stderr, "<%.*s>\n", static_cast<int>( line.size() ), line.data() );
         } );
         VAREK_ASSERT_TEXT( 1 > 2, "these words" );
      },
      lastWords( "^<these words>" ) );
   EXPECT_DEATH( ( Varek::logHookIs( nullptr ), Varek::assertionFailed( "unheard" ) ),
                 "^(qemu: [^\n]*\n)?$" );
}

TEST( Assertion, ThatHoldsLooksAtNoValue ) {
   int looks = 0;
   VAREK_ASSERT( looks == 0, ++looks );
   EXPECT_EQ( looks, 0 );
}

} // namespace
