#pragma once

#include <optional>
#include <string>

#include "Varek/Inspect.h"
#include "config/Faults.h"
#include "config/JsonNode.h"
#include "views/ValueForms.h"

/// Values that are no records, from JSON: numbers, texts, enumerators, addresses and all others
/// with a text form, by their tables alone. The forms are those of views/TreeJson.h.
namespace Config {

/// Reads the JSON at \p at into \p value, of the type of \p table. Returns false, with the fault
/// reported and \p value in any state, if the JSON is no value of that type.
bool readScalar( JsonPlace const& at, Varek::Inspect::AtomicFnTable const& table, void* value,
                 Faults& faults );

/// The same for a key, which is the name of a member: there every value is in quotes.
bool readKey( JsonPlace const& at, Varek::Inspect::AtomicFnTable const& table, void* key,
              Faults& faults );

} // namespace Config
