#pragma once

#include <string>
#include <string_view>

#include "Varek/Export.h"

/// State files: a head with magic and length, the stream that a leader of some trees sends to a new
/// follower, and a checksum (docs/state-file.md).
namespace Store {

/// Writes \p stream to a state file at \p path, which only this user may read and write. It
/// replaces an old file at once: even after a power cut the old file or the new is there. Throws
/// Varek::Failure, as replaceState() says. "-" is standard output.
VAREK_EXPORT void writeStream( std::string const& path, std::string_view stream );

/// The stream in the state file at \p path. Throws Varek::Failure, which says what was expected and
/// found, if the file cannot be read, is no state file, has another version, or was cut or changed.
/// "-" is standard input.
VAREK_EXPORT std::string readStream( std::string const& path );

} // namespace Store
