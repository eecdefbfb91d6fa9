#include "Lumo/TextCursor.h"

#include "Varek/Failures.h"

namespace Lumo {

bool TextCursor::take( char c ) {
   if ( atEnd() || text_[position_] != c ) {
      return false;
   }
   ++position_;
   return true;
}

bool TextCursor::take( std::string_view word ) {
   if ( !rest().starts_with( word ) ) {
      return false;
   }
   position_ += word.size();
   return true;
}

std::uint64_t TextCursor::decimal( std::uint64_t limit, std::string_view expected ) {
   std::size_t const start = position_;
   std::uint64_t value = 0;
   for ( ; peek() >= '0' && peek() <= '9'; ++position_ ) {
      auto const digit = static_cast<std::uint64_t>( peek() - '0' );
      bool const leadingZero = position_ == start + 1 && text_[start] == '0';
      if ( leadingZero || digit > limit || value > ( limit - digit ) / 10 ) {
         position_ = start;
         fail( expected );
      }
      value = value * 10 + digit;
   }
   if ( position_ == start ) {
      fail( expected );
   }
   return value;
}

unsigned TextCursor::hexDigit( std::string_view expected ) {
   char const c = peek();
   unsigned digit = 0;
   if ( c >= '0' && c <= '9' ) {
      digit = static_cast<unsigned>( c - '0' );
   } else if ( c >= 'a' && c <= 'f' ) {
      digit = static_cast<unsigned>( c - 'a' + 10 );
   } else if ( c >= 'A' && c <= 'F' ) {
      digit = static_cast<unsigned>( c - 'A' + 10 );
   } else {
      fail( expected );
   }
   ++position_;
   return digit;
}

void TextCursor::end( std::string_view expected ) const {
   if ( !atEnd() ) {
      fail( expected );
   }
}

void TextCursor::fail( std::string_view expected ) const {
   throw Varek::TextError( expected, text_, position_ );
}

} // namespace Lumo
