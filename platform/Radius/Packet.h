#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"
#include "Varek/Export.h"
#include "Varek/Failures.h"

namespace RadiusPktParserBase {

/// "Access-Accept" for 2; empty for a code without a name.
VAREK_EXPORT std::string_view codeName( std::uint8_t code );

} // namespace RadiusPktParserBase

/// Reads RADIUS packets (RFC 2865 3) into attributes and values. Any octets may be given: a fault
/// is reported with its offset, and the attributes before it are kept.
namespace RadiusPacketParser {

/// Sizes of the header and of the largest packet, in octets (RFC 2865 3).
inline constexpr std::size_t headerSize = 20;
inline constexpr std::size_t largestPacket = 4096;

/// Why a packet could not be read to its end.
class VAREK_EXPORT PacketError : public Varek::Failure {
public:
   PacketError( std::size_t offset, std::string const& message );
   ~PacketError() override;
   /// The place, in octets from the start of the packet: the start of an attribute whose length is
   /// wrong, the first octet that is missing, or the length field of the header (2).
   std::size_t offset() const { return offset_; }

private:
   std::size_t offset_;
};

using Attributes =
   std::vector<std::pair<RadiusPktParserBase::Attribute, RadiusPktParserBase::AttrValue>>;

struct DecodedPacket {
   std::uint8_t code = 0;
   std::uint8_t identifier = 0;
   /// The length that the header gives, in octets; the packet may have been shorter.
   std::uint16_t length = 0;
   std::array<std::uint8_t, 16> authenticator{};
   /// In the order of the packet. Those before the fault if there is one.
   Attributes attributes;
   /// Empty if the packet was read whole. If not even the header is there, all else is zero.
   std::optional<PacketError> error;
};

/// Reads a packet. Never throws for what is in it (only std::bad_alloc can come), never reads
/// beyond \p octets; takes time and storage in proportion to them. Octets beyond the length in the
/// header are padding and ignored.
///
/// Values by their form in the dictionary; one that does not fit its form (an integer of three
/// octets) and one of an unknown attribute is kept as Varek::Bytes:
///  - text: Varek::String, of any octets, NUL included (RFC 4849 puts it between rules);
///  - integer, time: std::uint32_t; 64-bit integer: std::uint64_t;
///  - tagged text: TaggedStr; the first octet is the tag if it is at most 0x1F, and belongs to the
///    text of tag 0 otherwise (RFC 2868 3.3);
///  - tagged integer: TaggedInt; the first octet is always the tag (RFC 2868 3.1);
///  - address, prefix: Lumo::IpGenPrefix. A prefix with a reserved octet other than zero, a length
///  beyond
///    its octets or bits beyond its length (RFC 3162 2.3) does not fit;
///  - octets, interface identifier, Tunnel-Password and whatever else is enciphered: Varek::Bytes;
///  - Vendor-Specific: one pair per vendor attribute, with its bytes (RFC 2865 5.26); one pair of
///  type 0
///    with all of the vendor's bytes if they are not a sequence of attributes of types above 0. If
///    there is no vendor, or it is 0, attribute 26 with all of its bytes;
///  - extended attributes (RFC 6929 2.1): their type is in the pair, the rest are the bytes;
///  - long extended attributes (RFC 6929 2.2): likewise, the fragments of one joined into one pair.
///  If the
///    last is missing, each fragment stays by itself as a pair of the space (245 or 246) with all
///    of its bytes, so that a part is not taken for the whole.
VAREK_EXPORT DecodedPacket decode( std::span<std::uint8_t const> octets );

} // namespace RadiusPacketParser
