#pragma once

#include <optional>

#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "capture/Exchange.h"

/// What a RADIUS request says of the supplicant that it is for.
namespace Agent {

/// An Access-Request for a supplicant on a port.
struct Asked {
   Lumo::EthAddr mac;
   Lumo::IntfId port; ///< Empty if the request names none.
   bool eap = false;  ///< By EAPOL; by the MAC address otherwise.
   Varek::String user;
};

/// Nothing if the request authenticates no supplicant: it is no Access-Request, its
/// Calling-Station-Id is not the MAC address of a station, or it is neither EAP (RFC 3579 3.1) nor
/// authentication by the MAC address, which Service-Type Call-Check (RFC 2865 5.6) or a User-Name
/// that is the address says. A login at the switch itself is thus none.
std::optional<Asked> askedBy( Capture::Request const& );

/// Whether it is about the NAS itself, and no station: Accounting-On and Accounting-Off (RFC 2866
/// 5.1), Status-Server (RFC 5997).
bool isOfNas( Capture::Request const& );

/// The interface that NAS-Port-Id names (RFC 2869 5.17); empty if there is none, or no interface
/// has such a name.
Lumo::IntfId portOf( Capture::Attributes const& );

/// The first value of a standard attribute that is an integer.
std::optional<std::uint32_t> integerOf( Capture::Attributes const&, std::uint16_t type );

} // namespace Agent
