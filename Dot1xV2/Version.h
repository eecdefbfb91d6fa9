#pragma once

#include <string_view>

#include "Varek/Export.h"

/// The version of these headers. Before version 1 every minor version may break its users; then every
/// major version may.
#define DOT1X_VERSION_MAJOR 0
#define DOT1X_VERSION_MINOR 1
#define DOT1X_VERSION_PATCH 0
/// The same as one number, to compare: 0.1.0 is 100.
#define DOT1X_VERSION                                                                              \
   ( DOT1X_VERSION_MAJOR * 10000 + DOT1X_VERSION_MINOR * 100 + DOT1X_VERSION_PATCH )

namespace Dot1xV2 {

/// The version of the library that is loaded, as "0.1.0".
VAREK_EXPORT std::string_view libraryVersion();

} // namespace Dot1xV2
