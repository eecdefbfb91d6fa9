#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/Hash.h"
#include "Varek/String.h"

namespace RadiusPktParserBase {

/// What a RADIUS attribute is, without its value: the vendor that defined it, as an SMI enterprise
/// number (0 for standard attributes), and its type. The extended attributes of RFC 6929 are
/// standard attributes whose type is the number of the space (241 to 246) times 256 plus the
/// extended type.
class VAREK_EXPORT Attribute {
public:
   constexpr Attribute() = default;
   constexpr Attribute( std::uint32_t vendor, std::uint16_t type )
      : vendor_( vendor ), type_( type ) {}
   /// From a text in the form of stringValue(). Names are read in either case, and "Attribute-N"
   /// and "Vendor-V-Attribute-N" also where there is a name. Throws Varek::TextError.
   explicit Attribute( std::string_view text );

   constexpr std::uint32_t vendor() const { return vendor_; }
   constexpr std::uint16_t type() const { return type_; }

   std::uint32_t hash( std::uint32_t seed ) const {
      return Varek::hashWord( static_cast<std::uint64_t>( vendor_ ) << 16 | type_, seed );
   }

   friend constexpr bool operator==( Attribute, Attribute ) = default;
   /// By vendor, then type.
   friend constexpr std::strong_ordering operator<=>( Attribute, Attribute ) = default;

private:
   std::uint32_t vendor_ = 0;
   std::uint16_t type_ = 0;
};

/// The dictionary's name ("User-Name", "Egress-VLANID"); where it has none "Attribute-200",
/// "Extended-Attribute-241.5" or "Vendor-32473-Attribute-1".
VAREK_EXPORT Varek::String stringValue( Attribute );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, Attribute );

} // namespace RadiusPktParserBase
