#include "framework/records/ValueOf.h"

namespace Qel {

void noStringConstructor( std::string_view qualifiedType ) {
   std::string const type( qualifiedType.substr( qualifiedType.rfind( ':' ) + 1 ) );
   std::string const text =
      "\"No String constructor for " + type + " - has collection\" == nullptr";
   Varek::assertionFailed( text.c_str() );
}

void throwOutOfRange( std::string_view qualifiedType, std::string_view attribute ) {
   std::string const type( qualifiedType );
   throw Varek::RangeError( type + "::" + std::string( attribute ) + " < " + type + "::min or > " +
                            type + "::max not allowed" );
}

} // namespace Qel
