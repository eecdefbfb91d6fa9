// Any text, read as a value of any registered type: it is refused with the target as it was, or it
// is a value that prints and is read back as the same. Built with clang's -fsanitize=fuzzer.
//
// The first byte of the input chooses the type, the rest is the text.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/ReadableTypes.h"
#include "support/AnyValue.h"
#include "support/SafeText.h"

namespace {

/// Whether \p text was read; if not, \p value is as it was.
bool decode( std::string_view text, AnyValue& value ) {
   std::string const before = value.text();
   try {
      value.type().decode( text, value.data() );
      return true;
   } catch ( Varek::TextError const& ) {
   } catch ( Varek::RangeError const& ) {
   }
   VAREK_ASSERT( value.text() == before );
   return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const* data, std::size_t size ) {
   static auto const types = readableTypes();
   std::string_view const input( reinterpret_cast<char const*>( data ), size );
   if ( input.empty() ) {
      return 0;
   }
   AnyValue::Table const& type = *types[data[0] % types.size()];
   if ( !isSafeText( type, input ) ) {
      return 0;
   }
   AnyValue value( type ), again( type );
   if ( decode( input.substr( 1 ), value ) ) {
      VAREK_ASSERT( decode( value.text(), again ) );
      VAREK_ASSERT( again.text() == value.text() );
   }
   return 0;
}
