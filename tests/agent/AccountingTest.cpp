#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "FedAgent.h"

/// What sessions become by accounting requests in any order.
namespace {

using namespace Agent;

TEST( Accounting, UpdatesAreDueAsTheServerAskedUntilTheStop ) {
   Fed agent;
   agent.account( start, "before" );
   EXPECT_EQ( agent.session().nextAcctUpdateTime().count(),
              std::numeric_limits<double>::infinity() );
   agent.accepted( "Ethernet1", inVlan110 );
   agent.account( start, "a" );
   EXPECT_EQ( agent.session().nextAcctUpdateTime(), Varek::Duration( 1003 + 60 ) );
   agent.account( interim, "a" );
   EXPECT_EQ( agent.session().nextAcctUpdateTime(), Varek::Duration( 1004 + 60 ) );
   agent.account( stop, "a", { { RadiusId::acctTerminateCause, 2u } } );
   EXPECT_EQ( agent.session().terminateCause(), AcctTermCause::lostCarrier );
   EXPECT_EQ( agent.session().nextAcctUpdateTime().count(),
              std::numeric_limits<double>::infinity() );
   EXPECT_TRUE( agent.allowed( port1 ) );
}

TEST( Accounting, ASessionBeginsOnceAndNotWithItsUpdates ) {
   struct Step {
      std::uint32_t type;
      std::string id;
      std::optional<std::uint32_t> at, lasted, delay;
      std::optional<std::uint32_t> began; ///< Requests come at 1001, 1002 and so on.
   };
   std::vector<Step> const cases[] = {
      // The clocks of the switch need not agree.
      { { start, "a", 500, {}, {}, 500 },
        { interim, "a", 560, 58, {}, 500 },
        { interim, "a", {}, {}, {}, 500 },
        { stop, "a", 620, 125, {}, 500 },
        { start, "b", 700, {}, {}, 700 },
        { stop, "b", 710, 10, {}, 700 },
        { interim, "c", 900, 100, {}, 800 } },
      { { start, "a", {}, {}, 3, 998 }, { interim, "a", 2000, 5, {}, 998 } },
      { { start, "a", 500, 7, 3, 500 } },
      { { start, "a", 0, {}, {}, 1001 } },
      // No Start was seen.
      { { interim, "a", 600, {}, {}, {} },
        { interim, "a", 700, 100, {}, 600 },
        { interim, "a", 800, 150, {}, 600 },
        { start, "a", 590, {}, {}, 600 },
        { stop, "a", 900, 333, {}, 600 } },
      { { interim, "a", {}, 10, 5, 986 } },
      { { stop, "a", 50, 100, {}, {} } },
   };
   for ( auto const& steps : cases ) {
      Fed agent;
      for ( Step const& one : steps ) {
         Values values;
         for ( auto const& [type, value] : { std::pair( RadiusId::eventTimestamp, one.at ),
                                             std::pair( RadiusId::acctSessionTime, one.lasted ),
                                             std::pair( RadiusId::acctDelayTime, one.delay ) } ) {
            if ( value ) {
               values[type] = *value;
            }
         }
         agent.account( one.type, one.id, values );
         auto const* const held =
            agent.session().attribute()->byteAttribute( RadiusId::eventTimestamp );
         std::optional<std::uint32_t> began;
         if ( held ) {
            began = static_cast<std::uint32_t>(
               std::stoul( stringValue( *held ).substr( 2 ), nullptr, 16 ) );
         }
         EXPECT_EQ( began, one.began ) << one.id << " at " << agent.packet;
      }
   }
}

TEST( Accounting, WhatComesAgainOrLateChangesNothing ) {
   Fed agent;
   agent.account( start, "a" );
   agent.account( interim, "a", { { RadiusId::acctSessionTime, 30u } } );
   EXPECT_EQ( agent.acctStatus()->acctSessionUniqueId(), 1u );
   Changes const changes( agent );
   agent.account( start, "a", { { RadiusId::acctDelayTime, 5u } } );
   agent.account( stop, "another", { { RadiusId::acctTerminateCause, 1u } } );
   agent.account( interim, "another" );
   agent.account( stop, "" );
   agent.account( start, "c", { { RadiusId::callingStationId, Varek::String( "192.0.2.1" ) } } );
   agent.account( 15, "a" );
   EXPECT_TRUE( changes.counts.empty() );
   agent.account( stop, "a", { { RadiusId::acctTerminateCause, 5u } } );
   auto const ended = changes.counts;
   agent.account( interim, "a" );
   agent.account( start, "a" );
   agent.account( stop, "a" );
   EXPECT_EQ( changes.counts, ended );
   EXPECT_EQ( agent.session().terminateCause(), AcctTermCause::sessionTimeout );
   agent.account( start, "b" );
   EXPECT_EQ( agent.acctStatus()->acctSessionUniqueId(), 2u );
   EXPECT_EQ( agent.session().terminateCause(), AcctTermCause::causeNotSet );
   EXPECT_EQ( agent.session().attribute()->byteAttribute( RadiusId::acctTerminateCause ), nullptr );
}

TEST( Accounting, CausesBeyondThoseOfTheTypeAreTheNearest ) {
   using enum AcctTermCause;
   std::map<std::optional<std::uint32_t>, AcctTermCause> const causes = {
      { 1, userRequest }, { 6, adminReset },           { 7, adminReset },
      { 0, lostService }, { 9, lostService },          { 17, userRequest },
      { 22, adminReset }, { 0xffffffff, lostService }, { {}, lostService } };
   for ( auto const& [sent, cause] : causes ) {
      Fed agent;
      agent.account( stop, "a",
                     sent ? Values{ { RadiusId::acctTerminateCause, *sent } } : Values{} );
      EXPECT_EQ( agent.session().terminateCause(), cause ) << sent.value_or( 99 );
   }
}

TEST( Accounting, TheNasGoingOffEndsItsSessionsAlone ) {
   for ( std::uint32_t const type : { on, off } ) {
      Fed agent;
      Values const sameAddress = { { RadiusId::nasIpAddress, Lumo::IpGenPrefix( "192.0.2.1" ) } };
      Values other = sameAddress;
      other[RadiusId::callingStationId] = Varek::String( "00005e005302" );
      other[RadiusId::nasIdentifier] = Varek::String( "switch-2" );
      agent.account( start, "a", sameAddress );
      agent.account( start, "b", other );
      Values done = sameAddress;
      done[RadiusId::callingStationId] = Varek::String( "00005e005303" );
      done[RadiusId::acctTerminateCause] = 1u;
      agent.account( stop, "c", done );
      Values unnamed = sameAddress;
      unnamed[RadiusId::acctStatusType] = type;
      agent.sent( accountingRequest, unnamed );
      EXPECT_EQ( agent.session().terminateCause(), AcctTermCause::causeNotSet )
         << "the address alone is not enough where a name was said";
      agent.account( type, "nas", sameAddress );
      EXPECT_EQ( agent.session().terminateCause(), AcctTermCause::adminReset );
      auto const its = agent.acctStatus()->acctSessionState( Lumo::EthAddr( "00005e005302" ) );
      EXPECT_EQ( its->terminateCause(), AcctTermCause::causeNotSet );
      auto const over = agent.acctStatus()->acctSessionState( Lumo::EthAddr( "00005e005303" ) );
      EXPECT_EQ( over->terminateCause(), AcctTermCause::userRequest );
      EXPECT_EQ( agent.acctStatus()->acctSessionState().size(), 3u );
   }
}

TEST( Accounting, AttributesGoIntoTheMapOfTheirForm ) {
   Fed agent( AuthenticatorSettings{ 3, 32473 } );
   Request request = agent.sent( accountingRequest, {} );
   auto const add = [&]( std::uint32_t vendor, std::uint16_t type,
                         RadiusPktParserBase::AttrValue const& value ) {
      request.attributes.emplace_back( Attribute( vendor, type ), value );
   };
   add( 0, RadiusId::acctStatusType, start );
   add( 0, RadiusId::callingStationId, stringValue( mac ) );
   add( 0, RadiusId::calledStationId, Varek::String( "02-00-5E-10-00-31:lab" ) );
   add( 0, RadiusId::acctSessionId, Varek::String( "a" ) );
   add( 0, RadiusId::acctSessionTime, 0x01020304u );
   add( 0, RadiusId::classAttribute, Varek::Bytes( "first" ) );
   add( 0, RadiusId::classAttribute, Varek::Bytes( "second" ) );
   add( 0, RadiusId::framedIpAddress, Lumo::IpGenPrefix( "192.0.2.58" ) );
   add( 0, RadiusId::framedIpv6Prefix, Lumo::IpGenPrefix( "2001:db8::1/128" ) );
   add( 0, 241 * 256 + 1, Varek::Bytes( "extended" ) );
   add( 32473, 5, Varek::Bytes( "profile" ) );
   add( 311, 5, Varek::Bytes( "another's" ) );
   request.station = stationOf( request.attributes );
   agent.request( request );
   AcctAttributes const& held = *agent.session().attribute();
   EXPECT_EQ( held.strAttribute().size(), 3u );
   EXPECT_EQ( *held.strAttribute( RadiusId::acctSessionId ), "a" );
   EXPECT_EQ( held.byteAttribute().size(), 5u ) << "with the time of the start";
   EXPECT_EQ( *held.byteAttribute( RadiusId::acctSessionTime ), Varek::Bytes( "\1\2\3\4" ) );
   EXPECT_EQ( *held.byteAttribute( RadiusId::classAttribute ), Varek::Bytes( "first" ) );
   EXPECT_EQ( *held.byteAttribute( RadiusId::framedIpAddress ),
              Varek::Bytes( std::string( "\xc0\0\2\x3a", 4 ) ) );
   EXPECT_EQ( stringValue( *held.byteAttribute( RadiusId::framedIpv6Prefix ) ),
              "0x008020010db8000000000000000000000001" );
   EXPECT_EQ( held.vsaStrAttribute().size(), 0u );
   ASSERT_EQ( held.vsaByteAttribute().size(), 1u );
   EXPECT_EQ( *held.vsaByteAttribute( RadiusPacketParser::BreviaVendorSpec::deviceProfile ),
              Varek::Bytes( "profile" ) );
   EXPECT_EQ( agent.session().calledStationId(), Lumo::EthAddr( "02:00:5e:10:00:31" ) );
}

} // namespace
