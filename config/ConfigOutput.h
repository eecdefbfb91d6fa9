#pragma once

#include <iosfwd>

#include "Qel/Entity.h"
#include "views/Tree.h"

/// Prints the configuration in effect: with all defaults, or only its differences from them.
namespace Config {

enum class ConfigExtent : std::uint8_t {
   whole,
   difference, ///< The differences from a new entity of the type.
};
enum class ConfigForm : std::uint8_t {
   text, ///< Interfaces with equal configurations stand together, under a range.
   json, ///< What readConfig() takes: it makes an equal tree of either extent.
};

/// The configuration of \p entity and of everything below it.
Views::Part configPart( Qel::Entity const& entity, ConfigExtent );

/// Prints the configuration below \p root; in text, nothing if there is no difference.
void printConfig( std::ostream&, Qel::Entity const& root, ConfigForm, ConfigExtent );

/// Prints that of the root "status"; throws Varek::Failure if there is no such root.
void printConfig( std::ostream&, Views::Roots const&, ConfigForm, ConfigExtent );

} // namespace Config
