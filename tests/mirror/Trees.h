#pragma once

#include <random>
#include <string>

#include "support/TestModule.h"

/// Trees of the tests' module: whether two are equal, and random changes.
namespace Trees {

using namespace TestModule;

/// Where the two differ first; empty if they are equal.
std::string difference( Plant const&, Plant const& );
std::string difference( Depot const&, Depot const& );

/// One random change among few keys, so that elements come, change, go and come again.
void change( Plant&, std::mt19937& );
void change( Depot&, std::mt19937& );

Reading reading( std::uint32_t number, std::uint32_t sample );

} // namespace Trees
