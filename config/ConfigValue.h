#pragma once

#include <optional>
#include <string>

#include "Varek/Inspect.h"
#include "config/Faults.h"
#include "config/JsonNode.h"
#include "views/ValueForms.h"

/// Values that are no records, from JSON: numbers, texts, enumerators, addresses and all else that
/// has a text form, by their tables alone. The forms are those of views/TreeJson.h.
namespace Config {

/// Makes \p value, of the type of \p table, what stands at \p at. Returns false, with the fault
/// told and \p value in any state, if that is none.
bool readScalar( JsonPlace const& at, Varek::Inspect::AtomicFnTable const& table, void* value,
                 Faults& faults );

/// The same of the name of a member, which is a key: there everything stands in quotes.
bool readKey( JsonPlace const& at, Varek::Inspect::AtomicFnTable const& table, void* key,
              Faults& faults );

} // namespace Config
