#include "agent/Authorization.h"

#include <algorithm>

#include "agent/Derivation.h"

namespace Agent {

namespace {

using namespace Dot1xV2;

using Port = Varek::Ptr<AuthZPortStatus>;

/// Derives the state of the port from the supplicants that are authorized on it.
void settle( Port const& port ) {
   EgressVlanAttributes const nothing( false );
   bool const any = port->authorizedMacs().size() != 0;
   OperationalAuthZAttrs const* common = nullptr;
   bool sameVlan = any;
   bool sameEgress = any;
   for ( auto const& one : port->authorizedMacs() ) {
      OperationalAuthZAttrs const* const its = one.child->operationalAttr().get();
      common = common ? common : its;
      sameVlan = sameVlan && its->vlanId() == common->vlanId();
      sameEgress = sameEgress && its->egressVlan() == common->egressVlan();
   }
   auto const applied = port->operationalPortAttrsIs();
   applied->intfIdIs( port->intfId() );
   auto const inForce = applied->operationalAttrIs();
   inForce->vlanIdIs( sameVlan ? common->vlanId() : Bridging::VlanIdOrNone() );
   inForce->egressVlanIs( sameEgress ? common->egressVlan() : nothing );
   port->authorizedIs( any );
   port->portAuthStateIs( any ? PortAuthState::authorized : PortAuthState::blocked );
}

} // namespace

void Authorization::portIs( Lumo::IntfId id ) {
   if ( id != Lumo::IntfId() && !status_.authZPortStatus( id ) ) {
      settle( status_.authZPortStatusIs( id ) );
   }
}

void Authorization::accepted( Lumo::EthAddr const& mac, Lumo::IntfId id, AuthZAttrs const& attrs ) {
   rejections_.erase( mac );
   status_.blockedMacTableIs()->blockedMacEntryDel( mac );
   if ( auto const at = places_.find( mac ); at != places_.end() && at->second != id ) {
      withdrawn( mac );
   }
   if ( id == Lumo::IntfId() ) {
      return;
   }
   places_[mac] = id;
   Port const port = status_.authZPortStatusIs( id );
   auto const entry = port->authorizedMacsIs( mac );
   entry->attrIs( attrs );
   auto const inForce = entry->operationalAttrIs();
   inForce->vlanIdIs( vlanNumber( attrs.vlanId().value_or( "" ) ) );
   inForce->egressVlanIs( attrs.egressVlan().value_or( EgressVlanAttributes( false ) ) );
   entry->authorizedCountIs( entry->authorizedCount() + 1 );
   settle( port );
}

void Authorization::rejected( Lumo::EthAddr const& mac, Lumo::IntfId id,
                              Bridging::VlanIdOrNone vlan ) {
   bool const somewhere = id != Lumo::IntfId();
   if ( auto const at = places_.find( mac );
        at != places_.end() && ( !somewhere || at->second == id ) ) {
      withdrawn( mac );
   }
   if ( ++rejections_[mac] >= blockAfter_ && somewhere ) {
      status_.blockedMacTableIs()->blockedMacEntryIs( mac )->intfVlanIs( id, vlan );
   }
}

void Authorization::withdrawn( Lumo::EthAddr const& mac ) {
   auto const at = places_.find( mac );
   if ( at == places_.end() ) {
      return;
   }
   Port const port = status_.authZPortStatusIs( at->second );
   places_.erase( at );
   port->authorizedMacsDel( mac );
   settle( port );
}

} // namespace Agent
