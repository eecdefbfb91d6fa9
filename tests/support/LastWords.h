#pragma once

#include <string>

/// For a death test: the output ends with \p text. An emulator prints another line after it.
inline std::string lastWords( std::string const& text ) { return text + "\n(qemu: [^\n]*\n)?$"; }
