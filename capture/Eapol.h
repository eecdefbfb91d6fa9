#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "Bridging/VlanId.h"
#include "Lumo/EthAddr.h"
#include "Varek/Export.h"
#include "Varek/String.h"

/// EAPOL frames (IEEE 802.1X 11): the parts that show the progress of an authentication.
namespace Capture {

struct Eapol {
   enum class Kind : std::uint8_t {
      start,    ///< EAPOL-Start.
      logoff,   ///< EAPOL-Logoff.
      request,  ///< EAP Request (RFC 3748 4.1), from the authenticator.
      response, ///< EAP Response, from the supplicant.
      success,  ///< EAP Success (RFC 3748 4.2), from the authenticator.
      failure,  ///< EAP Failure, likewise.
   };

   Lumo::EthAddr source;        ///< All zero if the capture does not have it.
   Lumo::EthAddr destination;   ///< Likewise.
   Bridging::VlanIdOrNone vlan; ///< Of the innermost tag; none for an untagged frame.
   Kind kind = Kind::start;
   std::uint8_t identifier = 0; ///< Of an EAP packet (RFC 3748 4).
   Varek::String identity;      ///< Of a Response of type Identity (RFC 3748 5.1).

   Lumo::EthAddr& supplicant() { return fromSupplicant() ? source : destination; }
   Lumo::EthAddr const& supplicant() const { return fromSupplicant() ? source : destination; }
   bool fromSupplicant() const {
      return kind == Kind::start || kind == Kind::logoff || kind == Kind::response;
   }
};

/// The fault at which reading an EAPOL frame ended.
struct EapolFault {
   std::size_t offset = 0; ///< From the frame's EtherType on.
   Varek::String part;     ///< Of the frame, that cannot be read.
   bool ends = true;       ///< The packet ends within it; otherwise its length is wrong.
};

struct EapolReading {
   /// Nothing for other frames: keys, announcements, unknown codes.
   std::optional<Eapol> frame;
   std::optional<EapolFault> fault;
};

/// Reads the octets behind the EtherType 0x888E. An EAP Response of another type than Identity
/// counts even if it was cut at capture, since only its beginning is needed. The caller sets the
/// addresses and the VLAN.
VAREK_EXPORT VAREK_EXPORT EapolReading readEapol( std::span<std::uint8_t const> );

} // namespace Capture
