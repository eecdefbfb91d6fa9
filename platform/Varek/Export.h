#pragma once

/// Marks the symbols that a library offers. All others are hidden, so that calls within a library
/// are direct and names of two libraries cannot clash.
#define VAREK_EXPORT __attribute__( ( visibility( "default" ) ) )
