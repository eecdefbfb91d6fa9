#pragma once

#include <string_view>

#include "Varek/Export.h"

/// Where the libraries say what they have to say. Errors are exceptions and results, so that is the
/// text of a failed assertion alone, before the process ends.
namespace Varek {

/// Gets a line, without its end. Called from any thread, and not to throw.
using LogHook = void ( * )( std::string_view line ) noexcept;

/// Sets the hook: null for silence; at first lines go to standard error. Returns the one before.
VAREK_EXPORT LogHook logHookIs( LogHook ) noexcept;

/// Gives \p line to the hook.
VAREK_EXPORT void log( std::string_view line ) noexcept;

} // namespace Varek
