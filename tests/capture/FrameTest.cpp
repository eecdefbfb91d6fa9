#include <random>
#include <span>
#include <string>

#include <gtest/gtest.h>
#include <pcap/dlt.h>

#include "capture/Frame.h"
#include "support/PacketBuilder.h"

namespace {

using namespace Capture;
using namespace PacketBuilder;

/// One line for what was found, so that a table can hold it.
std::string outcome( Frame const& frame ) {
   if ( auto const* datagram = std::get_if<Datagram>( &frame ) ) {
      return stringValue( datagram->source ) + " > " + stringValue( datagram->destination ) + " " +
             std::string( datagram->payload.begin(), datagram->payload.end() ) + " of " +
             std::to_string( datagram->length );
   }
   if ( auto const* fragment = std::get_if<Fragment>( &frame ) ) {
      return std::string( fragment->first ? "first" : "later" ) +
             ( fragment->radius ? " radius" : "" ) + " fragment of " +
             std::to_string( fragment->identification );
   }
   if ( auto const* eapol = std::get_if<Eapol>( &frame ) ) {
      char const* const kinds[] = { "start",    "logoff",  "request",
                                    "response", "success", "failure" };
      return std::string( kinds[static_cast<int>( eapol->kind )] ) + " " +
             stringValue( eapol->fromSupplicant() ? eapol->source : eapol->destination ) +
             " vlan " + stringValue( eapol->vlan ) + " " + eapol->identity;
   }
   if ( auto const* bad = std::get_if<BadFrame>( &frame ) ) {
      return ( bad->cut ? "cut at " : "bad at " ) + std::to_string( bad->offset );
   }
   return "nothing";
}

Octets const packet = udp( 40000, 1812, text( "hello" ) );
std::string const v4 = "192.0.2.1:40000 > 192.0.2.2:1812 hello of 5";
std::string const v6 = "[::1]:40000 > [::2]:1812 hello of 5";

Octets changed( Octets octets, std::size_t at, std::uint8_t value ) {
   octets.at( at ) = value;
   return octets;
}

/// An IPv6 extension header of two units of 8 octets.
Octets extension( std::uint8_t next ) { return Octets{ next, 1 } + Octets( 14, 0 ); }

Octets fragmentHeader( std::uint8_t next, std::uint16_t bits ) {
   return Octets{ next, 0 } + u16( bits ) + Octets{ 0, 0, 1, 0 };
}

struct Case {
   char const* name;
   int linkType;
   Octets octets;
   std::string expected;
};
void expectOutcomes( std::span<Case const> cases ) {
   for ( Case const& c : cases ) {
      EXPECT_EQ( outcome( dissect( c.linkType, c.octets, c.octets.size() ) ), c.expected )
         << c.name;
   }
}

TEST( Frame, FindsTheDatagramOrSaysWhyNot ) {
   Case const cases[] = {
      { "plain", DLT_EN10MB, ethernet( ipv4( packet ) ), v4 },
      { "padded", DLT_EN10MB, ethernet( ipv4( packet ) ) + Octets( 20, 'x' ), v4 },
      { "two tags", DLT_EN10MB,
        ethernet( ipv4( packet ), 0x0800, { 0x88, 0xa8, 0, 5, 0x81, 0, 0, 9 } ), v4 },
      { "ends in tag", DLT_EN10MB, ethernet( {}, 0x8100 ), "bad at 14" },
      { "options", DLT_EN10MB, ethernet( ipv4( packet, false, 0, Octets( 8, 1 ) ) ), v4 },
      { "do not fragment", DLT_EN10MB, ethernet( ipv4( packet, false, 0x4000 ) ), v4 },
      { "runt", DLT_EN10MB, Octets( 9, 0 ), "nothing" },
      { "ARP", DLT_EN10MB, ethernet( Octets( 28, 0 ), 0x0806 ), "nothing" },
      { "TCP", DLT_EN10MB, ethernet( ipv4( packet, false, 0, {}, 6 ) ), "nothing" },
      { "other port", DLT_EN10MB, ethernet( ipv4( udp( 53, 40000, text( "hello" ) ) ) ),
        "nothing" },
      { "cooked", DLT_LINUX_SLL, Octets( 14, 0 ) + u16( 0x0800 ) + ipv4( packet ), v4 },
      { "cooked, tag", DLT_LINUX_SLL,
        Octets( 14, 0 ) + u16( 0x8100 ) + u16( 3 ) + u16( 0x86dd ) + ipv6( 17, packet ), v6 },
      { "cooked 2", DLT_LINUX_SLL2, u16( 0x86dd ) + Octets( 18, 0 ) + ipv6( 17, packet ), v6 },
      { "raw 4", DLT_RAW, ipv4( packet ), v4 },
      { "raw 6", DLT_RAW, ipv6( 17, packet ), v6 },
      { "IPv4 link", DLT_IPV4, ipv4( packet ), v4 },
      { "IPv6 link", DLT_IPV6, ipv6( 17, packet ), v6 },
      { "loopback, little-endian", DLT_NULL, Octets{ 2, 0, 0, 0 } + ipv4( packet ), v4 },
      { "loopback, big-endian", DLT_LOOP, Octets{ 0, 0, 0, 30 } + ipv6( 17, packet ), v6 },
      { "loopback, not IP", DLT_NULL, Octets{ 7, 0, 0, 0 } + ipv4( packet ), "nothing" },

      { "extensions", DLT_RAW,
        ipv6( 0, extension( 43 ) + extension( 60 ) + extension( 17 ) + packet ), v6 },
      { "extension too long", DLT_RAW, ipv6( 0, changed( extension( 17 ), 1, 9 ) ), "bad at 56" },
      { "whole in one fragment", DLT_RAW, ipv6( 44, fragmentHeader( 17, 0 ) + packet ), v6 },
      { "first of IPv6", DLT_RAW, ipv6( 44, fragmentHeader( 17, 1 ) + packet ),
        "first radius fragment of 256" },
      { "later of IPv6", DLT_RAW, ipv6( 44, fragmentHeader( 17, 8 ) + packet ),
        "later fragment of 256" },
      { "TCP fragment", DLT_RAW, ipv6( 44, fragmentHeader( 6, 8 ) + packet ), "nothing" },
      { "first of IPv4", DLT_RAW, ipv4( packet, false, 0x2000 ), "first radius fragment of 7" },
      { "first, other port", DLT_RAW, ipv4( udp( 53, 53, {} ), false, 0x2000 ),
        "first fragment of 7" },
      { "later of IPv4", DLT_RAW, ipv4( packet, false, 0x2001 ), "later fragment of 7" },
      { "last of IPv4", DLT_RAW, ipv4( packet, false, 0x0001 ), "later fragment of 7" },

      { "IPv4 version", DLT_IPV4, changed( ipv4( packet ), 0, 0x55 ), "bad at 0" },
      { "IPv4 header length", DLT_RAW, changed( ipv4( packet ), 0, 0x44 ), "bad at 0" },
      { "IPv4 total length low", DLT_RAW, changed( ipv4( packet ), 3, 19 ), "bad at 0" },
      { "IPv4 total length high", DLT_RAW, changed( ipv4( packet ), 3, 34 ), "bad at 2" },
      { "IPv4 total length 0", DLT_RAW, changed( ipv4( packet ), 3, 0 ), v4 },
      { "IPv4 options over UDP", DLT_RAW, changed( ipv4( packet ), 0, 0x47 ), "bad at 28" },
      { "IPv6 version", DLT_IPV6, changed( ipv6( 17, packet ), 0, 0x50 ), "bad at 0" },
      { "IPv6 length high", DLT_RAW, changed( ipv6( 17, packet ), 5, 14 ), "bad at 4" },
      { "UDP length low", DLT_RAW, changed( ipv4( packet ), 25, 7 ), "bad at 24" },
      { "UDP length high", DLT_RAW, changed( ipv4( packet ), 25, 14 ), "bad at 24" },
      { "UDP length into the padding", DLT_EN10MB,
        ethernet( changed( ipv4( packet ), 25, 14 ) ) + Octets( 20, 0 ), "bad at 38" },
      { "UDP length shorter", DLT_RAW, changed( ipv4( packet ), 25, 12 ),
        "192.0.2.1:40000 > 192.0.2.2:1812 hell of 4" },
   };
   expectOutcomes( cases );
}

/// An EAPOL frame with an EAP packet.
Octets eap( std::uint8_t code, Octets const& data, int lengthError = 0 ) {
   auto const length =
      static_cast<std::size_t>( static_cast<int>( data.size() ) + 4 + lengthError );
   return Octets{ 2, 0 } + u16( data.size() + 4 ) + Octets{ code, 7 } + u16( length ) + data;
}

TEST( Frame, EapolTellsWhoSaysWhat ) {
   auto const eapol = []( Octets const& payload, Octets const& tags = {} ) {
      return ethernet( payload, 0x888e, tags );
   };
   Octets const identity = Octets{ 1 } + text( "bob" );
   std::string const from = " 02:02:02:02:02:02 vlan ";
   Octets const padding( 40, 'x' );
   Case const cases[] = {
      { "start", DLT_EN10MB, eapol( { 2, 1, 0, 0 } ) + padding, "start" + from + "none " },
      { "logoff", DLT_EN10MB, eapol( { 1, 2, 0, 0 } ), "logoff" + from + "none " },
      { "tagged", DLT_EN10MB, eapol( { 1, 1, 0, 0 }, { 0x81, 0, 0xc1, 0x2c } ),
        "start" + from + "300 " },
      { "the inner tag counts", DLT_EN10MB,
        eapol( { 1, 1, 0, 0 }, { 0x88, 0xa8, 0, 5, 0x81, 0, 0, 9 } ), "start" + from + "9 " },
      { "priority alone", DLT_EN10MB, eapol( { 1, 1, 0, 0 }, { 0x81, 0, 0xc0, 0 } ),
        "start" + from + "none " },
      { "identity", DLT_EN10MB, eapol( eap( 2, identity ) ) + padding,
        "response" + from + "none bob" },
      { "other response", DLT_EN10MB, eapol( eap( 2, { 4, 16 } ) ), "response" + from + "none " },
      { "802.1ad alone", DLT_EN10MB, eapol( { 1, 1, 0, 0 }, { 0x88, 0xa8, 0x2f, 0xff } ),
        "start" + from + "4095 " },
      { "request", DLT_EN10MB, changed( eapol( eap( 1, { 1 } ) ), 5, 7 ),
        "request 02:02:02:02:02:07 vlan none " },
      { "success", DLT_EN10MB, changed( eapol( eap( 3, {} ), { 0x81, 0, 0, 9 } ), 5, 7 ),
        "success 02:02:02:02:02:07 vlan 9 " },
      { "failure", DLT_EN10MB, changed( eapol( eap( 4, {} ) ) + padding, 5, 7 ),
        "failure 02:02:02:02:02:07 vlan none " },
      { "another code", DLT_EN10MB, eapol( eap( 5, {} ) ), "nothing" },
      { "key", DLT_EN10MB, eapol( { 2, 3, 0, 0 } ), "nothing" },
      { "cooked", DLT_LINUX_SLL2, u16( 0x888e ) + Octets( 18, 3 ) + Octets{ 2, 1, 0, 0 },
        "start 03:03:03:03:03:03 vlan none " },
      { "header cut off", DLT_EN10MB, eapol( { 2, 1 } ), "bad at 14" },
      { "EAP header missing", DLT_EN10MB, eapol( { 2, 0, 0, 4, 2 } ), "bad at 18" },
      { "EAP longer than its frame", DLT_EN10MB, eapol( eap( 2, identity, 1 ) ) + padding,
        "bad at 18" },
      { "EAP shorter than its header", DLT_EN10MB, eapol( eap( 1, {}, -1 ) ), "bad at 18" },
      { "response without type", DLT_EN10MB, eapol( eap( 2, {} ) ), "bad at 18" },
      { "shorter than its frame", DLT_EN10MB, eapol( eap( 2, identity, -1 ) ),
        "response" + from + "none bo" },
   };
   expectOutcomes( cases );
   // Cut at capture: of an identity nothing is taken for the whole, of other types it does not
   // matter.
   Octets const named = eapol( eap( 2, identity ) );
   EXPECT_EQ( outcome( dissect( DLT_EN10MB, { named.data(), named.size() - 1 }, named.size() ) ),
              "cut at 18" );
   Octets const other = eapol( eap( 2, Octets( 100, 25 ) ) );
   EXPECT_EQ( outcome( dissect( DLT_EN10MB, { other.data(), 40 }, other.size() ) ),
              "response" + from + "none " );
}

TEST( Frame, CutAnywhereIsToldApartFromWholeAndFromWrong ) {
   for ( Octets const& whole : { ethernet( ipv4( packet ), 0x0800, { 0x81, 0, 0, 9 } ),
                                 ethernet( ipv6( 0, extension( 17 ) + packet ), 0x86dd ) } ) {
      for ( std::size_t kept = 0; kept < whole.size(); ++kept ) {
         Octets const part( whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>( kept ) );
         Frame const frame = dissect( DLT_EN10MB, part, whole.size() );
         if ( kept >= whole.size() - 5 ) {
            auto const* datagram = std::get_if<Datagram>( &frame );
            ASSERT_NE( datagram, nullptr ) << kept;
            EXPECT_EQ( datagram->length, 5u );
            EXPECT_EQ( datagram->payload.size(), 5 - ( whole.size() - kept ) );
         } else {
            auto const* bad = std::get_if<BadFrame>( &frame );
            ASSERT_NE( bad, nullptr ) << kept;
            EXPECT_TRUE( bad->cut ) << kept;
         }
      }
   }
}

TEST( Frame, StaysWithinThePacketWhateverTheOctetsAre ) {
   std::mt19937 random( 20251124 );
   std::vector<Octets> const seeds = {
      ethernet( ipv4( packet ) ),
      ethernet( ipv6( 0, extension( 44 ) + fragmentHeader( 17, 0 ) + packet ), 0x86dd ),
      ethernet( eap( 2, Octets{ 1 } + text( "bob" ) ), 0x888e, { 0x81, 0, 0, 9 } ) };
   for ( int round = 0; round < 20000; ++round ) {
      Octets octets = seeds[random() % seeds.size()];
      for ( int flips = 0; flips < 3; ++flips ) {
         octets[random() % octets.size()] = static_cast<std::uint8_t>( random() );
      }
      octets.resize( random() % ( octets.size() + 1 ) );
      octets.shrink_to_fit(); // a read beyond the end is one beyond the allocation
      Frame const frame = dissect( DLT_EN10MB, octets, octets.size() + random() % 2 );
      if ( auto const* datagram = std::get_if<Datagram>( &frame ) ) {
         ASSERT_LE( datagram->offset + datagram->payload.size(), octets.size() );
         ASSERT_LE( datagram->payload.size(), datagram->length );
      }
   }
}

} // namespace
