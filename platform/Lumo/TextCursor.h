#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Varek/Export.h"

namespace Lumo {

/// A position in a text that is being read, for the constructors from text. Text that does not fit
/// raises Varek::TextError with the position where it starts.
class VAREK_EXPORT TextCursor {
public:
   explicit TextCursor( std::string_view text ) : text_( text ) {}

   std::size_t position() const { return position_; }
   void back( std::size_t position ) { position_ = position; }
   bool atEnd() const { return position_ == text_.size(); }
   /// The next character, NUL at the end.
   char peek() const { return atEnd() ? '\0' : text_[position_]; }
   std::string_view rest() const { return text_.substr( position_ ); }

   /// Steps over \p c if it is next.
   bool take( char c );
   /// Steps over \p word if it is next.
   bool take( std::string_view word );
   /// Reads an unsigned decimal number of at most \p limit, without sign and leading zeros.
   std::uint64_t decimal( std::uint64_t limit, std::string_view expected );
   /// Reads one hexadecimal digit of either case.
   unsigned hexDigit( std::string_view expected );
   /// Fails unless everything was read.
   void end( std::string_view expected ) const;
   [[noreturn]] void fail( std::string_view expected ) const;

private:
   std::string_view text_;
   std::size_t position_ = 0;
};

} // namespace Lumo
