// Keyed collections by MAC address compared with absl::flat_hash_map with its default hash; both
// hold the same pointers.

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"

namespace {

using Object = Dot1xV2::AaaResponse;
using Pointer = Varek::Ptr<Object>;
using Octets = std::array<std::uint8_t, 6>;

struct Node {
   Lumo::EthAddr key;
   Pointer object;
   Node( Lumo::EthAddr const& k, Pointer const& o ) : key( k ), object( o ) {}
};
struct NodeKey {
   using Key = Lumo::EthAddr;
   Key const& operator()( Node const& node ) const { return node.key; }
};

/// A common interface of both maps.
struct Ours {
   static constexpr char const* name = "ours";
   using Key = Lumo::EthAddr;
   Qel::HashMap2018<Node, NodeKey, 0x93DE7A50> map;
   static Key key( Octets const& octets ) { return Key( octets ); }
   void insert( Key const& key, Pointer const& object ) {
      map.findOrNewMemberG( key, key, object );
   }
   Object* find( Key const& key ) const {
      Node const* const node = map.lookupNodeG( key );
      return node ? node->object.get() : nullptr;
   }
   void erase( Key const& key ) { map.deleteMemberG( key ); }
   std::uintptr_t sum() const {
      std::uintptr_t all = 0;
      for ( Node const& node : map ) {
         all += reinterpret_cast<std::uintptr_t>( node.object.get() );
      }
      return all;
   }
};

struct Peer {
   static constexpr char const* name = "peer";
   using Key = Octets;
   absl::flat_hash_map<Octets, Pointer> map;
   static Key key( Octets const& octets ) { return octets; }
   void insert( Key const& key, Pointer const& object ) { map.try_emplace( key, object ); }
   Object* find( Key const& key ) const {
      auto const at = map.find( key );
      return at == map.end() ? nullptr : at->second.get();
   }
   void erase( Key const& key ) { map.erase( key ); }
   std::uintptr_t sum() const {
      std::uintptr_t all = 0;
      for ( auto const& [key, object] : map ) {
         all += reinterpret_cast<std::uintptr_t>( object.get() );
      }
      return all;
   }
};

template<class Map>
std::vector<typename Map::Key> keys( std::int64_t count, unsigned seed ) {
   std::mt19937_64 random( seed );
   std::vector<typename Map::Key> all;
   for ( std::int64_t i = 0; i < count; ++i ) {
      std::uint64_t const bits = random();
      Octets octets;
      std::memcpy( octets.data(), &bits, octets.size() );
      all.push_back( Map::key( octets ) );
   }
   return all;
}

template<class Map>
struct Filled {
   std::vector<typename Map::Key> present;
   Pointer object = Dot1xV2::aaaResponseFactory( Dot1xV2::AaaResponseType::accepted );
   Map map;

   explicit Filled( std::int64_t count ) : present( keys<Map>( count, 1 ) ) {
      for ( auto const& key : present ) {
         map.insert( key, object );
      }
      std::shuffle( present.begin(), present.end(), std::mt19937_64( 3 ) );
   }
};

/// Cycles through some keys.
template<class Key>
class Round {
public:
   explicit Round( std::vector<Key> const& all ) : all_( all ) {}
   Key const& next() {
      if ( ++at_ == all_.size() ) {
         at_ = 0;
      }
      return all_[at_];
   }

private:
   std::vector<Key> const& all_;
   std::size_t at_ = 0;
};

template<class Map>
void findHit( benchmark::State& state ) {
   Filled<Map> const filled( state.range( 0 ) );
   Round round( filled.present );
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( filled.map.find( round.next() ) );
   }
}

template<class Map>
void findMiss( benchmark::State& state ) {
   Filled<Map> const filled( state.range( 0 ) );
   auto const absent = keys<Map>( state.range( 0 ), 2 );
   Round round( absent );
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( filled.map.find( round.next() ) );
   }
}

template<class Map>
void iterate( benchmark::State& state ) {
   Filled<Map> const filled( state.range( 0 ) );
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( filled.map.sum() );
   }
   state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

/// Whole maps at a time, so that their growth counts; only \p work is timed.
template<class Map, class Prepare, class Work>
void wholeMaps( benchmark::State& state, Prepare prepare, Work work ) {
   // Many small maps are built at a time, so that the cost of reading the clock does not show.
   auto const maps =
      static_cast<std::size_t>( std::max<std::int64_t>( 1, 10000 / state.range( 0 ) ) );
   for ( auto _ : state ) {
      state.PauseTiming();
      std::vector<Map> all( maps );
      for ( Map& map : all ) {
         prepare( map );
      }
      state.ResumeTiming();
      for ( Map& map : all ) {
         work( map );
      }
      state.PauseTiming();
      all.clear();
      state.ResumeTiming();
   }
   state.SetItemsProcessed( state.iterations() * state.range( 0 ) *
                            static_cast<std::int64_t>( maps ) );
}

template<class Map>
void insert( benchmark::State& state ) {
   Filled<Map> const filled( state.range( 0 ) );
   wholeMaps<Map>(
      state, []( Map& ) {},
      [&]( Map& map ) {
         for ( auto const& key : filled.present ) {
            map.insert( key, filled.object );
         }
      } );
}

template<class Map>
void erase( benchmark::State& state ) {
   Filled<Map> const filled( state.range( 0 ) );
   auto const inserted = keys<Map>( state.range( 0 ), 1 );
   wholeMaps<Map>(
      state,
      [&]( Map& map ) {
         for ( auto const& key : inserted ) {
            map.insert( key, filled.object );
         }
      },
      [&]( Map& map ) {
         for ( auto const& key : filled.present ) {
            map.erase( key );
         }
      } );
}

template<class Map>
void churn( benchmark::State& state ) {
   Filled<Map> filled( state.range( 0 ) );
   Round round( filled.present );
   for ( auto _ : state ) {
      auto const& key = round.next();
      filled.map.erase( key );
      filled.map.insert( key, filled.object );
   }
}

template<class Map>
void registerAll() {
   auto const add = []( char const* what, void ( *run )( benchmark::State& ) ) {
      auto* const made =
         benchmark::RegisterBenchmark( ( std::string( what ) + '/' + Map::name ).c_str(), run );
      for ( std::int64_t const count : { 10, 1000, 100000, 1000000 } ) {
         made->Arg( count );
      }
   };
   add( "find_hit", findHit<Map> );
   add( "find_miss", findMiss<Map> );
   add( "iterate", iterate<Map> );
   add( "insert", insert<Map> );
   add( "erase", erase<Map> );
   add( "erase_insert", churn<Map> );
}

[[maybe_unused]] bool const registered = ( registerAll<Ours>(), registerAll<Peer>(), true );

} // namespace
