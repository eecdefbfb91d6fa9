#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/Hash.h"
#include "Varek/String.h"

/// VLAN numbers, as two types: VlanId always names a VLAN, VlanIdOrNone may name none. State holds
/// the number that it was given: neither type checks that IEEE 802.1Q assigns it (1 to 4094); the
/// code that acts on a number does.
namespace Bridging {

/// The number of a VLAN, 0 by default.
class VAREK_EXPORT VlanId {
public:
   constexpr VlanId() = default;
   constexpr explicit VlanId( std::uint16_t value ) : value_( value ) {}
   /// From a decimal number of 0 to 65535 without leading zeros; throws Varek::TextError.
   explicit VlanId( std::string_view text );

   constexpr std::uint16_t value() const { return value_; }
   std::uint32_t hash( std::uint32_t seed ) const { return Varek::hashWord( value_, seed ); }

   friend constexpr bool operator==( VlanId, VlanId ) = default;
   friend constexpr std::strong_ordering operator<=>( VlanId, VlanId ) = default;

private:
   std::uint16_t value_ = 0;
};

/// The number of a VLAN, or 0 for none, the default.
class VAREK_EXPORT VlanIdOrNone {
public:
   constexpr VlanIdOrNone() = default;
   constexpr explicit VlanIdOrNone( std::uint16_t value ) : value_( value ) {}
   /// From "none", or a decimal number of 1 to 65535 without leading zeros; throws
   /// Varek::TextError.
   explicit VlanIdOrNone( std::string_view text );

   constexpr bool isNone() const { return value_ == 0; }
   constexpr std::uint16_t value() const { return value_; }
   std::uint32_t hash( std::uint32_t seed ) const { return Varek::hashWord( value_, seed ); }

   friend constexpr bool operator==( VlanIdOrNone, VlanIdOrNone ) = default;
   /// None comes first.
   friend constexpr std::strong_ordering operator<=>( VlanIdOrNone, VlanIdOrNone ) = default;

private:
   std::uint16_t value_ = 0;
};

/// "100".
VAREK_EXPORT Varek::String stringValue( VlanId );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, VlanId );
/// "100" or "none".
VAREK_EXPORT Varek::String stringValue( VlanIdOrNone );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, VlanIdOrNone );

} // namespace Bridging
