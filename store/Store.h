#pragma once

#include <string>

#include "Varek/Export.h"
#include "store/Stream.h"
#include "views/Tree.h"

/// State that outlives a process: a file with trees of any types and everything below them.
///
///     if ( std::filesystem::exists( path ) )
///        Qel::assignEntity( *status, *Store::load( path ).at( "status" ) );
///     ...
///     Store::save( { { "status", status } }, path );
namespace Store {

/// Writes the trees, under their names, to a state file at \p path, as writeStream() does, and
/// throws what that throws. The trees are not changed, and may be published meanwhile.
VAREK_EXPORT void save( Views::Roots const& roots, std::string const& path );

/// The trees in the state file at \p path; the caller owns them, and may change and publish them.
/// Contents of unknown types and attributes are left out, and counted in \p leftOut if it is not
/// null; an attribute that is not in the file has its default. Throws Varek::Failure as
/// readStream() and apply() do.
VAREK_EXPORT Views::Roots load( std::string const& path, LeftOut* leftOut = nullptr,
                                HowFar const& howFar = {} );

} // namespace Store
