#pragma once

#include <optional>

#include "Bridging/VlanId.h"
#include "forms/AddressForms.h"
#include "framework/declare/Declare.h"

/// The authorization of a supplicant as the AAA server sent it: VLANs by name or number, filters
/// and profiles by name. Nothing is interpreted here.
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const authNZLedraTypes;

/// The VLANs that a port is to be an egress member of, and whether it filters what it receives
/// (RFC 4675). Sequences keep the order of the answer, and equality includes that order.
class VAREK_EXPORT EgressVlanAttributes final : public Qel::ValueOf<EgressVlanAttributes> {
   QEL_VALUE( EgressVlanAttributes, authNZLedraTypes, 0 )

   /// VLANs by name, tagged on egress (Egress-VLAN-Name, RFC 4675 2.3).
   QEL_SEQUENCE( 2, Varek::String, egressVlanNameTagged )
   /// VLANs by name, untagged on egress.
   QEL_SEQUENCE( 3, Varek::String, egressVlanNameUntagged )
   /// VLANs by number, tagged on egress (Egress-VLANID, RFC 4675 2.1).
   QEL_SEQUENCE( 4, Bridging::VlanId, egressVlanIdTagged )
   /// VLANs by number, untagged on egress.
   QEL_SEQUENCE( 5, Bridging::VlanId, egressVlanIdUntagged )
   /// Whether frames of VLANs that the port is no member of are dropped (Ingress-Filters, RFC 4675
   /// 2.2).
   QEL_PARAMETER( 6, bool, ingressFilters )

   QEL_TRUTH( EgressVlanAttributes )
};

/// The authorization of one supplicant. An attribute that the server did not send is absent.
class VAREK_EXPORT AuthZAttrs final : public Qel::ValueOf<AuthZAttrs> {
   QEL_VALUE( AuthZAttrs, authNZLedraTypes, 1 )

   /// The supplicant's identity, as authorized (User-Name, RFC 2865 5.1).
   QEL_PLAIN( 2, std::optional<Varek::String>, identity )
   /// The VLAN to place it in, a number or a name (Tunnel-Private-Group-ID, RFC 3580 3.31).
   QEL_PLAIN( 3, std::optional<Varek::String>, vlanId )
   /// The name of the access list to apply (Filter-Id, RFC 2865 5.11).
   QEL_PLAIN( 4, std::optional<Varek::String>, filterId )
   /// A filter rule (NAS-Filter-Rule, RFC 4849 2).
   QEL_PLAIN( 5, std::optional<Varek::String>, nasFilterRule )
   /// The name of the interface profile to apply.
   QEL_PLAIN( 6, std::optional<Varek::String>, intfProfile )
   /// Egress VLANs and ingress filtering.
   QEL_PLAIN( 7, std::optional<EgressVlanAttributes>, egressVlan )

   QEL_TRUTH( AuthZAttrs )
};

} // namespace Dot1xV2
