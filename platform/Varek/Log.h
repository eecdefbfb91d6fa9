#pragma once

#include <string_view>

#include "Varek/Export.h"

/// The log of the libraries. Errors are exceptions and results, so the only lines are the texts of
/// failed assertions, before the process ends.
namespace Varek {

/// Receives a line without its line end. May be called from any thread; must not throw.
using LogHook = void ( * )( std::string_view line ) noexcept;

/// Sets the hook and returns the hook of before. Null means silence; at first, lines go to standard
/// error.
VAREK_EXPORT LogHook logHookIs( LogHook ) noexcept;

/// Gives \p line to the hook.
VAREK_EXPORT void log( std::string_view line ) noexcept;

} // namespace Varek
