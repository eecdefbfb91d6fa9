#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>

#include "Copies.h"
#include "agent/Authenticator.h"

namespace Dot1xCtl {

struct SizingOptions {
   std::optional<std::uint32_t> macs; ///< Number of supplicants; by default as many as captured.
   std::uint32_t repeat = 1;

   explicit operator bool() const { return macs.has_value() || repeat != 1; }
};

/// Plays copies to an agent, and tells the cost: how long it took, with a single observer of all
/// changes, and by how much the resident memory of the process grew. Ends early when
/// \p interrupted.
void playSized( Copies const&, Agent::Authenticator&, SizingOptions const&,
                std::function<bool()> const& interrupted, bool progress, std::ostream& );

} // namespace Dot1xCtl
