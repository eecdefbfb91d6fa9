// Counted pointers: each is one reference, whatever it is made from, and the last one ends the
// object once.

#include <functional>

#include <gtest/gtest.h>

#include "Varek/Ptr.h"

namespace {

using Varek::Ptr;

struct Base : Varek::Counted {
   inline static int live = 0;
   std::function<void()> atEnd;
   Base() { ++live; }
   ~Base() override {
      --live;
      if ( atEnd ) {
         atEnd();
      }
   }
};
struct Derived final : Base {};

template<class T = Base>
Ptr<T> make() {
   return Ptr<T>::adopt( new T );
}

TEST( Ptr, EachHolderIsOneReference ) {
   {
      auto const made = make<Derived>();
      auto const held = [&] { return made->references(); };
      EXPECT_EQ( held(), 1U );
      Ptr<Derived> copy( made );
      Ptr<Base> base( made ), ofItsOwn( made.get() );
      EXPECT_EQ( held(), 4U );
      EXPECT_EQ( base, made );
      Ptr<Base> moved( std::move( copy ) );
      EXPECT_EQ( copy, nullptr );
      EXPECT_EQ( held(), 4U );
      ofItsOwn = moved;
      EXPECT_EQ( held(), 4U );
      ofItsOwn = std::move( moved );
      EXPECT_EQ( moved, nullptr );
      EXPECT_EQ( held(), 3U );
      auto& same = base;
      base = same;
      base = std::move( same );
      EXPECT_EQ( base, made );
      EXPECT_EQ( held(), 3U );
      Base* const released = base.release();
      EXPECT_FALSE( base );
      EXPECT_EQ( held(), 3U );
      base = Ptr<Base>::adopt( released );
      base = copy; // null
      EXPECT_EQ( held(), 2U );
      ofItsOwn = make();
      EXPECT_EQ( held(), 1U );
      EXPECT_EQ( Base::live, 2 );
      Ptr<Base> const null( ( Ptr<Derived>() ) ), nullToo( static_cast<Base*>( nullptr ) );
      EXPECT_EQ( null, nullToo );
   }
   EXPECT_EQ( Base::live, 0 );
}

TEST( Ptr, AnEndMayLetGoOfOthersAndUseThePointerThatHeldIt ) {
   auto held = make(), last = make();
   held->atEnd = [&] {
      EXPECT_EQ( held, nullptr ) << "still names what ends";
      EXPECT_EQ( Base::live, 1 );
      last = nullptr;
      EXPECT_EQ( Base::live, 0 );
      held = make();
   };
   held = nullptr;
   EXPECT_NE( held, nullptr );
   EXPECT_EQ( Base::live, 1 );
   // A chain in which each holds the last reference to the next.
   for ( int i = 0; i < 1000; ++i ) {
      auto owner = make();
      owner->atEnd = [next = std::move( held )] {};
      held = std::move( owner );
   }
   EXPECT_EQ( Base::live, 1001 );
   held = nullptr;
   EXPECT_EQ( Base::live, 0 );
}

} // namespace
