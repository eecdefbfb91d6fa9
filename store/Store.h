#pragma once

#include <string>

#include "store/Stream.h"
#include "views/Tree.h"

/// State that outlives a process: trees of any types, with everything below them, in a file.
///
///     if ( std::filesystem::exists( path ) )
///        Qel::assignEntity( *status, *Store::load( path ).at( "status" ) );
///     ...
///     Store::save( { { "status", status } }, path );
namespace Store {

/// Writes the trees, under their names, to a state file at \p path; how, and what it throws,
/// writeStream() says. The trees are not changed, and may be published meanwhile.
void save( Views::Roots const& roots, std::string const& path );

/// The trees in the state file at \p path, which are the caller's to change and to publish. What is
/// of types and attributes that are not known here is left out, and counted in \p leftOut if it is
/// not null; of what is not in the file each attribute has its default. Throws Varek::Failure as
/// readStream() and apply() do.
Views::Roots load( std::string const& path, LeftOut* leftOut = nullptr, HowFar const& howFar = {} );

} // namespace Store
