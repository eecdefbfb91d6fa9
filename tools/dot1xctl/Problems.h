#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>

#include "capture/Problem.h"

/// Bad input: reported on standard error as it is met, and counted.
///
/// A capture may hold one fault a thousand times (every packet cut by the same snap length). Of
/// each kind the first few of a file are told in full and the rest as one count when the file is
/// done, so that the rare fault is not lost among the frequent one. The output for programs
/// (Output.h) has all of them.
namespace Dot1xCtl {

class Problems {
public:
   static constexpr std::size_t shownPerKind = 5;

   explicit Problems( std::ostream& out ) : out_( out ) {}

   /// Called, if set, before a message is printed.
   std::function<void()> beforeOutput;

   /// Begins the next file, after done() with the file before.
   void file( std::string const& name );
   void add( Capture::Problem const& );
   /// Prints how many of the current file's problems were not reported.
   void done();
   /// The number of problems in all files.
   std::size_t count() const { return count_; }

private:
   void aboutToTell() const;

   static constexpr std::size_t kinds =
      static_cast<std::size_t>( Capture::ProblemKind::radius ) + 1;

   std::ostream& out_;
   std::string file_; // as it is printed
   std::array<std::size_t, kinds> ofKind_{};
   std::size_t count_ = 0;
};

} // namespace Dot1xCtl
