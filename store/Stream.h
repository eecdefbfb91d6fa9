#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "mirror/Follower.h"
#include "views/Tree.h"

/// Trees as what a leader says to a new follower. So a state file is as independent of versions as
/// a connection is, and is checked by the same code: nothing here knows a type.
///
/// Cost: the whole stream in memory, beside the trees.
namespace Store {

/// All that a leader of \p roots says to a new follower: hello, the roots with everything below
/// them, synced. The entities are not changed, and may be published elsewhere.
std::string streamOf( Views::Roots const& roots );

/// What is of types and attributes that are not known here.
struct LeftOut {
   std::uint64_t entities = 0;
   std::uint64_t messages = 0;
};

/// Told how many bytes of all have been taken.
using HowFar = std::function<void( std::uint64_t done, std::uint64_t all )>;

/// Makes \p follower hold what \p stream says, as after a reconnect: observers are told of
/// differences alone. Throws Varek::Failure that begins with \p name if it does not fit or is
/// faulty; what was applied before stays then.
LeftOut apply( std::string_view stream, Mirror::Follower& follower, std::string const& name,
               HowFar const& howFar = {} );

/// The trees that a follower holds.
Views::Roots rootsOf( Mirror::Follower const& );

} // namespace Store
