#pragma once

#include <optional>

#include "Dot1xV2/Dot1xRecords.h"
#include "Lumo/IntfId.h"
#include "forms/AddressForms.h"

/// The configuration that the agent works by: seven profiles for each interface, under one root.
namespace Dot1xV2 {

/// How supplicants on an interface are authenticated: by which methods, in which order, with which
/// timers.
class VAREK_EXPORT AuthNProfile final : public Qel::EntityOf<AuthNProfile> {
   QEL_ENTITY( AuthNProfile, dot1xStatusModule, 11 )
   QEL_NAME

   /// Whether hosts are authenticated by their MAC addresses.
   QEL_PLAIN( 258, bool, mbaAuthNEnabled, false )
   /// Whether hosts are authenticated by EAPOL.
   QEL_PLAIN( 259, bool, eapolAuthNEnabled, false )
   QEL_PLAIN( 260, SessionReplaceProfile, sessionReplaceProfile )
   /// The methods whose supplicants may move to another port.
   QEL_SET( 261, AuthNMethod, macMoveEnabled, 0xA27D5E16 )
   /// Whether supplicants are authenticated anew from time to time (IEEE 802.1X 8.2.8).
   QEL_PLAIN( 262, bool, reauthNEnabled, false )
   /// Whether supplicants are authenticated anew when the AAA server answers again.
   QEL_PLAIN( 263, bool, aaaUnresponsiveRecoveryReauthNEnabled, false )
   /// The order of methods, by the frame that started the authentication.
   QEL_MAP( 264, AuthNEventType, AuthNOrder, eventAuthNOrder, 0x49E3B07A )
   QEL_PLAIN( 265, AuthNTimers, authNTimers )
   /// Whether identity requests are multicast for MAC-based authentication.
   QEL_PLAIN( 266, bool, mbaMulticastIdRequestEnabled, false )
   /// Whether a new MAC address is asked for its identity.
   QEL_PLAIN( 267, bool, sendIdentityReqNewMac, false )
   /// Whether a disconnected MAC address is asked for its identity.
   QEL_PLAIN( 268, bool, sendIdentityReqDisconnectMac, false )
   /// The EAP answer when the authentication-failure VLAN is applied.
   QEL_PLAIN( 269, CannedEapResponse, authFailVlanEapResponse,
              CannedEapResponse::eapResponseSuccess )
   /// The EAP answer when the AAA server does not answer.
   QEL_PLAIN( 270, CannedEapResponse, aaaUnresponsiveEapResponse,
              CannedEapResponse::eapResponseSuccess )
   /// Framed-MTU in requests (RFC 3580 3.10); 0 for none.
   QEL_PLAIN( 271, std::uint16_t, framedMtu, 0 )
   /// How a MAC address is written as a user name.
   QEL_PLAIN( 272, MbaUserName, mbaUserName )

   /// How many methods are tried after \p event: 0 or 2.
   QEL_DERIVED_BY( 273, std::uint32_t, getNumAuthNOrders, AuthNEventType )
   std::uint32_t getNumAuthNOrders( AuthNEventType event ) const;
   /// These methods, "[ eapolAuth, mbaAuth ]"; all methods but mbaAuth and skipAuth read eapolAuth.
   QEL_DERIVED_BY( 274, Varek::String, formatAuthNOrders, AuthNEventType )
   Varek::String formatAuthNOrders( AuthNEventType event ) const;
};

/// The timers of authorization.
class VAREK_EXPORT AuthZTimers final : public Qel::EntityOf<AuthZTimers> {
   QEL_ENTITY( AuthZTimers, dot1xStatusModule, 13 )

   /// Until a silent supplicant is removed, in seconds; 0 for never.
   QEL_PLAIN( 258, Varek::Duration, idleTimeout, 0.0 )
   /// How long cached results hold, in seconds.
   QEL_MAP( 259, DeviceType, Varek::Duration, authCacheTimeout, 0xD80F61CB )
   /// Until a disconnected supplicant is removed, in seconds.
   QEL_PLAIN( 260, Varek::Duration, disconnectTimeout, 0.0 )
   /// Timeout of requests to the captive portal, in seconds.
   QEL_PLAIN( 261, std::uint16_t, captivePortalRequestTimeout, 0 )
};

/// The authorization of supplicants on an interface, also when their authentication fails or the
/// AAA server does not answer.
class VAREK_EXPORT AuthZProfile final : public Qel::EntityOf<AuthZProfile> {
   QEL_ENTITY( AuthZProfile, dot1xStatusModule, 12 )
   QEL_NAME

   /// Whether authorization is enforced, by kind of device.
   QEL_MAP( 258, DeviceType, bool, authZEnabled, 0x63B5D29E )
   QEL_PLAIN( 259, bool, nonEnforcementModeEnabled, false )
   /// The VLAN after a failed authentication; absent is not the same as none.
   QEL_PLAIN( 260, std::optional<Bridging::VlanIdOrNone>, authFailVlan )
   /// The VLAN while the AAA server does not answer.
   QEL_PLAIN( 261, Bridging::VlanIdOrNone, aaaUnresponsiveVlan )
   /// The VLAN of hosts that do not authenticate.
   QEL_PLAIN( 262, Bridging::VlanIdOrNone, guestVlan )
   /// Whether an unauthorized port sends frames of its VLANs, by kind of interface.
   QEL_MAP( 263, InterfaceType, bool, unauthZVlanEgress, 0x3F94C80D )
   /// Whether egress VLANs from the server are applied (RFC 4675).
   QEL_PLAIN( 264, bool, egressVlanEnabled, false )
   /// Whether egress VLANs are applied on trunks only.
   QEL_PLAIN( 265, bool, egressVlanTrunkOnly, false )
   /// Groups of VLANs by name.
   QEL_ORDERED( 266, VlanGroup, groupName, vlanGroup, QelVlanGroup )
   /// Whether the VLAN of an authorized supplicant may change.
   QEL_PLAIN( 267, bool, allowVlanChange, false )
   QEL_PLAIN( 268, Dot1xAclMode, aclMode, Dot1xAclMode::modeInterface )
   /// The access list after a failed authentication.
   QEL_PLAIN( 269, Varek::String, authFailAcl )
   /// The access list while the AAA server does not answer.
   QEL_PLAIN( 270, Varek::String, aaaUnresponsiveAcl )
   QEL_PLAIN( 271, Dot1xAclInputPriority, aclInputPriority,
              Dot1xAclInputPriority::dot1xAclInputPriorityHigh )
   QEL_PLAIN( 272, Varek::String, captivePortalIpv4Acl )
   QEL_PLAIN( 273, bool, applyIpv4Ipv6Acl, false )
   QEL_OWN_CHILD( 274, AuthZTimers, authZTimers )
   /// The methods in the order in which their authorizations win, if a host has several.
   QEL_ARRAY( 275, AuthNMethod, 2, authZPriority )
   /// When cached results are used, by kind of device.
   QEL_MAP( 276, DeviceType, CachingControl, cachingControl, 0x9C20E7B5 )
   QEL_PLAIN( 277, CaptivePortal, captivePortal )
   QEL_PLAIN( 278, Varek::String, captivePortalSslProfileName )
   QEL_PLAIN( 279, bool, captivePortalStartLimitInfinite, false )
   /// The destinations that are reachable before authentication.
   QEL_ORDERED_MAP( 280, Varek::String, bool, captivePortalAllowList, QelCaptivePortalAllowList )
   /// Whether the server may change an authorization (RFC 5176).
   QEL_PLAIN( 281, bool, dot1xDynAuthEnabled, false )
};

/// Host mode and port control.
class VAREK_EXPORT AuthNZCommonProfile final : public Qel::EntityOf<AuthNZCommonProfile> {
   QEL_ENTITY( AuthNZCommonProfile, dot1xStatusModule, 14 )
   QEL_NAME

   QEL_PLAIN( 258, IntfHostMode, hostMode )
   /// Administrative control of the port, by kind of device.
   QEL_MAP( 259, DeviceType, PortCtrlSetting, portCtrlSetting, 0x74D1A36F )
};

/// How packets are received from supplicants, and identity requests are sent to them.
class VAREK_EXPORT SuppIOProfile final : public Qel::EntityOf<SuppIOProfile> {
   QEL_ENTITY( SuppIOProfile, dot1xStatusModule, 15 )
   QEL_NAME

   /// Whether EAPOL frames are received. No other switch of a profile is on by default.
   QEL_PLAIN( 258, bool, eapolPktRxEnabled, true )
   /// Whether frames of any kind are received, for MAC-based authentication.
   QEL_PLAIN( 259, bool, mbaPktRxEnabled, false )
   QEL_PLAIN( 260, bool, dropCounterEnabled, false )
   /// Time between EAP identity requests, in seconds (IEEE 802.1X-2004 8.2.2, txPeriod).
   QEL_PLAIN( 261, Varek::Duration, txPeriod, 5.0 )
   /// How often an identity request is sent again.
   QEL_PLAIN( 262, std::uint16_t, maxTxRetries, 2 )
   /// Time until MAC-based authentication begins, in seconds.
   QEL_PLAIN( 263, Varek::Duration, mbaPktDelay, 5.0 )
   /// Pause after a failed MAC-based authentication, in seconds.
   QEL_PLAIN( 264, Varek::Duration, mbaHoldPeriod, 60.0 )
   /// Where EAPOL frames are sent.
   QEL_PLAIN( 265, DestMac, txDestMac, DestMac::unicastMac )
};

/// Settings for the requests to the AAA server.
class VAREK_EXPORT AaaRequestProfile final : public Qel::EntityOf<AaaRequestProfile> {
   QEL_ENTITY( AaaRequestProfile, dot1xStatusModule, 16 )
   QEL_NAME

   QEL_PLAIN( 258, bool, configVlanEnabled, false )
   QEL_PLAIN( 259, bool, tunnelPrivateGroupIdEnabled, false )
   QEL_PLAIN( 260, bool, serviceTypeEnabled, false )
   QEL_PLAIN( 261, bool, egressVlanEnabled, false )
};

/// Settings for reading the AAA server's answers.
class VAREK_EXPORT AaaResponseProfile final : public Qel::EntityOf<AaaResponseProfile> {
   QEL_ENTITY( AaaResponseProfile, dot1xStatusModule, 17 )
   QEL_NAME

   QEL_PLAIN( 258, bool, multipleFilterIdEnabled, false )
   QEL_PLAIN( 259, bool, filterIdDelimEnabled, false )
};

/// Settings for accounting requests.
class VAREK_EXPORT AcctRequestProfile final : public Qel::EntityOf<AcctRequestProfile> {
   QEL_ENTITY( AcctRequestProfile, dot1xStatusModule, 18 )
   QEL_NAME

   /// Time between interim updates, in seconds (RFC 2869 2.1); 0 for no updates.
   QEL_PLAIN( 258, Varek::Duration, acctUpdatePeriod, 0.0 )
   QEL_MAP( 259, ProfilingAttrType, ProfilingState, profilingAttr, 0xE56B184C )
};

/// One interface and its profiles. Whoever asks for a profile by another name gets a fresh profile.
class VAREK_EXPORT IntfStatus final : public Qel::EntityOf<IntfStatus> {
   QEL_ENTITY( IntfStatus, dot1xStatusModule, 20 )

   QEL_PARAMETER( 258, Lumo::IntfId, intfId )
   QEL_OWN_CHILD( 259, AuthNProfile, authNProfile, Varek::String( "authNProfile" ) )
   QEL_OWN_CHILD( 260, AuthZProfile, authZProfile, Varek::String( "authZProfile" ) )
   QEL_OWN_CHILD( 261, SuppIOProfile, suppIOProfile, Varek::String( "suppIOProfile" ) )
   QEL_OWN_CHILD( 262, AaaRequestProfile, aaaReqProfile, Varek::String( "aaaReqProfile" ) )
   QEL_OWN_CHILD( 263, AaaResponseProfile, aaaRespProfile, Varek::String( "aaaRespProfile" ) )
   QEL_OWN_CHILD( 264, AcctRequestProfile, acctReqProfile, Varek::String( "acctReqProfile" ) )
   QEL_OWN_CHILD( 265, AuthNZCommonProfile, authNZCommonProfile,
                  Varek::String( "authNZCommonProfile" ) )
};

/// The root.
class VAREK_EXPORT Status final : public Qel::EntityOf<Status> {
   QEL_ENTITY( Status, dot1xStatusModule, 19 )
   QEL_NAME

   /// Whether IEEE 802.1X is on at all.
   QEL_PLAIN( 258, bool, dot1xEnabled, false )
   QEL_CHILDREN( 259, IntfStatus, intfStatus, 0xC734F72F )
};

/// New, parentless entities, with the defaults above.
VAREK_EXPORT Varek::Ptr<AuthNProfile> authNProfileFactory( Varek::String const& name );
VAREK_EXPORT Varek::Ptr<AuthZProfile> authZProfileFactory( Varek::String const& name );
VAREK_EXPORT Varek::Ptr<AcctRequestProfile> acctRequestProfileFactory( Varek::String const& name );
VAREK_EXPORT Varek::Ptr<IntfStatus> intfStatusFactory( Lumo::IntfId intfId );
VAREK_EXPORT Varek::Ptr<Status> statusFactory( Varek::String const& name );

} // namespace Dot1xV2
