#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Varek/Export.h"
#include "mirror/Follower.h"
#include "views/Tree.h"

/// Trees as the stream that a leader sends to a new follower. So a state file is as independent of
/// versions as a connection is, and the same code checks it: nothing here knows a type.
///
/// Cost: the whole stream in memory, beside the trees.
namespace Store {

/// The stream that a leader of \p roots sends to a new follower: hello, the roots with everything
/// below them, synced. The entities are not changed, and may be published elsewhere.
VAREK_EXPORT std::string streamOf( Views::Roots const& roots );

/// How much was left out, since its types or attributes are not known here.
struct LeftOut {
   std::uint64_t entities = 0;
   std::uint64_t messages = 0;
};

/// Called with the number of bytes that have been applied, and their total.
using HowFar = std::function<void( std::uint64_t done, std::uint64_t all )>;

/// Applies \p stream to \p follower, as after a reconnect: observers are told only of differences.
/// Throws Varek::Failure, beginning with \p name, if the stream does not fit or is faulty; the part
/// before the fault then stays applied.
VAREK_EXPORT LeftOut apply( std::string_view stream, Mirror::Follower& follower,
                            std::string const& name, HowFar const& howFar = {} );

/// The trees that a follower holds.
VAREK_EXPORT Views::Roots rootsOf( Mirror::Follower const& );

} // namespace Store
