#include <gtest/gtest.h>

#include "agent/Derivation.h"

/// What an Access-Accept allows, by RFC 3580 and RFC 4675.
namespace {

using namespace Agent;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using RadiusPktParserBase::TaggedInt;
using RadiusPktParserBase::TaggedStr;

struct Value {
   std::uint16_t type;
   AttrValue value;
};

Varek::Ptr<Dot1xV2::AaaResponse> accept( std::vector<Value> const& values ) {
   auto const response = Dot1xV2::aaaResponseFactory( Dot1xV2::AaaResponseType::accepted );
   for ( Value const& one : values ) {
      Attribute const attribute( 0, one.type );
      auto const* const held = response->aaaAttribute( attribute );
      Dot1xV2::AaaAttribute element = held ? *held : Dot1xV2::AaaAttribute( attribute );
      element.attrValuePush( one.value );
      response->aaaAttributeIs( element );
   }
   return response;
}

std::vector<Value> tunnel( std::uint8_t tag, char const* vlan, std::uint32_t type = 13,
                           std::uint32_t medium = 6 ) {
   return { { RadiusId::tunnelType, TaggedInt{ tag, type } },
            { RadiusId::tunnelMediumType, TaggedInt{ tag, medium } },
            { RadiusId::tunnelPrivateGroupId, TaggedStr{ tag, vlan } } };
}

std::vector<Value> preference( std::uint8_t tag, std::uint32_t value ) {
   return { { RadiusId::tunnelPreference, TaggedInt{ tag, value } } };
}

std::vector<Value> operator+( std::vector<Value> a, std::vector<Value> const& b ) {
   a.insert( a.end(), b.begin(), b.end() );
   return a;
}

TEST( Derivation, VlanIsThatOfThePreferredTunnelToAVlan ) {
   std::vector<Value> const both = tunnel( 1, "A" ) + tunnel( 2, "B" );
   struct {
      char const* what;
      std::vector<Value> answer;
      std::optional<std::string> vlan;
   } const cases[] = {
      { "nothing", {}, std::nullopt },
      { "untagged", tunnel( 0, "110" ), "110" },
      { "a tag alone", tunnel( 7, "STAFF" ), "STAFF" },
      { "no VLAN tunnel", tunnel( 1, "110", 3 ), std::nullopt },
      { "no IEEE 802 medium", tunnel( 1, "110", 13, 1 ), std::nullopt },
      { "the type is of another tag",
        { { RadiusId::tunnelType, TaggedInt{ 2, 13 } },
          { RadiusId::tunnelMediumType, TaggedInt{ 1, 6 } },
          { RadiusId::tunnelPrivateGroupId, TaggedStr{ 1, "110" } } },
        std::nullopt },
      { "empty", tunnel( 1, "" ), std::nullopt },
      { "no preference: the first", tunnel( 2, "B" ) + tunnel( 1, "A" ), "B" },
      { "the lower preference, though later", both + preference( 1, 20 ) + preference( 2, 10 ),
        "B" },
      { "a preference before none", both + preference( 2, 0xffffff ), "B" },
      { "of equals the first", both + preference( 2, 5 ) + preference( 1, 5 ), "A" },
      { "the preferred is none of a VLAN",
        tunnel( 1, "A", 3 ) + tunnel( 2, "B" ) + preference( 1, 1 ) + preference( 2, 9 ), "B" },
      { "not in the form of the attribute",
        { { RadiusId::tunnelType, Varek::Bytes( "x" ) },
          { RadiusId::tunnelMediumType, TaggedInt{ 0, 6 } },
          { RadiusId::tunnelPrivateGroupId, TaggedStr{ 0, "110" } } },
        std::nullopt },
   };
   for ( auto const& one : cases ) {
      EXPECT_EQ( vlanOf( *accept( one.answer ) ), one.vlan ) << one.what;
   }
}

TEST( Derivation, NumberOfAVlanIsDecimalAndAssignable ) {
   struct {
      char const* text;
      std::uint16_t number;
   } const cases[] = { { "1", 1 },     { "4094", 4094 }, { "4095", 0 },           { "0", 0 },
                       { "", 0 },      { "+5", 0 },      { "110 ", 0 },           { "-1", 0 },
                       { "11x", 0 },   { "0x10", 0 },    { "STAFF", 0 },          { " 5", 0 },
                       { "007", 7 },   { "0110", 110 },  { "04095", 0 },          { "000", 0 },
                       { "70000", 0 }, { "65537", 0 },   { "000000004094", 4094 } };
   for ( auto const& one : cases ) {
      EXPECT_EQ( vlanNumber( one.text ).value(), one.number ) << '"' << one.text << '"';
   }
}

TEST( Derivation, EgressVlansKeepTheirOrderAndBadOnesAreLeftOut ) {
   auto const id = []( std::uint32_t word ) { return Value{ RadiusId::egressVlanId, word }; };
   auto const name = []( std::string const& text ) {
      return Value{ RadiusId::egressVlanName, Varek::String( text ) };
   };
   Dot1xV2::EgressVlanAttributes expected( true );
   expected.egressVlanIdTaggedPush( Bridging::VlanId( 30 ) );
   expected.egressVlanIdTaggedPush( Bridging::VlanId( 20 ) );
   expected.egressVlanIdUntaggedPush( Bridging::VlanId( 4094 ) );
   expected.egressVlanNameTaggedPush( "voice" );
   expected.egressVlanNameUntaggedPush( "2" );
   std::vector<Value> sent{ { RadiusId::ingressFilters, 1u } };
   for ( std::uint32_t const word : { 0x3100001eu, 0x31000014u, 0x32000ffeu, 0x33000005u,
                                      0x31001005u, 0x31000000u, 0x32000fffu, 5u } ) {
      sent.push_back( id( word ) );
   }
   for ( char const* const text : { "1voice", "22", "1", "", "3x", "voice" } ) {
      sent.push_back( name( text ) );
   }
   auto const response = accept( sent );
   EXPECT_EQ( egressVlanOf( *response ), expected );

   for ( std::uint32_t const word : { 0u, 0x31000fffu, 0xffffffffu } ) {
      EXPECT_EQ( egressVlanOf( *accept( { id( word ) } ) ), std::nullopt ) << word;
   }
   EXPECT_EQ( egressVlanOf( *accept( { { RadiusId::ingressFilters, 3u } } ) ), std::nullopt );
   EXPECT_EQ( egressVlanOf( *accept( { { RadiusId::ingressFilters, 2u } } ) ),
              Dot1xV2::EgressVlanAttributes( false ) );
}

TEST( Derivation, WhatIsNotSentIsAbsent ) {
   EXPECT_EQ( authZAttrsOf( *accept( {} ) ), Dot1xV2::AuthZAttrs() );
   Varek::String const rules( "permit in ip from any to any\0deny", 33 );
   auto const attrs =
      authZAttrsOf( *accept( { { RadiusId::userName, Varek::String( "bob" ) },
                               { RadiusId::filterId, Varek::String( "in" ) },
                               { RadiusId::filterId, Varek::String( "out" ) },
                               { RadiusId::nasFilterRule, rules },
                               { RadiusId::nasFilterRule, Varek::String( " in udp" ) } } ) );
   EXPECT_EQ( attrs.identity(), "bob" );
   EXPECT_EQ( attrs.filterId(), "in" );
   EXPECT_EQ( attrs.nasFilterRule(), rules + " in udp" );
   EXPECT_FALSE( attrs.vlanId() || attrs.egressVlan() || attrs.intfProfile() );
}

} // namespace
