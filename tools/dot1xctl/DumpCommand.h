#pragma once

#include <functional>

#include <CLI/CLI.hpp>

namespace Dot1xCtl {

/// The subcommands dump, load and diff. Once one of them has been parsed, \p action does what is
/// asked and returns the exit code.
void addDump( CLI::App& app, std::function<int()>& action );

} // namespace Dot1xCtl
