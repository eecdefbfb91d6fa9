#pragma once

#include <string>

#include <CLI/CLI.hpp>

/// What several subcommands have on their command lines.
namespace Dot1xCtl {

/// Adds an option that is an address.
CLI::Option* addressOption( CLI::App& command, char const* name, std::string& text,
                            char const* description );

} // namespace Dot1xCtl
