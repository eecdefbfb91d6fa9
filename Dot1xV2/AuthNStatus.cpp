#include "Dot1xV2/AuthNStatus.h"

#include "Dot1xV2/Dot1xRecords.h"
#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "AuthNStatus", authNStatusModule, AuthNZPhase, AuthNZPhaseType, AuthNPhaseStatus,
            AuthNSupplicantStatus, AuthNStatus );

namespace {

// What the declaration begins with is a literal, which a reader finds there.
static_assert( AuthNSupplicantStatus::qelDefault( Qel::Id<267>{} ) ==
               Dot1xConstants::serviceTypeUndefined() );

// Constants, not variables: all that is to be done when the library is loaded is to register.
constexpr AuthNZPhaseType phase1( AuthNZPhaseEnum::authNZPhase1 );
constexpr AuthNZPhaseType phase2( AuthNZPhaseEnum::authNZPhase2 );

bool succeeded( Varek::Ptr<AuthNPhaseStatus> const& status ) {
   return status && status->stage() == AuthNPhaseStage::phaseSuccess;
}

// A phase that timed out still counts as active.
bool active( Varek::Ptr<AuthNPhaseStatus> const& status ) {
   return status && status->stage() != AuthNPhaseStage::phaseNotStarted &&
          status->stage() != AuthNPhaseStage::phaseFail;
}

} // namespace

AuthNMethod AuthNSupplicantStatus::successfulAuthNMethod() const {
   for ( AuthNZPhaseType const& phase : { phase2, phase1 } ) {
      if ( auto const status = phaseStatus( phase ); succeeded( status ) ) {
         return status->authNMethod();
      }
   }
   return AuthNMethod::invalidAuthNMethod;
}

bool AuthNSupplicantStatus::hasCurrentPhaseStatus() const {
   AuthNZPhaseEnum const phase = authPhase().value();
   bool const ofMethod =
      phase == AuthNZPhaseEnum::authNZPhase1 || phase == AuthNZPhaseEnum::authNZPhase2;
   return !ofMethod || phaseStatus( AuthNZPhaseType( phase ) );
}

AuthNMethod AuthNSupplicantStatus::currentAuthNMethod() const {
   switch ( AuthNZPhaseEnum const phase = authPhase().value() ) {
   case AuthNZPhaseEnum::authNZPhase1:
   case AuthNZPhaseEnum::authNZPhase2: {
      auto const current = phaseStatus( AuthNZPhaseType( phase ) );
      VAREK_ASSERT( current, phase );
      return current->authNMethod();
   }
   case AuthNZPhaseEnum::authNZCompleted:
      return successfulAuthNMethod();
   default:
      return AuthNMethod::invalidAuthNMethod;
   }
}

AuthNZPhaseType AuthNSupplicantStatus::activePhaseType() const {
   for ( AuthNZPhaseType const& phase : { phase2, phase1 } ) {
      if ( active( phaseStatus( phase ) ) ) {
         return phase;
      }
   }
   return AuthNZPhaseType( AuthNZPhaseEnum::authNZInit );
}

Varek::Ptr<AuthNSupplicantStatus> authNSupplicantStatusFactory( Lumo::EthAddr const& mac ) {
   return AuthNSupplicantStatus::AuthNSupplicantStatusIs( mac );
}

Varek::Ptr<AuthNStatus> authNStatusFactory( Varek::String const& name ) {
   return AuthNStatus::AuthNStatusIs( name );
}

} // namespace Dot1xV2
