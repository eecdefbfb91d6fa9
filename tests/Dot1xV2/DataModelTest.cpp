// The data model: every type with its slot, every attribute with its number, as the records tell.

#include <array>
#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "support/AnyValue.h"

namespace {

// A line is a type with its slot, or one of its attributes: number, kind, type, name, type of the
// keys, default or constant, and salt of the key hash ("*" where any will do). "default" is that of
// the value type. An enumerator without a number follows the one before it; more than three blanks
// go on with a line.
std::string_view const dataModel = R"(
AaaHelperLedraTypes
0 AaaAttribute value
  2 parameter Attribute attribute
  3 sequence AttrValue attrValue
1 AaaRequestType enum8 accessRequest acctStart acctStop acctInterim
2 AaaResponseType enum8 rejected accepted challenge timeout acctResponse
3 AaaResponse entity
  258 parameter AaaResponseType type
  259 plain EthAddr callingStationId = 00:00:00:00:00:00
  260 collection AaaAttribute aaaAttribute by Attribute salt E0935DCA
AcctStatus
0 AcctAttributes entity
  258 map String strAttribute by RadiusAttributeIdEnum salt 971DE9A7
  259 map String vsaStrAttribute by BreviaVendorSpecEnum salt F4F31B19
  260 map Bytes byteAttribute by RadiusAttributeIdEnum salt CB1C4D72
  261 map Bytes vsaByteAttribute by BreviaVendorSpecEnum salt C5805228
1 AcctSessionState entity
  258 parameter EthAddr mac
  259 plain IntfId intfId = empty
  260 child AcctAttributes attribute = present
  261 plain Duration nextAcctUpdateTime = inf
  262 plain AcctTermCause terminateCause = causeNotSet
  263 plain EthAddr calledStationId = 00:00:00:00:00:00
  264 plain LldpProfilingInfo lldpTlvs = default
2 AcctStatus entity named
  258 children AcctSessionState acctSessionState by EthAddr salt 93DE7A50
  259 plain U32 acctSessionUniqueId = 0
AuthNStatus
0 AuthNZPhase value
  2 plain AuthNZPhaseEnum value = authNZNotStarted
1 AuthNZPhaseType value hashable
  2 plain AuthNZPhaseEnum value = authNZInit
  3 constant AuthNZPhaseEnum min = authNZInit
  4 constant AuthNZPhaseEnum max = authNZPhase2
2 AuthNPhaseStatus entity
  258 parameter AuthNZPhaseType phase
  259 plain AuthNPhaseStage stage = phaseNotStarted
  260 plain AuthNMethod authNMethod = noneAuth
  261 child AaaResponse aaaResponse = absent
  262 plain AcctTermCause terminateCause = causeNotSet
3 AuthNSupplicantStatus entity
  258 parameter EthAddr mac
  259 plain IntfId intfId = empty
  260 plain AuthNZPhase authPhase = default
  261 children AuthNPhaseStatus phaseStatus by AuthNZPhaseType salt 3D444C63
  262 plain bool inEapolAuth = false
  263 plain EgressVlanAttributes egressVlanAttrs = default
  264 plain String identity = ""
  265 plain Bytes classAttr = 0x
  266 plain Duration lastAuthSuccessTime = 0
  267 plain U32 serviceType = 4294967295
  268 plain U32 vlanId = 0
  269 plain bool isTagged = false
  270 plain VlanIdOrNone vTag = none
  271 plain AuthNEventType triggerEvent = eapolPktRx
  272 derived AuthNMethod successfulAuthNMethod
  273 derived AuthNMethod currentAuthNMethod
  274 derived AuthNZPhaseType activePhaseType
4 AuthNStatus entity named
  258 children AuthNSupplicantStatus supplicant by EthAddr salt 6C578B85
AuthNZLedraTypes
0 EgressVlanAttributes value
  2 sequence String egressVlanNameTagged
  3 sequence String egressVlanNameUntagged
  4 sequence VlanId egressVlanIdTagged
  5 sequence VlanId egressVlanIdUntagged
  6 parameter bool ingressFilters
1 AuthZAttrs value
  2 plain ?String identity = absent
  3 plain ?String vlanId = absent
  4 plain ?String filterId = absent
  5 plain ?String nasFilterRule = absent
  6 plain ?String intfProfile = absent
  7 plain ?Dot1xV2::EgressVlanAttributes egressVlan = absent
AuthZStatus
0 OperationalAuthZAttrs entity
  258 plain EgressVlanAttributes egressVlan = default
  259 plain VlanIdOrNone vlanId = none
  260 plain bool periodicIdentity = false
1 Dot1xSuppAttr entity
  258 parameter EthAddr mac
  259 plain AuthZAttrs attr = default
  260 child OperationalAuthZAttrs operationalAttr = present
  261 plain Fallback fallback = fallbackNone
  262 plain U32 authorizedCount = 0
2 Dot1xPortAppliedAttr entity
  258 plain IntfId intfId = empty
  259 child OperationalAuthZAttrs operationalAttr = present
3 AuthZPortStatus entity
  258 parameter IntfId intfId
  259 plain PortAuthState portAuthState = blocked
  260 plain bool authorized = false
  261 children Dot1xSuppAttr authorizedMacs by EthAddr salt 38342E72
  262 child Dot1xPortAppliedAttr operationalPortAttrs = present
  263 plain bool switchPort = false
4 AuthZStatus entity named
  258 children AuthZPortStatus authZPortStatus by IntfId salt F2F44867
  259 derived Dot1xSuppAttr getSupplicantAuthZAttrs by SupplicantPlace
  260 child BlockedMacTable blockedMacTable = present
5 BlockedMacEntry entity
  258 parameter EthAddr mac
  259 map VlanIdOrNone intfVlan by IntfId salt 68A997C2
6 BlockedMacTable entity
  258 children BlockedMacEntry blockedMacEntry by EthAddr salt 6F8609AD
Dot1xStatus
0 Dot1xConstants value
  2 constant U8 maxAuthNPhases = 2
  3 constant U8 sessionReplaceCounterThreshold = 5
  4 constant Duration sessionReplaceDetectionInterval = 30
  5 constant U8 version2004 = 2
  6 constant Duration defaultTxPeriod = 5
  7 constant U8 defaultMaxTxRetries = 2
  8 constant Duration defaultMbaDelay = 5
  9 constant Duration defaultMbaHoldPeriod = 60
  10 constant U16 eapolEthType = 34958
  11 constant U16 dot1qEthType = 33024
  12 constant U8 dot1qTagSize = 4
  13 constant U32 eapolMinSize = 18
  14 constant U32 eapMinSize = 4
  15 constant U32 eapRespMinLen = 5
  16 constant U32 eapolWithTagMinSize = 22
  17 constant Duration defaultMbaWaitPeriodTick = 5
  18 constant U16 virtualPort = 5
  19 constant U16 ethernetPort = 15
  20 constant U32 serviceTypeUndefined = 4294967295
  21 constant U16 tunnelTypeVlan = 13
  22 constant U16 tunnelMedium802 = 6
  23 constant EthAddr eapolAddr = 01:80:c2:00:00:03
  24 constant Duration defaultSlowPeriod = 60
  25 constant Duration defaultMbaMulticastInterval = 30
  26 constant Duration defaultQuietPeriod = 60
  27 constant U8 acctMaxBacklogLength = 5
1 AuthZConstants value
  2 constant Duration authZAllVerificationTimeout = 2.5
2 CaptivePortal value
  2 plain String url = ""
  3 plain String cpHostName = ""
  4 plain bool enabled = false
3 IntfHostMode value
  2 plain HostMode hostMode = multiHost
  3 plain bool mbaHostModeCommonEnabled = false
4 SessionReplaceProfile value
  2 plain bool enabled = false
  3 plain SessionReplaceDetection detectionAction = detectionDisabled
5 AuthNTimers value
  2 plain Duration quietPeriod = 60
  3 plain Duration slowPeriod = 60
  4 plain Duration fallbackToMbaTimeout = 0
  5 plain Duration reauthNPeriod = 0
  6 plain AttributeSource reauthNPeriodSource = cliStaticSource
  7 plain Duration mbaMulticastInterval = 30
6 AuthNOrder value
  2 array AuthNMethod authNOrder = 2 of noneAuth
7 LldpProfilingInfo value
  2 plain Bytes lldpSysName = 0x
  3 plain Bytes lldpSysDesc = 0x
8 MbaUserName value
  2 constant String userNameDelimDefault = ":"
  3 plain String userNameDelim = ":"
  4 plain bool userNameIsUpperCase = false
  5 plain U8 userNameGroupSize = 2
9 CachingControl value
  2 set CachingEventType event by CachingEventType salt *
10 VlanGroup value
  2 parameter String groupName
  3 set VlanIdOrNone vlanId by VlanIdOrNone salt *
11 AuthNProfile entity named
  258 plain bool mbaAuthNEnabled = false
  259 plain bool eapolAuthNEnabled = false
  260 plain SessionReplaceProfile sessionReplaceProfile = default
  261 set AuthNMethod macMoveEnabled by AuthNMethod salt *
  262 plain bool reauthNEnabled = false
  263 plain bool aaaUnresponsiveRecoveryReauthNEnabled = false
  264 map AuthNOrder eventAuthNOrder by AuthNEventType salt *
  265 plain AuthNTimers authNTimers = default
  266 plain bool mbaMulticastIdRequestEnabled = false
  267 plain bool sendIdentityReqNewMac = false
  268 plain bool sendIdentityReqDisconnectMac = false
  269 plain CannedEapResponse authFailVlanEapResponse = eapResponseSuccess
  270 plain CannedEapResponse aaaUnresponsiveEapResponse = eapResponseSuccess
  271 plain U16 framedMtu = 0
  272 plain MbaUserName mbaUserName = default
  273 derived U32 getNumAuthNOrders by AuthNEventType
  274 derived String formatAuthNOrders by AuthNEventType
12 AuthZProfile entity named
  258 map bool authZEnabled by DeviceType salt *
  259 plain bool nonEnforcementModeEnabled = false
  260 plain ?VlanId authFailVlan = absent
  261 plain VlanIdOrNone aaaUnresponsiveVlan = none
  262 plain VlanIdOrNone guestVlan = none
  263 map bool unauthZVlanEgress by InterfaceType salt *
  264 plain bool egressVlanEnabled = false
  265 plain bool egressVlanTrunkOnly = false
  266 ordered VlanGroup vlanGroup by String
  267 plain bool allowVlanChange = false
  268 plain Dot1xAclMode aclMode = modeInterface
  269 plain String authFailAcl = ""
  270 plain String aaaUnresponsiveAcl = ""
  271 plain Dot1xAclInputPriority aclInputPriority = dot1xAclInputPriorityHigh
  272 plain String captivePortalIpv4Acl = ""
  273 plain bool applyIpv4Ipv6Acl = false
  274 child AuthZTimers authZTimers = present
  275 array AuthNMethod authZPriority = 2 of noneAuth
  276 map CachingControl cachingControl by DeviceType salt *
  277 plain CaptivePortal captivePortal = default
  278 plain String captivePortalSslProfileName = ""
  279 plain bool captivePortalStartLimitInfinite = false
  280 ordered bool captivePortalAllowList by String
  281 plain bool dot1xDynAuthEnabled = false
13 AuthZTimers entity
  258 plain Duration idleTimeout = 0
  259 map Duration authCacheTimeout by DeviceType salt *
  260 plain Duration disconnectTimeout = 0
  261 plain U16 captivePortalRequestTimeout = 0
14 AuthNZCommonProfile entity named
  258 plain IntfHostMode hostMode = default
  259 map PortCtrlSetting portCtrlSetting by DeviceType salt *
15 SuppIOProfile entity named
  258 plain bool eapolPktRxEnabled = true
  259 plain bool mbaPktRxEnabled = false
  260 plain bool dropCounterEnabled = false
  261 plain Duration txPeriod = 5
  262 plain U16 maxTxRetries = 2
  263 plain Duration mbaPktDelay = 5
  264 plain Duration mbaHoldPeriod = 60
  265 plain DestMac txDestMac = unicastMac
16 AaaRequestProfile entity named
  258 plain bool configVlanEnabled = false
  259 plain bool tunnelPrivateGroupIdEnabled = false
  260 plain bool serviceTypeEnabled = false
  261 plain bool egressVlanEnabled = false
17 AaaResponseProfile entity named
  258 plain bool multipleFilterIdEnabled = false
  259 plain bool filterIdDelimEnabled = false
18 AcctRequestProfile entity named
  258 plain Duration acctUpdatePeriod = 0
  259 map ProfilingState profilingAttr by ProfilingAttrType salt *
19 Status entity named
  258 plain bool dot1xEnabled = false
  259 children IntfStatus intfStatus by IntfId salt C734F72F
20 IntfStatus entity
  258 parameter IntfId intfId
  259 child AuthNProfile authNProfile = "authNProfile"
  260 child AuthZProfile authZProfile = "authZProfile"
  261 child SuppIOProfile suppIOProfile = "suppIOProfile"
  262 child AaaRequestProfile aaaReqProfile = "aaaReqProfile"
  263 child AaaResponseProfile aaaRespProfile = "aaaRespProfile"
  264 child AcctRequestProfile acctReqProfile = "acctReqProfile"
  265 child AuthNZCommonProfile authNZCommonProfile = "authNZCommonProfile"
Dot1xV2
0 AttributeSource enum8 cliStaticSource cliDynamicSource aaaSource
1 AuthNMethod enum8 noneAuth eapolAuth mbaAuth skipAuth invalidAuthNMethod
2 AuthNZPhaseEnum enum8 authNZNotStarted authNZInit authNZPhase1 authNZPhase2 authNZCompleted
3 AuthNPhaseStage enum8 phaseNotStarted phaseSuccess phaseFail phaseTimedOut waitForSuppResponse
    waitForAuthServer waitForAuthZ
4 AuthNEventType enum8 eapolPktRx mbaPktRx
5 CannedEapResponse enum8 eapResponseSuccess eapResponseFailure eapResponseNone
6 DestMac enum8 unicastMac multicastMac
7 CachingEventType enum8 AaaUnresponsive EapolLogoff LinkDown MacMove
8 DeviceType enum8 dataDevice phoneDevice
9 Dot1xAclMode enum8 modeInterface modePerMac
10 Dot1xAclInputPriority enum32 dot1xAclInputPriorityHigh=9 dot1xAclInputPriorityLow=25
11 HostMode enum8 multiHost singleHost multiHostAuth
12 PortCtrlSetting enum8 controlled forceAuth forceUnauth
13 PortAuthState enum8 blocked authorized restrictedVlan
14 InterfaceType enum8 access trunk
15 ProfilingAttrType enum8 lldpSysName lldpSysDesc dhcpHostname dhcpParamReqList
    dhcpVendorClassId framedIpSrcL3Ipv4 framedIpSrcL3Ipv6
16 ProfilingState enum8 disableProfiling authOnlyProfiling updateProfiling
17 SessionReplaceDetection enum8 detectionDisabled logOnly errdisable
18 AcctTermCause enum32 causeNotSet userRequest lostCarrier lostService idleTimeout
    sessionTimeout adminReset
19 ClearSuppReqType enum8 clearSession clearAttributes
20 ClearableAttributes enum8 clearAttrLldpSysName clearAttrLldpSysDesc
21 AuthZRequestType enum8 noneAuthZRequestType accessAccept accessReject
    accessAcceptSecondaryAttrs macMoveCache softwareCache snapshot cleanup
22 PortVlanMembershipState enum8 neither egress ingress ingressAndEgress
23 Fallback enum8 fallbackNone fallbackAuthFail fallbackGuestVlan fallbackAaaUnrespPhone
    fallbackAaaUnrespAgnosticNative fallbackAaaUnrespAgnosticSpecific
)";

std::string shortName( std::string_view type ) {
   std::string name( type.substr( type.rfind( ':' ) + 1 ) );
   std::erase( name, '>' );
   return name;
}

/// A new object of a type.
class Fresh {
public:
   explicit Fresh( Qel::TypeRecord const& type ) {
      if ( type.kind == Varek::TypeKind::entity ) {
         entity_ = freshEntity( type );
      } else {
         value_ = std::make_unique<AnyValue>( *type.functions );
      }
   }
   void const* data() const { return entity_ ? entity_.get() : value_->data(); }

private:
   std::unique_ptr<AnyValue> value_;
   Varek::Ptr<Qel::Entity> entity_;
};

std::string initial( Qel::AttributeRecord const& one, Fresh const& object ) {
   using Qel::AttributeKind;
   std::string text;
   if ( one.kind == AttributeKind::plain ) {
      auto const* const record = one.value->registered();
      if ( record && record->kind == Varek::TypeKind::value &&
           one.value->equal( one.read( object.data() ), AnyValue( *one.value ).data() ) ) {
         text = "default";
      } else {
         one.value->print( text, one.read( object.data() ) );
      }
   } else if ( one.kind == AttributeKind::constant ) {
      AnyValue const value( *one.value );
      one.compute( object.data(), nullptr, value.data() );
      text = value.form();
   } else if ( one.kind == AttributeKind::array ) {
      text = std::to_string( one.size( object.data() ) ) + " of ";
      text += AnyValue( *one.value ).form();
   } else if ( one.kind == AttributeKind::child ) {
      Qel::Entity const* const child = one.child( object.data() );
      text = child ? "present" : "absent";
      if ( auto const* const name =
              Qel::typeRecord( one.childType() ).attribute( Varek::nameStringId );
           child && name ) {
         name->value->print( text = "", name->read( child ) );
      }
   } else {
      return {};
   }
   return " = " + ( text.empty() ? "empty" : text );
}

std::string attributeLine( Qel::TypeRecord const& type, std::size_t i, Fresh const& object ) {
   Qel::AttributeRecord const& one = type.attributes[i];
   std::string line = "  " + std::to_string( one.id.value() ) + ' ';
   line += std::string( stringValue( one.kind ) ) + ' ';
   if ( one.typeName().starts_with( "std::optional" ) ) {
      type.wire[i].form( line );
   } else {
      line += shortName( one.typeName() );
   }
   line += ' ' + std::string( one.name );
   if ( one.key && one.kind != Qel::AttributeKind::array ) {
      line += " by " + shortName( one.key->typeName );
   }
   line += initial( one, object );
   if ( one.salted ) {
      std::array<char, 20> salt{};
      std::snprintf( salt.data(), salt.size(), " salt %08X", one.salt );
      line += salt.data();
   }
   return line;
}

std::vector<std::string> modelOf( Varek::ModuleInspectData const& module ) {
   static constexpr std::string_view kinds[] = { "value", "enum8", "enum32", "entity" };
   std::vector<std::string> lines{ std::string( module.name ) };
   for ( Varek::TypeInspectData const* const each : module.types ) {
      Qel::TypeRecord const& type = Qel::typeRecord( *each );
      EXPECT_EQ( type.name, "Dot1xV2::" + std::string( type.unqualifiedName() ) );
      std::string line = std::to_string( type.index ) + ' ' + std::string( type.unqualifiedName() );
      line += ' ' + std::string( kinds[static_cast<std::size_t>( type.kind )] );
      line += type.hashable && type.enumerators.empty() ? " hashable" : "";
      line += type.attribute( Varek::nameStringId ) ? " named" : "";
      std::uint32_t next = 0;
      for ( auto const& one : type.enumerators ) {
         line += ' ' + std::string( one.name );
         line += one.value == next ? "" : '=' + std::to_string( one.value );
         next = one.value + 1;
      }
      lines.push_back( line );
      if ( !type.attributes.empty() ) {
         Fresh const object( type );
         for ( std::size_t i = type.attribute( Varek::nameStringId ) ? 1 : 0;
               i < type.attributes.size(); ++i ) {
            lines.push_back( attributeLine( type, i, object ) );
         }
      }
   }
   return lines;
}

/// Whether they say the same; "salt *" stands for any.
bool same( std::string_view expected, std::string_view found ) {
   if ( expected.ends_with( " salt *" ) ) {
      expected.remove_suffix( 1 );
      return found.starts_with( expected ) && found.size() == expected.size() + 8;
   }
   return found == expected;
}

TEST( DataModel, IsInTheRecords ) {
   std::vector<std::string> found;
   for ( char const* const module :
         { "AaaHelperLedraTypes", "AcctStatus", "AuthNStatus", "AuthNZLedraTypes", "AuthZStatus",
           "Dot1xStatus", "Dot1xV2" } ) {
      for ( std::string const& line : modelOf( *Varek::ModuleInspectData::find( module ) ) ) {
         found.push_back( line );
      }
   }
   std::string model( dataModel.substr( 1 ) );
   for ( std::size_t at; ( at = model.find( "\n    " ) ) != std::string::npos; ) {
      model.replace( at, 5, " " );
   }
   std::istringstream expected( model );
   std::size_t at = 0;
   for ( std::string line; std::getline( expected, line ); ++at ) {
      EXPECT_TRUE( at < found.size() && same( line, found[at] ) )
         << "expected: " << line << "\nfound:    " << ( at < found.size() ? found[at] : "nothing" );
   }
   EXPECT_EQ( at, found.size() );
}

// Keys that collide in one collection are not to do so in another.
TEST( DataModel, NoTwoCollectionsHaveOneSalt ) {
   std::set<std::uint32_t> salts;
   for ( Qel::TypeRecord const* const type : registeredTypes( []( auto& ) { return true; } ) ) {
      for ( Qel::AttributeRecord const& one : type->attributes ) {
         if ( one.salted ) {
            EXPECT_TRUE( salts.insert( one.salt ).second ) << type->name << " " << one.name;
         }
      }
   }
   EXPECT_GT( salts.size(), 20U );
}

} // namespace
