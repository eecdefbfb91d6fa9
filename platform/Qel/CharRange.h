#pragma once

#include <cstddef>
#include <string_view>

#include "Varek/Export.h"

namespace Qel {

/// A text that is being read, and how far the reader has come in it.
class VAREK_EXPORT CharRange {
public:
   explicit CharRange( std::string_view text ) : text_( text ) {}
   /// \p text, of which everything before \p position has been read.
   CharRange( std::string_view text, std::size_t position ) : text_( text ) { advance( position ); }

   std::string_view text() const { return text_; }
   std::size_t position() const { return position_; }
   bool empty() const { return position_ == text_.size(); }
   /// The text that has not been read yet.
   std::string_view rest() const { return text_.substr( position_ ); }
   /// Moves on by \p count characters, at most to the end.
   void advance( std::size_t count );
   /// The longest identifier (letters, digits, underscores) at the front; does not move.
   std::string_view identifier() const;
   /// The next character, NUL at the end.
   char peek() const { return empty() ? '\0' : text_[position_]; }
   /// Moves over \p c or \p word if it comes next, and says whether it did.
   bool take( char c );
   bool take( std::string_view word );
   /// Moves over spaces, tabs and line ends.
   void skipBlanks();
   /// Moves over \p word. Throws Varek::TextError where the text departs from it.
   void expect( std::string_view word );
   /// Throws Varek::TextError unless everything has been read.
   void expectEnd() const;
   /// Throws Varek::TextError, which says that \p expected should come next.
   [[noreturn]] void fail( std::string_view expected ) const;

private:
   std::string_view text_;
   std::size_t position_ = 0;
};

} // namespace Qel
