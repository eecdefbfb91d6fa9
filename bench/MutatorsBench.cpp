// The cost of setting an attribute (unchanged, changed, observed) and of making an entity, each
// compared with the plainest C++ that does as much.

#include <array>
#include <functional>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"

namespace {

using Dot1xV2::AaaResponse;

auto const one = Lumo::EthAddr( "00:00:5e:00:53:01" );
auto const two = Lumo::EthAddr( "00:00:5e:00:53:02" );

Varek::Ptr<AaaResponse> newResponse() {
   return Dot1xV2::aaaResponseFactory( Dot1xV2::AaaResponseType::accepted );
}

void unchangedSet( benchmark::State& state ) {
   auto const response = newResponse();
   response->callingStationIdIs( one );
   Lumo::EthAddr same = one;
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( same );
      response->callingStationIdIs( same );
      benchmark::ClobberMemory();
   }
}
BENCHMARK( unchangedSet )->Name( "unchanged_set/ours" );

void readAttribute( benchmark::State& state ) {
   auto const response = newResponse();
   Lumo::EthAddr same = one;
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( same );
      auto read = response->callingStationId();
      benchmark::DoNotOptimize( read );
      benchmark::ClobberMemory();
   }
}
BENCHMARK( readAttribute )->Name( "unchanged_set/peer" );

struct Plain {
   Lumo::EthAddr address;
   std::vector<std::function<void( Plain&, int, Lumo::EthAddr const& )>> observers;
};

void changedSet( benchmark::State& state ) {
   auto const response = newResponse();
   std::uint64_t told = 0;
   std::vector<Varek::Subscription> subscriptions;
   for ( auto i = state.range( 0 ); i > 0; --i ) {
      subscriptions.push_back( response->publisher().subscribe(
         [&told]( Varek::Change const& change ) { told += change.id().value(); } ) );
   }
   std::array addresses{ one, two };
   unsigned next = 0;
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( addresses );
      response->callingStationIdIs( addresses[next ^= 1] );
      benchmark::ClobberMemory();
   }
   benchmark::DoNotOptimize( told );
}
BENCHMARK( changedSet )->Name( "changed_set/ours" )->Arg( 0 )->Arg( 1 )->Arg( 4 );

void changedSetPlain( benchmark::State& state ) {
   auto const plain = std::make_unique<Plain>();
   std::uint64_t told = 0;
   for ( auto i = state.range( 0 ); i > 0; --i ) {
      plain->observers.emplace_back(
         [&told]( Plain&, int id, Lumo::EthAddr const& ) { told += static_cast<unsigned>( id ); } );
   }
   std::array addresses{ one, two };
   unsigned next = 0;
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( addresses );
      Lumo::EthAddr const& address = addresses[next ^= 1];
      if ( plain->address != address ) {
         Lumo::EthAddr const old = std::exchange( plain->address, address );
         for ( auto const& observer : plain->observers ) {
            observer( *plain, 259, old );
         }
      }
      benchmark::ClobberMemory();
   }
   benchmark::DoNotOptimize( told );
}
BENCHMARK( changedSetPlain )->Name( "changed_set/peer" )->Arg( 0 )->Arg( 1 )->Arg( 4 );

void makeEntity( benchmark::State& state ) {
   for ( auto _ : state ) {
      auto response = newResponse();
      benchmark::DoNotOptimize( response );
   }
}
BENCHMARK( makeEntity )->Name( "make_and_release/ours" );

struct SameSize {
   std::array<char, sizeof( AaaResponse )> bytes{};
};

void newAndDelete( benchmark::State& state ) {
   for ( auto _ : state ) {
      auto* made = new SameSize;
      benchmark::DoNotOptimize( made );
      delete made;
   }
}
BENCHMARK( newAndDelete )->Name( "make_and_release/peer" );

// Many entities at a time, as when a tree is built and dropped.
void makeMany( benchmark::State& state ) {
   std::vector<Varek::Ptr<AaaResponse>> all( static_cast<std::size_t>( state.range( 0 ) ) );
   for ( auto _ : state ) {
      for ( auto& response : all ) {
         response = newResponse();
      }
      for ( auto& response : all ) {
         response = nullptr;
      }
   }
   state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}
BENCHMARK( makeMany )->Name( "make_many/ours" )->Arg( 10000 );

void newMany( benchmark::State& state ) {
   std::vector<std::unique_ptr<SameSize>> all( static_cast<std::size_t>( state.range( 0 ) ) );
   for ( auto _ : state ) {
      for ( auto& object : all ) {
         object = std::make_unique<SameSize>();
      }
      for ( auto& object : all ) {
         object = nullptr;
      }
   }
   state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}
BENCHMARK( newMany )->Name( "make_many/peer" )->Arg( 10000 );

void insertAttributes( benchmark::State& state ) {
   std::vector<Dot1xV2::AaaAttribute> attributes;
   for ( std::uint16_t type = 1; type <= 12; ++type ) {
      attributes.emplace_back( RadiusPktParserBase::Attribute( 0, type ) );
      attributes.back().attrValuePush( RadiusPktParserBase::AttrValue( std::uint32_t{ type } ) );
   }
   for ( auto _ : state ) {
      auto const response = newResponse();
      for ( auto const& attribute : attributes ) {
         response->aaaAttributeIs( attribute );
      }
   }
}
BENCHMARK( insertAttributes )->Name( "response_of_12_attributes/ours" );

} // namespace
