#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <arpa/inet.h>

#include <gtest/gtest.h>

#include "Lumo/IpGenPrefix.h"
#include "support/TextCases.h"

namespace {

using Lumo::IpFamily;
using Lumo::IpGenPrefix;

TEST( IpGenPrefix, ReadsAndPrints ) {
   struct {
      std::string_view text, printed;
   } const cases[] = {
      { "192.0.2.0/24", "192.0.2.0/24" },
      { "192.0.2.55", "192.0.2.55" },
      { "192.0.2.55/32", "192.0.2.55" },
      { "0.0.0.0/0", "0.0.0.0/0" },
      { "0.0.0.0", "0.0.0.0" },
      { "128.0.0.0/1", "128.0.0.0/1" },
      { "255.255.255.255", "255.255.255.255" },
      { "::", "::" },
      { "::/0", "::/0" },
      { "::1", "::1" },
      { "1::", "1::" },
      { "2001:DB8::/32", "2001:db8::/32" },
      { "2001:db8::1/128", "2001:db8::1" },
      { "2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1" },
      { "2001:db8:53:5::/64", "2001:db8:53:5::/64" },
      { "2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1" }, // one group is not shortened
      { "2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1" },
      { "2001:0:0:1:0:0:0:1", "2001:0:0:1::1" },       // the longest run
      { "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1" }, // the first of equal ones
      { "0:0:1:0:0:0:0:0", "0:0:1::" },
      { "1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0" },
      { "::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8" },
      { "::ffff:192.0.2.1", "::ffff:192.0.2.1" },
      { "::ffff:c000:201", "::ffff:192.0.2.1" },
      { "64:ff9b::192.0.2.1", "64:ff9b::c000:201" },
      { "1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304" },
      { "fe80::/10", "fe80::/10" },
   };
   for ( auto const& [text, printed] : cases ) {
      expectText<IpGenPrefix>( text, printed );
   }
   EXPECT_EQ( IpGenPrefix(), IpGenPrefix( "0.0.0.0/0" ) );
   EXPECT_NE( IpGenPrefix( "0.0.0.0/0" ), IpGenPrefix( "::/0" ) );
}

TEST( IpGenPrefix, Refuses ) {
   for ( BadText const& bad : {
            BadText{ "", 0, "an IPv4 or IPv6 address" },
            { "192", 0 },
            { "192.0.2", 7, "'.'" },
            { "192.0.2.256", 8, "at most 255" },
            { "192.0.02.1", 6, "without leading zeros" },
            { "192.0.2.1.", 9, "'/'" },
            { "192.0.2.0/", 10, "a length of at most 32" },
            { "192.0.2.0/33", 10, "a length of at most 32" },
            { "192.0.2.0/024", 10 },
            { "192.0.2.0/24x", 12 },
            { "192.0.2.1/24", 10, "every bit of the prefix is zero" },
            { "192.0.2.128/24", 12, "every bit" },
            { "10.0.128.1/17", 11, "every bit" },
            { ":1::", 0 },
            { "1:::2", 3 },
            { "1::2::3", 5 },
            { "1:2:3:4:5:6:7", 13, "eight groups" },
            { "1:2:3:4:5:6:7:8:9", 15 },
            { "1:2:3:4:5:6:7:8::", 17, "fewer than eight" },
            { "::1:2:3:4:5:6:7:8", 17, "fewer than eight" },
            { "12345::", 4 },
            { "::1.2.3", 7 },
            { "::1.2.3.4:5", 9 },
            { "1:2:3:4:5:6:7:1.2.3.4", 15 },
            { "fe80::1%eth0", 7 },
            { "2001:db8::/129", 11, "at most 128" },
            { "2001:db8::1/127", 12, "every bit" },
            { "[::1]", 0 },
         } ) {
      expectRefused<IpGenPrefix>( bad );
   }
}

TEST( IpGenPrefix, TakesOnlyWhatIsAPrefix ) {
   std::vector<std::uint8_t> const v4{ 10, 1, 128, 0 };
   EXPECT_EQ( stringValue( IpGenPrefix( IpFamily::ipv4, v4, 17 ) ), "10.1.128.0/17" );
   EXPECT_EQ( stringValue( IpGenPrefix( IpFamily::ipv4, v4 ) ), "10.1.128.0" );
   EXPECT_THROW( IpGenPrefix( IpFamily::ipv4, v4, 16 ), Varek::RangeError );
   EXPECT_THROW( IpGenPrefix( IpFamily::ipv4, v4, 33 ), Varek::RangeError );
   EXPECT_THROW( IpGenPrefix( IpFamily::ipv6, v4, 17 ), Varek::RangeError );
   EXPECT_THROW( IpGenPrefix( IpFamily{ 0 }, {}, 0 ), Varek::RangeError );
   EXPECT_THROW( IpGenPrefix( IpFamily{ 5 }, v4, 32 ), Varek::RangeError );
   EXPECT_THROW( IpGenPrefix( IpFamily::ipv4, v4, 256 + 17 ), Varek::RangeError );
}

/// The C library as the judge of what is an IPv6 address and of its octets.
TEST( IpGenPrefix, ReadsIpv6AsTheSystemDoes ) {
   std::mt19937 random( 4 );
   constexpr std::string_view alphabet = "0123aF:::..5";
   int accepted = 0;
   for ( int i = 0; i < 50000; ++i ) {
      std::string text;
      for ( unsigned group = 0; group < 8; ++group ) {
         text += ( group == 0 ? "" : ":" ) + std::to_string( random() % 3 * 77 );
      }
      if ( random() % 2 != 0 ) {
         text.replace( random() % 8, random() % 12, "::" );
      }
      if ( random() % 3 == 0 ) {
         text.replace( std::min( text.size(), text.rfind( ':' ) + 1 ), 9, "1.22.0.9" );
      }
      for ( auto edits = random() % 3; edits > 0; --edits ) {
         text.replace( random() % text.size(), random() % 2, 1, alphabet[random() % 12] );
      }
      if ( text.find( ':' ) == std::string::npos ) {
         continue;
      }
      IpGenPrefix::Octets expected;
      bool const isAddress = inet_pton( AF_INET6, text.c_str(), expected.data() ) == 1;
      accepted += isAddress;
      try {
         IpGenPrefix const prefix{ std::string_view( text ) };
         ASSERT_TRUE( isAddress ) << text;
         ASSERT_EQ( prefix.octets(), expected ) << text;
         ASSERT_EQ( IpGenPrefix( std::string_view( stringValue( prefix ) ) ), prefix ) << text;
      } catch ( Varek::TextError const& error ) {
         ASSERT_FALSE( isAddress ) << error.what();
      }
   }
   EXPECT_GT( accepted, 5000 );
}

TEST( IpGenPrefix, OrdersByFamilyAddressLength ) {
   expectOrdered<IpGenPrefix>( { "0.0.0.0/0", "10.0.0.0/8", "10.0.0.0/9", "10.0.0.0",
                                 "10.128.0.0/9", "192.0.2.1", "::/0", "::1", "2001:db8::/32" } );
}

} // namespace
