#include "Dot1xV2/AuthZStatus.h"

#include "framework/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "AuthZStatus", authZStatusModule, OperationalAuthZAttrs, Dot1xSuppAttr,
            Dot1xPortAppliedAttr, AuthZPortStatus, AuthZStatus, BlockedMacEntry, BlockedMacTable );

Varek::Ptr<Dot1xSuppAttr> AuthZStatus::getSupplicantAuthZAttrs( Lumo::IntfId intfId,
                                                                Lumo::EthAddr const& mac ) const {
   auto const port = authZPortStatus( intfId );
   return port ? port->authorizedMacs( mac ) : nullptr;
}

Varek::Ptr<AuthZPortStatus> authZPortStatusFactory( Lumo::IntfId intfId ) {
   return AuthZPortStatus::AuthZPortStatusIs( intfId );
}

Varek::Ptr<AuthZStatus> authZStatusFactory( Varek::String const& name ) {
   return AuthZStatus::AuthZStatusIs( name );
}

Varek::Ptr<BlockedMacEntry> blockedMacEntryFactory( Lumo::EthAddr const& mac ) {
   return BlockedMacEntry::BlockedMacEntryIs( mac );
}

Varek::Ptr<BlockedMacTable> blockedMacTableFactory() {
   return BlockedMacTable::BlockedMacTableIs();
}

} // namespace Dot1xV2
