// The slab allocator: nobody's storage is anybody else's, and all of it is accounted for.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <latch>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Pallo/Pallo.h"

namespace {

/// Storage that is filled with a pattern of its own.
struct Filled {
   std::size_t size;
   unsigned char pattern;
   unsigned char* storage;

   Filled( std::size_t s, unsigned char p )
      : size( s ), pattern( p ), storage( static_cast<unsigned char*>( Pallo::allocate( s ) ) ) {
      std::memset( storage, pattern, size );
   }
   bool intact() const {
      for ( std::size_t i = 0; i < size; ++i ) {
         if ( storage[i] != pattern ) {
            return false;
         }
      }
      return true;
   }
};

/// Allocates and releases at random, up to \p most at once, and ends with nothing.
void comeAndGo( unsigned seed, std::size_t most, int steps ) {
   std::mt19937 random( seed );
   std::vector<Filled> held;
   auto const drop = [&]( std::size_t i ) {
      ASSERT_TRUE( held[i].intact() ) << held[i].size << " bytes";
      Pallo::release( held[i].storage, held[i].size );
      held[i] = held.back();
      held.pop_back();
   };
   for ( int step = 0; step < steps; ++step ) {
      bool const growing = step / static_cast<int>( most ) % 2 == 0;
      if ( held.size() < most && random() % 10 < ( growing ? 8U : 3U ) ) {
         Filled const made( random() % 1101, static_cast<unsigned char>( random() ) );
         ASSERT_EQ( reinterpret_cast<std::uintptr_t>( made.storage ) % 16, 0U ) << made.size;
         held.push_back( made );
      } else if ( !held.empty() ) {
         drop( random() % held.size() );
      }
   }
   while ( !held.empty() ) {
      drop( random() % held.size() );
   }
}

/// Holds a few objects of one size at a time, each with a mark of its own, as fast as can be.
/// Returns the number of marks that others had overwritten.
std::size_t hammer( std::uintptr_t thread, int rounds ) {
   std::array<std::uintptr_t*, 40> held;
   std::size_t overwritten = 0;
   for ( int round = 0; round < rounds; ++round ) {
      for ( std::uintptr_t*& one : held ) {
         one = static_cast<std::uintptr_t*>( Pallo::allocate( 32 ) );
         one[0] = one[3] = thread;
      }
      for ( std::uintptr_t* const one : held ) {
         overwritten += one[0] != thread || one[3] != thread;
         Pallo::release( one, 32 );
      }
   }
   return overwritten;
}

/// Whether slabs are in use at all (the address sanitizer turns them off).
bool slabsUsed() {
   std::size_t const before = Pallo::usage().liveBytes;
   void* const probe = Pallo::allocate( 1 );
   bool const used = Pallo::usage().liveBytes != before;
   Pallo::release( probe, 1 );
   return used;
}

TEST( Pallo, KeepsWhatIsStoredAndAccountsForIt ) {
   std::size_t const before = Pallo::usage().liveBytes;
   comeAndGo( 1, 3000, 60'000 );
   EXPECT_EQ( Pallo::usage().liveBytes, before );
}

TEST( Pallo, EverySizeIsRoundedUpToSixteen ) {
   if ( !slabsUsed() ) {
      GTEST_SKIP() << "storage comes from the heap under the address sanitizer";
   }
   for ( std::size_t size = 0; size <= 1100; ++size ) {
      std::size_t const before = Pallo::usage().liveBytes;
      void* const storage = Pallo::allocate( size );
      std::size_t const expected =
         size > Pallo::largestSize ? 0 : std::max<std::size_t>( ( size + 15 ) / 16 * 16, 16 );
      EXPECT_EQ( Pallo::usage().liveBytes - before, expected ) << size;
      Pallo::release( storage, size );
      EXPECT_EQ( Pallo::usage().liveBytes, before );
   }
}

TEST( Pallo, GivesRegionsBackToTheHeap ) {
   if ( !slabsUsed() ) {
      GTEST_SKIP() << "storage comes from the heap under the address sanitizer";
   }
   std::size_t regions[2];
   std::size_t peak = 0;
   for ( std::size_t& after : regions ) {
      std::vector<void*> held;
      for ( int i = 0; i < 40'000; ++i ) {
         held.push_back( Pallo::allocate( 512 ) );
      }
      peak = Pallo::usage().regionBytes;
      for ( std::size_t i = 0; i < held.size(); i += 2 ) {
         Pallo::release( held[i], 512 );
      }
      for ( std::size_t i = 0; i < held.size(); i += 2 ) {
         held[i] = Pallo::allocate( 512 );
      }
      EXPECT_EQ( Pallo::usage().regionBytes, peak ) << "what came back is not used again";
      std::shuffle( held.begin(), held.end(), std::mt19937( 3 ) );
      for ( void* const storage : held ) {
         Pallo::release( storage, 512 );
      }
      after = Pallo::usage().regionBytes;
   }
   EXPECT_GE( peak, 40'000U * 512U );
   EXPECT_LT( regions[0], peak / 4 );
   EXPECT_EQ( regions[1], regions[0] );
}

TEST( Pallo, ServesSeveralThreads ) {
   std::size_t const before = Pallo::usage().liveBytes;
   std::atomic<std::size_t> overwritten{ 0 };
   {
      std::latch start( 4 );
      std::vector<std::jthread> threads;
      for ( unsigned number = 1; number <= 4; ++number ) {
         threads.emplace_back( [&, number] {
            start.arrive_and_wait();
            overwritten += hammer( number, 10'000 );
            comeAndGo( number, 500, 5'000 );
         } );
      }
   }
   EXPECT_EQ( overwritten, 0U );
   EXPECT_EQ( Pallo::usage().liveBytes, before );
}

} // namespace
