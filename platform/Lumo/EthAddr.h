#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/Hash.h"
#include "Varek/String.h"

namespace Lumo {

/// A 48-bit MAC address: the key of everything that is kept for a supplicant. Six bytes, no
/// alignment, all zero by default.
///
/// Comparison and hashing read a four-byte and a two-byte word. Copying the six bytes into a zeroed
/// eight-byte variable would be shorter, but its load would have to wait for the two stores that
/// fill it, since processors do not forward two stores to a single load.
class VAREK_EXPORT EthAddr {
public:
   using Octets = std::array<std::uint8_t, 6>;

   constexpr EthAddr() = default;
   constexpr explicit EthAddr( Octets const& octets ) : octets_( octets ) {}
   /// From text in one of the notations 00:11:22:aa:bb:cc, 00-11-22-aa-bb-cc, 0011.22aa.bbcc and
   /// 001122aabbcc, digits of either case. Throws Varek::TextError for anything else.
   explicit EthAddr( std::string_view text );

   /// The six octets in the order in which they are sent.
   constexpr Octets const& octets() const { return octets_; }

   std::uint32_t hash( std::uint32_t seed ) const { return Varek::hashWord( word(), seed ); }

   friend bool operator==( EthAddr const& a, EthAddr const& b ) { return a.word() == b.word(); }
   /// Compares by octets; the octet that is sent first is the most significant.
   friend std::strong_ordering operator<=>( EthAddr const& a, EthAddr const& b ) {
      return std::memcmp( a.octets_.data(), b.octets_.data(), a.octets_.size() ) <=> 0;
   }

private:
   std::uint64_t word() const {
      std::uint32_t head;
      std::uint16_t tail;
      std::memcpy( &head, octets_.data(), sizeof head );
      std::memcpy( &tail, octets_.data() + sizeof head, sizeof tail );
      return head | static_cast<std::uint64_t>( tail ) << 32;
   }

   Octets octets_{};
};

static_assert( sizeof( EthAddr ) == 6 );

/// "00:11:22:aa:bb:cc".
VAREK_EXPORT Varek::String stringValue( EthAddr const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, EthAddr const& );

} // namespace Lumo
