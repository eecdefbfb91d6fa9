#pragma once

#include <iosfwd>
#include <string>

#include "Varek/Export.h"
#include "views/Tree.h"

/// Trees as indented text: a line for each attribute and element, of at most 80 columns where a
/// value can be broken. Text is in quotes, with escapes; enumerators, addresses and numbers are
/// not. An element of an entity's collection does not repeat its key.
namespace Views {

VAREK_EXPORT void printText( std::ostream&, Part const& roots );
/// Prints the attributes of an entity or the fields of a value, without a line for it.
VAREK_EXPORT void printAttributes( std::ostream&, Part const& );

/// A value on a single line.
VAREK_EXPORT std::string lineOf( Part const& );

/// On one line: time, path, attribute, old and new value: "- -> 5" if there was nothing before. Not
/// flushed.
VAREK_EXPORT void printText( std::ostream&, std::string const& time, std::string const& root,
                             ChangePart const& );
/// Likewise, without the time.
VAREK_EXPORT void printText( std::ostream&, std::string const& root, ChangePart const& );

} // namespace Views
