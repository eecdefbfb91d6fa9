#pragma once

/// Marks what a library offers to others. Everything else is hidden: the libraries are built with
/// hidden visibility, so that calls inside one need no detour and names cannot clash between two.
#define VAREK_EXPORT __attribute__( ( visibility( "default" ) ) )
