#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>

/// Puts a new state file in the place of an old one, at once.
///
/// While it is written the new file is a draft in the folder of the old one: without a name, where
/// the file system can make such files, so that it goes with a process that is killed. Otherwise,
/// and for the moment before it takes its place, it is called draftPrefix and six letters or
/// digits, and is locked (flock) by its writer. What a process that was killed left behind under
/// such a name goes with the next replacement in that folder, if it is surely that: a regular file
/// of this user, locked by nobody, which is empty or begins as a state file does.
namespace Store {

/// The first bytes of a state file.
inline constexpr std::string_view stateMagic = "D1XState";
inline constexpr std::string_view draftPrefix = ".dot1xctl-dump-";

enum class Draft { unnamed, named };

/// Makes what \p write writes, to the file descriptor that it gets, the file at \p path, for this
/// user alone. What a symbolic link leads to is replaced, and not the link. \p write is called
/// again, for another file, if that without a name cannot be given one; \p draft is named for what
/// is done where there are no files without a name.
///
/// Throws Varek::Failure, and what \p write throws, with the old file as it was; also if what is
/// there is neither empty nor a state file. If the folder cannot be synced, however, the new file
/// is in its place, and the failure says that it may not be after a power cut. That a file system
/// cannot sync folders at all, or that the folder may not be read, is none.
void replaceState( std::string const& path, std::function<void( int file )> const& write,
                   Draft draft = Draft::unnamed );

/// "PATH: doing: the system's words for \p error".
[[noreturn]] void systemFailure( std::string const& path, std::string const& doing,
                                 int error = errno );
/// "PATH: why".
[[noreturn]] void refuse( std::string const& path, std::string const& why );

} // namespace Store
