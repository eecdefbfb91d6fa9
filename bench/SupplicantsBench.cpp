// The cost of many supplicants: the memory of each, where it goes, and a full synchronisation into
// a fresh process; compared with protobuf messages of the same fields in a hash map. Each
// measurement has two processes of its own, so that it does not depend on earlier measurements. All
// numbers are for a single supplicant.
//
//   bench_supplicants [--benchmark_...] [COUNT...]     COUNTs are measured besides the usual ones

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>

#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "bench/Memory.h"
#include "bench/Messages.h"
#include "bench/Processes.h"
#include "bench/SampleSupplicant.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"

namespace {

using namespace Bench;
using Dot1xV2::AuthNStatus;

/// With fewer supplicants slabs and buffers would distort the memory of each.
constexpr unsigned enoughForMemory = 100000;

/// The measurements of a process.
struct Side {
   double at = 0; ///< The time of its start or end, in seconds.
   double cpu = 0;
   double wire = 0;
   double ownHeap = 0; ///< The state alone, without the memory of mirroring.
   double heap = 0;
   double resident = 0;
};

double now() {
   return std::chrono::duration<double>( std::chrono::steady_clock::now().time_since_epoch() )
      .count();
}

/// The growth of this process's memory since the object was made.
class Growth {
public:
   double heap() const { return static_cast<double>( memory().heap - before_.heap ); }
   void put( Side& side ) const {
      side.heap = heap();
      side.resident = static_cast<double>( memory().resident - before_.resident );
   }

private:
   Memory const before_ = memory();
};

/// Runs a leader and a follower with a socket between them, and records their measurements.
void measure( benchmark::State& state, Side ( *leader )( int, unsigned ),
              Side ( *follower )( int, unsigned ) ) {
   auto const count = static_cast<unsigned>( state.range( 0 ) );
   Side all[2] = {};
   for ( auto _ : state ) {
      int sockets[2];
      require( socketpair( AF_UNIX, SOCK_STREAM, 0, sockets ) == 0, "socketpair" );
      Reporter<Side> first( [&] {
         ::close( sockets[1] );
         return leader( sockets[0], count );
      } );
      Reporter<Side> second( [&] {
         ::close( sockets[0] );
         return follower( sockets[1], count );
      } );
      ::close( sockets[0] );
      ::close( sockets[1] );
      all[0] = first.get();
      all[1] = second.get();
      state.SetIterationTime( ( all[1].at - all[0].at ) / count );
   }
   auto const put = [&]( char const* name, double value, double scale = 1 ) {
      state.counters[name] = value * scale / count;
   };
   put( "leader_cpu_ns", all[0].cpu, 1e9 );
   put( "follower_cpu_ns", all[1].cpu, 1e9 );
   if ( count < enoughForMemory ) {
      return;
   }
   put( "wire_bytes", all[0].wire );
   put( "state_heap_bytes", all[0].ownHeap );
   put( "leader_heap_bytes", all[0].heap );
   put( "leader_resident_bytes", all[0].resident );
   put( "follower_heap_bytes", all[1].heap );
   put( "follower_resident_bytes", all[1].resident );
}

// Ours

Varek::Ptr<AuthNStatus> treeOf( unsigned count ) {
   auto root = Dot1xV2::authNStatusFactory( "authNStatus" );
   for ( unsigned i = 0; i < count; ++i ) {
      supplicantFill( *root->supplicantIs( supplicantMac( i ) ), i );
   }
   return root;
}

Side leadOurs( int socket, unsigned count ) {
   nonBlocking( socket );
   Side side;
   Growth const growth;
   auto const root = treeOf( count );
   side.ownHeap = growth.heap();
   Mirror::Leader leader;
   leader.rootIs( "authNStatus", root );
   side.at = now();
   double const cpu = cpuSeconds();
   auto& connection = leader.connectionIs( socket, "follower" );
   bool done = false;
   while ( !connection.closed() ) {
      pollfd one{ connection.fd(),
                  static_cast<short>( POLLIN | ( connection.wantsWrite() ? POLLOUT : 0 ) ), 0 };
      poll( &one, 1, 1000 );
      connection.onReadable();
      if ( connection.wantsWrite() ) {
         connection.onWritable();
      }
      if ( !done && connection.synced() && !connection.wantsWrite() ) {
         done = true;
         side.cpu = cpuSeconds() - cpu;
         side.wire = static_cast<double>( connection.bytesSent() );
         growth.put( side );
      }
   }
   require( done, "the connection has ended early" );
   return side;
}

Side followOurs( int socket, unsigned count ) {
   nonBlocking( socket );
   Growth const growth;
   double const cpu = cpuSeconds();
   Mirror::Follower follower;
   follower.connectedIs( socket );
   while ( !follower.closed() && !follower.synced() ) {
      pollfd one{ socket, static_cast<short>( POLLIN | ( follower.wantsWrite() ? POLLOUT : 0 ) ),
                  0 };
      poll( &one, 1, 1000 );
      follower.onReadable();
      if ( follower.wantsWrite() ) {
         follower.onWritable();
      }
   }
   Side side;
   side.at = now();
   side.cpu = cpuSeconds() - cpu;
   growth.put( side );
   require( follower.synced(), "the connection has ended early" );
   auto const root = follower.root( "authNStatus" );
   auto const& supplicants = static_cast<AuthNStatus&>( *root ).supplicant();
   require( supplicants.size() == count, "not all has come" );
   return side;
}

void syncOurs( benchmark::State& state ) { measure( state, leadOurs, followOurs ); }

// The peer. With an arena, all messages share it and the map holds pointers.

struct ByValue {
   using Held = bench::Supplicant;
   absl::flat_hash_map<std::uint64_t, Held> map;

   static Held const& message( Held const& held ) { return held; }
   template<class F>
   void add( F fill ) {
      bench::Supplicant made;
      fill( made );
      auto const mac = made.mac();
      map.emplace( mac, std::move( made ) );
   }
};

struct OnArena {
   using Held = bench::Supplicant*;
   google::protobuf::Arena arena;
   absl::flat_hash_map<std::uint64_t, Held> map;

   static bench::Supplicant const& message( Held held ) { return *held; }
   template<class F>
   void add( F fill ) {
      auto* const made = google::protobuf::Arena::CreateMessage<bench::Supplicant>( &arena );
      fill( *made );
      map.emplace( made->mac(), made );
   }
};

template<class Messages>
Side leadPeer( int socket, unsigned count ) {
   Side side;
   Growth const growth;
   Messages all;
   for ( unsigned i = 0; i < count; ++i ) {
      auto const one = Dot1xV2::authNSupplicantStatusFactory( supplicantMac( i ) );
      supplicantFill( *one, i );
      all.add( [&]( bench::Supplicant& made ) { messageFill( made, *one ); } );
   }
   growth.put( side );
   side.ownHeap = side.heap;
   side.at = now();
   double const cpu = cpuSeconds();
   std::vector<char> buffer( 65536 );
   std::size_t used = 0;
   auto const flush = [&] {
      writeAll( socket, { buffer.data(), used } );
      side.wire += static_cast<double>( used );
      used = 0;
   };
   auto const put = [&]( std::uint32_t value ) {
      std::memcpy( buffer.data() + used, &value, sizeof value );
      used += sizeof value;
   };
   put( count );
   for ( auto const& [mac, held] : all.map ) {
      auto const& message = Messages::message( held );
      std::size_t const size = message.ByteSizeLong();
      if ( buffer.size() - used < size + 4 ) {
         flush();
      }
      put( static_cast<std::uint32_t>( size ) );
      auto* const at = reinterpret_cast<std::uint8_t*>( buffer.data() + used );
      used += static_cast<std::size_t>( message.SerializeWithCachedSizesToArray( at ) - at );
   }
   flush();
   side.cpu = cpuSeconds() - cpu;
   return side;
}

template<class Messages>
Side followPeer( int socket, unsigned count ) {
   Growth const growth;
   double const cpu = cpuSeconds();
   auto all = std::make_unique<Messages>();
   ReadBuffer buffer( socket );
   auto const get = [&] {
      while ( buffer.held().size() < 4 ) {
         buffer.more();
      }
      std::uint32_t value;
      std::memcpy( &value, buffer.held().data(), sizeof value );
      buffer.takenIs( sizeof value );
      return value;
   };
   std::uint32_t const expected = get();
   all->map.reserve( expected );
   for ( std::uint32_t i = 0; i < expected; ++i ) {
      std::uint32_t const size = get();
      while ( buffer.held().size() < size ) {
         buffer.more();
      }
      all->add( [&]( bench::Supplicant& made ) {
         require( made.ParseFromArray( buffer.held().data(), static_cast<int>( size ) ), "parse" );
      } );
      buffer.takenIs( size );
   }
   Side side;
   side.at = now();
   side.cpu = cpuSeconds() - cpu;
   growth.put( side );
   require( all->map.size() == count, "not all has come" );
   return side;
}

template<class Messages>
void syncPeer( benchmark::State& state ) {
   measure( state, leadPeer<Messages>, followPeer<Messages> );
}

/// The memory of the messages by protobuf's own account, with the map.
void spaceUsed( benchmark::State& state ) {
   double bytes = 0;
   for ( auto _ : state ) {
      bytes = Reporter<double>( [] {
                 ByValue all;
                 for ( unsigned i = 0; i < enoughForMemory; ++i ) {
                    auto const one = Dot1xV2::authNSupplicantStatusFactory( supplicantMac( i ) );
                    supplicantFill( *one, i );
                    all.add( [&]( bench::Supplicant& made ) { messageFill( made, *one ); } );
                 }
                 std::size_t used = 0;
                 for ( auto const& [mac, message] : all.map ) {
                    used += message.SpaceUsedLong() - sizeof message;
                 }
                 // A slot and its control byte.
                 used += all.map.capacity() * ( sizeof( *all.map.begin() ) + 1 );
                 return static_cast<double>( used );
              } ).get();
      state.SetIterationTime( 0 );
   }
   state.counters["bytes"] = bytes / enoughForMemory;
}
BENCHMARK( spaceUsed )->Name( "memory_supplicant/peer" )->UseManualTime()->Iterations( 1 );

// Where our bytes go

struct Parts {
   double supplicants = 0, phases = 0, answers = 0;
   double root = 0, phaseMaps = 0, attributeMaps = 0;
   double attributeValues = 0, vlans = 0, texts = 0;
   double sum = 0;  ///< The total of these: live bytes, rounded up to the size classes.
   double heap = 0; ///< The total with the overhead of slabs and the heap.
};

void texts( Parts& to, Varek::String const& one ) { to.texts += textBytes( one.capacity() ); }
void texts( Parts& to, Varek::Bytes const& one ) {
   to.texts += textBytes( std::max<std::size_t>( one.size(), 15 ) );
}

Parts partsOf( AuthNStatus const& root ) {
   Parts parts;
   parts.root = mapBytes( root.supplicant() );
   for ( auto const& [mac, supplicant] : root.supplicant() ) {
      parts.supplicants += pallo( sizeof *supplicant );
      parts.phaseMaps += mapBytes( supplicant->phaseStatus() );
      texts( parts, supplicant->identity() );
      texts( parts, supplicant->classAttr() );
      auto const& vlans = supplicant->egressVlanAttrs();
      parts.vlans += sequenceBytes( vlans.egressVlanNameTagged() ) +
                     sequenceBytes( vlans.egressVlanNameUntagged() ) +
                     sequenceBytes( vlans.egressVlanIdTagged() ) +
                     sequenceBytes( vlans.egressVlanIdUntagged() );
      for ( auto const& [key, phase] : supplicant->phaseStatus() ) {
         parts.phases += pallo( sizeof *phase );
         auto const answer = phase->aaaResponse();
         if ( !answer ) {
            continue;
         }
         parts.answers += pallo( sizeof *answer );
         parts.attributeMaps += mapBytes( answer->aaaAttribute() );
         for ( auto const& attribute : answer->aaaAttribute() ) {
            parts.attributeValues += sequenceBytes( attribute.attrValue() );
            for ( auto const& value : attribute.attrValue() ) {
               if ( auto const* const one = std::get_if<Varek::String>( &value.variant() ) ) {
                  texts( parts, *one );
               } else if ( auto const* const octets =
                              std::get_if<Varek::Bytes>( &value.variant() ) ) {
                  texts( parts, *octets );
               }
            }
         }
      }
   }
   parts.sum = parts.root + parts.supplicants + parts.phases + parts.answers + parts.phaseMaps +
               parts.attributeMaps + parts.attributeValues + parts.vlans + parts.texts;
   return parts;
}

void memoryParts( benchmark::State& state ) {
   Parts parts;
   for ( auto _ : state ) {
      parts = Reporter<Parts>( [] {
                 Memory const before = memory();
                 auto const root = treeOf( enoughForMemory );
                 Memory const after = memory();
                 Parts found = partsOf( *root );
                 found.heap = static_cast<double>( after.heap - before.heap );
                 return found;
              } ).get();
      state.SetIterationTime( 0 );
   }
   auto const put = [&]( char const* name, double value ) {
      state.counters[name] = value / enoughForMemory;
   };
   put( "bytes", parts.sum );
   put( "1_map_of_supplicants_bytes", parts.root );
   put( "2_supplicant_bytes", parts.supplicants );
   put( "3_egress_vlans_bytes", parts.vlans );
   put( "4_map_of_phases_bytes", parts.phaseMaps );
   put( "5_phases_bytes", parts.phases );
   put( "6_answer_bytes", parts.answers );
   put( "7_map_of_attributes_bytes", parts.attributeMaps );
   put( "8_attribute_values_bytes", parts.attributeValues );
   put( "9_texts_bytes", parts.texts );
   put( "unused_and_heads_bytes", parts.heap - parts.sum );
}
BENCHMARK( memoryParts )->Name( "memory_supplicant/ours" )->UseManualTime()->Iterations( 1 );

/// An interface with its initial profiles.
void memoryInterface( benchmark::State& state ) {
   constexpr unsigned count = 1000;
   double bytes = 0;
   for ( auto _ : state ) {
      bytes = Reporter<double>( [] {
                 Memory const before = memory();
                 auto const root = Dot1xV2::statusFactory( "status" );
                 for ( unsigned i = 0; i < count; ++i ) {
                    root->intfStatusIs( Lumo::IntfId( "Ethernet" + std::to_string( i ) ) );
                 }
                 return static_cast<double>( memory().live - before.live );
              } ).get();
      state.SetIterationTime( 0 );
   }
   state.counters["bytes"] = bytes / count;
}
BENCHMARK( memoryInterface )->Name( "memory_interface" )->UseManualTime()->Iterations( 1 );

void sizeIs( std::int64_t count ) {
   // With few supplicants a single run would tell little.
   auto const runs = std::max<std::int64_t>( 1, 20000 / count );
   auto const add = [&]( char const* name, void ( *run )( benchmark::State& ) ) {
      benchmark::RegisterBenchmark( name, run )->Arg( count )->UseManualTime()->Iterations( runs );
   };
   add( "sync_supplicant/ours", syncOurs );
   add( "sync_supplicant/peer", syncPeer<ByValue> );
   if ( count >= enoughForMemory ) {
      add( "sync_supplicant_on_arena/peer", syncPeer<OnArena> );
   }
}

} // namespace

int main( int argc, char** argv ) {
   benchmark::Initialize( &argc, argv );
   for ( std::int64_t const count : { 1000, 10000, 100000 } ) {
      sizeIs( count );
   }
   for ( int i = 1; i < argc; ++i ) {
      int const count = std::atoi( argv[i] );
      if ( count < 1 ) {
         std::fprintf( stderr, "bench_supplicants: \"%s\" is no number of supplicants\n", argv[i] );
         return 2;
      }
      sizeIs( count );
   }
   benchmark::RunSpecifiedBenchmarks();
   return 0;
}
