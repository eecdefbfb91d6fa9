#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>

/// Runs that are too long for every day: a test does a fiftieth of a run, scripts/soak the whole
/// run, and DOT1X_SOAK_SCALE says how many fiftieths.
namespace Soak {

inline constexpr std::uint64_t whole = 50;

inline std::uint64_t scale() {
   char const* const text = std::getenv( "DOT1X_SOAK_SCALE" );
   return text ? std::strtoull( text, nullptr, 10 ) : 1;
}

/// Counts the rounds of a run that has \p full rounds in full:
///     for ( Soak::Rounds round( 10'000 ); round.next(); )
/// and reports each tenth of a run that is longer than usual.
class Rounds {
public:
   explicit Rounds( std::uint64_t full )
      : count_( std::max<std::uint64_t>( full * scale() / whole, 1 ) ) {}
   std::uint64_t count() const { return count_; }
   /// The number of the present round, from 0.
   std::uint64_t index() const { return begun_ - 1; }
   bool next() {
      if ( begun_ != 0 && scale() > 1 && begun_ * 10 / count_ != ( begun_ - 1 ) * 10 / count_ ) {
         std::cout << begun_ * 100 / count_ << " % of " << count_ << " rounds" << std::endl;
      }
      return begun_++ < count_;
   }

private:
   std::uint64_t const count_;
   std::uint64_t begun_ = 0;
};

} // namespace Soak
