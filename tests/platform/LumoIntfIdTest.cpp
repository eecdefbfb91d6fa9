#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "Lumo/IntfId.h"
#include "support/TextCases.h"

namespace {

using Lumo::IntfId;

/// These words are in other processes and on disk: a change here is an incompatible one.
TEST( IntfId, EveryKindHasItsWord ) {
   struct {
      std::string_view name;
      std::uint64_t value;
   } const golden[] = {
      { "", 0 },
      { "Ethernet0", 0x0100001000000000 },
      { "Ethernet3", 0x0100004000000000 },
      { "Ethernet3/1", 0x0100004008000000 },
      { "Ethernet1/2/3", 0x010000200C040000 },
      { "Ethernet3.100", 0x0100004000000065 },
      { "Ethernet1048574/1022/1022.65534", 0x01FFFFFFFFFFFFFF },
      { "Port-Channel10", 0x020000B000000000 },
      { "Port-Channel10.7", 0x020000B000000008 },
      { "Vlan100", 0x0300065000000000 },
      { "Management1", 0x0400002000000000 },
      { "Management1/1", 0x0400002008000000 },
      { "Loopback0", 0x0500001000000000 },
      { "Tunnel5", 0x0600006000000000 },
      { "eth0", 0x0700001000000000 },
      { "eth0.4094", 0x0700001000000FFF },
      { "lo", 0x0800000000000000 },
      { "bond1", 0x0900002000000000 },
      { "br0", 0x0A00001000000000 },
      { "vlan100", 0x0B00065000000000 },
      { "veth7", 0x0C00008000000000 },
      { "wlan0", 0x0D00001000000000 },
      { "eno1", 0x0E00002000000000 },
      { "ens3", 0x0F00004000000000 },
      { "ens3f1", 0x0F00004008000000 },
      { "enp3s0", 0x1000004004000000 },
      { "enp0s31f6.5", 0x1000001080070006 },
   };
   for ( auto const& [name, value] : golden ) {
      EXPECT_EQ( IntfId( name ).value(), value ) << name;
      EXPECT_EQ( stringValue( IntfId::fromValue( value ) ), name );
   }
   EXPECT_EQ( IntfId(), IntfId( "" ) );
}

TEST( IntfId, RefusesWhatItCouldNotGiveBackExactly ) {
   for ( BadText const& bad : {
            BadText{ "Ethernet03", 8, "without leading zeros" },
            { "Ethernet3/01", 10, "without leading zeros" },
            { "Ethernet3.0100", 10, "without leading zeros" },
            { "Ethernet1048575", 8, "at most 1048574" },
            { "Ethernet99999999999999999999999", 8, "at most 1048574" },
            { "Ethernet1/1023", 10, "at most 1022" },
            { "Ethernet1.65535", 10, "at most 65534" },
            { "Ethernet1/2/3/4", 13, "at most 3 numbers" },
            { "Vlan1/2", 5, "at most 1 number and no sub-interface" },
            { "Vlan1.2", 5, "no sub-interface" },
            { "lo0", 2, "nothing after lo" },
            { "Ethernet", 8, "a number" },
            { "Ethernet3/", 10, "a number" },
            { "Ethernet3.", 10, "a number" },
            { "Ethernet3.1.2", 11 },
            { "Ethernet3.1/2", 11 },
            { "Ethernet3 ", 9 },
            { "Ethernet-3", 0, "Port-Channel" },
            { "Ethernet+3", 0 },
            { "ethernet3", 0, "Ethernet, Port-Channel" },
            { "3", 0 },
            { "enp3", 4, "'s' and a number" },
            { "enx00005e005301", 0 },
            { "IntfId(0x00)", 11, "16 lower-case hexadecimal digits" },
            { "IntfId(0x0100004000000000)", 9, "a word without a name" },
            { "IntfId(0x0000000000000000)", 9, "a word without a name" },
            { "IntfId(0xFF00000000000000)", 9, "lower-case" },
            { "IntfId(0xff00000000000000", 25 },
            { "IntfId(0xff00000000000000))", 26 },
            { std::string_view( "Ethernet3\0", 10 ), 9 },
         } ) {
      expectRefused<IntfId>( bad );
   }
}

TEST( IntfId, WordsThatNoNameMakesSayWhatTheyAre ) {
   for ( std::uint64_t const word : std::initializer_list<std::uint64_t>{
            0x0000000000000001U, // no kind
            0x1100001000000000U, // a kind that is not assigned
            0x0100000008000000U, // a second number without the first
            0x0100001000010000U, // a third without the second
            0x0800001000000000U, // lo0
            0x0300001000000001U, // Vlan0.0
            0x1000001000000000U, // enp0 without a slot
            0xFFFFFFFFFFFFFFFFU,
         } ) {
      IntfId const id = IntfId::fromValue( word );
      EXPECT_EQ( stringValue( id ).rfind( "IntfId(0x", 0 ), 0U ) << stringValue( id );
      EXPECT_EQ( IntfId( std::string_view( stringValue( id ) ) ), id );
   }
}

TEST( IntfId, OrdersAsPeopleDo ) {
   expectOrdered<IntfId>( { "", "Ethernet2", "Ethernet3", "Ethernet3.1", "Ethernet3.10",
                            "Ethernet3/1", "Ethernet3/1.5", "Ethernet3/1/1", "Ethernet3/2",
                            "Ethernet10", "Port-Channel1", "Vlan4094", "Management1",
                            "Management1/1", "lo" } );
}

/// Text and word are two forms of one thing, whatever the word.
TEST( IntfId, AnyWordIsReadBackFromItsText ) {
   std::mt19937_64 random( 3 );
   int named = 0;
   for ( int i = 0; i < 20000; ++i ) {
      // Mostly zero fields and small kinds, so that many words have names.
      std::uint64_t word = random() % 18 << 56;
      for ( int const shift : { 36, 26, 16, 0 } ) {
         if ( random() % 2 != 0 ) {
            word |= random() % 1024 << shift;
         }
      }
      std::string const text = stringValue( IntfId::fromValue( word ) );
      named += text.rfind( "IntfId", 0 ) != 0;
      ASSERT_EQ( IntfId( std::string_view( text ) ).value(), word ) << text;
   }
   EXPECT_GT( named, 1000 );
}

} // namespace
