#pragma once

#include "Varek/Inspect.h"

/// How plain values stand in JSON, for those who write it (TreeJson.h) and those who read it.
namespace Views {

/// Text that is no UTF-8, and so no JSON: as a value {"octets": "0x00ff"}, as a key
/// "octets:0x00ff".
inline constexpr char const* octetsName = "octets";
inline constexpr char const* octetsKey = "octets:0x";

/// Whether values of the type may be absent, which is null.
inline bool isOptional( Varek::Inspect::AtomicFnTable const& table ) {
   return table.optionalOf != nullptr;
}

} // namespace Views
