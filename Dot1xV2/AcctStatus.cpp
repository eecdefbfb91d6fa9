#include "Dot1xV2/AcctStatus.h"

#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "AcctStatus", acctStatusModule, AcctAttributes, AcctSessionState, AcctStatus );

Varek::Ptr<AcctAttributes> acctAttributesFactory() { return AcctAttributes::AcctAttributesIs(); }

Varek::Ptr<AcctSessionState> acctSessionStateFactory( Lumo::EthAddr const& mac ) {
   return AcctSessionState::AcctSessionStateIs( mac );
}

Varek::Ptr<AcctStatus> acctStatusFactory( Varek::String const& name ) {
   return AcctStatus::AcctStatusIs( name );
}

} // namespace Dot1xV2
