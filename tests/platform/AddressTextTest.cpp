// Addresses, interfaces and VLANs as text: what is read, what is printed, what is refused and where.

#include <cstdint>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <arpa/inet.h>

#include <gtest/gtest.h>

#include "Bridging/VlanId.h"
#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "Lumo/IpGenPrefix.h"
#include "support/TextCases.h"

namespace {

using namespace std::string_view_literals;
using Bridging::VlanId;
using Bridging::VlanIdOrNone;
using Lumo::EthAddr;
using Lumo::IntfId;
using Lumo::IpFamily;
using Lumo::IpGenPrefix;

TEST( VlanId, TextAndNumberAreOneToOne ) {
   for ( unsigned number = 0; number <= 65535; ++number ) {
      auto const value = static_cast<std::uint16_t>( number );
      ASSERT_EQ( VlanId( std::string_view( stringValue( VlanId( value ) ) ) ).value(), value );
      ASSERT_EQ( VlanIdOrNone( std::string_view( stringValue( VlanIdOrNone( value ) ) ) ).value(),
                 value );
   }
   EXPECT_EQ( VlanId(), VlanId( "0" ) );
   EXPECT_EQ( VlanIdOrNone(), VlanIdOrNone( "none" ) );
   EXPECT_LT( VlanIdOrNone(), VlanIdOrNone( 1 ) );
   EXPECT_LT( VlanId( 9 ), VlanId( 10 ) );
   auto const neither = { "^"sv,   "^65536"sv, "^070"sv, "^-1"sv,   "^+1"sv,
                          "^ 1"sv, "10^ "sv,   "10^x"sv, "^0x10"sv, "^None"sv };
   expectRefused<VlanId>( "0 to 65535 without leading zeros", neither );
   expectRefused<VlanId>( "0 to 65535", { "^none" } );
   expectRefused<VlanIdOrNone>( "\"none\" or a VLAN number of 1 to 65535", neither );
   expectRefused<VlanIdOrNone>( "\"none\"", { "^0" } );
}

TEST( EthAddr, IsReadInEveryNotationAndNoOther ) {
   expectTexts<EthAddr>(
      { "00:1a:2B:3c:4D:ff -> 00:1a:2b:3c:4d:ff", "00-1a-2b-3C-4d-FF -> 00:1a:2b:3c:4d:ff",
        "001a.2b3C.4DFF -> 00:1a:2b:3c:4d:ff", "001A2b3c4dFf -> 00:1a:2b:3c:4d:ff" } );
   EXPECT_EQ( EthAddr(), EthAddr( "00:00:00:00:00:00" ) );
   expectRefused<EthAddr>(
      "a MAC address",
      { "^", "00:1a:2b:3c:4d^", "00:1a:2b:3c:4d:f^", "00:1a:2b:3c:4d:ff^:", "00:1a:2b:3c:4d:ff^ ",
        "^ 00:1a:2b:3c:4d:ff", "00:1a^-2b:3c:4d:ff", "00:1a:2b^3c:4d:ff", "0^:1a:2b:3c:4d:ff",
        "00:1^g:2b:3c:4d:ff", "001a.2b3c^:4dff", "001a.2b3c.4dff^.", "001a2b3c4dff^0",
        "001a2b3c4df^", "001a2b^-3c4dff", "001a2b3c4d^\0f"sv } );
   expectOrdered<EthAddr>( { "000000000000", "0000000000ff", "000000000100", "01ffffffffff",
                             "020000000000", "7f0000000000", "800000000000" } );
}

TEST( EthAddr, EveryBitCountsInComparisonAndHash ) {
   std::set<std::uint32_t> hashes{ EthAddr().hash( 7 ), EthAddr().hash( 8 ) };
   for ( unsigned bit = 0; bit < 48; ++bit ) {
      EthAddr::Octets octets{};
      octets[bit / 8] = static_cast<std::uint8_t>( 1U << bit % 8 );
      EXPECT_NE( EthAddr( octets ), EthAddr() ) << bit;
      EXPECT_EQ( EthAddr( std::string_view( stringValue( EthAddr( octets ) ) ) ).octets(), octets );
      hashes.insert( EthAddr( octets ).hash( 7 ) );
   }
   EXPECT_EQ( hashes.size(), 50U );
}

/// These words are in other processes and on disk: a change here is an incompatible one.
TEST( IntfId, EveryKindHasItsWord ) {
   std::istringstream words(
      "Ethernet0 0100001000000000 Ethernet3 0100004000000000 "
      "Ethernet3/1 0100004008000000 Ethernet1/2/3 010000200c040000 "
      "Ethernet3.100 0100004000000065 Ethernet1048574/1022/1022.65534 01ffffffffffffff "
      "Port-Channel10 020000b000000000 Port-Channel10.7 020000b000000008 "
      "Vlan100 0300065000000000 Management1 0400002000000000 "
      "Management1/1 0400002008000000 Loopback0 0500001000000000 "
      "Tunnel5 0600006000000000 eth0 0700001000000000 eth0.4094 0700001000000fff "
      "lo 0800000000000000 bond1 0900002000000000 br0 0a00001000000000 "
      "vlan100 0b00065000000000 veth7 0c00008000000000 wlan0 0d00001000000000 "
      "eno1 0e00002000000000 ens3 0f00004000000000 ens3f1 0f00004008000000 "
      "enp3s0 1000004004000000 enp0s31f6.5 1000001080070006" );
   std::uint64_t word = 0;
   for ( std::string name; words >> name >> std::hex >> word; ) {
      EXPECT_EQ( IntfId( std::string_view( name ) ).value(), word ) << name;
      EXPECT_EQ( stringValue( IntfId::fromValue( word ) ), name );
   }
   EXPECT_EQ( word, 0x1000001080070006U ) << "the last";
   EXPECT_EQ( IntfId(), IntfId( "" ) );
}

TEST( IntfId, RefusesWhatItCouldNotGiveBackExactly ) {
   expectRefused<IntfId>( "without leading zeros",
                          { "Ethernet^03", "Ethernet3/^01", "Ethernet3.^0100" } );
   expectRefused<IntfId>( "at most 1048574",
                          { "Ethernet^1048575", "Ethernet^99999999999999999999999" } );
   expectRefused<IntfId>( "at most 1022", { "Ethernet1/^1023" } );
   expectRefused<IntfId>( "at most 65534", { "Ethernet1.^65535" } );
   expectRefused<IntfId>( "at most 3 numbers", { "Ethernet1/2/3^/4" } );
   expectRefused<IntfId>( "at most 1 number and no sub-interface", { "Vlan1^/2", "Vlan1^.2" } );
   expectRefused<IntfId>( "nothing after lo", { "lo^0" } );
   expectRefused<IntfId>( "a number", { "Ethernet^", "Ethernet3/^", "Ethernet3.^" } );
   expectRefused<IntfId>( "the end of the name",
                          { "Ethernet3.1^.2", "Ethernet3.1^/2", "Ethernet3^ ", "Ethernet3^\0"sv } );
   expectRefused<IntfId>( "Ethernet, Port-Channel", { "^Ethernet-3", "^Ethernet+3", "^ethernet3",
                                                      "^3", "^enx00005e005301" } );
   expectRefused<IntfId>( "'s' and a number", { "enp3^" } );
   expectRefused<IntfId>( "16 lower-case hexadecimal digits and ')', of a word without a name",
                          { "IntfId(0x00^)", "IntfId(0x^0100004000000000)",
                            "IntfId(0x^0000000000000000)", "IntfId(0x^FF00000000000000)",
                            "IntfId(0xff00000000000000^", "IntfId(0xff00000000000000)^)" } );
}

/// Text and word are two forms of one thing, whatever the word.
TEST( IntfId, AnyWordIsReadBackFromItsText ) {
   // No kind, none that is assigned, a second number without the first, a third without the second,
   // lo0, Vlan0.0, enp0 without a slot
   expectTexts<IntfId>( { "IntfId(0x0000000000000001)", "IntfId(0x1100001000000000)",
                          "IntfId(0x0100000008000000)", "IntfId(0x0100001000010000)",
                          "IntfId(0x0800001000000000)", "IntfId(0x0300001000000001)",
                          "IntfId(0x1000001000000000)", "IntfId(0xffffffffffffffff)" } );
   std::mt19937_64 random( 3 );
   int named = 0;
   for ( int i = 0; i < 20000; ++i ) {
      // Mostly zero fields and small kinds, so that many words have names.
      std::uint64_t word = random() % 18 << 56;
      for ( int const shift : { 36, 26, 16, 0 } ) {
         word |= random() % 2 != 0 ? random() % 1024 << shift : 0;
      }
      std::string const text = stringValue( IntfId::fromValue( word ) );
      named += text.rfind( "IntfId", 0 ) != 0;
      ASSERT_EQ( IntfId( std::string_view( text ) ).value(), word ) << text;
   }
   EXPECT_GT( named, 1000 );
}

TEST( IntfId, OrdersAsPeopleDo ) {
   expectOrdered<IntfId>( { "", "Ethernet2", "Ethernet3", "Ethernet3.1", "Ethernet3.10",
                            "Ethernet3/1", "Ethernet3/1.5", "Ethernet3/1/1", "Ethernet3/2",
                            "Ethernet10", "Port-Channel1", "Vlan4094", "Management1",
                            "Management1/1", "lo" } );
}

// One group is not shortened, of several runs the longest, and of equal ones the first.
TEST( IpGenPrefix, IsReadAndPrinted ) {
   expectTexts<IpGenPrefix>( { "192.0.2.0/24",
                               "192.0.2.55",
                               "192.0.2.55/32 -> 192.0.2.55",
                               "0.0.0.0/0",
                               "0.0.0.0",
                               "128.0.0.0/1",
                               "255.255.255.255",
                               "::",
                               "::/0",
                               "::1",
                               "1::",
                               "fe80::/10",
                               "2001:DB8::/32 -> 2001:db8::/32",
                               "2001:db8::1/128 -> 2001:db8::1",
                               "2001:db8:53:5::/64",
                               "2001:0db8:0000:0000:0000:0000:0000:0001 -> 2001:db8::1",
                               "2001:db8:0:1:1:1:1:1",
                               "2001:db8::1:1:1:1:1 -> 2001:db8:0:1:1:1:1:1",
                               "2001:0:0:1:0:0:0:1 -> 2001:0:0:1::1",
                               "2001:db8:0:0:1:0:0:1 -> 2001:db8::1:0:0:1",
                               "0:0:1:0:0:0:0:0 -> 0:0:1::",
                               "1:2:3:4:5:6:7:: -> 1:2:3:4:5:6:7:0",
                               "::2:3:4:5:6:7:8 -> 0:2:3:4:5:6:7:8",
                               "::ffff:192.0.2.1",
                               "::ffff:c000:201 -> ::ffff:192.0.2.1",
                               "64:ff9b::192.0.2.1 -> 64:ff9b::c000:201",
                               "1:2:3:4:5:6:1.2.3.4 -> 1:2:3:4:5:6:102:304" } );
   EXPECT_EQ( IpGenPrefix(), IpGenPrefix( "0.0.0.0/0" ) );
   expectOrdered<IpGenPrefix>( { "0.0.0.0/0", "10.0.0.0/8", "10.0.0.0/9", "10.0.0.0",
                                 "10.128.0.0/9", "192.0.2.1", "::/0", "::1", "2001:db8::/32" } );
}

TEST( IpGenPrefix, IsRefusedWhereItIsWrong ) {
   expectRefused<IpGenPrefix>( "an IPv4 or IPv6 address", { "^", "^192" } );
   expectRefused<IpGenPrefix>( "an octet of at most 255 without leading zeros",
                               { "192.0.2.^256", "192.0.^02.1" } );
   expectRefused<IpGenPrefix>( "'.' and the next octet", { "192.0.2^", "::1.2.3^" } );
   expectRefused<IpGenPrefix>( "'/' and a length, or the end",
                               { "192.0.2.1^.", "1:2:3:4:5:6:7:8^:9", "::1.2.3.4^:5",
                                 "1:2:3:4:5:6:7:1^.2.3.4", "fe80::1^%eth0" } );
   expectRefused<IpGenPrefix>( "a length of at most 32", { "192.0.2.0/^", "192.0.2.0/^33",
                                                           "192.0.2.0/^024", "192.0.2.0/24^x" } );
   expectRefused<IpGenPrefix>( "a length of at most 128", { "2001:db8::/^129" } );
   expectRefused<IpGenPrefix>(
      "every bit of the prefix is zero",
      { "192.0.2.1/^24", "192.0.2.128/^24", "10.0.128.1/^17", "2001:db8::1/^127" } );
   expectRefused<IpGenPrefix>( "", { "^:1::", "1::^:2", "1::2:^:3", "1234^5::", "^[::1]" } );
   expectRefused<IpGenPrefix>( "eight groups", { "1:2:3:4:5:6:7^" } );
   expectRefused<IpGenPrefix>( "fewer than eight", { "1:2:3:4:5:6:7:8::^", "::1:2:3:4:5:6:7:8^" } );
}

TEST( IpGenPrefix, TakesOnlyWhatIsAPrefix ) {
   std::vector<std::uint8_t> const v4{ 10, 1, 128, 0 };
   EXPECT_EQ( stringValue( IpGenPrefix( IpFamily::ipv4, v4, 17 ) ), "10.1.128.0/17" );
   EXPECT_EQ( stringValue( IpGenPrefix( IpFamily::ipv4, v4 ) ), "10.1.128.0" );
   for ( auto const& [family, address, length] :
         std::vector<std::tuple<int, std::vector<std::uint8_t>, unsigned>>{
            { 4, v4, 16 },
            { 4, v4, 33 },
            { 6, v4, 17 },
            { 0, {}, 0 },
            { 5, v4, 32 },
            { 4, v4, 256 + 17 } } ) {
      EXPECT_THROW( IpGenPrefix( static_cast<IpFamily>( family ), address, length ),
                    Varek::RangeError )
         << length;
   }
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

} // namespace
