#pragma once

#include <iosfwd>

#include "Qel/Entity.h"
#include "views/Tree.h"

/// The configuration that is in effect, all defaults filled in, or only what differs from them.
namespace Config {

enum class ConfigExtent : std::uint8_t {
   whole,
   difference, ///< What differs from a new entity of the type.
};
enum class ConfigForm : std::uint8_t {
   text, ///< Interfaces with equal configurations are one, under a range.
   json, ///< What readConfig() takes: it makes an equal tree of either extent.
};

/// \p entity with all below it.
Views::Part configPart( Qel::Entity const& entity, ConfigExtent );

/// As text, nothing if there is no difference.
void printConfig( std::ostream&, Qel::Entity const& root, ConfigForm, ConfigExtent );

/// That of the root "status"; throws Varek::Failure if there is none.
void printConfig( std::ostream&, Views::Roots const&, ConfigForm, ConfigExtent );

} // namespace Config
