#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"
#include "Radius/BreviaVendorSpec.h"
#include "Radius/Dictionary.h"
#include "Radius/RadiusAttributeId.h"
#include "support/TextCases.h"

namespace {

using namespace RadiusPktParserBase;
using RadiusPacketParser::BreviaVendorSpec;
using RadiusPacketParser::RadiusAttributeId;

TEST( Attribute, HasTheNameOfTheDictionaryOrSaysItsNumbers ) {
   struct {
      Attribute attribute;
      std::string_view text;
   } const cases[] = {
      { { 0, 0 }, "Attribute-0" },
      { { 0, 1 }, "User-Name" },
      { { 0, 56 }, "Egress-VLANID" },
      { { 0, 81 }, "Tunnel-Private-Group-Id" },
      { { 0, 190 }, "WLAN-RF-Band" },
      { { 0, 200 }, "Attribute-200" },
      { { 0, 241 }, "Extended-Attribute-1" },
      { { 0, 241 << 8 | 5 }, "Extended-Attribute-241.5" },
      { { 0, 246 << 8 }, "Extended-Attribute-246.0" },
      { { 0, 240 << 8 | 1 }, "Attribute-61441" },
      { { 0, 65535 }, "Attribute-65535" },
      { { 311, 16 }, "MS-MPPE-Send-Key" },
      { { 32473, 1 }, "Vendor-32473-Attribute-1" },
      { { 4294967295, 65535 }, "Vendor-4294967295-Attribute-65535" },
   };
   for ( auto const& [attribute, text] : cases ) {
      EXPECT_EQ( stringValue( attribute ), text );
      EXPECT_EQ( Attribute( text ), attribute ) << text;
   }
   EXPECT_EQ( Attribute( "tunnel-private-group-ID" ), Attribute( 0, 81 ) );
   EXPECT_EQ( Attribute( "Attribute-1" ), Attribute( "User-Name" ) );
   EXPECT_EQ( Attribute( "Vendor-0-Attribute-1" ), Attribute( "User-Name" ) );
   expectRefused<Attribute>( "the name of a RADIUS attribute",
                             { "^", "^User-Nam", "^User-Name " } );
   expectRefused<Attribute>( "65535", { "Attribute-^", "Attribute-^65536", "Attribute-^01" } );
   expectRefused<Attribute>( "241 to 246", { "Extended-Attribute-^240.1" } );
   expectRefused<Attribute>( "'.'", { "Extended-Attribute-241^" } );
   expectRefused<Attribute>( "at most 255", { "Extended-Attribute-241.^256" } );
   expectRefused<Attribute>( "32 bits", { "Vendor-^4294967296-Attribute-1" } );
   expectRefused<Attribute>( "", { "Vendor-9-^", "Vendor-9-Attribute-1^x" } );
}

TEST( Attribute, VendorAndTypeAreDistinguished ) {
   EXPECT_LT( Attribute( 0, 65535 ), Attribute( 1, 0 ) );
   EXPECT_LT( Attribute( 1, 1 ), Attribute( 1, 2 ) );
   std::set<std::uint32_t> hashes;
   for ( std::uint32_t vendor = 0; vendor < 64; ++vendor ) {
      for ( std::uint16_t type = 0; type < 64; ++type ) {
         hashes.insert( Attribute( vendor, type ).hash( 9 ) );
      }
   }
   EXPECT_GE( hashes.size(), 64U * 64U - 2 );
}

TEST( Dictionary, EveryNameLeadsBackToItsAttributeAlone ) {
   for ( DictionaryEntry const& entry : dictionary() ) {
      EXPECT_EQ( dictionaryEntry( entry.name ), &entry );
      EXPECT_EQ( dictionaryEntry( entry.attribute ), &entry );
      EXPECT_EQ( stringValue( entry.attribute ), entry.name );
   }
   EXPECT_EQ( dictionaryEntry( Attribute( 0, 257 ) ), nullptr );
   EXPECT_EQ( dictionaryEntry( Attribute( 1, 1 ) ), nullptr );
}

TEST( Dictionary, NamesEnumeratedValues ) {
   std::istringstream cases( "6 10 Call-Check 6 0 - 27 1 - 29 0 Default 29 1 RADIUS-Request "
                             "40 3 Interim-Update 40 4 - 40 7 Accounting-On 40 15 Failed "
                             "49 6 Admin-Reset 49 22 Port-Administratively-Disabled 49 24 - "
                             "57 2 Disabled 61 15 Ethernet 61 19 Wireless-802.11 64 13 VLAN "
                             "64 4294967295 - 65 6 IEEE-802" );
   std::uint16_t type = 0;
   std::uint32_t value = 0;
   for ( std::string name; cases >> type >> value >> name; ) {
      EXPECT_EQ( enumeratorName( { 0, type }, value ), name == "-" ? "" : name );
   }
   EXPECT_EQ( type, 65 ) << "the last";
   EXPECT_EQ( enumeratorName( { 311, 6 }, 10 ), "" );
}

TEST( AttributeEnumerations, EveryOctetIsReadBack ) {
   for ( unsigned octet = 0; octet <= 255; ++octet ) {
      auto const id = static_cast<RadiusAttributeId::RadiusAttributeIdEnum>( octet );
      EXPECT_EQ( RadiusAttributeId::fromText( stringValue( id ) ), id );
      auto const sub = static_cast<BreviaVendorSpec::BreviaVendorSpecEnum>( octet );
      EXPECT_EQ( BreviaVendorSpec::fromText( stringValue( sub ) ), sub );
   }
   EXPECT_EQ( stringValue( RadiusAttributeId::egressVlanId ), "Egress-VLANID" );
   EXPECT_EQ( stringValue( BreviaVendorSpec::aclName ), "Brevia-Acl-Name" );
   for ( std::string_view const text : { "MS-MPPE-Send-Key", "Attribute-256", "nothing" } ) {
      EXPECT_THROW( RadiusAttributeId::fromText( text ), Varek::TextError ) << text;
   }
   for ( std::string_view const text : { "", "Brevia-Attribute-256", "Brevia-Acl-Name " } ) {
      EXPECT_THROW( BreviaVendorSpec::fromText( text ), Varek::TextError ) << text;
   }
}

TEST( AttrValue, PrintsItsForm ) {
   using namespace std::string_literals;
   struct {
      AttrValue value;
      std::string_view text;
   } const cases[] = {
      { {}, R"("")" },
      { "Welcome"s, R"("Welcome")" },
      { "a\"b\\\n\0\x7f\xc3\xa9"s, R"("a\"b\\\x0a\x00\x7f\xc3\xa9")" },
      { "13"s, R"("13")" },
      { TaggedStr{ 1, "EMPLOYEES" }, R"(:1 "EMPLOYEES")" },
      { TaggedStr{}, R"(:0 "")" },
      { std::uint32_t{ 4294967295 }, "4294967295" },
      { TaggedInt{ 31, 13 }, ":31 13" },
      { std::uint64_t{ 13 }, "13u64" },
      { std::numeric_limits<std::uint64_t>::max(), "18446744073709551615u64" },
      { Lumo::IpGenPrefix( "192.0.2.55" ), "192.0.2.55" },
      { Lumo::IpGenPrefix( "::1" ), "::1" },
      { Lumo::IpGenPrefix( "::/0" ), "::/0" },
      { Varek::Bytes( "\x00\xff"s ), "0x00ff" },
      { Varek::Bytes(), "0x" },
   };
   std::set<std::uint32_t> hashes;
   for ( auto const& [value, text] : cases ) {
      EXPECT_EQ( stringValue( value ), text );
      EXPECT_EQ( AttrValue( text ), value ) << text;
      EXPECT_EQ( AttrValue( text ).index(), value.index() ) << text;
      hashes.insert( value.hash( 3 ) );
   }
   EXPECT_EQ( hashes.size(), std::size( cases ) );
}

TEST( AttrValue, RefusesOtherText ) {
   expectRefused<AttrValue>( "the value of an attribute", { "^", "^text", "^4294967296", "^u64",
                                                            "^-1", "^18446744073709551616u64" } );
   expectRefused<AttrValue>( "a quote", { "\"open^" } );
   expectRefused<AttrValue>( "the end", { "\"a\"^b", "1^ ", ":1 2^u64" } );
   expectRefused<AttrValue>( "\\xNN", { "\"\\^n\"" } );
   expectRefused<AttrValue>( "two hexadecimal digits", { "\"\\x0^\"" } );
   expectRefused<AttrValue>( "an even number", { "0x0^", "0x^gg" } );
   expectRefused<AttrValue>( "a tag", { ":^256 1" } );
   expectRefused<AttrValue>( "a space", { ":1^" } );
   expectRefused<AttrValue>( "text in quotes or a 32-bit number", { ":1 ^", ":1 ^4294967296" } );
   expectRefused<AttrValue>( "", { "192.0.2.1/^24" } );
}

/// Values that differ only in form are different, in the order of the forms.
TEST( AttrValue, ComparesFormFirst ) {
   expectOrdered<AttrValue>(
      { "\"9\"", ":0 \"9\"", "9", "10", ":0 9", ":1 9", "9u64", "0.0.0.9", "0x39" } );
}

} // namespace
