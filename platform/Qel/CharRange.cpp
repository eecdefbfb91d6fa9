#include "Qel/CharRange.h"

#include <algorithm>
#include <string>

#include "Varek/Failures.h"

namespace Qel {

void CharRange::advance( std::size_t count ) {
   position_ += std::min( count, text_.size() - position_ );
}

std::string_view CharRange::identifier() const {
   constexpr std::string_view letters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
   std::string_view const left = rest();
   return left.substr( 0, left.find_first_not_of( letters ) );
}

bool CharRange::take( char c ) {
   bool const next = !empty() && peek() == c;
   position_ += next;
   return next;
}

bool CharRange::take( std::string_view word ) {
   bool const next = rest().starts_with( word );
   position_ += next ? word.size() : 0;
   return next;
}

void CharRange::skipBlanks() {
   position_ = std::min( text_.find_first_not_of( " \t\r\n", position_ ), text_.size() );
}

void CharRange::expect( std::string_view word ) {
   if ( take( word ) ) {
      return;
   }
   std::string_view const left = rest();
   auto const alike = std::mismatch( left.begin(), left.end(), word.begin(), word.end() ).first;
   throw Varek::TextError( '"' + std::string( word ) + '"', text_,
                           position_ + static_cast<std::size_t>( alike - left.begin() ) );
}

void CharRange::expectEnd() const {
   if ( !empty() ) {
      fail( "the end" );
   }
}

void CharRange::fail( std::string_view expected ) const {
   throw Varek::TextError( expected, text_, position_ );
}

} // namespace Qel
