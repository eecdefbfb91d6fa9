#pragma once

#include <optional>
#include <string>

#include "Faults.h"
#include "JsonNode.h"
#include "Varek/Inspect.h"

/// Values that are no records, from JSON: numbers, texts, enumerators, addresses and all else that
/// has a text form, by their tables alone. The forms are those of TreeJson.
namespace Dot1xCtl {

/// Makes \p value, of the type of \p table, what stands at \p at. Returns false, with the fault
/// told and \p value in any state, if that is none.
bool readScalar( JsonPlace const& at, Varek::Inspect::AtomicFnTable const& table, void* value,
                 Faults& faults );

/// The same of the name of a member, which is a key: there everything stands in quotes.
bool readKey( JsonPlace const& at, Varek::Inspect::AtomicFnTable const& table, void* key,
              Faults& faults );

/// Text that is no UTF-8, and so no JSON: as a value {"octets": "0x00ff"}, as a key
/// "octets:0x00ff".
inline constexpr char const* octetsName = "octets";
inline constexpr char const* octetsKey = "octets:0x";

/// Whether values of the type may be absent, which is null.
bool isOptional( Varek::Inspect::AtomicFnTable const& table );

} // namespace Dot1xCtl
