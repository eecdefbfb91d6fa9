#pragma once

#include <optional>
#include <string_view>

#include "Bridging/VlanId.h"
#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Radius/RadiusAttributeId.h"
#include "Varek/Export.h"

/// The authorization in an Access-Accept: VLAN and filters by RFC 3580, egress VLANs by RFC 4675.
/// Pure functions on the library's types, which any agent may copy.
///
/// Nothing throws for what a server sends: a value of another form than its attribute has, or
/// outside the limits of the RFC, counts as not sent. Where the state has room for one value and
/// the answer gives several, the first counts; the answer itself keeps all.
namespace Agent {

using RadiusId = RadiusPacketParser::RadiusAttributeId;

/// The first value of a standard attribute, if it has the form \p T; null otherwise.
template<class T>
T const* firstValue( Dot1xV2::AaaResponse const& response, std::uint16_t type ) {
   auto const* const held = response.aaaAttribute( RadiusPktParserBase::Attribute( 0, type ) );
   return held && !held->attrValue().empty()
             ? std::get_if<T>( &held->attrValue().front().variant() )
             : nullptr;
}

/// The VLAN to place the supplicant in, a number or a name (RFC 3580 3.31): the
/// Tunnel-Private-Group-ID of a tunnel whose Tunnel-Type is VLAN and whose Tunnel-Medium-Type is
/// IEEE-802 under the same tag (RFC 2868 3.1). Among several tunnels the lowest Tunnel-Preference
/// wins (RFC 2868 3.8); tunnels without a preference come last, and the first of equals wins.
VAREK_EXPORT std::optional<Varek::String> vlanOf( Dot1xV2::AaaResponse const& );

/// The number that the text of a VLAN is: 1 to 4094 in decimal digits, with leading zeros or
/// without; anything else is a name, and gives none.
VAREK_EXPORT Bridging::VlanIdOrNone vlanNumber( std::string_view vlan );

/// Egress-VLANID, Egress-VLAN-Name and Ingress-Filters (RFC 4675 2.1 to 2.3); absent if the answer
/// has none of them that is valid. Without Ingress-Filters, ingressFilters is false.
VAREK_EXPORT std::optional<Dot1xV2::EgressVlanAttributes>
egressVlanOf( Dot1xV2::AaaResponse const& );

/// Everything above. The rules of several NAS-Filter-Rule attributes are joined as they are: a rule
/// may span attributes, and a NUL ends each (RFC 4849 2). intfProfile stays absent, since no
/// standard attribute carries it.
VAREK_EXPORT Dot1xV2::AuthZAttrs authZAttrsOf( Dot1xV2::AaaResponse const& );

} // namespace Agent
