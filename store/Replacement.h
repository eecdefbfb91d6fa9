#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>

#include "Varek/Export.h"

/// Puts a new state file in the place of an old one, at once.
///
/// While it is written the new file is a draft in the folder of the old one. Where the file system
/// can make such files, the draft has no name, so that it goes with a process that is killed.
/// Otherwise, and for the moment before it takes its place, it is called draftPrefix and six
/// letters or digits, and is locked (flock) by its writer. If a process was killed and left a draft
/// under such a name, the next replacement in that folder removes it, provided that it is surely a
/// draft: a regular file of this user, locked by nobody, which is empty or begins as a state file.
namespace Store {

/// The first bytes of a state file.
inline constexpr std::string_view stateMagic = "D1XState";
inline constexpr std::string_view draftPrefix = ".dot1xctl-dump-";

enum class Draft { unnamed, named };

/// Replaces the file at \p path by the bytes that \p write writes to the file descriptor that it
/// gets. The new file is for this user alone. If \p path is a symbolic link, the file that it leads
/// to is replaced, and not the link. \p write is called again, for another file, if a draft without
/// a name cannot be given one; with \p draft named the draft has a name from the beginning.
///
/// Throws Varek::Failure, and whatever \p write throws, with the old file as it was; also if \p
/// path is neither empty nor a state file. If the folder cannot be synced, however, the new file is
/// in its place, and the failure says that it may be gone after a power cut. It is no failure that
/// a file system cannot sync folders at all, or that the folder may not be read.
VAREK_EXPORT void replaceState( std::string const& path,
                                std::function<void( int file )> const& write,
                                Draft draft = Draft::unnamed );

/// "PATH: doing: the system's words for \p error".
[[noreturn]] VAREK_EXPORT void systemFailure( std::string const& path, std::string const& doing,
                                              int error = errno );
/// "PATH: why".
[[noreturn]] VAREK_EXPORT void refuse( std::string const& path, std::string const& why );

} // namespace Store
