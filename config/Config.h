#pragma once

#include <string>
#include <string_view>

#include "Dot1xV2/Dot1xStatus.h"
#include "config/Faults.h"

/// A configuration as a file of JSON: the attributes of a Dot1xV2::Status and of all below it, by
/// their names. It works from the records of the types: a new attribute needs no line here.
///
/// An attribute that is not named has its default. If ranges name an attribute twice for the same
/// interface, the later value counts. docs/configuration.md describes the form.
///
/// Guarantee: a file with a fault changes nothing, and all its faults are reported.
namespace Config {

/// Gives the attributes of \p entity that \p text names their values. If there are faults, tells
/// them, leaves \p entity in any state and returns false.
bool readEntity( std::string_view text, Qel::Entity& entity, Faults& faults );

/// The name of a root whose file does not name it.
inline constexpr char const* statusName = "status";

/// The configuration in \p text as a new root; null, with the faults in \p faults, if it has any.
Varek::Ptr<Dot1xV2::Status> readConfig( std::string_view text, Faults& faults );

/// Makes \p status equal to the configuration in \p text; observers are told only of differences.
/// Anything that the text does not name gets its default or is removed. Returns false, with nothing
/// changed and the faults in \p faults, if it has any.
bool reloadConfig( std::string_view text, Dot1xV2::Status& status, Faults& faults );

/// The configuration in a file; otherwise as readConfig(). Throws Varek::Failure if the file cannot
/// be read.
Varek::Ptr<Dot1xV2::Status> loadConfig( std::string const& file, Faults& faults );

/// The contents of a file, or of standard input for "-". Throws Varek::Failure if reading fails.
std::string contentsOf( std::string const& file );

} // namespace Config
