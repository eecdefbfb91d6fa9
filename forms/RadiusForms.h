#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "Radius/AttrValue.h"
#include "Radius/Attribute.h"
#include "Varek/ByteOrder.h"
#include "framework/wire/WireForms.h"

/// The forms of RADIUS attributes and their values in the attribute log, which the framework does
/// not know. A header that declares attributes of these types includes this header. An attribute is
/// a U32 vendor and a U16 type; for values see below.
namespace Qel {

template<>
struct Wire<RadiusPktParserBase::Attribute> : Internal::FixedWire<6> {
   static std::uint8_t* put( std::uint8_t* to, RadiusPktParserBase::Attribute v ) {
      return Varek::putBigEndian( Varek::putBigEndian( to, v.vendor() ), v.type() );
   }
   static void read( NboAttrLog::In& in, RadiusPktParserBase::Attribute& v ) {
      std::uint32_t const vendor = in.get32();
      v = { vendor, in.get16() };
   }
   static void form( Varek::String& text ) { formAppend( text, "RadiusAttribute" ); }
};

namespace Internal {

// Apart, since reading is inlined where the values go.
[[noreturn, gnu::cold, gnu::noinline]] inline void failNumber( NboAttrLog::In& in, std::size_t bits,
                                                               unsigned bytes ) {
   in.fail( "a number of " + std::to_string( bits ) + " bits has no " + std::to_string( bytes ) +
            " bytes" );
}
[[noreturn, gnu::cold, gnu::noinline]] inline void failAlternative( NboAttrLog::In& in,
                                                                    unsigned index ) {
   in.fail( "a RADIUS value is one of 7 alternatives, 0 to 6, not " + std::to_string( index ) );
}

/// One alternative of an AttrValue: the five bits that it has in the first byte, and what follows
/// the first byte and the tag. `read` hands what the value is made from to \p make, so that it is
/// made where it is to be.
template<class T>
struct RadiusWire;

/// The bits are the length if it is below 31; otherwise they are 31 and a U32 is the length.
template<class Text>
struct RadiusTextWire {
   static constexpr std::uint8_t longer = 31;
   static std::uint8_t bits( Text const& v ) {
      return v.size() < longer ? static_cast<std::uint8_t>( v.size() ) : longer;
   }
   static std::size_t size( Text const& v ) { return ( v.size() < longer ? 0 : 4 ) + v.size(); }
   static std::uint8_t* put( std::uint8_t* to, Text const& v ) {
      if ( v.size() >= longer ) {
         to = Varek::putBigEndian( to, static_cast<std::uint32_t>( v.size() ) );
      }
      return putOctets( to, v.data(), v.size() );
   }
   template<class Make>
   static decltype( auto ) read( NboAttrLog::In& in, std::uint8_t bits, Make make ) {
      std::size_t const length = bits < longer ? bits : in.get32();
      std::uint8_t const* const octets = in.getOctets( length );
      return make( reinterpret_cast<char const*>( octets ), length );
   }
};
template<>
struct RadiusWire<Varek::String> : RadiusTextWire<Varek::String> {};
template<>
struct RadiusWire<Varek::Bytes> : RadiusTextWire<Varek::Bytes> {};

/// The bits are the number of bytes: as few as the number needs, none for 0.
template<std::unsigned_integral U>
struct RadiusWire<U> {
   static std::uint8_t bits( U v ) { return static_cast<std::uint8_t>( size( v ) ); }
   static std::size_t size( U v ) {
      // Most processors would need a branch for the width of 0.
      auto const width = static_cast<unsigned>( std::bit_width( v | U{ 1 } ) );
      return ( width + 7 ) / 8 - ( v == 0 );
   }
   static std::uint8_t* put( std::uint8_t* to, U v ) {
      std::size_t const bytes = size( v );
      switch ( bytes ) {
      case 0:
         return to;
      case 1:
         return Varek::putBigEndian( to, static_cast<std::uint8_t>( v ) );
      case 2:
         return Varek::putBigEndian( to, static_cast<std::uint16_t>( v ) );
      case 4:
         return Varek::putBigEndian( to, static_cast<std::uint32_t>( v ) );
      default:
         return Varek::putBigEndian( to, v, bytes );
      }
   }
   template<class Make>
   static decltype( auto ) read( NboAttrLog::In& in, std::uint8_t bits, Make make ) {
      if ( bits > sizeof( U ) ) [[unlikely]] {
         failNumber( in, 8 * sizeof( U ), bits );
      }
      return make( static_cast<U>( Varek::bigEndianNumber( { in.getOctets( bits ), bits } ) ) );
   }
};

/// The bits are 0 for an IPv4 and 1 for an IPv6 address, 2 and 3 for prefixes, whose length comes
/// before the address.
template<>
struct RadiusWire<Lumo::IpGenPrefix> {
   static std::uint8_t bits( Lumo::IpGenPrefix const& v ) {
      return static_cast<std::uint8_t>( ( v.isAddress() ? 0 : 2 ) +
                                        ( v.family() == Lumo::IpFamily::ipv6 ) );
   }
   static std::size_t size( Lumo::IpGenPrefix const& v ) {
      return ( v.isAddress() ? 0 : 1 ) + v.addressSize();
   }
   static std::uint8_t* put( std::uint8_t* to, Lumo::IpGenPrefix const& v ) {
      if ( !v.isAddress() ) {
         *to++ = static_cast<std::uint8_t>( v.length() );
      }
      return putOctets( to, v.octets().data(), v.addressSize() );
   }
   template<class Make>
   static decltype( auto ) read( NboAttrLog::In& in, std::uint8_t bits, Make make ) {
      if ( bits > 3 ) [[unlikely]] {
         in.fail( "an address has no form " + std::to_string( bits ) );
      }
      auto const family = bits % 2 ? Lumo::IpFamily::ipv6 : Lumo::IpFamily::ipv4;
      std::size_t const octets = bits % 2 ? 16 : 4;
      unsigned const length = bits < 2 ? static_cast<unsigned>( 8 * octets ) : in.get8();
      std::span<std::uint8_t const> const address( in.getOctets( octets ), octets );
      if ( !Lumo::IpGenPrefix::isPrefix( family, address, length ) ) [[unlikely]] {
         in.fail( "a prefix has no bits beyond its length" );
      }
      return make( family, address, length );
   }
};

template<class T>
concept RadiusTagged = std::same_as<T, RadiusPktParserBase::TaggedStr> ||
                       std::same_as<T, RadiusPktParserBase::TaggedInt>;

template<class T>
auto& untagged( T& v ) {
   if constexpr ( RadiusTagged<std::remove_const_t<T>> ) {
      return v.value;
   } else {
      return v;
   }
}
template<class T>
using RadiusWireOf = RadiusWire<std::remove_cvref_t<decltype( untagged( std::declval<T&>() ) )>>;

} // namespace Internal

/// Small values take few bytes here, since these are most of what is mirrored:
///
///     first byte   bits 0 to 2  the alternative, 0 to 6
///                  bits 3 to 7  length, number of bytes or form, see RadiusWire
///     U8 tag       in tagged alternatives
///     the rest     see RadiusWire
template<>
struct Wire<RadiusPktParserBase::AttrValue> {
   using Variant = RadiusPktParserBase::AttrValueVariant;
   static constexpr std::size_t least = 1;

   static std::size_t size( RadiusPktParserBase::AttrValue const& v ) {
      return std::visit(
         []<class T>( T const& held ) {
            return ( Internal::RadiusTagged<T> ? 2 : 1 ) +
                   Internal::RadiusWireOf<T>::size( Internal::untagged( held ) );
         },
         v.variant() );
   }
   static std::uint8_t* put( std::uint8_t* to, RadiusPktParserBase::AttrValue const& v ) {
      return std::visit(
         [&]<class T>( T const& held ) {
            using W = Internal::RadiusWireOf<T>;
            auto const& plain = Internal::untagged( held );
            *to++ = static_cast<std::uint8_t>( v.index() | unsigned{ W::bits( plain ) } << 3 );
            if constexpr ( Internal::RadiusTagged<T> ) {
               *to++ = held.tag;
            }
            return W::put( to, plain );
         },
         v.variant() );
   }
   static void read( NboAttrLog::In& in, RadiusPktParserBase::AttrValue& v ) {
      readAny( in, [&]<std::size_t i>( auto&&... from ) {
         v.template emplace<i>( std::forward<decltype( from )>( from )... );
      } );
   }
   /// Reads one more element of a sequence.
   template<class Values>
   static void append( NboAttrLog::In& in, Values& values ) {
      readAny( in, [&]<std::size_t i>( auto&&... from ) {
         values.emplace_back( std::in_place_index<i>, std::forward<decltype( from )>( from )... );
      } );
   }
   static void form( Varek::String& text ) { formAppend( text, "RadiusAttrValue" ); }

private:
   template<std::size_t i, class Make>
   static bool readOne( NboAttrLog::In& in, std::uint8_t bits, Make& make ) {
      using T = std::variant_alternative_t<i, Variant>;
      if constexpr ( Internal::RadiusTagged<T> ) {
         std::uint8_t const tag = in.get8();
         using Value = decltype( T::value );
         make.template operator()<i>(
            T{ tag, Internal::RadiusWire<Value>::read(
                       in, bits, []( auto... from ) { return Value( from... ); } ) } );
      } else {
         Internal::RadiusWire<T>::read(
            in, bits, [&]( auto... from ) { make.template operator()<i>( from... ); } );
      }
      return true;
   }
   template<class Make>
   static void readAny( NboAttrLog::In& in, Make make ) {
      std::uint8_t const first = in.get8();
      unsigned const index = first & 7U;
      auto const bits = static_cast<std::uint8_t>( first >> 3 );
      bool const known = [&]<std::size_t... i>( std::index_sequence<i...> ) {
         return ( ( i == index && readOne<i>( in, bits, make ) ) || ... );
      }( std::make_index_sequence<std::variant_size_v<Variant>>() );
      if ( !known ) [[unlikely]] {
         Internal::failAlternative( in, index );
      }
   }
};

} // namespace Qel
