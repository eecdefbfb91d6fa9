#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Radius/Packet.h"
#include "support/SamplePackets.h"

namespace {

using namespace RadiusPacketParser;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using Samples::Octets;

/// Attributes and their values as text, one a line.
std::string text( Attributes const& attributes ) {
   std::string lines;
   for ( auto const& [attribute, value] : attributes ) {
      lines += stringValue( attribute ) + " " + stringValue( value ) + "\n";
   }
   return lines;
}

/// Decodes from storage of exactly the packet's size, so that a read beyond it is noticed.
DecodedPacket decodeExactly( Octets const& octets ) {
   auto const exact = std::make_unique<std::uint8_t[]>( octets.size() );
   std::copy( octets.begin(), octets.end(), exact.get() );
   return decode( { exact.get(), octets.size() } );
}

void setLength( Octets& packet, std::size_t length ) {
   packet[2] = static_cast<std::uint8_t>( length >> 8 );
   packet[3] = static_cast<std::uint8_t>( length );
}

/// An Access-Accept of \p attributes, written in octets.
Octets accept( Octets const& attributes ) {
   Octets packet{ 2, 9, 0, 0 };
   packet.resize( headerSize, 0xAA );
   packet.insert( packet.end(), attributes.begin(), attributes.end() );
   setLength( packet, packet.size() );
   return packet;
}

struct Reading {
   Octets attributes;
   std::string_view expected;
};

void expectReadings( std::vector<Reading> const& readings ) {
   for ( auto const& [attributes, expected] : readings ) {
      DecodedPacket const packet = decodeExactly( accept( attributes ) );
      EXPECT_EQ( text( packet.attributes ), expected );
      EXPECT_FALSE( packet.error ) << packet.error->what();
   }
}

TEST( RadiusDecode, ReadsTextAndOctetsAsTheyAre ) {
   expectReadings( {
      { {}, "" },
      { { 1, 5, 'b', 'o', 'b' }, "User-Name \"bob\"\n" },
      { { 18, 2 }, "Reply-Message \"\"\n" },
      { { 11, 3, 'a' }, "Filter-Id \"a\"\n" },
      { { 58, 4, '1', 'v' }, "Egress-VLAN-Name \"1v\"\n" },
      { { 92, 5, 'a', 0, 'b' }, "NAS-Filter-Rule \"a\\x00b\"\n" },
      { { 25, 4, 0, 0xFF }, "Class 0x00ff\n" },
      { { 69, 5, 1, 2, 3 }, "Tunnel-Password 0x010203\n" },
      { { 200, 3, 7 }, "Attribute-200 0x07\n" },
      { { 0, 2 }, "Attribute-0 0x\n" },
   } );
}

TEST( RadiusDecode, ReadsIntegersOfTheirSizeAlone ) {
   expectReadings( {
      { { 27, 6, 0, 0, 0x0E, 0x10 }, "Session-Timeout 3600\n" },
      { { 6, 6, 0, 0, 0, 10 }, "Service-Type 10\n" },
      { { 28, 6, 0, 0, 2, 0x58 }, "Idle-Timeout 600\n" },
      { { 56, 6, 0x31, 0, 0, 0x14 }, "Egress-VLANID 822083604\n" },
      { { 57, 6, 0, 0, 0, 1 }, "Ingress-Filters 1\n" },
      { { 27, 6, 0xFF, 0xFF, 0xFF, 0xFF }, "Session-Timeout 4294967295\n" },
      { { 27, 5, 0, 0, 1 }, "Session-Timeout 0x000001\n" },
      { { 27, 7, 0, 0, 0, 0, 1 }, "Session-Timeout 0x0000000001\n" },
      { { 55, 6, 0x69, 0, 0, 0 }, "Event-Timestamp 1761607680\n" },
      { { 124, 10, 0, 0, 0, 1, 0, 0, 0, 0 }, "MIP6-Feature-Vector 4294967296u64\n" },
      { { 124, 6, 0, 0, 0, 1 }, "MIP6-Feature-Vector 0x00000001\n" },
   } );
}

TEST( RadiusDecode, ReadsTagsOfTextUpTo31AndOfIntegersAlways ) {
   expectReadings( {
      { { 81, 5, '1', '1', '0' }, "Tunnel-Private-Group-Id :0 \"110\"\n" },
      { { 81, 5, 0, '1', '0' }, "Tunnel-Private-Group-Id :0 \"10\"\n" },
      { { 81, 5, 0x1F, '1', '0' }, "Tunnel-Private-Group-Id :31 \"10\"\n" },
      { { 81, 5, 0x20, '1', '0' }, "Tunnel-Private-Group-Id :0 \" 10\"\n" },
      { { 81, 3, 2 }, "Tunnel-Private-Group-Id :2 \"\"\n" },
      { { 81, 2 }, "Tunnel-Private-Group-Id :0 \"\"\n" },
      { { 64, 6, 0, 0, 0, 13 }, "Tunnel-Type :0 13\n" },
      { { 64, 6, 0x20, 1, 0, 13 }, "Tunnel-Type :32 65549\n" },
      { { 64, 5, 0, 0, 13 }, "Tunnel-Type 0x00000d\n" },
   } );
}

TEST( RadiusDecode, ReadsAddressesAndPrefixesThatAreOnes ) {
   expectReadings( {
      { { 8, 6, 192, 0, 2, 55 }, "Framed-IP-Address 192.0.2.55\n" },
      { { 8, 5, 192, 0, 2 }, "Framed-IP-Address 0xc00002\n" },
      { { 95, 6, 192, 0, 2, 55 }, "NAS-IPv6-Address 0xc0000237\n" },
      { { 97, 4, 0, 0 }, "Framed-IPv6-Prefix ::/0\n" },
      { { 97, 8, 0, 32, 0x20, 1, 0xD, 0xB8 }, "Framed-IPv6-Prefix 2001:db8::/32\n" },
      { { 97, 8, 1, 32, 0x20, 1, 0xD, 0xB8 }, "Framed-IPv6-Prefix 0x012020010db8\n" },
      { { 97, 8, 0, 28, 0x20, 1, 0xD, 0xB8 }, "Framed-IPv6-Prefix 0x001c20010db8\n" },
      { { 97, 8, 0, 33, 0x20, 1, 0xD, 0xB8 }, "Framed-IPv6-Prefix 0x002120010db8\n" },
      { { 97, 4, 0, 129 }, "Framed-IPv6-Prefix 0x0081\n" },
      { { 97, 3, 0 }, "Framed-IPv6-Prefix 0x00\n" },
      { { 96, 10, 0, 0, 0x5E, 0xFF, 0xFE, 0, 0x53, 5 },
        "Framed-Interface-Id 0x00005efffe005305\n" },
   } );
}

TEST( RadiusDecode, ReadsVendorAttributesOneByOne ) {
   expectReadings( {
      { { 26, 12, 0, 0, 0x7E, 0xD9, 1, 3, 'x', 2, 2, 0 }, // the last octet has no length
        "Vendor-32473-Attribute-0 0x010378020200\n" },
      { { 26, 11, 0, 0, 0x7E, 0xD9, 1, 3, 'x', 2, 2 },
        "Vendor-32473-Attribute-1 0x78\nVendor-32473-Attribute-2 0x\n" },
      { { 26, 9, 0, 0, 1, 0x37, 16, 3, 5 }, "MS-MPPE-Send-Key 0x05\n" },
      { { 26, 9, 0, 0, 0x7E, 0xD9, 1, 4, 'x' }, "Vendor-32473-Attribute-0 0x010478\n" },
      { { 26, 9, 0, 0, 0x7E, 0xD9, 1, 1, 'x' }, "Vendor-32473-Attribute-0 0x010178\n" },
      { { 26, 9, 0, 0, 0x7E, 0xD9, 0, 3, 'x' }, "Vendor-32473-Attribute-0 0x000378\n" },
      { { 26, 6, 0, 0, 0x7E, 0xD9 }, "Vendor-32473-Attribute-0 0x\n" },
      { { 26, 9, 0, 0, 0, 0, 1, 3, 'x' }, "Vendor-Specific 0x00000000010378\n" },
      { { 26, 5, 0, 0, 9 }, "Vendor-Specific 0x000009\n" },
      { { 26, 2 }, "Vendor-Specific 0x\n" },
   } );
}

TEST( RadiusDecode, ReadsExtendedAttributesAndTheirFragments ) {
   expectReadings( {
      { { 241, 5, 5, 1, 2 }, "Extended-Attribute-241.5 0x0102\n" },
      { { 244, 3, 26 }, "Extended-Attribute-244.26 0x\n" },
      { { 241, 2 }, "Extended-Attribute-1 0x\n" },
      { { 245, 5, 7, 0, 9 }, "Extended-Attribute-245.7 0x09\n" },
      { { 245, 3, 7 }, "Extended-Attribute-5 0x07\n" },
      { { 245, 5, 7, 0x80, 1, 245, 5, 7, 0x80, 2, 245, 5, 7, 0, 3, 245, 5, 7, 0, 4 },
        "Extended-Attribute-245.7 0x010203\nExtended-Attribute-245.7 0x04\n" },
      // The last fragment is missing: cut off by another type, space, attribute or the end
      { { 245, 5, 7, 0x80, 1, 245, 5, 8, 0, 2 },
        "Extended-Attribute-5 0x078001\nExtended-Attribute-245.8 0x02\n" },
      { { 245, 5, 7, 0x80, 1, 246, 5, 7, 0, 2 },
        "Extended-Attribute-5 0x078001\nExtended-Attribute-246.7 0x02\n" },
      { { 245, 5, 7, 0x80, 1, 18, 3, 'x', 245, 5, 7, 0, 2 },
        "Extended-Attribute-5 0x078001\nReply-Message \"x\"\nExtended-Attribute-245.7 0x02\n" },
      { { 245, 5, 7, 0x80, 1, 245, 3, 7 },
        "Extended-Attribute-5 0x078001\nExtended-Attribute-5 0x07\n" },
      { { 245, 5, 7, 0x80, 1, 245, 5, 7, 0x80, 2 },
        "Extended-Attribute-5 0x078001\nExtended-Attribute-5 0x078002\n" },
   } );
}

std::string badLength( std::string_view allowed, std::string_view attribute, int found ) {
   return "a length of " + std::string( allowed ) + " of the " + std::string( attribute ) +
          " attribute, found " + std::to_string( found );
}

/// What is wrong is told with its place; what stands before it is kept.
TEST( RadiusDecode, KeepsWhatStandsBeforeAFault ) {
   constexpr std::string_view x = "Reply-Message \"x\"\n",
                              fragment = "Extended-Attribute-5 0x078001\n";
   struct {
      Octets attributes;
      int excess; ///< By how much the length in the header exceeds what is there.
      std::string_view kept;
      std::size_t offset;
      std::string expected; ///< Nothing if there is no fault.
   } const cases[] = {
      { { 18, 3, 'x', 27, 1, 0, 0 }, 0, x, 23, badLength( "2 to 4", "Session-Timeout", 1 ) },
      { { 18, 3, 'x', 27, 0 }, 0, x, 23, badLength( "2 to 2", "Session-Timeout", 0 ) },
      { { 18, 4, 'x' }, 0, "", 20, badLength( "2 to 3", "Reply-Message", 4 ) },
      { { 18, 3, 'x', 18, 1 }, 9, x, 23, badLength( "2 to 11", "Reply-Message", 1 ) },
      { { 245, 5, 7, 0x80, 1, 245, 9, 7, 0 },
        0,
        fragment,
        25,
        badLength( "2 to 4", "Extended-Attribute-5", 9 ) },
      { { 18, 3, 'x', 27 },
        0,
        x,
        23,
        "an attribute of at least 2 octets, found 1 octet before the end of the packet" },
      { { 18, 3, 'x' }, 3, x, 23, "26 octets as the length of the RADIUS packet says, found 23" },
      { { 18, 3, 'x', 18, 4, 'y' },
        1,
        x,
        26,
        "27 octets as the length of the RADIUS packet says, found 26, the end being within the "
        "Reply-Message attribute" },
      { { 18, 3, 'x', 99 }, -1, x, 0, "" }, // padding
   };
   for ( auto const& [attributes, excess, kept, offset, expected] : cases ) {
      Octets packet = accept( attributes );
      setLength( packet, packet.size() + static_cast<std::size_t>( excess ) );
      DecodedPacket const decoded = decodeExactly( packet );
      EXPECT_EQ( text( decoded.attributes ), kept );
      EXPECT_EQ( decoded.identifier, 9 );
      ASSERT_EQ( decoded.error.has_value(), !expected.empty() );
      if ( decoded.error ) {
         EXPECT_EQ( decoded.error->offset(), offset );
         EXPECT_EQ( decoded.error->what(),
                    "expected " + expected + " (at offset " + std::to_string( offset ) + ")" );
      }
   }
}

TEST( RadiusDecode, ChecksTheHeader ) {
   for ( std::size_t const length : { 0U, 19U, 4097U, 65535U } ) {
      Octets packet = accept( { 18, 3, 'x' } );
      setLength( packet, length );
      packet.resize( std::max<std::size_t>( packet.size(), length ) );
      DecodedPacket const decoded = decodeExactly( packet );
      ASSERT_TRUE( decoded.error ) << length;
      EXPECT_EQ( decoded.error->offset(), 2U );
      EXPECT_EQ( decoded.code, 2 );
      EXPECT_EQ( decoded.length, length );
      EXPECT_TRUE( decoded.attributes.empty() );
   }
   Octets largest = accept( {} );
   for ( int i = 0; i < 2038; ++i ) {
      largest.insert( largest.end(), { 25, 2 } );
   }
   setLength( largest, largestPacket );
   EXPECT_EQ( decodeExactly( largest ).attributes.size(), 2038U );
   EXPECT_FALSE( decodeExactly( largest ).error );
}

TEST( RadiusDecode, KnowsTheNamesOfCodes ) {
   EXPECT_EQ( RadiusPktParserBase::codeName( 2 ), "Access-Accept" );
   EXPECT_EQ( RadiusPktParserBase::codeName( 11 ), "Access-Challenge" );
   EXPECT_EQ( RadiusPktParserBase::codeName( 45 ), "CoA-NAK" );
   EXPECT_EQ( RadiusPktParserBase::codeName( 0 ), "" );
   EXPECT_EQ( RadiusPktParserBase::codeName( 255 ), "" );
}

// Real packets

std::vector<Octets> allSamples() {
   std::vector<Octets> all;
   for ( char const* const name : { "mba.pcap", "eap-radius.pcap", "acct.pcap" } ) {
      for ( Octets& packet : Samples::udpPayloads( name ) ) {
         all.push_back( std::move( packet ) );
      }
   }
   return all;
}

/// A packet cut anywhere says where it ends, and gives the attributes of the packet that ends
/// before the one that was cut.
TEST( RadiusSamples, CutAnywhereGiveWhatIsWhole ) {
   std::vector<Octets> const all = allSamples();
   EXPECT_EQ( all.size(), 29U + 72U + 40U );
   for ( Octets const& whole : all ) {
      DecodedPacket const read = decodeExactly( whole );
      EXPECT_FALSE( read.error ) << read.error->what();
      EXPECT_EQ( read.length, whole.size() );
      std::size_t boundary = headerSize;
      for ( std::size_t size = 0; size < whole.size(); ++size ) {
         Octets const cut( whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>( size ) );
         DecodedPacket const decoded = decodeExactly( cut );
         ASSERT_TRUE( decoded.error );
         ASSERT_EQ( decoded.error->offset(), size );
         if ( size < headerSize ) {
            ASSERT_TRUE( decoded.attributes.empty() );
            continue;
         }
         if ( size == boundary + whole[boundary + 1] ) {
            boundary = size;
         }
         Octets shorter( whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>( boundary ) );
         setLength( shorter, boundary );
         ASSERT_EQ( decoded.attributes, decode( shorter ).attributes );
      }
   }
}

TEST( RadiusSamples, FlippedAnywhereAreStillReadOrRefused ) {
   std::mt19937 random( 6 );
   int faults = 0;
   for ( Octets const& whole : allSamples() ) {
      for ( int i = 0; i < 100; ++i ) {
         Octets packet = whole;
         for ( auto flips = 1 + random() % 3; flips > 0; --flips ) {
            packet[random() % packet.size()] ^= static_cast<std::uint8_t>( 1U << random() % 8 );
         }
         DecodedPacket const decoded = decodeExactly( packet );
         ASSERT_EQ( decoded.code, packet[0] );
         ASSERT_FALSE( decoded.error && decoded.error->offset() > packet.size() );
         faults += decoded.error.has_value();
         for ( auto const& [attribute, value] : decoded.attributes ) {
            ASSERT_EQ( Attribute( std::string_view( stringValue( attribute ) ) ), attribute );
            ASSERT_EQ( AttrValue( std::string_view( stringValue( value ) ) ), value );
         }
      }
   }
   EXPECT_GT( faults, 100 );
}

} // namespace
