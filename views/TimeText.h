#pragma once

#include <chrono>
#include <string>

#include "Varek/Export.h"

namespace Views {

/// "2025-11-24 12:00:00.250000", in UTC, with \p between between day and time, and \p digits (at
/// most 9) of the second's fraction.
VAREK_EXPORT std::string timeText( std::chrono::sys_time<std::chrono::nanoseconds>, char between,
                                   int digits );

} // namespace Views
