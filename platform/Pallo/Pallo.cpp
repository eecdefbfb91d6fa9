#include "Pallo/Pallo.h"

#include <array>
#include <cstdint>
#include <mutex>

#include "Pallo/Pages.h"
#include "Varek/ThreadControl.h"

#if defined( __SANITIZE_ADDRESS__ )
#define PALLO_HEAP_ONLY 1
#elif defined( __has_feature )
#if __has_feature( address_sanitizer )
#define PALLO_HEAP_ONLY 1
#endif
#endif
#ifndef PALLO_HEAP_ONLY
#define PALLO_HEAP_ONLY 0
#endif

namespace Pallo {

namespace {

constexpr bool heapOnly = PALLO_HEAP_ONLY != 0;
constexpr std::size_t granule = 16;
constexpr std::size_t classes = largestSize / granule;
constexpr std::size_t slabSize = std::size_t{ 16 } * 1024;
// Regions of a process with much state are large, and filled in one call.
constexpr std::size_t smallRegion = 16;  // slabs
constexpr std::size_t largeRegion = 128; // slabs
constexpr std::size_t slabsForLarge = 16 * smallRegion;
// So many slabs may lie unused, or a single region.
constexpr std::size_t slabsKept = 4 * smallRegion;

struct FreeObject {
   FreeObject* next;
};

struct Region;

/// The head of a slab; the objects follow it. Clearing the low bits of an object's address gives
/// the slab.
struct Slab {
   Region* region;
   Slab* next; // in the list of slabs of its class that have room, or of unused slabs
   Slab* previous;
   FreeObject* freed;   // objects given back
   std::uint32_t live;  // objects in use
   std::uint32_t fresh; // offset of the first object that was never used
   std::uint32_t objectSize;
};

constexpr std::size_t slabHead = ( sizeof( Slab ) + granule - 1 ) / granule * granule;

/// A piece of memory that is cut into slabs, from the first to the last.
struct Region {
   void* storage;
   std::size_t slabs;
   std::size_t cut = 0;    ///< Those that have been used; the memory of others was never touched.
   std::size_t inUse = 0;  ///< Those that are not in the list of unused ones.
   Region* next = nullptr; // in the list of all
   Region* previous = nullptr;

   Slab* slab( std::size_t i ) const {
      return reinterpret_cast<Slab*>( static_cast<char*>( storage ) + i * slabSize );
   }
};

template<class Node>
class List {
public:
   Node* front() const { return first_; }
   void push( Node* node ) {
      node->previous = nullptr;
      node->next = first_;
      if ( first_ ) {
         first_->previous = node;
      }
      first_ = node;
   }
   void remove( Node* node ) {
      ( node->previous ? node->previous->next : first_ ) = node->next;
      if ( node->next ) {
         node->next->previous = node->previous;
      }
   }

private:
   Node* first_ = nullptr;
};

struct State {
   std::array<List<Slab>, classes> withRoom;
   List<Slab> unused;
   List<Region> regions; // the first may have slabs that are not cut yet
   std::size_t slabs = 0;
   std::size_t slabsOfUnusedRegions = 0;
   std::mutex mutex;
};

// Constant-initialised and never destroyed: entities may live in static objects.
union StateHolder {
   constexpr StateHolder() : state() {}
   ~StateHolder() {}
   State state;
};
constinit StateHolder holder;

/// Takes the lock only while more than one thread may run.
class Guard {
public:
   Guard() : locked_( Varek::ThreadControl::multiThreaded() ) {
      if ( locked_ ) [[unlikely]] {
         holder.state.mutex.lock();
      }
   }
   ~Guard() {
      if ( locked_ ) [[unlikely]] {
         holder.state.mutex.unlock();
      }
   }
   Guard( Guard const& ) = delete;
   Guard& operator=( Guard const& ) = delete;

private:
   bool const locked_;
};

std::size_t classOf( std::size_t size ) { return ( size + granule - 1 ) / granule - ( size != 0 ); }

Slab* slabOf( void* object ) {
   auto const address = reinterpret_cast<std::uintptr_t>( object );
   return reinterpret_cast<Slab*>( address & ~( slabSize - 1 ) );
}

bool full( Slab const& slab ) { return !slab.freed && slab.fresh + slab.objectSize > slabSize; }

void addRegion( State& state ) {
   std::size_t const slabs = state.slabs < slabsForLarge ? smallRegion : largeRegion;
   auto* const region = new Region{ pagesTake( slabs * slabSize, slabs == largeRegion ), slabs };
   if ( !region->storage ) {
      delete region;
      throw std::bad_alloc();
   }
   state.regions.push( region );
   state.slabs += slabs;
   state.slabsOfUnusedRegions += slabs;
}

/// A slab that nobody uses.
Slab* takeSlab( State& state ) {
   Slab* slab = state.unused.front();
   if ( slab ) {
      state.unused.remove( slab );
   } else {
      Region* region = state.regions.front();
      if ( !region || region->cut == region->slabs ) {
         addRegion( state );
         region = state.regions.front();
      }
      slab =
         ::new ( region->slab( region->cut++ ) ) Slab{ region, nullptr, nullptr, nullptr, 0, 0, 0 };
   }
   if ( slab->region->inUse++ == 0 ) {
      state.slabsOfUnusedRegions -= slab->region->slabs;
   }
   return slab;
}

/// Adds a slab for objects of class \p index at the front of the list of its class.
Slab* addSlab( State& state, std::size_t index ) {
   Slab* const slab = takeSlab( state );
   slab->freed = nullptr;
   slab->live = 0;
   slab->fresh = slabHead;
   slab->objectSize = static_cast<std::uint32_t>( ( index + 1 ) * granule );
   state.withRoom[index].push( slab );
   return slab;
}

void dropRegion( State& state, Region* region ) {
   for ( std::size_t i = 0; i < region->cut; ++i ) {
      state.unused.remove( region->slab( i ) );
   }
   state.regions.remove( region );
   state.slabs -= region->slabs;
   state.slabsOfUnusedRegions -= region->slabs;
   pagesGive( region->storage, region->slabs * slabSize );
   delete region;
}

void dropSlab( State& state, std::size_t index, Slab* slab ) {
   state.withRoom[index].remove( slab );
   state.unused.push( slab );
   Region* const region = slab->region;
   if ( --region->inUse != 0 ) {
      return;
   }
   bool const isOnlyOne = state.slabsOfUnusedRegions == 0;
   state.slabsOfUnusedRegions += region->slabs;
   if ( !isOnlyOne && state.slabsOfUnusedRegions > slabsKept ) {
      dropRegion( state, region );
   }
}

} // namespace

void* allocate( std::size_t size ) {
   if ( heapOnly || size > largestSize ) {
      return ::operator new( size );
   }
   Guard const guard;
   State& state = holder.state;
   std::size_t const index = classOf( size );
   Slab* slab = state.withRoom[index].front();
   if ( !slab ) [[unlikely]] {
      slab = addSlab( state, index );
   }
   void* object = slab->freed;
   if ( object ) {
      slab->freed = slab->freed->next;
   } else {
      object = reinterpret_cast<char*>( slab ) + slab->fresh;
      slab->fresh += slab->objectSize;
   }
   ++slab->live;
   if ( full( *slab ) ) [[unlikely]] {
      state.withRoom[index].remove( slab );
   }
   return object;
}

void release( void* storage, std::size_t size ) noexcept {
   if ( heapOnly || size > largestSize ) {
      ::operator delete( storage );
      return;
   }
   Guard const guard;
   State& state = holder.state;
   Slab* const slab = slabOf( storage );
   if ( full( *slab ) ) [[unlikely]] {
      state.withRoom[classOf( size )].push( slab );
   }
   slab->freed = ::new ( storage ) FreeObject{ slab->freed };
   // The last slab of its class stays, so that one object that comes and goes costs no set-up.
   if ( --slab->live == 0 && ( slab->next || slab->previous ) ) [[unlikely]] {
      dropSlab( state, classOf( size ), slab );
   }
}

Usage usage() {
   Guard const guard;
   Usage all;
   for ( Region const* region = holder.state.regions.front(); region; region = region->next ) {
      all.regionBytes += slabSize * region->slabs;
      for ( std::size_t i = 0; i < region->cut; ++i ) {
         all.liveBytes += std::size_t{ region->slab( i )->live } * region->slab( i )->objectSize;
      }
   }
   return all;
}

} // namespace Pallo
