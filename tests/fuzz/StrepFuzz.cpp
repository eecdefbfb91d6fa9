// Any text, read as a value of any registered type: it is refused with the target as it was, or it
// is a value that prints and is read back as the same. Built with clang's -fsanitize=fuzzer.
//
// The first byte of the input chooses the type, the rest is the text.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/ReadableTypes.h"

namespace {

using Varek::Inspect::AtomicFnTable;

class Value {
public:
   explicit Value( AtomicFnTable const& type )
      : type_( type ), memory_( type.size / sizeof( std::max_align_t ) + 1 ) {
      type_.inspectConstruct( data(), nullptr );
   }
   Value( Value const& ) = delete;
   Value& operator=( Value const& ) = delete;
   ~Value() { type_.inspectDestroy( data() ); }
   void* data() { return memory_.data(); }
   std::string text() { return type_.inspectEncodeToString( data() ); }
   bool decode( std::string_view text ) {
      std::string const before = this->text();
      try {
         type_.inspectDecodeFromString( text, data() );
         return true;
      } catch ( Varek::TextError const& ) {
      } catch ( Varek::RangeError const& ) {
      }
      VAREK_ASSERT( this->text() == before );
      return false;
   }

private:
   AtomicFnTable const& type_;
   std::vector<std::max_align_t> memory_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const* data, std::size_t size ) {
   static auto const types = readableTypes();
   std::string_view const input( reinterpret_cast<char const*>( data ), size );
   // Given where it may only be absent, a value with a collection ends the process: it is to.
   if ( input.empty() || input.find( "EgressVlanAttributes" ) != std::string_view::npos )
      return 0;
   AtomicFnTable const& type = *types[data[0] % types.size()];
   Value value( type ), again( type );
   if ( value.decode( input.substr( 1 ) ) ) {
      VAREK_ASSERT( again.decode( value.text() ) );
      VAREK_ASSERT( again.text() == value.text() );
   }
   return 0;
}
