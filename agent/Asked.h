#pragma once

#include <optional>

#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "Varek/Export.h"
#include "capture/Exchange.h"

/// The supplicant for which a RADIUS request is sent.
namespace Agent {

/// An Access-Request for a supplicant on a port.
struct Asked {
   Lumo::EthAddr mac;
   Lumo::IntfId port; ///< Empty if the request names none.
   bool eap = false;  ///< Whether by EAPOL; otherwise by the MAC address.
   Varek::String user;
};

/// Nothing if the request authenticates no supplicant, such as a login at the switch itself: it is
/// no Access-Request, its Calling-Station-Id is not the MAC address of a station, or it is neither
/// EAP (RFC 3579 3.1) nor authentication by the MAC address, which is recognised by Service-Type
/// Call-Check (RFC 2865 5.6) or by the address as User-Name.
VAREK_EXPORT std::optional<Asked> askedBy( Capture::Request const& );

/// Whether the request concerns the NAS itself and no station: Accounting-On and Accounting-Off
/// (RFC 2866 5.1), Status-Server (RFC 5997).
VAREK_EXPORT bool isOfNas( Capture::Request const& );

/// The interface that NAS-Port-Id names (RFC 2869 5.17); empty if the attribute is missing or is no
/// name of an interface.
VAREK_EXPORT Lumo::IntfId portOf( Capture::Attributes const& );

/// The first value of a standard attribute that is an integer.
VAREK_EXPORT std::optional<std::uint32_t> integerOf( Capture::Attributes const&,
                                                     std::uint16_t type );

} // namespace Agent
