#pragma once

#include "Dot1xV2/AuthNStatus.h"
#include "bench/SampleAnswer.h"

/// Supplicants as on a switch with EAPOL and MAC-based authentication.
namespace Bench {

inline Lumo::EthAddr supplicantMac( unsigned number ) {
   return Lumo::EthAddr( Lumo::EthAddr::Octets{
      0, 0, static_cast<std::uint8_t>( number >> 24 ), static_cast<std::uint8_t>( number >> 16 ),
      static_cast<std::uint8_t>( number >> 8 ), static_cast<std::uint8_t>( number ) } );
}

/// A failed first phase, and a second with an answer of 8 attributes; identity, class, VLANs.
inline void supplicantFill( Dot1xV2::AuthNSupplicantStatus& to, unsigned number ) {
   using namespace Dot1xV2;
   Varek::String const digits = std::to_string( 100000 + number % 900000 );
   to.intfIdIs( Lumo::IntfId( "Ethernet" + std::to_string( 1 + number % 48 ) ) );
   AuthNZPhase phase;
   phase.valueIs( AuthNZPhaseEnum::authNZCompleted );
   to.authPhaseIs( phase );
   auto const first = to.phaseStatusIs( AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase1 ) );
   first->stageIs( AuthNPhaseStage::phaseFail );
   first->authNMethodIs( AuthNMethod::mbaAuth );
   auto const second = to.phaseStatusIs( AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase2 ) );
   second->stageIs( AuthNPhaseStage::phaseSuccess );
   second->authNMethodIs( AuthNMethod::eapolAuth );
   answerFill( *second->aaaResponseIs( AaaResponseType::accepted ), number, 8 );
   EgressVlanAttributes vlans( true );
   vlans.egressVlanNameTaggedPush( "VOICE" );
   vlans.egressVlanIdTaggedPush( Bridging::VlanId( 100 ) );
   vlans.egressVlanIdTaggedPush( Bridging::VlanId( 101 ) );
   vlans.egressVlanIdUntaggedPush( Bridging::VlanId( 10 ) );
   to.egressVlanAttrsIs( vlans );
   to.identityIs( "user" + digits + "@example.net" );
   to.classAttrIs( Varek::Bytes( "site-a/printers/" + digits ) );
   to.lastAuthSuccessTimeIs( Varek::Duration( 1700000000.25 + number ) );
   to.serviceTypeIs( 2 );
   to.vlanIdIs( 10 );
   to.vTagIs( Bridging::VlanIdOrNone( 10 ) );
}

} // namespace Bench
