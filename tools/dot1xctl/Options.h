#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "Colour.h"

/// What several subcommands have on their command lines.
namespace Dot1xCtl {

/// Adds an option that is an address.
CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description );

/// Adds --color.
void colourOption( CLI::App& command, ColourUse& );

} // namespace Dot1xCtl
