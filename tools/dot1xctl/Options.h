#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "Colour.h"
#include "Varek/Failures.h"

/// What several subcommands have on their command lines.
namespace Dot1xCtl {

/// What is wrong with \p text as a T; nothing if it is one. A check of an option.
template<class T>
std::string faultAs( std::string const& text ) {
   try {
      (void)T( text );
      return {};
   } catch ( Varek::TextError const& error ) {
      return error.what();
   }
}

/// Adds an option that is an address.
CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description );

/// Adds --wait: how long to wait for more, in seconds.
void waitOption( CLI::App& command, double& seconds );

/// Adds --color.
void colourOption( CLI::App& command, ColourUse& );

} // namespace Dot1xCtl
