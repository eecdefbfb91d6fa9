#include <map>
#include <string>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNStatus.h"
#include "FedAgent.h"

/// What an authenticator's state becomes by requests, answers and EAPOL frames that no well-behaved
/// recording has.
namespace {

using namespace Agent;

AuthNSupplicantStatus const& supplicantOf( Authenticator const& agent ) {
   return *agent.authNStatus()->supplicant( mac );
}
AuthNPhaseStatus const& phaseOf( Authenticator const& agent ) {
   return *supplicantOf( agent ).phaseStatus( AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase1 ) );
}

TEST( Authenticator, ReauthenticationWithTheSameAnswerTellsOnlyWhatDiffers ) {
   Fed agent;
   agent.accepted( "Ethernet1", inVlan110 );
   Changes const changes( agent );
   agent.accepted( "Ethernet1", inVlan110 );
   std::map<std::string, int> const expected = {
      { "stage", 2 }, { "authPhase", 2 }, { "lastAuthSuccessTime", 1 }, { "authorizedCount", 1 } };
   EXPECT_EQ( changes.counts, expected );
   EXPECT_EQ( supplicantOf( agent ).lastAuthSuccessTime(), Varek::Duration( 1003 ) );
}

TEST( Authenticator, AnAnswerThatSaysLessTakesBackWhatWasSaid ) {
   Fed agent;
   Values more = inVlan110;
   more[RadiusId::classAttribute] = Varek::Bytes( "class" );
   more[RadiusId::serviceType] = 2u;
   more[RadiusId::egressVlanId] = 0x31000014u;
   more[RadiusId::userName] = Varek::String( "bob" );
   agent.accepted( "Ethernet1", more );
   EXPECT_EQ( supplicantOf( agent ).identity(), "bob" );
   EXPECT_EQ( supplicantOf( agent ).serviceType(), 2u );
   EXPECT_EQ( supplicantOf( agent ).vlanId(), 110u );
   EXPECT_EQ( agent.port( port1 ).operationalPortAttrs()->operationalAttr()->vlanId().value(),
              110 );
   agent.accepted( "Ethernet1" );
   AuthNSupplicantStatus const& supplicant = supplicantOf( agent );
   EXPECT_EQ( supplicant.identity(), "00005e005301" );
   EXPECT_EQ( supplicant.classAttr(), Varek::Bytes() );
   EXPECT_EQ( supplicant.serviceType(), 0xffffffffu );
   EXPECT_EQ( supplicant.vlanId(), 0u );
   EXPECT_FALSE( supplicant.egressVlanAttrs() );
   EXPECT_EQ( phaseOf( agent ).aaaResponse()->aaaAttribute().size(), 0u );
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
      EXPECT_EQ( supplicantOf( agent ).vlanId(), 110u ) << name;
      EXPECT_EQ( supplicantOf( agent ).intfId(), Lumo::IntfId() ) << name;
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
   EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::waitForAuthServer );
   agent.unanswered( first );
   EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::waitForAuthServer );
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
   EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::phaseTimedOut );
   EXPECT_EQ( phaseOf( agent ).aaaResponse()->type(), AaaResponseType::timeout );
   EXPECT_EQ( supplicantOf( agent ).currentAuthNMethod(), AuthNMethod::mbaAuth );
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
   EXPECT_EQ( phaseOf( agent ).authNMethod(), AuthNMethod::mbaAuth );
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
   EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::waitForSuppResponse );
   EXPECT_TRUE( supplicantOf( agent ).inEapolAuth() );
   EXPECT_TRUE( supplicantOf( agent ).isTagged() );
   EXPECT_EQ( supplicantOf( agent ).vTag().value(), 300 );
   agent.eapolSent( Eapol::Kind::response, 0, "anonymous" );
   EXPECT_EQ( supplicantOf( agent ).identity(), "anonymous" );
   EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::waitForAuthServer );
   EXPECT_TRUE( supplicantOf( agent ).vTag().isNone() );

   Values const eap = { { RadiusId::eapMessage, Varek::Bytes( "x" ) },
                        { RadiusId::userName, Varek::String( "anonymous" ) } };
   agent.answered( agent.ask( "Ethernet1", eap ), AaaResponseType::challenge );
   EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::waitForSuppResponse );
   EXPECT_EQ( supplicantOf( agent ).currentAuthNMethod(), AuthNMethod::eapolAuth );
   Values accept = inVlan110;
   accept[RadiusId::userName] = Varek::String( "bob" );
   agent.accepted( "Ethernet1", accept, eap );
   EXPECT_FALSE( supplicantOf( agent ).inEapolAuth() );

   // Authenticating anew does not cost the authorization, nor the identity.
   agent.eapolSent( Eapol::Kind::start );
   agent.eapolSent( Eapol::Kind::response, 0, "anonymous" );
   Request const open = agent.ask( "Ethernet1", eap );
   EXPECT_TRUE( agent.allowed( port1 ) );
   EXPECT_EQ( supplicantOf( agent ).identity(), "bob" );
   EXPECT_EQ( supplicantOf( agent ).vlanId(), 110u );

   agent.eapolSent( Eapol::Kind::logoff );
   agent.answered( open, AaaResponseType::accepted, accept );
   EXPECT_FALSE( agent.allowed( port1 ) );
   EXPECT_FALSE( agent.port( port1 ).authorized() );
   EXPECT_EQ( supplicantOf( agent ).vlanId(), 0u );
   EXPECT_EQ( supplicantOf( agent ).authPhase().value(), AuthNZPhaseEnum::authNZNotStarted );
   EXPECT_EQ( phaseOf( agent ).terminateCause(), AcctTermCause::userRequest );
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
      EXPECT_EQ( phaseOf( agent ).stage(), stage );
      EXPECT_FALSE( supplicantOf( agent ).inEapolAuth() );
      EXPECT_EQ( agent.authZStatus()->authZPortStatus().size(), 0u );
      agent.eapolSent( Eapol::Kind::logoff );
      agent.eapolSent( result );
      EXPECT_EQ( phaseOf( agent ).stage(), AuthNPhaseStage::phaseNotStarted );
   }
}

} // namespace
