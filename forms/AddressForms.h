#pragma once

#include <concepts>
#include <cstdint>
#include <cstring>
#include <span>

#include "Bridging/VlanId.h"
#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "Lumo/IpGenPrefix.h"
#include "Varek/ByteOrder.h"
#include "framework/wire/WireForms.h"

/// The forms of addresses, interfaces and VLANs in the attribute log, which the framework does not
/// know. A header that declares attributes of these types includes this header. All numbers are
/// big-endian.
///
/// | type                        | form                                                       |
/// |-----------------------------|------------------------------------------------------------|
/// | Lumo::EthAddr               | 6 bytes as sent                                            |
/// | Lumo::IntfId                | 8 bytes                                                    |
/// | Bridging::VlanId, ...OrNone | 2 bytes                                                    |
/// | Lumo::IpGenPrefix           | U8 family (4, 6), U8 length, 4 or 16 bytes of address      |
namespace Qel {

template<>
struct Wire<Lumo::EthAddr> : Internal::FixedWire<6> {
   static std::uint8_t* put( std::uint8_t* to, Lumo::EthAddr const& v ) {
      return Internal::putOctets( to, v.octets().data(), 6 );
   }
   static void read( NboAttrLog::In& in, Lumo::EthAddr& v ) {
      Lumo::EthAddr::Octets octets;
      std::memcpy( octets.data(), in.getOctets( 6 ), 6 );
      v = Lumo::EthAddr( octets );
   }
   static void form( Varek::String& text ) { formAppend( text, "EthAddr" ); }
};

template<>
struct Wire<Lumo::IntfId> : Internal::FixedWire<8> {
   static std::uint8_t* put( std::uint8_t* to, Lumo::IntfId v ) {
      return Varek::putBigEndian( to, v.value() );
   }
   static void read( NboAttrLog::In& in, Lumo::IntfId& v ) {
      v = Lumo::IntfId::fromValue( in.get64() );
   }
   static void form( Varek::String& text ) { formAppend( text, "IntfId" ); }
};

template<class T>
   requires std::same_as<T, Bridging::VlanId> || std::same_as<T, Bridging::VlanIdOrNone>
struct Wire<T> : Internal::FixedWire<2> {
   static std::uint8_t* put( std::uint8_t* to, T v ) {
      return Varek::putBigEndian( to, v.value() );
   }
   static void read( NboAttrLog::In& in, T& v ) { v = T( in.get16() ); }
   static void form( Varek::String& text ) { formAppend( text, "VlanId" ); }
};

template<>
struct Wire<Lumo::IpGenPrefix> {
   static constexpr std::size_t least = 6;
   static std::size_t size( Lumo::IpGenPrefix const& v ) { return 2 + v.addressSize(); }
   static std::uint8_t* put( std::uint8_t* to, Lumo::IpGenPrefix const& v ) {
      *to++ = static_cast<std::uint8_t>( v.family() );
      *to++ = static_cast<std::uint8_t>( v.length() );
      return Internal::putOctets( to, v.octets().data(), v.addressSize() );
   }
   static void read( NboAttrLog::In& in, Lumo::IpGenPrefix& v ) {
      auto const family = static_cast<Lumo::IpFamily>( in.get8() );
      unsigned const length = in.get8();
      if ( family != Lumo::IpFamily::ipv4 && family != Lumo::IpFamily::ipv6 ) [[unlikely]] {
         in.fail( "an address family is 4 or 6" );
      }
      std::size_t const octets = family == Lumo::IpFamily::ipv4 ? 4 : 16;
      std::span<std::uint8_t const> const address( in.getOctets( octets ), octets );
      if ( !Lumo::IpGenPrefix::isPrefix( family, address, length ) ) [[unlikely]] {
         in.fail( "a prefix has no bits beyond its length" );
      }
      v = Lumo::IpGenPrefix( family, address, length );
   }
   static void form( Varek::String& text ) { formAppend( text, "IpGenPrefix" ); }
};

} // namespace Qel
