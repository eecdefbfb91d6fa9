#include "capture/Frame.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <arpa/inet.h>
#include <pcap/dlt.h>

namespace Capture {

namespace {

constexpr std::uint16_t etherIpv4 = 0x0800;
constexpr std::uint16_t etherIpv6 = 0x86dd;
constexpr std::uint16_t etherEapol = 0x888e;
constexpr std::uint8_t protocolUdp = 17;
constexpr std::size_t udpHeader = 8;

bool vlanTag( std::uint16_t etherType ) {
   return etherType == 0x8100 || etherType == 0x88a8 || etherType == 0x9100;
}

bool radiusPort( std::uint16_t port ) {
   return port == 1812 || port == 1813 || port == 1645 || port == 1646;
}

/// Reads a packet from the outermost header inwards. All offsets are from the packet's start.
class Dissector {
public:
   Dissector( std::span<std::uint8_t const> captured, std::size_t originalLength )
      : octets_( captured ), original_( std::max( originalLength, captured.size() ) ) {}

   Frame link( int linkType ) const {
      switch ( linkType ) {
      case DLT_EN10MB:
         return link( { 12, 14, 6, 0 }, "an Ethernet header" );
      case DLT_LINUX_SLL:
         return link( { 14, 16, 6, {} }, "a Linux cooked header" );
      case DLT_LINUX_SLL2:
         return link( { 0, 20, 12, {} }, "a Linux cooked header" );
      case DLT_NULL:
      case DLT_LOOP:
         return loopback();
      case DLT_IPV4:
         return ipv4( 0 );
      case DLT_IPV6:
         return ipv6( 0 );
      default:
         return ip( 0 );
      }
   }

private:
   bool has( std::size_t at, std::size_t count ) const {
      return at <= octets_.size() && count <= octets_.size() - at;
   }
   std::uint16_t u16( std::size_t at ) const {
      return static_cast<std::uint16_t>( octets_[at] << 8 | octets_[at + 1] );
   }
   std::uint32_t u32( std::size_t at ) const {
      return static_cast<std::uint32_t>( u16( at ) ) << 16 | u16( at + 2 );
   }
   IpAddress address( std::size_t at, bool v6 ) const {
      IpAddress result{ v6, {} };
      std::copy_n( octets_.begin() + static_cast<std::ptrdiff_t>( at ), v6 ? 16 : 4,
                   result.octets.begin() );
      return result;
   }

   /// The packet ends within \p part, which begins at \p at.
   BadFrame ends( std::size_t at, std::string const& part ) const {
      bool const cut = octets_.size() < original_;
      std::string const count = std::to_string( octets_.size() );
      return { cut, at,
               cut ? "cut at capture: " + count + " of " + std::to_string( original_ ) +
                        " octets were kept, ending within " + part
                   : "the packet ends after " + count + " octets, within " + part };
   }

   /// The layout of a link header.
   struct Link {
      std::size_t type;
      std::size_t size;
      std::size_t source;
      std::optional<std::size_t> destination;
   };

   Frame link( Link const& where, char const* name ) const {
      if ( !has( 0, where.size ) ) {
         // A whole packet that is shorter than its link header is neither RADIUS nor EAPOL.
         return octets_.size() < original_ ? Frame{ ends( 0, name ) } : Frame{};
      }
      std::size_t at = where.size;
      std::uint16_t type = u16( where.type );
      Bridging::VlanIdOrNone vlan;
      while ( vlanTag( type ) ) {
         if ( !has( at, 4 ) ) {
            return ends( at, "a VLAN tag" );
         }
         vlan = Bridging::VlanIdOrNone( u16( at ) & 0x0fff ); // 0 is a priority alone
         type = u16( at + 2 );
         at += 4;
      }
      if ( type == etherEapol ) {
         return eapol( at, where, vlan );
      }
      return type == etherIpv4 ? ipv4( at ) : type == etherIpv6 ? ipv6( at ) : Frame{};
   }

   Frame eapol( std::size_t at, Link const& where, Bridging::VlanIdOrNone vlan ) const {
      EapolReading reading = readEapol( octets_.subspan( at ) );
      if ( auto const& fault = reading.fault ) {
         std::size_t const begin = at + fault->offset;
         return fault->ends
                   ? ends( begin, fault->part )
                   : BadFrame{ false, begin, "the length of " + fault->part + " is wrong" };
      }
      if ( !reading.frame ) {
         return {};
      }
      reading.frame->vlan = vlan;
      reading.frame->source = mac( where.source );
      if ( where.destination ) {
         reading.frame->destination = mac( *where.destination );
      }
      return *std::move( reading.frame );
   }

   Lumo::EthAddr mac( std::size_t at ) const {
      Lumo::EthAddr::Octets octets{};
      std::copy_n( octets_.begin() + static_cast<std::ptrdiff_t>( at ), octets.size(),
                   octets.begin() );
      return Lumo::EthAddr( octets );
   }

   /// An address family number of the capturing host, in its byte order: 2 is IPv4 everywhere, IPv6
   /// differs. The version within the header that follows tells them apart reliably; the family
   /// only has to rule out what is not IP.
   Frame loopback() const {
      if ( !has( 0, 4 ) ) {
         return octets_.size() < original_ ? Frame{ ends( 0, "a loopback header" ) } : Frame{};
      }
      std::uint32_t const family = octets_[0] != 0 ? octets_[0] : octets_[3];
      bool const known =
         family == 2 || family == 10 || family == 24 || family == 28 || family == 30;
      return known ? ip( 4 ) : Frame{};
   }

   Frame ip( std::size_t at ) const {
      if ( !has( at, 1 ) ) {
         return ends( at, "an IP header" );
      }
      switch ( octets_[at] >> 4 ) {
      case 4:
         return ipv4( at );
      case 6:
         return ipv6( at );
      default:
         return {};
      }
   }

   Frame ipv4( std::size_t at ) const {
      if ( !has( at, 20 ) ) {
         return ends( at, "an IPv4 header" );
      }
      if ( octets_[at + 9] != protocolUdp ) {
         return {};
      }
      std::size_t const version = octets_[at] >> 4;
      std::size_t const header = ( octets_[at] & 0x0fu ) * 4u;
      // Segmentation offload leaves the total length 0: then the length of the packet counts.
      std::size_t const total = u16( at + 2 ) != 0 ? u16( at + 2 ) : original_ - at;
      if ( version != 4 || header < 20 || total < header ) {
         return BadFrame{ false, at,
                          "an IPv4 header with version " + std::to_string( version ) +
                             ", header length " + std::to_string( header ) + ", total length " +
                             std::to_string( total ) + "; expected version 4, header length 20 " +
                             "or more, total length no less" };
      }
      if ( total > original_ - at ) {
         return tooLong( at + 2, "the IPv4 total length", total, original_ - at );
      }
      auto const source = address( at + 12, false );
      auto const destination = address( at + 16, false );
      std::uint16_t const fragment = u16( at + 6 );
      if ( ( fragment & 0x3fff ) != 0 ) { // more fragments, or an offset
         return fragmentOf( { source, destination, u16( at + 4 ), at }, ( fragment & 0x1fff ) == 0,
                            at + header );
      }
      return udp( at + header, at + total, source, destination );
   }

   Frame ipv6( std::size_t at ) const {
      if ( !has( at, 40 ) ) {
         return ends( at, "an IPv6 header" );
      }
      if ( octets_[at] >> 4 != 6 ) {
         return BadFrame{ false, at,
                          "an IPv6 header with version " + std::to_string( octets_[at] >> 4 ) };
      }
      std::size_t const available = original_ - at - 40;
      std::size_t const length = u16( at + 4 ) != 0 ? u16( at + 4 ) : available;
      if ( length > available ) {
         return tooLong( at + 4, "the IPv6 payload length", length, available );
      }
      return ipv6Payload( octets_[at + 6], at + 40, at + 40 + length,
                          { address( at + 8, true ), address( at + 24, true ), 0, at } );
   }

   /// \p next is the kind of the header at \p at; \p packet identifies the IP packet.
   Frame ipv6Payload( std::uint8_t next, std::size_t at, std::size_t end, Fragment packet ) const {
      constexpr std::uint8_t hopByHop = 0, routing = 43, fragment = 44, destinationOptions = 60;
      while ( next == hopByHop || next == routing || next == destinationOptions ||
              next == fragment ) {
         if ( !has( at, 8 ) ) {
            return ends( at, "an IPv6 extension header" );
         }
         bool const isFragment = next == fragment;
         next = octets_[at];
         if ( !isFragment ) {
            at += ( octets_[at + 1] + 1u ) * 8u;
            continue;
         }
         // Offset 0 and no more to come is the only fragment of its datagram (RFC 6946).
         if ( std::uint16_t const bits = u16( at + 2 ); ( bits & 0xfff9 ) != 0 ) {
            packet.identification = u32( at + 4 );
            return next == protocolUdp ? fragmentOf( packet, ( bits & 0xfff8 ) == 0, at + 8 )
                                       : Frame{};
         }
         at += 8;
      }
      return next == protocolUdp ? udp( at, end, packet.source, packet.destination ) : Frame{};
   }

   static BadFrame tooLong( std::size_t at, char const* what, std::size_t length,
                            std::size_t available ) {
      return { false, at,
               std::string( what ) + " is " + std::to_string( length ) + ", but only " +
                  std::to_string( available ) + " octets are there" };
   }

   Frame fragmentOf( Fragment fragment, bool first, std::size_t udpAt ) const {
      fragment.first = first;
      if ( first ) {
         if ( !has( udpAt, 4 ) ) {
            return ends( udpAt, "a UDP header" );
         }
         fragment.radius = radiusPort( u16( udpAt ) ) || radiusPort( u16( udpAt + 2 ) );
      }
      return fragment;
   }

   Frame udp( std::size_t at, std::size_t end, IpAddress const& source,
              IpAddress const& destination ) const {
      if ( at > end || end - at < udpHeader ) {
         return BadFrame{ false, std::min( at, end ), "no room for a UDP header in its IP packet" };
      }
      if ( !has( at, 4 ) ) {
         return ends( at, "a UDP header" );
      }
      Datagram result{
         { source, u16( at ) }, { destination, u16( at + 2 ) }, at + udpHeader, 0, {} };
      if ( !radiusPort( result.source.port ) && !radiusPort( result.destination.port ) ) {
         return {};
      }
      if ( !has( at, udpHeader ) ) {
         return ends( at, "a UDP header" );
      }
      std::size_t const length = u16( at + 4 );
      if ( length < udpHeader ) {
         return BadFrame{ false, at + 4,
                          "the UDP length is " + std::to_string( length ) +
                             ", less than its header's 8" };
      }
      if ( length > end - at ) {
         return tooLong( at + 4, "the UDP length", length, end - at );
      }
      result.length = length - udpHeader;
      result.payload = octets_.subspan( result.offset,
                                        std::min( result.length, octets_.size() - result.offset ) );
      return result;
   }

   std::span<std::uint8_t const> octets_;
   std::size_t original_;
};

} // namespace

bool linkTypeKnown( int linkType ) {
   constexpr int known[] = { DLT_EN10MB, DLT_LINUX_SLL, DLT_LINUX_SLL2, DLT_NULL,
                             DLT_LOOP,   DLT_RAW,       DLT_IPV4,       DLT_IPV6 };
   return std::find( std::begin( known ), std::end( known ), linkType ) != std::end( known );
}

Frame dissect( int linkType, std::span<std::uint8_t const> captured, std::size_t originalLength ) {
   return Dissector( captured, originalLength ).link( linkType );
}

std::string stringValue( Endpoint const& endpoint ) {
   char text[INET6_ADDRSTRLEN] = {};
   inet_ntop( endpoint.address.v6 ? AF_INET6 : AF_INET, endpoint.address.octets.data(), text,
              sizeof text );
   std::string const address = endpoint.address.v6 ? std::string( "[" ) + text + "]" : text;
   return address + ":" + std::to_string( endpoint.port );
}

} // namespace Capture
