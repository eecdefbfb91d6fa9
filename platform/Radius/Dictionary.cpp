#include "Radius/Dictionary.h"

#include <algorithm>
#include <iterator>

#include "Radius/RadiusAttributeId.h"

namespace RadiusPktParserBase {

namespace {

using Id = RadiusPacketParser::RadiusAttributeId;

constexpr std::uint32_t mppeVendor = 311;

// clang-format off
constexpr DictionaryEntry entries[] = {
   { { 0, Id::userName }, "User-Name", Form::text },
   { { 0, Id::userPassword }, "User-Password", Form::octets },
   { { 0, Id::chapPassword }, "CHAP-Password", Form::octets },
   { { 0, Id::nasIpAddress }, "NAS-IP-Address", Form::ipv4Address },
   { { 0, Id::nasPort }, "NAS-Port", Form::integer },
   { { 0, Id::serviceType }, "Service-Type", Form::integer },
   { { 0, Id::framedProtocol }, "Framed-Protocol", Form::integer },
   { { 0, Id::framedIpAddress }, "Framed-IP-Address", Form::ipv4Address },
   { { 0, Id::framedIpNetmask }, "Framed-IP-Netmask", Form::ipv4Address },
   { { 0, Id::framedRouting }, "Framed-Routing", Form::integer },
   { { 0, Id::filterId }, "Filter-Id", Form::text },
   { { 0, Id::framedMtu }, "Framed-MTU", Form::integer },
   { { 0, Id::framedCompression }, "Framed-Compression", Form::integer },
   { { 0, Id::loginIpHost }, "Login-IP-Host", Form::ipv4Address },
   { { 0, Id::loginService }, "Login-Service", Form::integer },
   { { 0, Id::loginTcpPort }, "Login-TCP-Port", Form::integer },
   { { 0, Id::replyMessage }, "Reply-Message", Form::text },
   { { 0, Id::callbackNumber }, "Callback-Number", Form::text },
   { { 0, Id::callbackId }, "Callback-Id", Form::text },
   { { 0, Id::framedRoute }, "Framed-Route", Form::text },
   { { 0, Id::framedIpxNetwork }, "Framed-IPX-Network", Form::integer },
   { { 0, Id::state }, "State", Form::octets },
   { { 0, Id::classAttribute }, "Class", Form::octets },
   { { 0, Id::vendorSpecific }, "Vendor-Specific", Form::vendorSpecific },
   { { 0, Id::sessionTimeout }, "Session-Timeout", Form::integer },
   { { 0, Id::idleTimeout }, "Idle-Timeout", Form::integer },
   { { 0, Id::terminationAction }, "Termination-Action", Form::integer },
   { { 0, Id::calledStationId }, "Called-Station-Id", Form::text },
   { { 0, Id::callingStationId }, "Calling-Station-Id", Form::text },
   { { 0, Id::nasIdentifier }, "NAS-Identifier", Form::text },
   { { 0, Id::proxyState }, "Proxy-State", Form::octets },
   { { 0, Id::loginLatService }, "Login-LAT-Service", Form::text },
   { { 0, Id::loginLatNode }, "Login-LAT-Node", Form::text },
   { { 0, Id::loginLatGroup }, "Login-LAT-Group", Form::octets },
   { { 0, Id::framedAppleTalkLink }, "Framed-AppleTalk-Link", Form::integer },
   { { 0, Id::framedAppleTalkNetwork }, "Framed-AppleTalk-Network", Form::integer },
   { { 0, Id::framedAppleTalkZone }, "Framed-AppleTalk-Zone", Form::text },
   { { 0, Id::acctStatusType }, "Acct-Status-Type", Form::integer },
   { { 0, Id::acctDelayTime }, "Acct-Delay-Time", Form::integer },
   { { 0, Id::acctInputOctets }, "Acct-Input-Octets", Form::integer },
   { { 0, Id::acctOutputOctets }, "Acct-Output-Octets", Form::integer },
   { { 0, Id::acctSessionId }, "Acct-Session-Id", Form::text },
   { { 0, Id::acctAuthentic }, "Acct-Authentic", Form::integer },
   { { 0, Id::acctSessionTime }, "Acct-Session-Time", Form::integer },
   { { 0, Id::acctInputPackets }, "Acct-Input-Packets", Form::integer },
   { { 0, Id::acctOutputPackets }, "Acct-Output-Packets", Form::integer },
   { { 0, Id::acctTerminateCause }, "Acct-Terminate-Cause", Form::integer },
   { { 0, Id::acctMultiSessionId }, "Acct-Multi-Session-Id", Form::text },
   { { 0, Id::acctLinkCount }, "Acct-Link-Count", Form::integer },
   { { 0, Id::acctInputGigawords }, "Acct-Input-Gigawords", Form::integer },
   { { 0, Id::acctOutputGigawords }, "Acct-Output-Gigawords", Form::integer },
   { { 0, Id::eventTimestamp }, "Event-Timestamp", Form::time },
   { { 0, Id::egressVlanId }, "Egress-VLANID", Form::integer },
   { { 0, Id::ingressFilters }, "Ingress-Filters", Form::integer },
   { { 0, Id::egressVlanName }, "Egress-VLAN-Name", Form::text },
   { { 0, Id::userPriorityTable }, "User-Priority-Table", Form::octets },
   { { 0, Id::chapChallenge }, "CHAP-Challenge", Form::octets },
   { { 0, Id::nasPortType }, "NAS-Port-Type", Form::integer },
   { { 0, Id::portLimit }, "Port-Limit", Form::integer },
   { { 0, Id::loginLatPort }, "Login-LAT-Port", Form::text },
   { { 0, Id::tunnelType }, "Tunnel-Type", Form::taggedInteger },
   { { 0, Id::tunnelMediumType }, "Tunnel-Medium-Type", Form::taggedInteger },
   { { 0, Id::tunnelClientEndpoint }, "Tunnel-Client-Endpoint", Form::taggedText },
   { { 0, Id::tunnelServerEndpoint }, "Tunnel-Server-Endpoint", Form::taggedText },
   { { 0, Id::acctTunnelConnection }, "Acct-Tunnel-Connection", Form::text },
   { { 0, Id::tunnelPassword }, "Tunnel-Password", Form::octets },
   { { 0, Id::arapPassword }, "ARAP-Password", Form::octets },
   { { 0, Id::arapFeatures }, "ARAP-Features", Form::octets },
   { { 0, Id::arapZoneAccess }, "ARAP-Zone-Access", Form::integer },
   { { 0, Id::arapSecurity }, "ARAP-Security", Form::integer },
   { { 0, Id::arapSecurityData }, "ARAP-Security-Data", Form::octets },
   { { 0, Id::passwordRetry }, "Password-Retry", Form::integer },
   { { 0, Id::prompt }, "Prompt", Form::integer },
   { { 0, Id::connectInfo }, "Connect-Info", Form::text },
   { { 0, Id::configurationToken }, "Configuration-Token", Form::text },
   { { 0, Id::eapMessage }, "EAP-Message", Form::octets },
   { { 0, Id::messageAuthenticator }, "Message-Authenticator", Form::octets },
   { { 0, Id::tunnelPrivateGroupId }, "Tunnel-Private-Group-Id", Form::taggedText },
   { { 0, Id::tunnelAssignmentId }, "Tunnel-Assignment-Id", Form::taggedText },
   { { 0, Id::tunnelPreference }, "Tunnel-Preference", Form::taggedInteger },
   { { 0, Id::arapChallengeResponse }, "ARAP-Challenge-Response", Form::octets },
   { { 0, Id::acctInterimInterval }, "Acct-Interim-Interval", Form::integer },
   { { 0, Id::acctTunnelPacketsLost }, "Acct-Tunnel-Packets-Lost", Form::integer },
   { { 0, Id::nasPortId }, "NAS-Port-Id", Form::text },
   { { 0, Id::framedPool }, "Framed-Pool", Form::text },
   { { 0, Id::chargeableUserIdentity }, "Chargeable-User-Identity", Form::octets },
   { { 0, Id::tunnelClientAuthId }, "Tunnel-Client-Auth-Id", Form::taggedText },
   { { 0, Id::tunnelServerAuthId }, "Tunnel-Server-Auth-Id", Form::taggedText },
   { { 0, Id::nasFilterRule }, "NAS-Filter-Rule", Form::text },
   { { 0, Id::nasIpv6Address }, "NAS-IPv6-Address", Form::ipv6Address },
   { { 0, Id::framedInterfaceId }, "Framed-Interface-Id", Form::interfaceId },
   { { 0, Id::framedIpv6Prefix }, "Framed-IPv6-Prefix", Form::ipv6Prefix },
   { { 0, Id::loginIpv6Host }, "Login-IPv6-Host", Form::ipv6Address },
   { { 0, Id::framedIpv6Route }, "Framed-IPv6-Route", Form::text },
   { { 0, Id::framedIpv6Pool }, "Framed-IPv6-Pool", Form::text },
   { { 0, Id::errorCause }, "Error-Cause", Form::integer },
   { { 0, Id::eapKeyName }, "EAP-Key-Name", Form::octets },
   { { 0, Id::digestResponse }, "Digest-Response", Form::text },
   { { 0, Id::digestRealm }, "Digest-Realm", Form::text },
   { { 0, Id::digestNonce }, "Digest-Nonce", Form::text },
   { { 0, Id::digestResponseAuth }, "Digest-Response-Auth", Form::text },
   { { 0, Id::digestNextnonce }, "Digest-Nextnonce", Form::text },
   { { 0, Id::digestMethod }, "Digest-Method", Form::text },
   { { 0, Id::digestUri }, "Digest-URI", Form::text },
   { { 0, Id::digestQop }, "Digest-Qop", Form::text },
   { { 0, Id::digestAlgorithm }, "Digest-Algorithm", Form::text },
   { { 0, Id::digestEntityBodyHash }, "Digest-Entity-Body-Hash", Form::text },
   { { 0, Id::digestCnonce }, "Digest-CNonce", Form::text },
   { { 0, Id::digestNonceCount }, "Digest-Nonce-Count", Form::text },
   { { 0, Id::digestUsername }, "Digest-Username", Form::text },
   { { 0, Id::digestOpaque }, "Digest-Opaque", Form::text },
   { { 0, Id::digestAuthParam }, "Digest-Auth-Param", Form::text },
   { { 0, Id::digestAkaAuts }, "Digest-AKA-Auts", Form::text },
   { { 0, Id::digestDomain }, "Digest-Domain", Form::text },
   { { 0, Id::digestStale }, "Digest-Stale", Form::text },
   { { 0, Id::digestHa1 }, "Digest-HA1", Form::text },
   { { 0, Id::sipAor }, "SIP-AOR", Form::text },
   { { 0, Id::delegatedIpv6Prefix }, "Delegated-IPv6-Prefix", Form::ipv6Prefix },
   { { 0, Id::mip6FeatureVector }, "MIP6-Feature-Vector", Form::integer64 },
   { { 0, Id::mip6HomeLinkPrefix }, "MIP6-Home-Link-Prefix", Form::octets },
   { { 0, Id::operatorName }, "Operator-Name", Form::text },
   { { 0, Id::locationInformation }, "Location-Information", Form::octets },
   { { 0, Id::locationData }, "Location-Data", Form::octets },
   { { 0, Id::basicLocationPolicyRules }, "Basic-Location-Policy-Rules", Form::octets },
   { { 0, Id::extendedLocationPolicyRules }, "Extended-Location-Policy-Rules", Form::octets },
   { { 0, Id::locationCapable }, "Location-Capable", Form::integer },
   { { 0, Id::requestedLocationInfo }, "Requested-Location-Info", Form::integer },
   { { 0, Id::framedManagementProtocol }, "Framed-Management-Protocol", Form::integer },
   { { 0, Id::managementTransportProtection }, "Management-Transport-Protection", Form::integer },
   { { 0, Id::managementPolicyId }, "Management-Policy-Id", Form::text },
   { { 0, Id::managementPrivilegeLevel }, "Management-Privilege-Level", Form::integer },
   { { 0, Id::pkmSsCert }, "PKM-SS-Cert", Form::octets },
   { { 0, Id::pkmCaCert }, "PKM-CA-Cert", Form::octets },
   { { 0, Id::pkmConfigSettings }, "PKM-Config-Settings", Form::octets },
   { { 0, Id::pkmCryptosuiteList }, "PKM-Cryptosuite-List", Form::octets },
   { { 0, Id::pkmSaid }, "PKM-SAID", Form::octets },
   { { 0, Id::pkmSaDescriptor }, "PKM-SA-Descriptor", Form::octets },
   { { 0, Id::pkmAuthKey }, "PKM-Auth-Key", Form::octets },
   { { 0, Id::dsLiteTunnelName }, "DS-Lite-Tunnel-Name", Form::text },
   { { 0, Id::mobileNodeIdentifier }, "Mobile-Node-Identifier", Form::octets },
   { { 0, Id::serviceSelection }, "Service-Selection", Form::text },
   { { 0, Id::pmip6HomeLmaIpv6Address }, "PMIP6-Home-LMA-IPv6-Address", Form::ipv6Address },
   { { 0, Id::pmip6VisitedLmaIpv6Address }, "PMIP6-Visited-LMA-IPv6-Address", Form::ipv6Address },
   { { 0, Id::pmip6HomeLmaIpv4Address }, "PMIP6-Home-LMA-IPv4-Address", Form::ipv4Address },
   { { 0, Id::pmip6VisitedLmaIpv4Address }, "PMIP6-Visited-LMA-IPv4-Address", Form::ipv4Address },
   { { 0, Id::pmip6HomeHnPrefix }, "PMIP6-Home-HN-Prefix", Form::ipv6Prefix },
   { { 0, Id::pmip6VisitedHnPrefix }, "PMIP6-Visited-HN-Prefix", Form::ipv6Prefix },
   { { 0, Id::pmip6HomeInterfaceId }, "PMIP6-Home-Interface-Id", Form::interfaceId },
   { { 0, Id::pmip6VisitedInterfaceId }, "PMIP6-Visited-Interface-Id", Form::interfaceId },
   { { 0, Id::pmip6HomeDhcp4ServerAddress }, "PMIP6-Home-DHCP4-Server-Address", Form::ipv4Address },
   { { 0, Id::pmip6VisitedDhcp4ServerAddress }, "PMIP6-Visited-DHCP4-Server-Address", Form::ipv4Address },
   { { 0, Id::pmip6HomeDhcp6ServerAddress }, "PMIP6-Home-DHCP6-Server-Address", Form::ipv6Address },
   { { 0, Id::pmip6VisitedDhcp6ServerAddress }, "PMIP6-Visited-DHCP6-Server-Address", Form::ipv6Address },
   { { 0, Id::pmip6HomeIpv4Gateway }, "PMIP6-Home-IPv4-Gateway", Form::ipv4Address },
   { { 0, Id::pmip6VisitedIpv4Gateway }, "PMIP6-Visited-IPv4-Gateway", Form::ipv4Address },
   { { 0, Id::framedIpv6Address }, "Framed-IPv6-Address", Form::ipv6Address },
   { { 0, Id::dnsServerIpv6Address }, "DNS-Server-IPv6-Address", Form::ipv6Address },
   { { 0, Id::routeIpv6Information }, "Route-IPv6-Information", Form::ipv6Prefix },
   { { 0, Id::delegatedIpv6PrefixPool }, "Delegated-IPv6-Prefix-Pool", Form::text },
   { { 0, Id::statefulIpv6AddressPool }, "Stateful-IPv6-Address-Pool", Form::text },
   { { 0, Id::allowedCalledStationId }, "Allowed-Called-Station-Id", Form::text },
   { { 0, Id::eapPeerId }, "EAP-Peer-Id", Form::octets },
   { { 0, Id::eapServerId }, "EAP-Server-Id", Form::octets },
   { { 0, Id::mobilityDomainId }, "Mobility-Domain-Id", Form::integer },
   { { 0, Id::preauthTimeout }, "Preauth-Timeout", Form::integer },
   { { 0, Id::networkIdName }, "Network-Id-Name", Form::octets },
   { { 0, Id::eapolAnnouncement }, "EAPoL-Announcement", Form::octets },
   { { 0, Id::wlanHessid }, "WLAN-HESSID", Form::text },
   { { 0, Id::wlanVenueInfo }, "WLAN-Venue-Info", Form::integer },
   { { 0, Id::wlanVenueLanguage }, "WLAN-Venue-Language", Form::octets },
   { { 0, Id::wlanVenueName }, "WLAN-Venue-Name", Form::text },
   { { 0, Id::wlanReasonCode }, "WLAN-Reason-Code", Form::integer },
   { { 0, Id::wlanPairwiseCipher }, "WLAN-Pairwise-Cipher", Form::integer },
   { { 0, Id::wlanGroupCipher }, "WLAN-Group-Cipher", Form::integer },
   { { 0, Id::wlanAkmSuite }, "WLAN-AKM-Suite", Form::integer },
   { { 0, Id::wlanGroupMgmtCipher }, "WLAN-Group-Mgmt-Cipher", Form::integer },
   { { 0, Id::wlanRfBand }, "WLAN-RF-Band", Form::integer },
   { { 0, Id::extendedAttribute1 }, "Extended-Attribute-1", Form::extended },
   { { 0, Id::extendedAttribute2 }, "Extended-Attribute-2", Form::extended },
   { { 0, Id::extendedAttribute3 }, "Extended-Attribute-3", Form::extended },
   { { 0, Id::extendedAttribute4 }, "Extended-Attribute-4", Form::extended },
   { { 0, Id::extendedAttribute5 }, "Extended-Attribute-5", Form::longExtended },
   { { 0, Id::extendedAttribute6 }, "Extended-Attribute-6", Form::longExtended },
   // RFC 2548.
   { { mppeVendor, 16 }, "MS-MPPE-Send-Key", Form::octets },
   { { mppeVendor, 17 }, "MS-MPPE-Recv-Key", Form::octets },
};
// clang-format on

constexpr bool before( DictionaryEntry const& a, DictionaryEntry const& b ) {
   return a.attribute < b.attribute;
}
static_assert( std::is_sorted( std::begin( entries ), std::end( entries ), before ) );

constexpr char lower( char c ) {
   return c >= 'A' && c <= 'Z' ? static_cast<char>( c - 'A' + 'a' ) : c;
}

bool equalInEitherCase( std::string_view a, std::string_view b ) {
   return std::equal( a.begin(), a.end(), b.begin(), b.end(),
                      []( char x, char y ) { return lower( x ) == lower( y ); } );
}

} // namespace

std::span<DictionaryEntry const> dictionary() { return entries; }

DictionaryEntry const* dictionaryEntry( Attribute attribute ) {
   auto const* const found = std::lower_bound(
      std::begin( entries ), std::end( entries ), attribute,
      []( DictionaryEntry const& entry, Attribute wanted ) { return entry.attribute < wanted; } );
   return found != std::end( entries ) && found->attribute == attribute ? found : nullptr;
}

DictionaryEntry const* dictionaryEntry( std::string_view name ) {
   auto const* const found = std::find_if(
      std::begin( entries ), std::end( entries ),
      [name]( DictionaryEntry const& entry ) { return equalInEitherCase( entry.name, name ); } );
   return found != std::end( entries ) ? found : nullptr;
}

} // namespace RadiusPktParserBase
