#include "Dot1xV2/Version.h"

#define DOT1X_TEXT( NUMBER ) DOT1X_TEXT_OF( NUMBER )
#define DOT1X_TEXT_OF( NUMBER ) #NUMBER

namespace Dot1xV2 {

std::string_view libraryVersion() {
   return DOT1X_TEXT( DOT1X_VERSION_MAJOR ) "." DOT1X_TEXT( DOT1X_VERSION_MINOR ) "." DOT1X_TEXT(
      DOT1X_VERSION_PATCH );
}

} // namespace Dot1xV2
