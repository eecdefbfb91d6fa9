#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

/// A number that counts its objects, notices a second destruction or a use after destruction, and
/// throws from the copy that a test has chosen to fail.
class Tracked {
public:
   inline static thread_local int live = 0; // for each thread, as copiesLeft
   /// How many further copies succeed; negative if all do.
   inline static thread_local int copiesLeft = -1;

   Tracked( std::uint32_t value = 0 ) : value_( value ) { ++live; }
   Tracked( Tracked const& other ) : value_( copied( other ) ) { ++live; }
   Tracked( Tracked&& other ) noexcept : value_( other.value() ) { ++live; }
   Tracked& operator=( Tracked const& other ) {
      value_ = copied( other );
      return *this;
   }
   Tracked& operator=( Tracked&& other ) noexcept {
      value_ = other.value();
      return *this;
   }
   ~Tracked() {
      EXPECT_EQ( self_, this ) << "destroyed twice, or never constructed";
      self_ = nullptr;
      --live;
   }
   std::uint32_t value() const {
      EXPECT_EQ( self_, this ) << "used after its end, or never constructed";
      return value_;
   }
   friend bool operator==( Tracked const& a, Tracked const& b ) { return a.value() == b.value(); }

private:
   static std::uint32_t copied( Tracked const& other ) {
      if ( copiesLeft == 0 ) {
         throw std::runtime_error( "a copy that was to fail" );
      }
      copiesLeft -= copiesLeft > 0;
      return other.value();
   }

   Tracked const volatile* self_ = this;
   std::uint32_t value_;
};

inline std::string stringValue( Tracked const& value ) { return std::to_string( value.value() ); }

/// Makes copies fail after \p after further copies, until the end of its scope.
struct CopiesFail {
   explicit CopiesFail( int after ) { Tracked::copiesLeft = after; }
   ~CopiesFail() { Tracked::copiesLeft = -1; }
};
