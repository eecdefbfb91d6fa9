#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/Contains.h"
#include "support/Lines.h"

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

/// What a run prints that is to succeed without a complaint.
std::string printedBy( std::string const& arguments );

/// A run that is to print nothing and to end with that exit code, saying \p told among other words;
/// returns all of them.
std::string expectFailure( std::string const& arguments, int exitCode, std::string_view told );

/// Likewise, \p told being all that it says.
void expectFailureAlone( std::string const& arguments, int exitCode, std::string_view told );

/// That \p text has some lines, none of more than 80 columns nor with blanks at the end; one that
/// begins with the name of a sample may be longer.
void expectEightyColumns( std::string const& text );

/// The table \p what, or all, of the state that replay makes of captures.
nlohmann::json state( std::string const& captures, std::string const& what = "all",
                      int exitCode = 0 );

/// The records of \p kind in the output of replay --json.
std::vector<nlohmann::json> recordsOf( nlohmann::json const& output, std::string const& kind );

/// The rows of a table of show --json by what is in that column.
std::map<std::string, nlohmann::json> rowsBy( std::string const& column,
                                              nlohmann::json const& table );

/// The path of a sample, quoted for the shell.
std::string sample( std::string const& name );

/// Several of them, with spaces between.
std::string samples( std::vector<std::string> const& names );
