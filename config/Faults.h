#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "config/JsonNode.h"

/// The faults of a configuration file: all of them and not only the first, since a user wants to
/// correct a file once.
namespace Config {

struct Fault {
   std::size_t line = 0; ///< From 1.
   std::string what;     ///< A sentence without its full stop, with the path in front.
};

class Faults {
public:
   /// A limit, since a file of the wrong kind has a fault in each line.
   static constexpr std::size_t mostKept = 20;

   void add( std::size_t line, std::string what );
   void add( JsonPlace const& where, std::string const& what );
   /// "PATH: found X, expected \p expected".
   void unexpected( JsonPlace const& where, std::string const& expected );

   std::size_t count() const { return count_; }
   /// The first mostKept, in the order in which they were met.
   std::vector<Fault> const& kept() const { return kept_; }

private:
   std::vector<Fault> kept_;
   std::size_t count_ = 0;
};

/// Prints each fault on a line, "PROGRAM: FILE:LINE: PATH: what", then the number of further ones.
void printFaults( std::ostream&, std::string_view program, std::string const& file, Faults const& );

} // namespace Config
