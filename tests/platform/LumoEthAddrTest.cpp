#include <array>
#include <cstdint>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "Lumo/EthAddr.h"
#include "support/TextCases.h"

namespace {

using Lumo::EthAddr;

TEST( EthAddr, ReadsEveryNotation ) {
   for ( std::string_view const text :
         { "00:1a:2B:3c:4D:ff", "00-1a-2b-3C-4d-FF", "001a.2b3C.4DFF", "001A2b3c4dFf" } ) {
      expectText<EthAddr>( text, "00:1a:2b:3c:4d:ff" );
   }
   EXPECT_EQ( stringValue( EthAddr() ), "00:00:00:00:00:00" );
}

TEST( EthAddr, RefusesAnythingElse ) {
   for ( BadText const& bad : {
            BadText{ "", 0, "a MAC address" },
            { "00:1a:2b:3c:4d", 14 },
            { "00:1a:2b:3c:4d:f", 16 },
            { "00:1a:2b:3c:4d:ff:", 17 },
            { "00:1a:2b:3c:4d:ff ", 17 },
            { " 00:1a:2b:3c:4d:ff", 0 },
            { "00:1a-2b:3c:4d:ff", 5 },
            { "00:1a:2b3c:4d:ff", 8 },
            { "0:1a:2b:3c:4d:ff", 1 },
            { "00:1g:2b:3c:4d:ff", 4 },
            { "001a.2b3c:4dff", 9 },
            { "001a.2b3c.4dff.", 14 },
            { "001a2b3c4dff0", 12 },
            { "001a2b3c4df", 11 },
            { "001a2b-3c4dff", 6 },
            { std::string_view( "001a2b3c4d\0f", 12 ), 10 },
         } ) {
      expectRefused<EthAddr>( bad );
   }
}

TEST( EthAddr, OrdersByOctetsAsTheyAreSent ) {
   expectOrdered<EthAddr>( { "000000000000", "0000000000ff", "000000000100", "01ffffffffff",
                             "020000000000", "7f0000000000", "800000000000" } );
}

TEST( EthAddr, EveryBitCountsInComparisonAndHash ) {
   std::set<std::uint32_t> hashes{ EthAddr().hash( 7 ) };
   for ( unsigned bit = 0; bit < 48; ++bit ) {
      EthAddr::Octets octets{};
      octets[bit / 8] = static_cast<std::uint8_t>( 1U << bit % 8 );
      EXPECT_NE( EthAddr( octets ), EthAddr() ) << bit;
      hashes.insert( EthAddr( octets ).hash( 7 ) );
   }
   EXPECT_EQ( hashes.size(), 49U );
   EXPECT_NE( EthAddr().hash( 7 ), EthAddr().hash( 8 ) );
}

TEST( EthAddr, AnyAddressIsReadBack ) {
   std::mt19937_64 random( 1 );
   for ( int i = 0; i < 2000; ++i ) {
      EthAddr::Octets octets;
      for ( auto& octet : octets ) {
         octet = static_cast<std::uint8_t>( random() );
      }
      EthAddr const address( octets );
      std::string const colons = stringValue( address );
      std::string bare = colons;
      std::erase( bare, ':' );
      std::string const quads =
         bare.substr( 0, 4 ) + "." + bare.substr( 4, 4 ) + "." + bare.substr( 8 );
      for ( std::string_view const text : { colons, bare, quads } ) {
         ASSERT_EQ( EthAddr( text ).octets(), octets ) << text;
      }
   }
}

} // namespace
