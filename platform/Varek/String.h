#pragma once

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "Varek/Export.h"

/// Text, raw bytes and durations: scalar types of attributes. Text and durations are the standard
/// library's; raw bytes are a type of their own, so that a union or an overload set can hold both
/// text and bytes.
namespace Varek {

/// Text. Any byte may occur in it, NUL included.
using String = std::string;

/// A length of time: a double-precision count of seconds. Positive infinity means "never".
using Duration = std::chrono::duration<double>;

/// Raw bytes. Short values (up to 15 bytes on 64-bit) need no allocation.
class Bytes {
public:
   Bytes() = default;
   explicit Bytes( std::string_view octets ) : octets_( octets ) {}
   Bytes( void const* data, std::size_t size )
      : octets_( static_cast<char const*>( data ), size ) {}

   std::uint8_t const* data() const {
      return reinterpret_cast<std::uint8_t const*>( octets_.data() );
   }
   std::size_t size() const { return octets_.size(); }
   bool empty() const { return octets_.empty(); }
   std::uint8_t operator[]( std::size_t i ) const { return data()[i]; }
   std::uint8_t const* begin() const { return data(); }
   std::uint8_t const* end() const { return data() + size(); }
   /// The same bytes as a view of characters.
   std::string_view view() const { return octets_; }

   friend bool operator==( Bytes const&, Bytes const& ) = default;
   friend std::strong_ordering operator<=>( Bytes const& a, Bytes const& b ) {
      return a.octets_ <=> b.octets_;
   }

private:
   std::string octets_;
};

/// Appends \p c to \p text: printable ASCII as it is, any other byte escaped, as "\x1b". Terminals
/// obey some of these bytes and reorder others, so they must not reach logs and terminals.
VAREK_EXPORT void appendPrintable( String& text, char c );
/// \p text with each byte in that form. A second application changes nothing.
VAREK_EXPORT String printable( std::string_view text );

/// "0x" and two lower-case hexadecimal digits a byte; "0x" alone for no bytes.
VAREK_EXPORT String stringValue( Bytes const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, Bytes const& );

} // namespace Varek
