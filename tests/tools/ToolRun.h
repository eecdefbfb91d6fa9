#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/// Runs the real dot1xctl and keeps all that it says.
struct ToolRun {
   int exitCode = -1; ///< -1 if it was ended by a signal.
   std::string out;
   std::string err;

   /// \p arguments as a shell reads them.
   explicit ToolRun( std::string const& arguments );

   /// Standard output as JSON; a failure of the test if it is none.
   nlohmann::json json() const;
};

/// The records of \p kind in the output of replay --json.
std::vector<nlohmann::json> recordsOf( nlohmann::json const& output, std::string const& kind );

/// The path of a sample, quoted for the shell.
std::string sample( std::string const& name );
