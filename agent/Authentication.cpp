#include "agent/Authentication.h"
#include "Dot1xV2/Dot1xRecords.h"

#include "Dot1xV2/AuthNStatus.h"
#include "agent/Derivation.h"
#include "framework/inspect/Assign.h"

namespace Agent {

using namespace Capture;

namespace {

using namespace Dot1xV2;

using Supplicant = Varek::Ptr<AuthNSupplicantStatus>;
using Phase = Varek::Ptr<AuthNPhaseStatus>;

Phase phaseOf( Supplicant const& supplicant ) {
   return supplicant->phaseStatusIs( AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase1 ) );
}

void authPhaseIs( Supplicant const& supplicant, AuthNZPhaseEnum value ) {
   AuthNZPhase phase;
   phase.valueIs( value );
   supplicant->authPhaseIs( phase );
}

void answered( Supplicant const& supplicant, AaaResponse const& response ) {
   Qel::assignEntity( *phaseOf( supplicant )->aaaResponseIs( response.type() ), response );
}

/// Sets what an answer says of a supplicant, and the defaults where it says nothing.
void saidIs( Supplicant const& supplicant, AaaResponse const* accept ) {
   auto const vlan = accept ? vlanOf( *accept ) : std::nullopt;
   auto const egress = accept ? egressVlanOf( *accept ) : std::nullopt;
   auto const* const classAttr =
      accept ? firstValue<Varek::Bytes>( *accept, RadiusId::classAttribute ) : nullptr;
   auto const* const service =
      accept ? firstValue<std::uint32_t>( *accept, RadiusId::serviceType ) : nullptr;
   supplicant->vlanIdIs( vlan ? vlanNumber( *vlan ).value() : 0 );
   supplicant->egressVlanAttrsIs( egress.value_or( EgressVlanAttributes( false ) ) );
   supplicant->classAttrIs( classAttr ? *classAttr : Varek::Bytes() );
   supplicant->serviceTypeIs( service ? *service : Dot1xConstants::serviceTypeUndefined() );
}

void ended( Supplicant const& supplicant, AuthNPhaseStage stage, AuthNZPhaseEnum phase ) {
   supplicant->inEapolAuthIs( false );
   phaseOf( supplicant )->stageIs( stage );
   authPhaseIs( supplicant, phase );
}

/// The supplicant has sent an EAPOL frame, or is expected to.
void inEapol( Supplicant const& supplicant, AuthNPhaseStage stage ) {
   Phase const phase = phaseOf( supplicant );
   phase->authNMethodIs( AuthNMethod::eapolAuth );
   phase->terminateCauseIs( AcctTermCause::causeNotSet );
   phase->stageIs( stage );
   authPhaseIs( supplicant, AuthNZPhaseEnum::authNZPhase1 );
   supplicant->triggerEventIs( AuthNEventType::eapolPktRx );
   supplicant->inEapolAuthIs( true );
}

} // namespace

void Authentication::asked( Asked const& asked, bool authorized ) {
   Supplicant const supplicant = status_.supplicantIs( asked.mac );
   if ( asked.port != Lumo::IntfId() ) {
      supplicant->intfIdIs( asked.port );
   }
   if ( !authorized && !asked.user.empty() ) {
      supplicant->identityIs( asked.user );
   }
   if ( asked.eap ) {
      inEapol( supplicant, AuthNPhaseStage::waitForAuthServer );
      return;
   }
   Phase const phase = phaseOf( supplicant );
   phase->authNMethodIs( AuthNMethod::mbaAuth );
   phase->terminateCauseIs( AcctTermCause::causeNotSet );
   phase->stageIs( AuthNPhaseStage::waitForAuthServer );
   authPhaseIs( supplicant, AuthNZPhaseEnum::authNZPhase1 );
   supplicant->triggerEventIs( AuthNEventType::mbaPktRx );
   supplicant->inEapolAuthIs( false );
}

void Authentication::challenged( Asked const& asked, AaaResponse const& response ) {
   Supplicant const supplicant = status_.supplicantIs( asked.mac );
   answered( supplicant, response );
   phaseOf( supplicant )->stageIs( AuthNPhaseStage::waitForSuppResponse );
}

void Authentication::accepted( Asked const& asked, AaaResponse const& response, Time time ) {
   Supplicant const supplicant = status_.supplicantIs( asked.mac );
   answered( supplicant, response );
   auto const* const user = firstValue<Varek::String>( response, RadiusId::userName );
   supplicant->identityIs( user ? *user : asked.user );
   saidIs( supplicant, &response );
   supplicant->lastAuthSuccessTimeIs( Varek::Duration( time.time_since_epoch() ) );
   ended( supplicant, AuthNPhaseStage::phaseSuccess, AuthNZPhaseEnum::authNZCompleted );
}

void Authentication::rejected( Asked const& asked, AaaResponse const& response ) {
   Supplicant const supplicant = status_.supplicantIs( asked.mac );
   answered( supplicant, response );
   supplicant->identityIs( asked.user );
   saidIs( supplicant, nullptr );
   ended( supplicant, AuthNPhaseStage::phaseFail, AuthNZPhaseEnum::authNZCompleted );
}

void Authentication::timedOut( Asked const& asked ) {
   Supplicant const supplicant = status_.supplicantIs( asked.mac );
   auto const none = aaaResponseFactory( AaaResponseType::timeout );
   none->callingStationIdIs( asked.mac );
   answered( supplicant, *none );
   ended( supplicant, AuthNPhaseStage::phaseTimedOut, AuthNZPhaseEnum::authNZPhase1 );
}

void Authentication::eapol( Eapol const& frame, bool authorized ) {
   Lumo::EthAddr const& mac = frame.supplicant();
   bool const begins = frame.kind == Eapol::Kind::start || frame.kind == Eapol::Kind::response;
   Supplicant const supplicant = begins ? status_.supplicantIs( mac ) : status_.supplicant( mac );
   if ( !supplicant ) {
      return;
   }
   if ( frame.fromSupplicant() ) {
      supplicant->vTagIs( frame.vlan );
      supplicant->isTaggedIs( !frame.vlan.isNone() );
   }
   switch ( frame.kind ) {
   case Eapol::Kind::start:
      inEapol( supplicant, AuthNPhaseStage::waitForSuppResponse );
      break;
   case Eapol::Kind::response:
      if ( !authorized && !frame.identity.empty() ) {
         supplicant->identityIs( frame.identity );
      }
      inEapol( supplicant, AuthNPhaseStage::waitForAuthServer );
      break;
   case Eapol::Kind::request:
      if ( supplicant->inEapolAuth() ) {
         phaseOf( supplicant )->stageIs( AuthNPhaseStage::waitForSuppResponse );
      }
      break;
   case Eapol::Kind::success:
   case Eapol::Kind::failure:
      // The server's answer, if it was captured, came before; a Failure that answers a Logoff is no
      // result.
      if ( supplicant->inEapolAuth() ) {
         ended( supplicant,
                frame.kind == Eapol::Kind::success ? AuthNPhaseStage::phaseSuccess
                                                   : AuthNPhaseStage::phaseFail,
                AuthNZPhaseEnum::authNZCompleted );
      }
      break;
   case Eapol::Kind::logoff:
      saidIs( supplicant, nullptr );
      phaseOf( supplicant )->terminateCauseIs( AcctTermCause::userRequest );
      ended( supplicant, AuthNPhaseStage::phaseNotStarted, AuthNZPhaseEnum::authNZNotStarted );
      break;
   }
}

Varek::Ptr<AuthNSupplicantStatus> Authentication::supplicant( Lumo::EthAddr const& mac ) const {
   return status_.supplicant( mac );
}

} // namespace Agent
