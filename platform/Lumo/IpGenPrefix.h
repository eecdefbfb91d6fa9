#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/String.h"

namespace Lumo {

enum class IpFamily : std::uint8_t { ipv4 = 4, ipv6 = 6 };

/// An IPv4 or IPv6 prefix; an address is a prefix of full length. The default is 0.0.0.0/0.
///
/// The bits beyond the length are always zero (RFC 3162 2.3 demands it of senders). A value with
/// such a bit set is refused and not corrected, because equal prefixes must be equal values and
/// because "192.0.2.7/24" is more often a mistake than a prefix.
class VAREK_EXPORT IpGenPrefix {
public:
   using Octets = std::array<std::uint8_t, 16>;

   constexpr IpGenPrefix() = default;
   /// \p address in network order, 4 octets for IPv4 and 16 for IPv6; \p length in bits. Throws
   /// Varek::RangeError for arguments that isPrefix() refuses.
   IpGenPrefix( IpFamily family, std::span<std::uint8_t const> address, unsigned length );
   /// An address: a prefix of full length.
   IpGenPrefix( IpFamily family, std::span<std::uint8_t const> address );
   /// From "192.0.2.0/24", "2001:db8::/32" (RFC 4291 2.2), or either without a length, which means
   /// the full length. Throws Varek::TextError; in particular for octets of IPv4 with leading
   /// zeros, which some read as octal.
   explicit IpGenPrefix( std::string_view text );

   /// Whether the family is known, the address of its size, the length within it, and every bit
   /// beyond the length zero.
   static bool isPrefix( IpFamily family, std::span<std::uint8_t const> address, unsigned length );

   constexpr IpFamily family() const { return family_; }
   /// Size of an address of the family, in octets: 4 or 16.
   constexpr std::size_t addressSize() const { return family_ == IpFamily::ipv4 ? 4 : 16; }
   /// The address in network order; an IPv4 address is four octets and twelve zeros.
   constexpr Octets const& octets() const { return octets_; }
   /// The length of the prefix, in bits.
   constexpr unsigned length() const { return length_; }
   constexpr bool isAddress() const { return length_ == addressSize() * 8; }

   std::uint32_t hash( std::uint32_t seed ) const;

   friend bool operator==( IpGenPrefix const&, IpGenPrefix const& ) = default;
   /// By family, address, length: a prefix comes before those that it contains.
   friend std::strong_ordering operator<=>( IpGenPrefix const&, IpGenPrefix const& ) = default;

private:
   IpFamily family_ = IpFamily::ipv4;
   Octets octets_{};
   std::uint8_t length_ = 0;
};

/// "192.0.2.0/24"; the address alone if the length is the full length. IPv6 as RFC 5952 recommends.
VAREK_EXPORT Varek::String stringValue( IpGenPrefix const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, IpGenPrefix const& );

} // namespace Lumo
