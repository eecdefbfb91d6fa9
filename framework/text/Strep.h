#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Qel/CharRange.h"
#include "Varek/Export.h"
#include "Varek/Failures.h"
#include "Varek/String.h"
#include "framework/records/Records.h"

/// The string form of values, which a person can read and type, and which is read back as the same
/// value. docs/text-form.md describes it. A registered value type has it by its record alone:
///
///     Dot1xV2::CaptivePortal( url: "https://portal", cpHostName: "", enabled: true )
///
/// Printing never fails, but for want of memory. Reading throws Varek::TextError, which says what
/// was expected and where in the whole text something else was found, also inside a nested value.
/// Types that hold a sequence, set or array can be printed but not read: see hasStringConstructor.
/// For values of a type that is known there are textOf and strepToValue, in framework/records/ValueTable.h.
namespace Qel {

/// The word for an optional value that is absent; it is no value of any type.
inline constexpr std::string_view absentWord = "absent";

/// The string form of \p value, of the registered value or enumeration type \p type.
VAREK_EXPORT Varek::String valueToStrep( TypeRecord const& type, void const* value );
/// Appends it.
VAREK_EXPORT void valuePrint( Varek::String& to, TypeRecord const& type, void const* value );
VAREK_EXPORT std::ostream& valuePrint( std::ostream& to, TypeRecord const& type,
                                       void const* value );

/// Whether values of \p type can be made from text. A type that holds a collection cannot, and an
/// attempt ends the process: that such a type has no string constructor is a property of the
/// program, not of its input.
VAREK_EXPORT bool hasStringConstructor( TypeRecord const& type );

/// Whether \p table may be given any text to decode: it reads, and neither the type nor any type
/// that its values hold, in an optional as well, lacks a string constructor. With all other types a
/// program must read only text that it has written itself.
VAREK_EXPORT bool isSafelyReadable( Varek::Inspect::AtomicFnTable const& table );

/// Reads the whole of \p range into \p value, a live value of the registered type \p type, which
/// may be in part changed when this throws. Attributes with a range are then checked: throws
/// Varek::RangeError. A type that holds nothing but constants takes any text.
VAREK_EXPORT void valueReadWhole( CharRange const& range, TypeRecord const& type, void* value );
/// Reads the form at the front of \p range, and moves over it; otherwise likewise.
VAREK_EXPORT void valueRead( CharRange& range, TypeRecord const& type, void* value );

/// The forms of the parts of values. Each reader moves over the text that it reads, and throws
/// Varek::TextError if other text is at the front.
namespace Strep {

/// In double quotes; \" \\ \n \t and \xNN for what is not printable ASCII.
VAREK_EXPORT void quotedPrint( Varek::String& to, std::string_view text );
VAREK_EXPORT void quotedRead( CharRange&, Varek::String& );
/// The shortest decimal form that is read back as the same number; inf, -inf and nan.
VAREK_EXPORT Varek::String numberText( double );
VAREK_EXPORT double numberRead( CharRange& );
/// Decimal, from \p least to \p most.
VAREK_EXPORT std::uint64_t numberRead( CharRange&, std::uint64_t most );
VAREK_EXPORT std::int64_t numberRead( CharRange&, std::int64_t least, std::int64_t most );
VAREK_EXPORT void bytesRead( CharRange&, Varek::Bytes& );
VAREK_EXPORT bool booleanRead( CharRange& );
/// Whether the word for "no value" is next; moves over it then.
VAREK_EXPORT bool absentRead( CharRange& );

/// The text at the front up to a comma or closing bracket of the value around it, without blanks at
/// the end. Commas and brackets in quotes or inside brackets belong to the text.
VAREK_EXPORT std::string_view wordAhead( CharRange const& );

/// Reads that word by \p make, which takes a whole text; errors give positions in the text around.
template<class Make>
auto wordRead( CharRange& range, Make make ) {
   std::string_view const word = wordAhead( range );
   try {
      auto made = make( word );
      range.advance( word.size() );
      return made;
   } catch ( Varek::TextError const& error ) {
      throw Varek::TextError( error.expected(), range.text(), range.position() + error.position() );
   }
}

} // namespace Strep

} // namespace Qel
