#pragma once

#include "Dot1xV2/Dot1xV2.h"
#include "framework/declare/Declare.h"

/// The phases of an authentication, values of the module AuthNStatus: apart, since many know them
/// who know no supplicant.
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const authNStatusModule;

/// Where a supplicant stands in the whole sequence.
class VAREK_EXPORT AuthNZPhase final : public Qel::ValueOf<AuthNZPhase> {
   QEL_VALUE( AuthNZPhase, authNStatusModule, 0 )

   QEL_PLAIN( 2, AuthNZPhaseEnum, value, AuthNZPhaseEnum::authNZNotStarted )
};

/// A phase that can have a record: one of authNZInit, authNZPhase1 and authNZPhase2. Another value
/// is a Varek::RangeError, except from the attribute log: there a peer's word is taken.
class VAREK_EXPORT AuthNZPhaseType final : public Qel::ValueOf<AuthNZPhaseType> {
   QEL_VALUE( AuthNZPhaseType, authNStatusModule, 1 )

   QEL_RANGED( 2, AuthNZPhaseEnum, value, 3, AuthNZPhaseEnum::authNZInit, 4,
               AuthNZPhaseEnum::authNZPhase2 )

   constexpr explicit AuthNZPhaseType( AuthNZPhaseEnum phase ) : value_( phase ) {
      qelRangeCheck( phase );
   }

   std::uint32_t hash( std::uint32_t seed ) const { return Qel::hashSingleAttr( value_, seed ); }
};

} // namespace Dot1xV2
