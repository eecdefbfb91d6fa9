#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Lumo/EthAddr.h"
#include "Radius/Packet.h"
#include "Varek/Export.h"
#include "capture/Frame.h"
#include "capture/Problem.h"

/// A RADIUS packet as far as it can be read. A packet that was cut at capture, or has malformed
/// attributes, gives its header, the whole attributes before the fault, and the fault: enough to
/// match it with its counterpart, but not the whole packet.
namespace Capture {

using RadiusPacketParser::Attributes;

struct RadiusReading {
   std::uint8_t code = 0; ///< 0 if not even the header could be read.
   std::uint8_t identifier = 0;
   Attributes attributes;
   std::optional<Problem> fault; ///< Its packet number is left 0.
   bool hasHeader = true; ///< False if the fault is that there is no header, or no such header.
};

VAREK_EXPORT RadiusReading readRadius( Datagram const& );

/// The first value of a standard text attribute, null if there is none.
VAREK_EXPORT Varek::String const* textOf( Attributes const&, std::uint16_t type );

/// Whether it may be the address of a station: it is neither all zero nor a group address.
VAREK_EXPORT bool isStation( Lumo::EthAddr const& );

/// A station's address from the text of a Calling-Station-Id, in any notation; nothing if the text
/// is not the MAC address of a station.
VAREK_EXPORT std::optional<Lumo::EthAddr> stationOf( Varek::String const& );
/// The same from the Calling-Station-Id among the attributes of a request.
VAREK_EXPORT std::optional<Lumo::EthAddr> stationOf( Attributes const& );

} // namespace Capture
