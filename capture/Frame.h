#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>

#include "Varek/Export.h"
#include "capture/Eapol.h"

/// From the octets of one captured packet to the RADIUS datagram in it: link header (with VLAN
/// tags), IPv4 or IPv6 (with extension headers), UDP; or to the EAPOL frame that it is.
///
/// Guarantees. No octet beyond the captured octets is read, whatever the headers say. A packet that
/// is neither RADIUS over UDP nor EAPOL is no problem and gives nothing. A packet that is or may be
/// RADIUS or EAPOL, and cannot be read, gives the reason and the offset. Padding behind the
/// datagram is not part of it. Checksums are not verified: with checksum offload, packets captured
/// on the sending host carry none.
///
/// Fragments are not put together; they are recognised, so that the octets of a later fragment are
/// never taken for a UDP header.
namespace Capture {

/// An IP address; an IPv4 address takes the first four octets.
struct IpAddress {
   bool v6 = false;
   std::array<std::uint8_t, 16> octets{};

   friend bool operator==( IpAddress const&, IpAddress const& ) = default;
   friend std::strong_ordering operator<=>( IpAddress const&, IpAddress const& ) = default;
};

/// One end of a UDP conversation.
struct Endpoint {
   IpAddress address;
   std::uint16_t port = 0;

   friend bool operator==( Endpoint const&, Endpoint const& ) = default;
   friend std::strong_ordering operator<=>( Endpoint const&, Endpoint const& ) = default;
};

/// A UDP datagram with a RADIUS port on either side.
struct Datagram {
   Endpoint source;
   Endpoint destination;
   std::size_t offset = 0;                ///< Of the payload, from the packet's start.
   std::size_t length = 0;                ///< Of the payload as it was sent.
   std::span<std::uint8_t const> payload; ///< What was captured of it: at most length octets.
};

/// A fragment of a UDP datagram.
struct Fragment {
   IpAddress source;
   IpAddress destination;
   std::uint32_t identification = 0;
   std::size_t offset = 0; ///< Of the IP header, from the packet's start.
   bool first = false;     ///< Whether it has the UDP header.
   bool radius = false;    ///< Of the first: whether a port is a RADIUS port.
};

/// A packet that may be RADIUS or EAPOL but cannot be read.
struct BadFrame {
   bool cut = false;       ///< Cut at capture (true) or wrong as it was sent (false).
   std::size_t offset = 0; ///< From the packet's start.
   std::string what;       ///< A sentence without its full stop.
};

/// What a packet is to us: nothing, or any of the above.
using Frame = std::variant<std::monostate, Datagram, Fragment, BadFrame, Eapol>;

/// Whether dissect() reads \p linkType, a DLT_ value of libpcap.
VAREK_EXPORT bool linkTypeKnown( int linkType );

/// Reads a packet. \p captured are its octets, \p originalLength their number on the wire. The
/// result refers to the octets, so the caller must keep them.
VAREK_EXPORT Frame dissect( int linkType, std::span<std::uint8_t const> captured,
                            std::size_t originalLength );

/// "192.0.2.1:1812", "[2001:db8::1]:1812".
VAREK_EXPORT std::string stringValue( Endpoint const& );

} // namespace Capture
