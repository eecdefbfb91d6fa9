#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <variant>

#include "Lumo/IpGenPrefix.h"
#include "Varek/Export.h"
#include "Varek/String.h"

/// The values of RADIUS attributes.
namespace RadiusPktParserBase {

/// Text that belongs to one of several tunnels (RFC 2868 3.3). Tags are 1 to 31; 0 is no tag.
struct TaggedStr {
   std::uint8_t tag = 0;
   Varek::String value;

   VAREK_EXPORT std::uint32_t hash( std::uint32_t seed ) const;
   friend bool operator==( TaggedStr const&, TaggedStr const& ) = default;
   friend std::strong_ordering operator<=>( TaggedStr const&, TaggedStr const& ) = default;
};

/// A number that belongs to one of several tunnels (RFC 2868 3.1); packets carry 24 bits of it.
struct TaggedInt {
   std::uint8_t tag = 0;
   std::uint32_t value = 0;

   VAREK_EXPORT std::uint32_t hash( std::uint32_t seed ) const;
   friend bool operator==( TaggedInt const&, TaggedInt const& ) = default;
   friend std::strong_ordering operator<=>( TaggedInt const&, TaggedInt const& ) = default;
};

using AttrValueVariant = std::variant<Varek::String, TaggedStr, std::uint32_t, TaggedInt,
                                      std::uint64_t, Lumo::IpGenPrefix, Varek::Bytes>;

/// A value in the form that its attribute has; an empty text by default. The order of the
/// alternatives is on the wire.
///
/// It is a variant with a way to be made from text: use std::visit, std::get and index() as of any.
/// Beware that a std::string_view is text to be read, whereas a std::string or a literal is a
/// value.
struct VAREK_EXPORT AttrValue : AttrValueVariant {
   using AttrValueVariant::AttrValueVariant;
   AttrValue() = default;
   /// From a text in the form of stringValue(); throws Varek::TextError for any other text.
   explicit AttrValue( std::string_view text );

   AttrValueVariant const& variant() const { return *this; }
   std::uint32_t hash( std::uint32_t seed ) const;

   friend bool operator==( AttrValue const& a, AttrValue const& b ) {
      return a.variant() == b.variant();
   }
   friend std::strong_ordering operator<=>( AttrValue const& a, AttrValue const& b ) {
      return a.variant() <=> b.variant();
   }
};

/// The text tells form and value, so that different values print differently:
///
/// | alternative  | example                                                         |
/// |--------------|-----------------------------------------------------------------|
/// | text         | "Welcome" (\" and \\ escaped, \xNN for what is not printable ASCII) |
/// | tagged text  | :1 "EMPLOYEES"                                                  |
/// | integer      | 3600                                                            |
/// | tagged       | :1 13                                                           |
/// | 64-bit       | 3600u64                                                         |
/// | address      | 192.0.2.55, 2001:db8::/64                                       |
/// | bytes        | 0x00ff10                                                        |
VAREK_EXPORT Varek::String stringValue( AttrValue const& );
VAREK_EXPORT Varek::String stringValue( TaggedStr const& );
VAREK_EXPORT Varek::String stringValue( TaggedInt const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, AttrValue const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, TaggedStr const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, TaggedInt const& );

} // namespace RadiusPktParserBase
