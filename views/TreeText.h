#pragma once

#include <iosfwd>
#include <string>

#include "views/Tree.h"

/// Trees as indented text: a line for each attribute and element, of at most 80 columns where a
/// value can be broken. Text is in quotes, with escapes; enumerators, addresses and numbers are
/// not. An element of an entity's collection does not repeat its key.
namespace Views {

void printText( std::ostream&, Part const& roots );
/// Prints the attributes of an entity or the fields of a value, without a line for it.
void printAttributes( std::ostream&, Part const& );

/// A value on a single line.
std::string lineOf( Part const& );

/// On one line: time, path, attribute, old and new value: "- -> 5" if there was nothing before.
void printText( std::ostream&, std::string const& time, std::string const& root,
                ChangePart const& );
/// Likewise, without the time.
void printText( std::ostream&, std::string const& root, ChangePart const& );

} // namespace Views
