#pragma once

#include "Varek/Inspect.h"

/// The forms of plain values in JSON, for its writer (TreeJson.h) and its reader.
namespace Views {

/// JSON cannot hold text that is not UTF-8: as a value it is {"octets": "0x00ff"}, as a key
/// "octets:0x00ff".
inline constexpr char const* octetsName = "octets";
inline constexpr char const* octetsKey = "octets:0x";

/// Whether values of the type may be absent, which is null in JSON.
inline bool isOptional( Varek::Inspect::AtomicFnTable const& table ) {
   return table.optionalOf != nullptr;
}

} // namespace Views
