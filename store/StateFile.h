#pragma once

#include <string>
#include <string_view>

/// State files: what a leader of some trees says to a new follower, between a head that says that
/// it is such a file, and how long, and a checksum (docs/state-file.md).
namespace Store {

/// Writes \p stream to a state file at \p path, for this user alone, in place of a file that is
/// there: whatever happens, also to the machine, there is the old file or the new. Throws
/// Varek::Failure, as replaceState() says. "-" is standard output.
void writeStream( std::string const& path, std::string_view stream );

/// The stream in the state file at \p path. Throws Varek::Failure if it cannot be read, is none, is
/// of another version, was cut or changed: what it says of itself, and what it is, is told. "-" is
/// standard input.
std::string readStream( std::string const& path );

} // namespace Store
