#include "Radius/Packet.h"

#include <algorithm>
#include <utility>

#include "Radius/Dictionary.h"
#include "Radius/RadiusAttributeId.h"

namespace RadiusPktParserBase {

std::string_view codeName( std::uint8_t code ) {
   struct Row {
      std::uint8_t code;
      std::string_view name;
   };
   constexpr Row rows[] = {
      { 1, "Access-Request" },
      { 2, "Access-Accept" },
      { 3, "Access-Reject" },
      { 4, "Accounting-Request" },
      { 5, "Accounting-Response" },
      { 11, "Access-Challenge" },
      { 12, "Status-Server" },
      { 13, "Status-Client" },
      { 40, "Disconnect-Request" },
      { 41, "Disconnect-ACK" },
      { 42, "Disconnect-NAK" },
      { 43, "CoA-Request" },
      { 44, "CoA-ACK" },
      { 45, "CoA-NAK" },
   };
   for ( Row const& row : rows ) {
      if ( row.code == code ) {
         return row.name;
      }
   }
   return {};
}

} // namespace RadiusPktParserBase

namespace RadiusPacketParser {

using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using RadiusPktParserBase::DictionaryEntry;
using RadiusPktParserBase::Form;
using RadiusPktParserBase::TaggedInt;
using RadiusPktParserBase::TaggedStr;

PacketError::PacketError( std::size_t offset, std::string const& message )
   : Varek::Failure( message + " (at offset " + std::to_string( offset ) + ")" ),
     offset_( offset ) {}

PacketError::~PacketError() = default;

namespace {

using Octets = std::span<std::uint8_t const>;

/// Standard and vendor's attributes alike start with type and length, an octet each.
constexpr std::size_t attributeHeaderSize = 2;
constexpr std::size_t vendorIdSize = 4;
/// A first octet above this is no tag of a text (RFC 2868 3.3).
constexpr std::uint8_t largestTag = 0x1F;
/// In the second octet of a long extended attribute: another fragment follows (RFC 6929 2.2).
constexpr std::uint8_t moreFlag = 0x80;

std::uint64_t readInteger( Octets octets ) {
   std::uint64_t value = 0;
   for ( std::uint8_t const octet : octets ) {
      value = value << 8 | octet;
   }
   return value;
}

Varek::Bytes bytesOf( Octets octets ) { return Varek::Bytes( octets.data(), octets.size() ); }

Varek::String textOf( Octets octets ) { return Varek::String( octets.begin(), octets.end() ); }

AttrValue integerValue( Octets octets ) {
   if ( octets.size() != 4 ) {
      return bytesOf( octets );
   }
   return static_cast<std::uint32_t>( readInteger( octets ) );
}

AttrValue integer64Value( Octets octets ) {
   if ( octets.size() != 8 ) {
      return bytesOf( octets );
   }
   return readInteger( octets );
}

AttrValue taggedTextValue( Octets octets ) {
   if ( octets.empty() || octets[0] > largestTag ) {
      return TaggedStr{ 0, textOf( octets ) };
   }
   return TaggedStr{ octets[0], textOf( octets.subspan( 1 ) ) };
}

AttrValue taggedIntegerValue( Octets octets ) {
   if ( octets.size() != 4 ) {
      return bytesOf( octets );
   }
   return TaggedInt{ octets[0], static_cast<std::uint32_t>( readInteger( octets.subspan( 1 ) ) ) };
}

AttrValue addressValue( Lumo::IpFamily family, Octets octets ) {
   auto const bits = static_cast<unsigned>( octets.size() * 8 );
   if ( !Lumo::IpGenPrefix::isPrefix( family, octets, bits ) ) {
      return bytesOf( octets );
   }
   return Lumo::IpGenPrefix( family, octets );
}

/// A reserved octet, the length in bits, and at least the octets that it covers (RFC 3162 2.3).
AttrValue ipv6PrefixValue( Octets octets ) {
   std::array<std::uint8_t, 16> address{};
   if ( octets.size() < 2 || octets.size() > 2 + address.size() || octets[0] != 0 ) {
      return bytesOf( octets );
   }
   Octets const given = octets.subspan( 2 );
   unsigned const length = octets[1];
   std::copy( given.begin(), given.end(), address.begin() );
   if ( given.size() * 8 < length ||
        !Lumo::IpGenPrefix::isPrefix( Lumo::IpFamily::ipv6, address, length ) ) {
      return bytesOf( octets );
   }
   return Lumo::IpGenPrefix( Lumo::IpFamily::ipv6, address, length );
}

AttrValue valueOf( Form form, Octets octets ) {
   switch ( form ) {
   case Form::text:
      return textOf( octets );
   case Form::integer:
   case Form::time:
      return integerValue( octets );
   case Form::integer64:
      return integer64Value( octets );
   case Form::taggedText:
      return taggedTextValue( octets );
   case Form::taggedInteger:
      return taggedIntegerValue( octets );
   case Form::ipv4Address:
      return addressValue( Lumo::IpFamily::ipv4, octets );
   case Form::ipv6Address:
      return addressValue( Lumo::IpFamily::ipv6, octets );
   case Form::ipv6Prefix:
      return ipv6PrefixValue( octets );
   case Form::octets:
   case Form::interfaceId:
   case Form::vendorSpecific:
   case Form::extended:
   case Form::longExtended:
      break;
   }
   return bytesOf( octets );
}

/// Walks a sequence of attributes.
class AttributeReader {
public:
   explicit AttributeReader( Octets octets ) : octets_( octets ) {}

   bool atEnd() const { return position_ == octets_.size(); }
   std::size_t position() const { return position_; }
   std::uint8_t type() const { return octets_[position_]; }
   /// The length octet of the next attribute; 0 if it is missing.
   std::size_t length() const {
      return position_ + 1 < octets_.size() ? octets_[position_ + 1] : 0;
   }
   bool isWhole() const {
      return length() >= attributeHeaderSize && length() <= octets_.size() - position_;
   }
   /// Precondition: isWhole().
   Octets value() const {
      return octets_.subspan( position_ + attributeHeaderSize, length() - attributeHeaderSize );
   }
   void next() { position_ += length(); }

private:
   Octets octets_;
   std::size_t position_ = 0;
};

bool splits( Octets vendorAttributes ) {
   AttributeReader reader( vendorAttributes );
   while ( !reader.atEnd() && reader.isWhole() && reader.type() != 0 ) {
      reader.next();
   }
   return reader.atEnd() && !vendorAttributes.empty();
}

void addVendorAttributes( Attributes& to, std::uint32_t vendor, Octets octets ) {
   if ( !splits( octets ) ) {
      to.emplace_back( Attribute( vendor, 0 ), bytesOf( octets ) );
      return;
   }
   for ( AttributeReader reader( octets ); !reader.atEnd(); reader.next() ) {
      to.emplace_back( Attribute( vendor, reader.type() ), bytesOf( reader.value() ) );
   }
}

/// Adds a Vendor-Specific attribute. The attributes of vendor 0 must not pass for standard ones.
void addVendorSpecific( Attributes& to, Octets value ) {
   auto const vendor =
      value.size() < vendorIdSize
         ? 0
         : static_cast<std::uint32_t>( readInteger( value.first( vendorIdSize ) ) );
   if ( vendor != 0 ) {
      addVendorAttributes( to, vendor, value.subspan( vendorIdSize ) );
   } else {
      to.emplace_back( Attribute( 0, RadiusAttributeId::vendorSpecific ), bytesOf( value ) );
   }
}

Attribute extendedAttribute( std::uint8_t space, std::uint8_t type ) {
   return Attribute( 0, static_cast<std::uint16_t>( space << 8 | type ) );
}

void addExtended( Attributes& to, std::uint8_t space, Octets value ) {
   if ( value.empty() ) {
      to.emplace_back( Attribute( 0, space ), bytesOf( value ) );
   } else {
      to.emplace_back( extendedAttribute( space, value[0] ), bytesOf( value.subspan( 1 ) ) );
   }
}

bool isFragment( AttributeReader const& reader, std::uint8_t space, std::uint8_t type ) {
   return !reader.atEnd() && reader.isWhole() && reader.type() == space &&
          reader.value().size() >= 2 && reader.value()[0] == type;
}

/// Adds a long extended attribute, joined from the fragment that is next and those after it; one by
/// one if the last is missing. Leaves the reader after them.
void addLongExtended( Attributes& to, AttributeReader& reader ) {
   std::uint8_t const space = reader.type();
   if ( reader.value().size() < 2 ) {
      to.emplace_back( Attribute( 0, space ), bytesOf( reader.value() ) );
      return reader.next();
   }
   std::uint8_t const type = reader.value()[0];
   std::string joined;
   std::size_t const start = to.size();
   bool more = true;
   for ( ; more && isFragment( reader, space, type ); reader.next() ) {
      Octets const value = reader.value();
      more = ( value[1] & moreFlag ) != 0;
      joined.append( value.begin() + 2, value.end() );
      to.emplace_back( Attribute( 0, space ), bytesOf( value ) );
   }
   if ( more ) {
      return;
   }
   to.resize( start );
   to.emplace_back( extendedAttribute( space, type ), Varek::Bytes( joined ) );
}

/// Adds the next attribute and leaves the reader after it.
void addNext( Attributes& to, AttributeReader& reader ) {
   Attribute const attribute( 0, reader.type() );
   DictionaryEntry const* const entry = RadiusPktParserBase::dictionaryEntry( attribute );
   Form const form = entry ? entry->form : Form::octets;
   if ( form == Form::longExtended ) {
      return addLongExtended( to, reader );
   }
   if ( form == Form::vendorSpecific ) {
      addVendorSpecific( to, reader.value() );
   } else if ( form == Form::extended ) {
      addExtended( to, reader.type(), reader.value() );
   } else {
      to.emplace_back( attribute, valueOf( form, reader.value() ) );
   }
   reader.next();
}

std::optional<PacketError> headerError( Octets octets, std::size_t length ) {
   if ( octets.size() < headerSize ) {
      return PacketError( octets.size(), "expected a RADIUS packet of at least " +
                                            std::to_string( headerSize ) + " octets, found " +
                                            std::to_string( octets.size() ) );
   }
   if ( length < headerSize || length > largestPacket ) {
      return PacketError( 2, "expected a RADIUS packet length of " + std::to_string( headerSize ) +
                                " to " + std::to_string( largestPacket ) + ", found " +
                                std::to_string( length ) );
   }
   return std::nullopt;
}

/// The reason why the next attribute cannot be read. The header says that the packet has \p length
/// octets; \p available of them are there.
PacketError attributeError( AttributeReader const& reader, std::size_t length,
                            std::size_t available ) {
   std::size_t const offset = headerSize + reader.position();
   std::size_t const left = length - offset;
   std::string const name = stringValue( Attribute( 0, reader.type() ) );
   if ( left < attributeHeaderSize ) {
      return PacketError( offset,
                          "expected an attribute of at least 2 octets, found 1 octet before "
                          "the end of the packet" );
   }
   bool const lengthIsThere = offset + 1 < available;
   if ( lengthIsThere && ( reader.length() < attributeHeaderSize || reader.length() > left ) ) {
      return PacketError( offset, "expected a length of 2 to " + std::to_string( left ) +
                                     " of the " + name + " attribute, found " +
                                     std::to_string( reader.length() ) );
   }
   return PacketError( available, "expected " + std::to_string( length ) +
                                     " octets as the length of the RADIUS packet says, found " +
                                     std::to_string( available ) + ", the end being within the " +
                                     name + " attribute" );
}

} // namespace

DecodedPacket decode( std::span<std::uint8_t const> octets ) {
   DecodedPacket packet;
   std::size_t const length =
      octets.size() < headerSize ? 0 : static_cast<std::size_t>( octets[2] ) << 8 | octets[3];
   packet.error = headerError( octets, length );
   if ( octets.size() < headerSize ) {
      return packet;
   }
   packet.code = octets[0];
   packet.identifier = octets[1];
   packet.length = static_cast<std::uint16_t>( length );
   std::copy_n( octets.begin() + 4, packet.authenticator.size(), packet.authenticator.begin() );
   if ( packet.error ) {
      return packet;
   }
   std::size_t const available = std::min( length, octets.size() );
   AttributeReader reader( octets.subspan( headerSize, available - headerSize ) );
   while ( !reader.atEnd() ) {
      if ( !reader.isWhole() ) {
         packet.error = attributeError( reader, length, available );
         return packet;
      }
      addNext( packet.attributes, reader );
   }
   if ( available < length ) {
      packet.error = PacketError( available, "expected " + std::to_string( length ) +
                                                " octets as the length of the RADIUS packet says, "
                                                "found " +
                                                std::to_string( available ) );
   }
   return packet;
}

} // namespace RadiusPacketParser
