#pragma once

#include "Bridging/VlanId.h"
#include "Dot1xV2/Dot1xV2.h"
#include "Lumo/EthAddr.h"
#include "forms/AddressForms.h"
#include "framework/declare/Declare.h"

/// The small records of the configuration, and the fixed numbers of the protocols. They belong to
/// the module of Dot1xStatus.h.
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const dot1xStatusModule;

/// Protocol numbers and defaults. All objects of this type are equal, since they hold nothing.
class VAREK_EXPORT Dot1xConstants final : public Qel::ValueOf<Dot1xConstants> {
   QEL_VALUE( Dot1xConstants, dot1xStatusModule, 0 )

   /// Largest number of authentication phases (methods tried one after another) that one
   /// authentication order may hold.
   QEL_CONSTANT( 2, std::uint8_t, maxAuthNPhases, 2 )
   /// Number of session-replace events within sessionReplaceDetectionInterval at which the
   /// detectionAction of SessionReplaceProfile is taken.
   QEL_CONSTANT( 3, std::uint8_t, sessionReplaceCounterThreshold, 5 )
   /// Default interval over which session-replace events are counted, in seconds.
   QEL_CONSTANT( 4, Varek::Duration, sessionReplaceDetectionInterval, 30.0 )
   /// EAPOL protocol version number of IEEE 802.1X-2004.
   QEL_CONSTANT( 5, std::uint8_t, version2004, 2 )
   /// Default EAP identity-request retransmission period, in seconds.
   QEL_CONSTANT( 6, Varek::Duration, defaultTxPeriod, 5.0 )
   /// Default number of identity-request retransmissions.
   QEL_CONSTANT( 7, std::uint8_t, defaultMaxTxRetries, 2 )
   /// Default delay before MAC-based authentication starts, in seconds.
   QEL_CONSTANT( 8, Varek::Duration, defaultMbaDelay, 5.0 )
   /// Default hold period after a failed MAC-based authentication, in seconds.
   QEL_CONSTANT( 9, Varek::Duration, defaultMbaHoldPeriod, 60.0 )
   /// Ethernet type of EAPOL frames.
   QEL_CONSTANT( 10, std::uint16_t, eapolEthType, 0x888E )
   /// Ethernet type of an IEEE 802.1Q VLAN tag.
   QEL_CONSTANT( 11, std::uint16_t, dot1qEthType, 0x8100 )
   /// Size in bytes of one 802.1Q tag.
   QEL_CONSTANT( 12, std::uint8_t, dot1qTagSize, 4 )
   /// Smallest acceptable untagged EAPOL frame in bytes: the 14-byte Ethernet header and the 4-byte
   /// EAPOL header.
   QEL_CONSTANT( 13, std::uint32_t, eapolMinSize, 18 )
   /// Smallest EAP packet in bytes: code, identifier and the 2-byte length.
   QEL_CONSTANT( 14, std::uint32_t, eapMinSize, 4 )
   /// Smallest EAP response in bytes: the EAP header and the type byte.
   QEL_CONSTANT( 15, std::uint32_t, eapRespMinLen, 5 )
   /// Smallest acceptable tagged EAPOL frame in bytes: eapolMinSize plus dot1qTagSize.
   QEL_CONSTANT( 16, std::uint32_t, eapolWithTagMinSize, 22 )
   /// Tick of the wait loop of MAC-based authentication, in seconds.
   QEL_CONSTANT( 17, Varek::Duration, defaultMbaWaitPeriodTick, 5.0 )
   /// RADIUS NAS-Port-Type value Virtual (RFC 2865 5.41).
   QEL_CONSTANT( 18, std::uint16_t, virtualPort, 5 )
   /// RADIUS NAS-Port-Type value Ethernet (RFC 2865 5.41).
   QEL_CONSTANT( 19, std::uint16_t, ethernetPort, 15 )
   /// Value that stands for an absent RADIUS Service-Type.
   QEL_CONSTANT( 20, std::uint32_t, serviceTypeUndefined, 0xFFFFFFFF )
   /// RADIUS Tunnel-Type value VLAN (RFC 3580 3.31).
   QEL_CONSTANT( 21, std::uint16_t, tunnelTypeVlan, 13 )
   /// RADIUS Tunnel-Medium-Type value IEEE-802 (RFC 3580 3.31).
   QEL_CONSTANT( 22, std::uint16_t, tunnelMedium802, 6 )
   /// The IEEE 802.1X PAE group address to which EAPOL frames are sent.
   QEL_CONSTANT( 23, Lumo::EthAddr, eapolAddr,
                 Lumo::EthAddr::Octets{ 0x01, 0x80, 0xC2, 0x00, 0x00, 0x03 } )
   /// Default slow (back-off) retry period, in seconds.
   QEL_CONSTANT( 24, Varek::Duration, defaultSlowPeriod, 60.0 )
   /// Default interval, in seconds, of multicast identity requests for MAC-based authentication.
   QEL_CONSTANT( 25, Varek::Duration, defaultMbaMulticastInterval, 30.0 )
   /// Default quiet period after a failed authentication, in seconds.
   QEL_CONSTANT( 26, Varek::Duration, defaultQuietPeriod, 60.0 )
   /// Largest number of accounting records held back while the accounting server is unreachable.
   QEL_CONSTANT( 27, std::uint8_t, acctMaxBacklogLength, 5 )
};

/// Constants of authorization.
class VAREK_EXPORT AuthZConstants final : public Qel::ValueOf<AuthZConstants> {
   QEL_VALUE( AuthZConstants, dot1xStatusModule, 1 )

   /// Time, in seconds, for verifying that every authorization attribute has been applied.
   QEL_CONSTANT( 2, Varek::Duration, authZAllVerificationTimeout, 2.5 )
};

/// The text of an LLDP TLV that has not been received: empty.
VAREK_EXPORT Varek::String lldpTlvDefault();

/// The portal to which unauthenticated web clients are sent.
class VAREK_EXPORT CaptivePortal final : public Qel::ValueOf<CaptivePortal> {
   QEL_VALUE( CaptivePortal, dot1xStatusModule, 2 )

   /// Its address.
   QEL_PLAIN( 2, Varek::String, url )
   /// Its host name.
   QEL_PLAIN( 3, Varek::String, cpHostName )
   QEL_PLAIN( 4, bool, enabled, false )

   QEL_TRUTH( CaptivePortal )
};

/// How many hosts an interface admits.
class VAREK_EXPORT IntfHostMode final : public Qel::ValueOf<IntfHostMode> {
   QEL_VALUE( IntfHostMode, dot1xStatusModule, 3 )

   QEL_PLAIN( 2, HostMode, hostMode, HostMode::multiHost )
   /// Whether MAC-based authentication follows the same host mode as EAPOL.
   QEL_PLAIN( 3, bool, mbaHostModeCommonEnabled, false )
};

/// The reaction when sessions replace one another too often.
class VAREK_EXPORT SessionReplaceProfile final : public Qel::ValueOf<SessionReplaceProfile> {
   QEL_VALUE( SessionReplaceProfile, dot1xStatusModule, 4 )

   QEL_PLAIN( 2, bool, enabled, false )
   /// The action after Dot1xConstants::sessionReplaceCounterThreshold replacements within
   /// sessionReplaceDetectionInterval.
   QEL_PLAIN( 3, SessionReplaceDetection, detectionAction,
              SessionReplaceDetection::detectionDisabled )
};

/// The timers of authentication, in seconds.
class VAREK_EXPORT AuthNTimers final : public Qel::ValueOf<AuthNTimers> {
   QEL_VALUE( AuthNTimers, dot1xStatusModule, 5 )

   /// After a failed authentication (IEEE 802.1X 8.2.2, quietPeriod).
   QEL_PLAIN( 2, Varek::Duration, quietPeriod, 60.0 )
   /// Between slow retries.
   QEL_PLAIN( 3, Varek::Duration, slowPeriod, 60.0 )
   /// Until MAC-based authentication is tried instead; 0 for never.
   QEL_PLAIN( 4, Varek::Duration, fallbackToMbaTimeout, 0.0 )
   /// Between authentications of a supplicant (IEEE 802.1X 8.2.8, reAuthPeriod); 0 for never.
   QEL_PLAIN( 5, Varek::Duration, reauthNPeriod, 0.0 )
   /// Where reauthNPeriod comes from.
   QEL_PLAIN( 6, AttributeSource, reauthNPeriodSource, AttributeSource::cliStaticSource )
   /// Between multicast identity requests sent for MAC-based authentication.
   QEL_PLAIN( 7, Varek::Duration, mbaMulticastInterval, 30.0 )
};

/// The methods to try, in this order.
class VAREK_EXPORT AuthNOrder final : public Qel::ValueOf<AuthNOrder> {
   QEL_VALUE( AuthNOrder, dot1xStatusModule, 6 )

   QEL_ARRAY( 2, AuthNMethod, 2, authNOrder )
};

/// The LLDP TLVs of a device (IEEE 802.1AB 8.5), as received.
class VAREK_EXPORT LldpProfilingInfo final : public Qel::ValueOf<LldpProfilingInfo> {
   QEL_VALUE( LldpProfilingInfo, dot1xStatusModule, 7 )

   LldpProfilingInfo( Varek::String const& sysName, Varek::String const& sysDesc )
      : lldpSysName_( sysName ), lldpSysDesc_( sysDesc ) {}

   /// The System Name TLV.
   QEL_PLAIN( 2, Varek::Bytes, lldpSysName )
   /// The System Description TLV.
   QEL_PLAIN( 3, Varek::Bytes, lldpSysDesc )

   QEL_TRUTH( LldpProfilingInfo )
};

/// How a MAC address is written as the user name of MAC-based authentication.
class VAREK_EXPORT MbaUserName final : public Qel::ValueOf<MbaUserName> {
   QEL_VALUE( MbaUserName, dot1xStatusModule, 8 )

   QEL_CONSTANT( 2, Varek::String, userNameDelimDefault, ":" )
   /// The text between groups of hexadecimal digits.
   QEL_PLAIN( 3, Varek::String, userNameDelim, ":" )
   /// Whether the digits are upper case.
   QEL_PLAIN( 4, bool, userNameIsUpperCase, false )
   /// Digits in a group.
   QEL_PLAIN( 5, std::uint8_t, userNameGroupSize, 2 )

   QEL_TRUTH( MbaUserName )
};

/// When cached authorization results are used.
class VAREK_EXPORT CachingControl final : public Qel::ValueOf<CachingControl> {
   QEL_VALUE( CachingControl, dot1xStatusModule, 9 )

   QEL_SET( 2, CachingEventType, event, 0x5B1C06D3 )

   QEL_TRUTH( CachingControl )
};

/// VLANs under one name.
class VAREK_EXPORT VlanGroup final : public Qel::ValueOf<VlanGroup> {
   QEL_VALUE( VlanGroup, dot1xStatusModule, 10 )

   QEL_PARAMETER( 2, Varek::String, groupName )
   QEL_SET( 3, Bridging::VlanIdOrNone, vlanId, 0x1E8A7F94 )

   QEL_TRUTH( VlanGroup )
};

} // namespace Dot1xV2
