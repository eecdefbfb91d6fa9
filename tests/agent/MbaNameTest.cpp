#include <gtest/gtest.h>

#include "agent/MbaName.h"

namespace {

TEST( MbaUserName, ByDelimiterCaseAndGroupSize ) {
   struct {
      char const* delimiter;
      bool upper;
      std::uint8_t size;
      char const* name;
   } const cases[] = {
      { "-", true, 2, "01-23-45-AB-CD-EF" }, { ".", false, 4, "0123.45ab.cdef" },
      { "", false, 2, "012345abcdef" },      { "", true, 4, "012345ABCDEF" },
      { "xx", true, 6, "012345xxABCDEF" },   { ":", false, 1, "0:1:2:3:4:5:a:b:c:d:e:f" },
      { ":", false, 3, "012:345:abc:def" },  { ":", false, 5, "01234:5abcd:ef" },
      { ":", false, 7, "012345a:bcdef" },    { ":", false, 8, "012345ab:cdef" },
      { ":", false, 9, "012345abc:def" },    { ":", false, 10, "012345abcd:ef" },
      { ":", false, 11, "012345abcde:f" },   { ":", false, 12, "012345abcdef" },
      { ":", false, 13, "012345abcdef" },    { ":", false, 255, "012345abcdef" },
      { ":", false, 0, "012345abcdef" } };
   Dot1xV2::MbaUserName form;
   Lumo::EthAddr const mac( "01:23:45:ab:cd:ef" );
   EXPECT_EQ( Agent::mbaUserName( mac, form ), "01:23:45:ab:cd:ef" );
   for ( auto const& one : cases ) {
      form.userNameDelimIs( one.delimiter );
      form.userNameIsUpperCaseIs( one.upper );
      form.userNameGroupSizeIs( one.size );
      EXPECT_EQ( Agent::mbaUserName( mac, form ), one.name ) << one.size << one.delimiter;
   }
}

} // namespace
