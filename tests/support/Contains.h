#pragma once

#include <string_view>

#include <gtest/gtest.h>

/// Whether \p part is in \p text; a failure shows both.
inline testing::AssertionResult contains( std::string_view text, std::string_view part ) {
   bool const found = text.find( part ) != text.npos;
   return testing::AssertionResult( found )
          << '"' << part << '"' << ( found ? " is" : " is not" ) << " in:\n"
          << text;
}
