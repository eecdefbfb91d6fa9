#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>

#include "Lumo/EthAddr.h"
#include "views/Tree.h"

/// What show and replay --show print of a process's trees: tables of an authenticator's state, its
/// configuration, or the trees as they are.
namespace Dot1xCtl {

struct ShowRequest {
   enum class What : std::uint8_t { all, ports, supplicants, blocked, sessions, config, tree };

   What what = What::all;
   std::optional<Lumo::EthAddr> mac; ///< With supplicants: that one, in detail.
   /// By the name of a column in JSON: rows are printed only if that has this value, as it is in
   /// JSON or as in text. Not for trees.
   std::map<std::string, std::string> filters;
   bool difference = false; ///< Of config only what differs from the defaults.
   bool json = false;
   bool colour = false; ///< Of tables in text.
};

/// "all", "ports", ...; throws std::out_of_range for any other.
ShowRequest::What whatOf( std::string const& name );

/// Whether rows can be selected by \p filter in what is printed, or in some of its tables.
bool canSelect( ShowRequest::What, std::string const& filter );

/// What is wrong with \p value for that filter, with what there is: nothing printed can have it.
/// Nothing if something may.
std::string filterFault( ShowRequest::What, std::string const& filter, std::string const& value );

/// Prints what is asked for. all prints each table whose tree is there and that has the columns of
/// the filters, and the trees if none of them is of an authenticator. Throws Varek::Failure, before
/// anything is printed, if a tree is missing, the table has no such column, or the supplicant is
/// not known.
void printState( std::ostream&, Views::Roots const&, ShowRequest const& );

} // namespace Dot1xCtl
