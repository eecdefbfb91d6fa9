// Mirroring a tree of 100,000 answers to another process, and single changes after that, beside the
// practical limit: a loop that packs the same content big-endian into a socket and unpacks it into
// plain structs. The cost of several followers for the leader, compared with a single follower.
// (Compared with Redis: RedisBench.cpp.)

#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/HandPacked.h"
#include "bench/Mirrored.h"
#include "bench/Processes.h"

namespace {

using namespace Bench;

void syncOurs( benchmark::State& state ) {
   table();
   for ( auto _ : state ) {
      Mirrored mirrored;
      state.SetIterationTime( fullSync( mirrored ) );
      state.counters["bytes"] = static_cast<double>( mirrored.stats().bytesSent ) / answers;
   }
}
BENCHMARK( syncOurs )->Name( "sync_answer/ours" )->UseManualTime()->Iterations( 1 );

/// The computing time of the leader's process for each change.
template<unsigned followers>
void leaderCost( benchmark::State& state ) {
   table();
   Mirrored mirrored;
   for ( unsigned n = 0; n < followers; ++n ) {
      mirrored.followerIs();
   }
   mirrored.awaitAll();
   for ( auto _ : state ) {
      auto const before = mirrored.stats();
      double const begin = cpuSeconds();
      changesMake( mirrored );
      state.SetIterationTime( ( cpuSeconds() - begin ) / changesEach );
      // How many changes were encoded once for all followers; late followers make it fewer.
      auto const after = mirrored.stats();
      state.counters["shared_messages"] =
         static_cast<double>( after.groupMessages - before.groupMessages ) / changesEach;
   }
}
BENCHMARK( leaderCost<4> )
   ->Name( "leader_cpu_4_followers_to_1/ours" )
   ->UseManualTime()
   ->Iterations( 1 );
BENCHMARK( leaderCost<1> )
   ->Name( "leader_cpu_4_followers_to_1/peer" )
   ->UseManualTime()
   ->Iterations( 1 );
/// The part of that time which the change itself takes.
BENCHMARK( leaderCost<0> )->Name( "leader_cpu_no_follower/ours" )->UseManualTime()->Iterations( 1 );

/// The median as the time, and what is exceeded once in a hundred times.
void latenciesAre( benchmark::State& state, std::vector<double> all ) {
   std::ranges::sort( all );
   state.SetIterationTime( all[all.size() / 2] );
   state.counters["p99_ns"] = 1e9 * all[all.size() * 99 / 100];
}

void latency( benchmark::State& state ) {
   table();
   Mirrored mirrored;
   mirrored.followerIs();
   mirrored.awaitAll();
   for ( auto _ : state ) {
      std::vector<double> all;
      for ( unsigned i = 0; i < 3000; ++i ) {
         auto const begin = Clock::now();
         stationToggle();
         mirrored.serve();
         mirrored.awaitAll();
         all.push_back( since( begin ) );
      }
      latenciesAre( state, std::move( all ) );
   }
}
BENCHMARK( latency )->Name( "latency_p50/ours" )->UseManualTime()->Iterations( 1 );

// The practical limit

void fullSyncByHand( benchmark::State& state ) {
   std::vector<HandAnswer> const all = handAnswers( table() );
   for ( auto _ : state ) {
      Child child( []( int socket, std::function<void()> const& report ) {
         report();
         require( handRead( socket, answers ).size() == answers, "not all has come" );
         report();
      } );
      child.await();
      auto const begin = Clock::now();
      HandWriter writer( child.socket() );
      for ( HandAnswer const& one : all ) {
         writer.write( one );
      }
      writer.flush();
      child.await();
      state.SetIterationTime( since( begin ) / answers );
      state.counters["bytes"] = static_cast<double>( writer.bytes() ) / answers;
   }
}
BENCHMARK( fullSyncByHand )->Name( "sync_answer/peer" )->UseManualTime()->Iterations( 1 );

void ping( benchmark::State& state ) {
   // As long as the message of a change: head, address.
   constexpr std::size_t size = 14;
   Child child( []( int socket, std::function<void()> const& report ) {
      nonBlocking( socket );
      report();
      char bytes[size];
      for ( ;; ) {
         readable( socket, 1000 );
         ssize_t const got = ::read( socket, bytes, size );
         if ( got == 0 ) {
            return;
         }
         if ( got == static_cast<ssize_t>( size ) ) {
            report();
         }
      }
   } );
   child.await();
   for ( auto _ : state ) {
      std::vector<double> all;
      for ( unsigned i = 0; i < 3000; ++i ) {
         char const bytes[size] = {};
         auto const begin = Clock::now();
         require( ::write( child.socket(), bytes, size ) == static_cast<ssize_t>( size ), "write" );
         readable( child.told(), 1000 );
         child.await();
         all.push_back( since( begin ) );
      }
      latenciesAre( state, std::move( all ) );
   }
}
BENCHMARK( ping )->Name( "latency_p50/peer" )->UseManualTime()->Iterations( 1 );

} // namespace
