#pragma once

#include <cstddef>
#include <string_view>

#include "Varek/Export.h"

namespace Qel {

/// Characters that are being read: a text and how far one has come in it.
class VAREK_EXPORT CharRange {
public:
   explicit CharRange( std::string_view text ) : text_( text ) {}

   std::string_view text() const { return text_; }
   std::size_t position() const { return position_; }
   bool empty() const { return position_ == text_.size(); }
   /// What has not been read yet.
   std::string_view rest() const { return text_.substr( position_ ); }
   /// Moves on by \p count characters, at most to the end.
   void advance( std::size_t count );
   /// The longest identifier (letters, digits, underscores) at the front; does not move.
   std::string_view identifier() const;

private:
   std::string_view text_;
   std::size_t position_ = 0;
};

} // namespace Qel
