// Mirroring a tree of 100,000 answers to other processes, and the changes after that: beside the
// practical limit, a loop that packs the same content big-endian into a socket and unpacks it into
// plain structs. (Beside Redis: RedisBench.cpp.)

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <list>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/HandPacked.h"
#include "bench/MirrorTypes.h"
#include "bench/Processes.h"
#include "bench/SampleAnswer.h"
#include "framework/Module.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"

namespace Bench {
QEL_MODULE( "Bench", benchModule, Holder, Table );
}

namespace {

using namespace Bench;
using Clock = std::chrono::steady_clock;

constexpr unsigned answers = 100000;
constexpr unsigned attributesEach = 6;
constexpr unsigned changesEach = 200000;
Lumo::EthAddr const last( "ff:ff:ff:ff:ff:ff" );

double since( Clock::time_point begin ) {
   return std::chrono::duration<double>( Clock::now() - begin ).count();
}

Table& table() {
   static Varek::Ptr<Table> const made = [] {
      auto all = Table::TableIs();
      for ( unsigned i = 0; i < answers; ++i )
         answerFill( *all->holderIs( i )->aaaResponseIs( Dot1xV2::AaaResponseType::accepted ), i,
                     attributesEach );
      return all;
   }();
   return *made;
}

void nonBlocking( int fd ) { fcntl( fd, F_SETFL, fcntl( fd, F_GETFL ) | O_NONBLOCK ); }

/// In the child: follows until its process ends; reports when it is ready, when it is synced, and
/// each time that the first answer's station becomes another.
void follow( int socket, std::function<void()> const& report ) {
   nonBlocking( socket );
   Mirror::Follower follower;
   follower.connectedIs( socket );
   report();
   Varek::Subscription watched;
   follower.onSynced = [&] {
      auto const root = Varek::Ptr<Table>( static_cast<Table*>( follower.root( "table" ).get() ) );
      auto const first = root->holder( 0 )->aaaResponse();
      require( root->holder().size() == answers, "not all has come" );
      watched = first->subscribe( [&]( Varek::Change const& change ) {
         if ( change.id() == Varek::FieldId( 259 ) )
            report();
      } );
      report();
   };
   while ( !follower.closed() ) {
      pollfd one{ socket, static_cast<short>( POLLIN | ( follower.wantsWrite() ? POLLOUT : 0 ) ),
                  0 };
      poll( &one, 1, 1000 );
      if ( one.revents & ( POLLIN | POLLHUP ) )
         follower.onReadable();
      if ( follower.wantsWrite() )
         follower.onWritable();
   }
}

/// A leader of the table with some followers in processes of their own.
class Mirrored {
public:
   Mirrored() { leader_.rootIs( "table", Varek::Ptr<Table>( &table() ) ); }

   void followerIs() {
      Child& child = children_.emplace_back( follow );
      child.await();
      nonBlocking( child.socket() );
      connections_.push_back( &leader_.connectionIs( child.release(), "child" ) );
   }
   /// Serves the followers until each has reported.
   void awaitAll() {
      std::vector<pollfd> fds;
      std::vector<bool> reported( children_.size() );
      for ( std::size_t left = children_.size(); left > 0; ) {
         fds.clear();
         for ( auto* const one : connections_ )
            fds.push_back( { one->fd(),
                             static_cast<short>( POLLIN | ( one->wantsWrite() ? POLLOUT : 0 ) ),
                             0 } );
         std::size_t i = 0;
         for ( auto const& child : children_ )
            fds.push_back( { reported[i++] ? -1 : child.told(), POLLIN, 0 } );
         poll( fds.data(), fds.size(), 1000 );
         serve();
         i = 0;
         for ( auto const& child : children_ ) {
            if ( fds[connections_.size() + i].revents & POLLIN ) {
               child.await();
               reported[i] = true;
               --left;
            }
            ++i;
         }
      }
   }
   void serve() {
      for ( auto* const one : connections_ ) {
         one->onReadable();
         if ( one->wantsWrite() )
            one->onWritable();
         require( !one->closed(), "a follower has gone" );
      }
   }
   std::uint64_t bytes() const { return leader_.stats().bytesSent; }

private:
   std::list<Child> children_;
   Mirror::Leader leader_;
   std::vector<Mirror::LeaderConnection*> connections_;
};

void fullSync( benchmark::State& state ) {
   table();
   for ( auto _ : state ) {
      Mirrored mirrored;
      mirrored.followerIs();
      auto const begin = Clock::now();
      mirrored.awaitAll();
      state.SetIterationTime( since( begin ) / answers );
      state.counters["bytes"] = static_cast<double>( mirrored.bytes() ) / answers;
   }
}
BENCHMARK( fullSync )->Name( "sync_answer/ours" )->UseManualTime()->Iterations( 1 );

/// Makes the first answer's station another, which the followers report.
void stationToggle() {
   auto const first = table().holder( 0 )->aaaResponse();
   first->callingStationIdIs( first->callingStationId() == last ? Lumo::EthAddr() : last );
}

void changeOne( unsigned i, unsigned number ) {
   auto const response = table().holder( i )->aaaResponse();
   attributePut( *response, 0, 27, { RadiusPktParserBase::AttrValue( number ) } );
}

void changes( benchmark::State& state ) {
   static unsigned number = 1000000;
   table();
   Mirrored mirrored;
   for ( auto n = state.range( 0 ); n > 0; --n )
      mirrored.followerIs();
   mirrored.awaitAll();
   for ( auto _ : state ) {
      auto const begin = Clock::now();
      for ( unsigned n = 0; n < changesEach; ++n ) {
         changeOne( n * 7919U % answers, ++number );
         // As an agent's loop would: some work, then its sockets.
         if ( n % 256 == 255 )
            mirrored.serve();
      }
      stationToggle();
      mirrored.awaitAll();
      state.SetIterationTime( since( begin ) / changesEach );
   }
}
BENCHMARK( changes )
   ->Name( "change_followers/ours" )
   ->Arg( 1 )
   ->Arg( 4 )
   ->UseManualTime()
   ->Iterations( 1 );

double median( std::vector<double> all ) {
   std::nth_element( all.begin(), all.begin() + static_cast<std::ptrdiff_t>( all.size() / 2 ),
                     all.end() );
   return all[all.size() / 2];
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
      state.SetIterationTime( median( all ) );
   }
}
BENCHMARK( latency )->Name( "latency_p50/ours" )->UseManualTime()->Iterations( 1 );

// The practical limit

void fullSyncByHand( benchmark::State& state ) {
   std::vector<HandAnswer> const all = handAnswers( table() );
   for ( auto _ : state ) {
      Child child( []( int socket, std::function<void()> const& report ) {
         report();
         HandReader reader( socket );
         require( reader.read( answers ).size() == answers, "not all has come" );
         report();
      } );
      child.await();
      auto const begin = Clock::now();
      HandWriter writer( child.socket() );
      for ( HandAnswer const& one : all )
         writer.write( one );
      writer.flush();
      child.await();
      state.SetIterationTime( since( begin ) / answers );
      state.counters["bytes"] = static_cast<double>( writer.bytes() ) / answers;
   }
}
BENCHMARK( fullSyncByHand )->Name( "sync_answer/peer" )->UseManualTime()->Iterations( 1 );

void ping( benchmark::State& state ) {
   // As long as the message of one change: head, address.
   constexpr std::size_t size = 14;
   Child child( []( int socket, std::function<void()> const& report ) {
      nonBlocking( socket );
      report();
      char bytes[size];
      for ( ;; ) {
         readable( socket, 1000 );
         ssize_t const got = ::read( socket, bytes, size );
         if ( got == 0 )
            return;
         if ( got == static_cast<ssize_t>( size ) )
            report();
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
      state.SetIterationTime( median( all ) );
   }
}
BENCHMARK( ping )->Name( "latency_p50/peer" )->UseManualTime()->Iterations( 1 );

} // namespace
