#pragma once

#include <string>

/// For a death test: \p text ends what is printed. An emulator has a line of its own after that.
inline std::string lastWords( std::string const& text ) { return text + "\n(qemu: [^\n]*\n)?$"; }
