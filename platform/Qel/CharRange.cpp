#include "Qel/CharRange.h"

#include <algorithm>

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

} // namespace Qel
