#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

#include "Radius/Dictionary.h"
#include "Radius/RadiusAttributeId.h"

namespace RadiusPktParserBase {

namespace {

using Id = RadiusPacketParser::RadiusAttributeId;
using Names = std::span<std::string_view const>;

// The names by value, from the first value that has a name; empty for a value without a name.

constexpr std::string_view serviceTypes[] = {
   "Login",
   "Framed",
   "Callback-Login",
   "Callback-Framed",
   "Outbound",
   "Administrative",
   "NAS-Prompt",
   "Authenticate-Only",
   "Callback-NAS-Prompt",
   "Call-Check",
   "Callback-Administrative",
   "Voice",
   "Fax",
   "Modem-Relay",
   "IAPP-Register",
   "IAPP-AP-Check",
   "Authorize-Only",
   "Framed-Management",
   "Additional-Authorization",
};

constexpr std::string_view terminationActions[] = { "Default", "RADIUS-Request" };

constexpr std::string_view acctStatusTypes[] = {
   "Start",
   "Stop",
   "Interim-Update",
   "",
   "",
   "",
   "Accounting-On",
   "Accounting-Off",
   "Tunnel-Start",
   "Tunnel-Stop",
   "Tunnel-Reject",
   "Tunnel-Link-Start",
   "Tunnel-Link-Stop",
   "Tunnel-Link-Reject",
   "Failed",
};

constexpr std::string_view acctAuthentics[] = { "RADIUS", "Local", "Remote", "Diameter" };

constexpr std::string_view acctTerminateCauses[] = {
   "User-Request",        "Lost-Carrier",
   "Lost-Service",        "Idle-Timeout",
   "Session-Timeout",     "Admin-Reset",
   "Admin-Reboot",        "Port-Error",
   "NAS-Error",           "NAS-Request",
   "NAS-Reboot",          "Port-Unneeded",
   "Port-Preempted",      "Port-Suspended",
   "Service-Unavailable", "Callback",
   "User-Error",          "Host-Request",
   "Supplicant-Restart",  "Reauthentication-Failure",
   "Port-Reinitialized",  "Port-Administratively-Disabled",
   "Lost-Power",
};

constexpr std::string_view ingressFilters[] = { "Enabled", "Disabled" };

constexpr std::string_view nasPortTypes[] = {
   "Async",     "Sync",     "ISDN",           "ISDN-V120",
   "ISDN-V110", "Virtual",  "PIAFS",          "HDLC-Clear-Channel",
   "X.25",      "X.75",     "G.3-Fax",        "SDSL",
   "ADSL-CAP",  "ADSL-DMT", "IDSL",           "Ethernet",
   "xDSL",      "Cable",    "Wireless-Other", "Wireless-802.11",
};

constexpr std::string_view tunnelTypes[] = {
   "PPTP",   "L2F", "L2TP", "ATMP", "VTP",      "AH",   "IP",
   "MIN-IP", "ESP", "GRE",  "DVS",  "IP-in-IP", "VLAN",
};

constexpr std::string_view tunnelMediumTypes[] = {
   "IPv4", "IPv6",  "NSAP", "HDLC",      "BBN-1822",  "IEEE-802",     "E.163",      "E.164",
   "F.69", "X.121", "IPX",  "Appletalk", "DecNet-IV", "Banyan-Vines", "E.164-NSAP",
};

struct Enumeration {
   Id::RadiusAttributeIdEnum id;
   std::uint32_t first;
   Names names;
};

constexpr Enumeration enumerations[] = {
   { Id::serviceType, 1, serviceTypes },
   { Id::terminationAction, 0, terminationActions },
   { Id::acctStatusType, 1, acctStatusTypes },
   { Id::acctAuthentic, 1, acctAuthentics },
   { Id::acctTerminateCause, 1, acctTerminateCauses },
   { Id::ingressFilters, 1, ingressFilters },
   { Id::nasPortType, 0, nasPortTypes },
   { Id::tunnelType, 1, tunnelTypes },
   { Id::tunnelMediumType, 1, tunnelMediumTypes },
};

} // namespace

std::string_view enumeratorName( Attribute attribute, std::uint32_t value ) {
   if ( attribute.vendor() != 0 ) {
      return {};
   }
   for ( auto const& [id, first, names] : enumerations ) {
      if ( id == attribute.type() ) {
         return value >= first && value - first < names.size() ? names[value - first]
                                                               : std::string_view();
      }
   }
   return {};
}

} // namespace RadiusPktParserBase
