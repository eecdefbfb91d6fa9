#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Bridging/VlanId.h"
#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Dot1xV2/Dot1xV2.h"
#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "forms/AddressForms.h"
#include "framework/declare/Declare.h"

/// The authorization status that the agent publishes: the authorization of each port and of each
/// supplicant on it, the part of it that is in force, and the blocked MAC addresses.
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const authZStatusModule;

/// The authorization that is in force for a supplicant or a port.
class VAREK_EXPORT OperationalAuthZAttrs final : public Qel::EntityOf<OperationalAuthZAttrs> {
   QEL_ENTITY( OperationalAuthZAttrs, authZStatusModule, 0 )

   /// Egress VLAN membership.
   QEL_PLAIN( 258, EgressVlanAttributes, egressVlan )
   /// The VLAN.
   QEL_PLAIN( 259, Bridging::VlanIdOrNone, vlanId )
   /// Whether the supplicant is identified anew from time to time.
   QEL_PLAIN( 260, bool, periodicIdentity, false )
};

/// One authorized supplicant.
class VAREK_EXPORT Dot1xSuppAttr final : public Qel::EntityOf<Dot1xSuppAttr> {
   QEL_ENTITY( Dot1xSuppAttr, authZStatusModule, 1 )

   /// Its MAC address.
   QEL_PARAMETER( 258, Lumo::EthAddr, mac )
   /// The authorization that the AAA server sent.
   QEL_PLAIN( 259, AuthZAttrs, attr )
   /// The part of it that is in force.
   QEL_OWN_CHILD( 260, OperationalAuthZAttrs, operationalAttr )
   /// The fallback that placed it, if any.
   QEL_PLAIN( 261, Fallback, fallback, Fallback::fallbackNone )
   /// How often the agent has authorized the supplicant.
   QEL_PLAIN( 262, std::uint32_t, authorizedCount, 0 )
};

/// The authorization of a port as a whole.
class VAREK_EXPORT Dot1xPortAppliedAttr final : public Qel::EntityOf<Dot1xPortAppliedAttr> {
   QEL_ENTITY( Dot1xPortAppliedAttr, authZStatusModule, 2 )

   /// The interface; the agent sets it.
   QEL_PLAIN( 258, Lumo::IntfId, intfId )
   /// The authorization that is in force.
   QEL_OWN_CHILD( 259, OperationalAuthZAttrs, operationalAttr )
};

/// One port.
class VAREK_EXPORT AuthZPortStatus final : public Qel::EntityOf<AuthZPortStatus> {
   QEL_ENTITY( AuthZPortStatus, authZStatusModule, 3 )

   /// The interface.
   QEL_PARAMETER( 258, Lumo::IntfId, intfId )
   /// The traffic that the port lets through.
   QEL_PLAIN( 259, PortAuthState, portAuthState, PortAuthState::blocked )
   /// Whether the port is authorized. The agent sets it, as it sets portAuthState.
   QEL_PLAIN( 260, bool, authorized, false )
   /// The supplicants that are authorized on it.
   QEL_CHILDREN( 261, Dot1xSuppAttr, authorizedMacs, 0x38342E72 )
   /// The authorization of the port as a whole.
   QEL_OWN_CHILD( 262, Dot1xPortAppliedAttr, operationalPortAttrs )
   /// Whether it is a switched port.
   QEL_PLAIN( 263, bool, switchPort, false )
};

/// One MAC address that is blocked.
class VAREK_EXPORT BlockedMacEntry final : public Qel::EntityOf<BlockedMacEntry> {
   QEL_ENTITY( BlockedMacEntry, authZStatusModule, 5 )

   QEL_PARAMETER( 258, Lumo::EthAddr, mac )
   /// The interfaces on which it is blocked, each with the VLAN concerned.
   QEL_MAP( 259, Lumo::IntfId, Bridging::VlanIdOrNone, intfVlan, 0x68A997C2 )
};

/// The blocked MAC addresses of the whole switch.
class VAREK_EXPORT BlockedMacTable final : public Qel::EntityOf<BlockedMacTable> {
   QEL_ENTITY( BlockedMacTable, authZStatusModule, 6 )

   QEL_CHILDREN( 258, BlockedMacEntry, blockedMacEntry, 0x6F8609AD )
};

/// A supplicant on a port: the key of a reading that takes both. It is no type of the module, since
/// no attribute holds such a value.
struct VAREK_EXPORT SupplicantPlace {
   Lumo::IntfId intfId;
   Lumo::EthAddr mac;

   SupplicantPlace() = default;
   SupplicantPlace( Lumo::IntfId interface, Lumo::EthAddr const& address )
      : intfId( interface ), mac( address ) {}
   /// From "00:00:5e:00:53:01@Ethernet3/1": the MAC address in any notation, "@", and the
   /// interface, which may be the empty name. Throws Varek::TextError for anything else.
   explicit SupplicantPlace( std::string_view text );

   std::uint32_t hash( std::uint32_t seed ) const { return mac.hash( intfId.hash( seed ) ); }
   friend bool operator==( SupplicantPlace const&, SupplicantPlace const& ) = default;
   /// By interface, then by address.
   friend std::strong_ordering operator<=>( SupplicantPlace const&,
                                            SupplicantPlace const& ) = default;
};

/// "00:00:5e:00:53:01@Ethernet3/1".
VAREK_EXPORT Varek::String stringValue( SupplicantPlace const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, SupplicantPlace const& );

/// The root: the ports by interface, and the blocked MAC addresses.
class VAREK_EXPORT AuthZStatus final : public Qel::EntityOf<AuthZStatus> {
   QEL_ENTITY( AuthZStatus, authZStatusModule, 4 )
   QEL_NAME

   QEL_CHILDREN( 258, AuthZPortStatus, authZPortStatus, 0xF2F44867 )
   /// The record of a supplicant; null if the port is not known or the supplicant not authorized
   /// on it.
   QEL_DERIVED_BY( 259, Varek::Ptr<Dot1xSuppAttr>, getSupplicantAuthZAttrs, SupplicantPlace )
   Varek::Ptr<Dot1xSuppAttr> getSupplicantAuthZAttrs( Lumo::IntfId intfId,
                                                      Lumo::EthAddr const& mac ) const;
   Varek::Ptr<Dot1xSuppAttr> getSupplicantAuthZAttrs( SupplicantPlace const& place ) const {
      return getSupplicantAuthZAttrs( place.intfId, place.mac );
   }
   QEL_OWN_CHILD( 260, BlockedMacTable, blockedMacTable )
};

/// New, parentless entities.
VAREK_EXPORT Varek::Ptr<AuthZPortStatus> authZPortStatusFactory( Lumo::IntfId intfId );
VAREK_EXPORT Varek::Ptr<AuthZStatus> authZStatusFactory( Varek::String const& name );
VAREK_EXPORT Varek::Ptr<BlockedMacEntry> blockedMacEntryFactory( Lumo::EthAddr const& mac );
VAREK_EXPORT Varek::Ptr<BlockedMacTable> blockedMacTableFactory();

} // namespace Dot1xV2
