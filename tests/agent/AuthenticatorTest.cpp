#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agent/Authenticator.h"
#include "agent/Derivation.h"
#include "views/Tree.h"

/// What an authenticator's state becomes by requests, answers and EAPOL frames that no well-behaved
/// recording has.
namespace {

using namespace Views;
using namespace Capture;
using namespace Agent;
using namespace Dot1xV2;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::TaggedInt;
using RadiusPktParserBase::TaggedStr;

using Values = std::map<std::uint16_t, RadiusPktParserBase::AttrValue>;

Lumo::EthAddr const mac( "00:00:5e:00:53:01" );
Lumo::IntfId const port1( "Ethernet1" );
Lumo::IntfId const port2( "Ethernet2" );
AuthNZPhaseType const phase1( AuthNZPhaseEnum::authNZPhase1 );

constexpr std::uint32_t start = 1, stop = 2, interim = 3, on = 7, off = 8;

/// An agent and the one who feeds it.
struct Fed : Authenticator {
   using Authenticator::Authenticator;

   Request sent( std::uint8_t code, Values const& values ) {
      Request request;
      request.packet = ++packet;
      request.time = Time( std::chrono::seconds( 1000 + packet ) );
      request.code = code;
      for ( auto const& [type, value] : values ) {
         request.attributes.emplace_back( Attribute( 0, type ), value );
      }
      request.station = stationOf( request.attributes );
      Authenticator::request( request );
      return request;
   }
   /// An Access-Request; an empty \p port is left out.
   Request ask( std::string const& port, Values more = {} ) {
      more.try_emplace( RadiusId::callingStationId, stringValue( mac ) );
      more.try_emplace( RadiusId::serviceType, 10u );
      more.try_emplace( RadiusId::userName, Varek::String( "00005e005301" ) );
      if ( !port.empty() ) {
         more.try_emplace( RadiusId::nasPortId, port );
      }
      return sent( accessRequest, more );
   }
   void answered( Request const& request, AaaResponseType type, Values const& values = {} ) {
      auto const response = aaaResponseFactory( type );
      for ( auto const& [id, value] : values ) {
         AaaAttribute one( Attribute( 0, id ) );
         one.attrValuePush( value );
         response->aaaAttributeIs( one );
      }
      answer( request, *response, request.time + std::chrono::seconds( 1 ) );
   }
   /// What an Access-Request is answered by; \p values are of the answer, \p asked of the request.
   void accepted( std::string const& port, Values const& values = {}, Values const& asked = {} ) {
      answered( ask( port, asked ), AaaResponseType::accepted, values );
   }
   void rejected( std::string const& port, Values const& asked = {} ) {
      answered( ask( port, asked ), AaaResponseType::rejected );
   }
   void account( std::uint32_t type, std::string const& id, Values more = {} ) {
      more.try_emplace( RadiusId::acctStatusType, type );
      more.try_emplace( RadiusId::callingStationId, stringValue( mac ) );
      more.try_emplace( RadiusId::nasPortId, Varek::String( "Ethernet1" ) );
      more.try_emplace( RadiusId::nasIdentifier, Varek::String( "switch-1" ) );
      if ( !id.empty() ) {
         more.try_emplace( RadiusId::acctSessionId, id );
      }
      sent( accountingRequest, more );
   }
   void eapolSent( Eapol::Kind kind, std::uint16_t vlan = 0, char const* identity = "" ) {
      Eapol frame;
      frame.kind = kind;
      ( frame.fromSupplicant() ? frame.source : frame.destination ) = mac;
      frame.vlan = Bridging::VlanIdOrNone( vlan );
      frame.identity = identity;
      eapol( frame );
   }

   AuthNSupplicantStatus const& supplicant() const { return *authNStatus()->supplicant( mac ); }
   AuthNPhaseStatus const& phase() const { return *supplicant().phaseStatus( phase1 ); }
   Varek::Ptr<Dot1xSuppAttr> allowed( Lumo::IntfId port ) const {
      return authZStatus()->getSupplicantAuthZAttrs( port, mac );
   }
   AuthZPortStatus const& port( Lumo::IntfId id ) const {
      return *authZStatus()->authZPortStatus( id );
   }
   std::uint32_t blocked() const {
      return authZStatus()->blockedMacTable()->blockedMacEntry().size();
   }
   AcctSessionState const& session() const { return *acctStatus()->acctSessionState( mac ); }

   std::uint64_t packet = 0;
};

Values const inVlan110 = { { RadiusId::tunnelType, TaggedInt{ 0, 13 } },
                           { RadiusId::tunnelMediumType, TaggedInt{ 0, 6 } },
                           { RadiusId::tunnelPrivateGroupId, TaggedStr{ 0, "110" } },
                           { RadiusId::acctInterimInterval, 60u } };

/// Counts the changes of all trees of an agent, by the name of the attribute.
class Changes {
public:
   explicit Changes( Authenticator const& agent ) {
      Varek::Ptr<Qel::Entity> const roots[] = { agent.authNStatus(), agent.authZStatus(),
                                                agent.acctStatus() };
      for ( auto const& root : roots ) {
         held_.push_back( root->subscribe(
            [this, root]( Varek::Change const& change ) {
               ++counts[std::string( changePart( *root, change ).attribute.name )];
            },
            Varek::Scope::subtree ) );
      }
   }
   std::map<std::string, int> counts;

private:
   std::vector<Varek::Subscription> held_;
};

TEST( Authenticator, ReauthenticationWithTheSameAnswerTellsOnlyWhatDiffers ) {
   Fed agent;
   agent.accepted( "Ethernet1", inVlan110 );
   Changes const changes( agent );
   agent.accepted( "Ethernet1", inVlan110 );
   std::map<std::string, int> const expected = {
      { "stage", 2 }, { "authPhase", 2 }, { "lastAuthSuccessTime", 1 }, { "authorizedCount", 1 } };
   EXPECT_EQ( changes.counts, expected );
   EXPECT_EQ( agent.supplicant().lastAuthSuccessTime(), Varek::Duration( 1003 ) );
}

TEST( Authenticator, AnAnswerThatSaysLessTakesBackWhatWasSaid ) {
   Fed agent;
   Values more = inVlan110;
   more[RadiusId::classAttribute] = Varek::Bytes( "class" );
   more[RadiusId::serviceType] = 2u;
   more[RadiusId::egressVlanId] = 0x31000014u;
   more[RadiusId::userName] = Varek::String( "bob" );
   agent.accepted( "Ethernet1", more );
   EXPECT_EQ( agent.supplicant().identity(), "bob" );
   EXPECT_EQ( agent.supplicant().serviceType(), 2u );
   EXPECT_EQ( agent.supplicant().vlanId(), 110u );
   EXPECT_EQ( agent.port( port1 ).operationalPortAttrs()->operationalAttr()->vlanId().value(),
              110 );
   agent.accepted( "Ethernet1" );
   AuthNSupplicantStatus const& supplicant = agent.supplicant();
   EXPECT_EQ( supplicant.identity(), "00005e005301" );
   EXPECT_EQ( supplicant.classAttr(), Varek::Bytes() );
   EXPECT_EQ( supplicant.serviceType(), 0xffffffffu );
   EXPECT_EQ( supplicant.vlanId(), 0u );
   EXPECT_FALSE( supplicant.egressVlanAttrs() );
   EXPECT_EQ( agent.phase().aaaResponse()->aaaAttribute().size(), 0u );
   EXPECT_EQ( agent.allowed( port1 )->attr(), AuthZAttrs() );
   EXPECT_TRUE( agent.port( port1 ).operationalPortAttrs()->operationalAttr()->vlanId().isNone() );
}

TEST( Authenticator, ASupplicantMovesOnlyByBeingAccepted ) {
   Fed agent;
   agent.accepted( "Ethernet1", inVlan110 );
   agent.rejected( "Ethernet2" );
   EXPECT_TRUE( agent.allowed( port1 ) ) << "somebody else may have used its address there";
   EXPECT_FALSE( agent.port( port2 ).authorized() );
   agent.accepted( "Ethernet2" );
   EXPECT_FALSE( agent.allowed( port1 ) );
   EXPECT_FALSE( agent.port( port1 ).authorized() );
   EXPECT_EQ( agent.port( port1 ).portAuthState(), PortAuthState::blocked );
   EXPECT_TRUE( agent.allowed( port2 ) );
   EXPECT_TRUE( agent.port( port2 ).authorized() );
}

TEST( Authenticator, WithoutAPortItIsWhereItIsKnownToBeOrNowhere ) {
   for ( std::string const name : { "", "GigabitEthernet1/0/1", "port 7" } ) {
      Fed agent;
      agent.accepted( name, inVlan110 );
      EXPECT_EQ( agent.supplicant().vlanId(), 110u ) << name;
      EXPECT_EQ( agent.supplicant().intfId(), Lumo::IntfId() ) << name;
      EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 0u ) << name;

      agent.accepted( "Ethernet1" );
      agent.accepted( name, inVlan110 );
      EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 1u ) << name;
      EXPECT_EQ( agent.allowed( port1 )->attr().vlanId(), "110" ) << name;
   }
}

TEST( Authenticator, OnlyTheAnswerToTheLatestRequestCountsAndOnce ) {
   Fed agent;
   Request const first = agent.ask( "Ethernet1" );
   Request const second = agent.ask( "Ethernet2" );
   agent.answered( first, AaaResponseType::accepted );
   EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::waitForAuthServer );
   agent.unanswered( first );
   EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::waitForAuthServer );
   agent.answered( second, AaaResponseType::rejected );
   Changes const changes( agent );
   agent.answered( second, AaaResponseType::accepted );
   agent.unanswered( second );
   Request cut = agent.ask( "Ethernet2" );
   cut.whole = false;
   auto const before = changes.counts;
   agent.answered( cut, AaaResponseType::accepted );
   EXPECT_EQ( changes.counts, before );
   EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 2u );
   EXPECT_FALSE( agent.port( port1 ).authorized() || agent.port( port2 ).authorized() );
}

TEST( Authenticator, ARequestWithoutAnAnswerTimesOut ) {
   Fed agent;
   agent.unanswered( agent.ask( "Ethernet1" ) );
   EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::phaseTimedOut );
   EXPECT_EQ( agent.phase().aaaResponse()->type(), AaaResponseType::timeout );
   EXPECT_EQ( agent.supplicant().currentAuthNMethod(), AuthNMethod::mbaAuth );
}

TEST( Authenticator, ALoginAtTheSwitchIsNoSupplicants ) {
   Fed agent;
   Values const login = { { RadiusId::serviceType, 7u },
                          { RadiusId::userName, Varek::String( "admin" ) } };
   agent.accepted( "Ethernet1", {}, login );
   Values const elsewhere = { { RadiusId::callingStationId, Varek::String( "192.0.2.7" ) } };
   agent.accepted( "Ethernet1", {}, elsewhere );
   EXPECT_EQ( agent.authNStatus()->supplicant().size(), 0u );
   EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 0u );
   // Without Service-Type, its address as the name says what it is.
   agent.ask( "Ethernet1", { { RadiusId::serviceType, 2u },
                             { RadiusId::userName, Varek::String( "0000.5E00.5301" ) } } );
   EXPECT_EQ( agent.phase().authNMethod(), AuthNMethod::mbaAuth );
}

TEST( Authenticator, NoStationHasTheAddressOfAGroupOrNone ) {
   Fed agent;
   for ( char const* address : { "00-00-00-00-00-00", "ff-ff-ff-ff-ff-ff", "01-00-5e-00-00-01" } ) {
      Values const asked{ { RadiusId::callingStationId, Varek::String( address ) } };
      agent.answered( agent.ask( "Ethernet1", asked ), AaaResponseType::accepted );
      agent.account( start, "1", asked );
   }
   EXPECT_EQ( agent.authNStatus()->supplicant().size(), 0U );
   EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 0U );
   EXPECT_EQ( agent.acctStatus()->acctSessionState().size(), 0U );
}

TEST( Authenticator, RejectionsInARowBlockAndAcceptanceFrees ) {
   Fed agent( AuthenticatorSettings{ 3, 0 } );
   agent.rejected( "Ethernet1" );
   agent.rejected( "Ethernet1" );
   agent.accepted( "Ethernet1" );
   agent.rejected( "Ethernet1" );
   agent.rejected( "Ethernet1" );
   EXPECT_EQ( agent.blocked(), 0u ) << "not in a row";
   EXPECT_FALSE( agent.port( port1 ).authorized() );
   agent.eapolSent( Eapol::Kind::start, 300 );
   agent.rejected( "Ethernet1" );
   auto const entry = agent.authZStatus()->blockedMacTable()->blockedMacEntry( mac );
   ASSERT_TRUE( entry );
   ASSERT_NE( entry->intfVlan( port1 ), nullptr );
   EXPECT_EQ( entry->intfVlan( port1 )->value(), 300 );
   agent.accepted( "Ethernet2" );
   EXPECT_EQ( agent.blocked(), 0u );
}

TEST( Authenticator, APortHasInForceWhatItsSupplicantsHaveInCommon ) {
   Fed agent;
   auto const another = []( char const* address ) {
      return Values{ { RadiusId::callingStationId, Varek::String( address ) } };
   };
   auto const inForce = [&] {
      return agent.port( port1 ).operationalPortAttrs()->operationalAttr()->vlanId().value();
   };
   agent.accepted( "Ethernet1", inVlan110 );
   agent.accepted( "Ethernet1", inVlan110, another( "00005e005302" ) );
   EXPECT_EQ( inForce(), 110 );
   agent.accepted( "Ethernet1", {}, another( "00005e005303" ) );
   EXPECT_EQ( inForce(), 0 );
   agent.rejected( "Ethernet1", another( "00005e005303" ) );
   EXPECT_EQ( inForce(), 110 );
   EXPECT_EQ( agent.port( port1 ).authorizedMacs().size(), 2u );
   EXPECT_EQ( agent.port( port1 ).operationalPortAttrs()->intfId(), port1 );
}

TEST( Authenticator, EapolSaysHowFarItIsAndLogoffEndsIt ) {
   Fed agent;
   agent.eapolSent( Eapol::Kind::logoff );
   agent.eapolSent( Eapol::Kind::request );
   EXPECT_EQ( agent.authNStatus()->supplicant().size(), 0u ) << "neither begins anything";
   agent.eapolSent( Eapol::Kind::start, 300 );
   EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::waitForSuppResponse );
   EXPECT_TRUE( agent.supplicant().inEapolAuth() );
   EXPECT_TRUE( agent.supplicant().isTagged() );
   EXPECT_EQ( agent.supplicant().vTag().value(), 300 );
   agent.eapolSent( Eapol::Kind::response, 0, "anonymous" );
   EXPECT_EQ( agent.supplicant().identity(), "anonymous" );
   EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::waitForAuthServer );
   EXPECT_TRUE( agent.supplicant().vTag().isNone() );

   Values const eap = { { RadiusId::eapMessage, Varek::Bytes( "x" ) },
                        { RadiusId::userName, Varek::String( "anonymous" ) } };
   agent.answered( agent.ask( "Ethernet1", eap ), AaaResponseType::challenge );
   EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::waitForSuppResponse );
   EXPECT_EQ( agent.supplicant().currentAuthNMethod(), AuthNMethod::eapolAuth );
   Values accept = inVlan110;
   accept[RadiusId::userName] = Varek::String( "bob" );
   agent.accepted( "Ethernet1", accept, eap );
   EXPECT_FALSE( agent.supplicant().inEapolAuth() );

   // Authenticating anew does not cost the authorization, nor the identity.
   agent.eapolSent( Eapol::Kind::start );
   agent.eapolSent( Eapol::Kind::response, 0, "anonymous" );
   Request const open = agent.ask( "Ethernet1", eap );
   EXPECT_TRUE( agent.allowed( port1 ) );
   EXPECT_EQ( agent.supplicant().identity(), "bob" );
   EXPECT_EQ( agent.supplicant().vlanId(), 110u );

   agent.eapolSent( Eapol::Kind::logoff );
   agent.answered( open, AaaResponseType::accepted, accept );
   EXPECT_FALSE( agent.allowed( port1 ) );
   EXPECT_FALSE( agent.port( port1 ).authorized() );
   EXPECT_EQ( agent.supplicant().vlanId(), 0u );
   EXPECT_EQ( agent.supplicant().authPhase().value(), AuthNZPhaseEnum::authNZNotStarted );
   EXPECT_EQ( agent.phase().terminateCause(), AcctTermCause::userRequest );
}

TEST( Authenticator, EapolResultsEndOnlyWhatIsUnderWay ) {
   std::map<Eapol::Kind, AuthNPhaseStage> const stages = {
      { Eapol::Kind::success, AuthNPhaseStage::phaseSuccess },
      { Eapol::Kind::failure, AuthNPhaseStage::phaseFail } };
   for ( auto const& [result, stage] : stages ) {
      Fed agent;
      agent.eapolSent( result );
      EXPECT_EQ( agent.authNStatus()->supplicant().size(), 0u );
      agent.eapolSent( Eapol::Kind::response, 0, "bob" );
      agent.eapolSent( result );
      EXPECT_EQ( agent.phase().stage(), stage );
      EXPECT_FALSE( agent.supplicant().inEapolAuth() );
      EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 0u );
      agent.eapolSent( Eapol::Kind::logoff );
      agent.eapolSent( result );
      EXPECT_EQ( agent.phase().stage(), AuthNPhaseStage::phaseNotStarted );
   }
}

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
      agent.account( type, "nas", sameAddress );
      EXPECT_EQ( agent.session().terminateCause(), AcctTermCause::adminReset );
      auto const its = agent.acctStatus()->acctSessionState( Lumo::EthAddr( "00005e005302" ) );
      EXPECT_EQ( its->terminateCause(), AcctTermCause::causeNotSet );
      EXPECT_EQ( agent.acctStatus()->acctSessionState().size(), 2u );
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
