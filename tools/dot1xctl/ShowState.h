#pragma once

#include <iosfwd>
#include <map>
#include <optional>
#include <string>

#include "Lumo/EthAddr.h"
#include "views/Tree.h"

/// The output of show and replay --show for a process's trees: tables of an authenticator's state,
/// its configuration, or the trees as they are.
namespace Dot1xCtl {

struct ShowRequest {
   enum class What : std::uint8_t { all, ports, supplicants, blocked, sessions, config, tree };

   What what = What::all;
   std::optional<Lumo::EthAddr> mac; ///< With supplicants: that one, in detail.
   /// Values by the name of a column in JSON: only rows with that value, in its JSON or text form,
   /// are printed. Not for trees.
   std::map<std::string, std::string> filters;
   bool difference = false; ///< Of config only what differs from the defaults.
   bool json = false;
   bool colour = false; ///< Of tables in text.
};

/// From "all", "ports", ...; throws std::out_of_range for any other name.
ShowRequest::What whatOf( std::string const& name );

/// Whether \p filter applies to some of the printed tables.
bool canSelect( ShowRequest::What, std::string const& filter );

/// An error, with the possible values, if no printed row can have \p value for that filter; empty
/// if a row may have it.
std::string filterFault( ShowRequest::What, std::string const& filter, std::string const& value );

/// Prints the requested part. "all" prints each table whose tree is there and that has the columns
/// of the filters, or the trees if none is an authenticator's. Throws Varek::Failure, before
/// anything is printed, if a tree is missing, the table lacks a column, or the supplicant is not
/// known.
void printState( std::ostream&, Views::Roots const&, ShowRequest const& );

} // namespace Dot1xCtl
