#pragma once

#include <string>

#include "Varek/String.h"
#include "support/Tracked.h"

/// Lets the numbers of the tests' module print, so that trees that differ in them print
/// differently. In front of every source of the program, since records are made where their types
/// are first used.
inline Varek::String stringValue( Tracked const& value ) { return std::to_string( value.value() ); }
