#pragma once

#include "Varek/Export.h"
#include "framework/records/Enumeration.h"

/// The enumerations of configuration and status. Values and names are on the wire, in text and in
/// files: a new enumerator takes the next free value, and no enumerator is ever renamed.
namespace Dot1xV2 {

extern VAREK_EXPORT Varek::ModuleInspectData const dot1xV2;

/// Where a setting came from: static or dynamic configuration, or the AAA server.
QEL_ENUM( AttributeSource, unsigned char, dot1xV2, 0, cliStaticSource, cliDynamicSource,
          aaaSource );

/// How a supplicant is authenticated in one phase: by EAPOL (IEEE 802.1X), or by its MAC address.
QEL_ENUM( AuthNMethod, unsigned char, dot1xV2, 1, noneAuth, eapolAuth, mbaAuth, skipAuth,
          invalidAuthNMethod );

/// Where a supplicant stands in the sequence of authentication and authorization.
QEL_ENUM( AuthNZPhaseEnum, unsigned char, dot1xV2, 2, authNZNotStarted, authNZInit, authNZPhase1,
          authNZPhase2, authNZCompleted );

/// The stage that a phase has reached.
QEL_ENUM( AuthNPhaseStage, unsigned char, dot1xV2, 3, phaseNotStarted, phaseSuccess, phaseFail,
          phaseTimedOut, waitForSuppResponse, waitForAuthServer, waitForAuthZ );

/// The received frame that started an authentication.
QEL_ENUM( AuthNEventType, unsigned char, dot1xV2, 4, eapolPktRx, mbaPktRx );

/// The EAP answer that the switch gives on its own when the server does not answer, or when the
/// authentication-failure VLAN is applied (RFC 3748 4.2).
QEL_ENUM( CannedEapResponse, unsigned char, dot1xV2, 5, eapResponseSuccess, eapResponseFailure,
          eapResponseNone );

/// Where EAPOL frames are sent: to the supplicant, or to the PAE group address (IEEE 802.1X 11.1).
QEL_ENUM( DestMac, unsigned char, dot1xV2, 6, unicastMac, multicastMac );

/// The events on which cached authorization results are used. Only these names are capitalised.
QEL_ENUM( CachingEventType, unsigned char, dot1xV2, 7, AaaUnresponsive, EapolLogoff, LinkDown,
          MacMove );

/// What kind of device is connected.
QEL_ENUM( DeviceType, unsigned char, dot1xV2, 8, dataDevice, phoneDevice );

/// Where access lists from the server apply: to the interface, or to each MAC address.
QEL_ENUM( Dot1xAclMode, unsigned char, dot1xV2, 9, modeInterface, modePerMac );

/// The input priority of the access lists; the numbers are those of the forwarding plane.
QEL_ENUM( Dot1xAclInputPriority, unsigned int, dot1xV2, 10, dot1xAclInputPriorityHigh = 9,
          dot1xAclInputPriorityLow = 25 );

/// How many hosts a port admits: any number once one host is authenticated, a single host, or any
/// number of which each is authenticated by itself.
QEL_ENUM( HostMode, unsigned char, dot1xV2, 11, multiHost, singleHost, multiHostAuth );

/// Administrative control of a port (IEEE 802.1X 6.4, AuthControlledPortControl).
QEL_ENUM( PortCtrlSetting, unsigned char, dot1xV2, 12, controlled, forceAuth, forceUnauth );

/// The traffic that a port lets through.
QEL_ENUM( PortAuthState, unsigned char, dot1xV2, 13, blocked, authorized, restrictedVlan );

/// The kind of switched interface.
QEL_ENUM( InterfaceType, unsigned char, dot1xV2, 14, access, trunk );

/// The data by which a device is profiled.
QEL_ENUM( ProfilingAttrType, unsigned char, dot1xV2, 15, lldpSysName, lldpSysDesc, dhcpHostname,
          dhcpParamReqList, dhcpVendorClassId, framedIpSrcL3Ipv4, framedIpSrcL3Ipv6 );

/// When profiling data is sent to the server: never, at authentication, or also when it changes.
QEL_ENUM( ProfilingState, unsigned char, dot1xV2, 16, disableProfiling, authOnlyProfiling,
          updateProfiling );

/// The reaction when sessions replace one another too often.
QEL_ENUM( SessionReplaceDetection, unsigned char, dot1xV2, 17, detectionDisabled, logOnly,
          errdisable );

/// Why an accounting session ended (RFC 2866 5.10); the numbers from 1 to 6 are those of
/// Acct-Terminate-Cause.
QEL_ENUM( AcctTermCause, unsigned int, dot1xV2, 18, causeNotSet, userRequest, lostCarrier,
          lostService, idleTimeout, sessionTimeout, adminReset );

/// The part of a supplicant's state that a request to clear it removes.
QEL_ENUM( ClearSuppReqType, unsigned char, dot1xV2, 19, clearSession, clearAttributes );

/// The attributes that a request to clear a supplicant can remove.
QEL_ENUM( ClearableAttributes, unsigned char, dot1xV2, 20, clearAttrLldpSysName,
          clearAttrLldpSysDesc );

/// Why an authorization is to be applied.
QEL_ENUM( AuthZRequestType, unsigned char, dot1xV2, 21, noneAuthZRequestType, accessAccept,
          accessReject, accessAcceptSecondaryAttrs, macMoveCache, softwareCache, snapshot,
          cleanup );

/// Whether a port is a member of a VLAN for what it receives and for what it sends.
QEL_ENUM( PortVlanMembershipState, unsigned char, dot1xV2, 22, neither, egress, ingress,
          ingressAndEgress );

/// The fallback that placed a supplicant, if any.
QEL_ENUM( Fallback, unsigned char, dot1xV2, 23, fallbackNone, fallbackAuthFail, fallbackGuestVlan,
          fallbackAaaUnrespPhone, fallbackAaaUnrespAgnosticNative,
          fallbackAaaUnrespAgnosticSpecific );

} // namespace Dot1xV2
