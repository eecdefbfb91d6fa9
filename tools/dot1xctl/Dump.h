#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "Progress.h"
#include "mirror/Follower.h"
#include "views/Tree.h"

/// State files: a process's trees as what a leader says to a new follower, between a head that says
/// that it is such a file, and how long, and a checksum (docs/state-file.md). So a file is as
/// independent of versions as a connection is, and is checked by the same code: nothing here knows
/// a type.
///
/// Cost: the whole file in memory, beside the trees.
namespace Dot1xCtl {

/// All that a leader of \p roots says to a new follower: hello, the roots with everything below
/// them, synced. The entities are not changed, and may be published elsewhere.
std::string streamOf( Views::Roots const& roots );

/// Makes \p follower hold what \p stream says, as after a reconnect: observers are told of
/// differences alone. Throws Varek::Failure that begins with \p name if it does not fit or is
/// faulty; what was applied before stays then. What is of types and attributes that are not known
/// here is left out, and its number told on \p errors. \p bar shows how far it is, if not null.
void apply( std::string_view stream, Mirror::Follower& follower, std::string const& name,
            std::ostream& errors, Progress* bar = nullptr );

/// Writes \p stream to a state file at \p path, for this user alone, in place of a file that is
/// there: whatever happens, also to the machine, there is the old file or the new. Throws
/// Varek::Failure, as replaceState() says. "-" is standard output.
void writeDump( std::string const& path, std::string_view stream );

/// The stream in the state file at \p path. Throws Varek::Failure if it cannot be read, is none, is
/// of another version, was cut or changed: what it says of itself, and what it is, is told. "-" is
/// standard input.
std::string readDump( std::string const& path );

/// The trees in the state file at \p path. Throws and tells as readDump and apply do.
Views::Roots loadDump( std::string const& path, std::ostream& errors );

} // namespace Dot1xCtl
