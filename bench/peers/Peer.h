#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/Messages.h"
#include "bench/Processes.h"
#include "bench/SampleSupplicant.h"

/// What the benchmarks beside other systems have in common: 100,000 supplicants that are told to
/// processes that have none, and changes of them until every process has all. The supplicants are the
/// same everywhere; what travels is a protobuf message of one, unless the system has a form of its own.
namespace Bench {

inline constexpr unsigned peerSupplicants = 100000;
inline constexpr unsigned peerChanges = 50000;
/// The service type of the last change.
inline constexpr std::uint32_t lastServiceType = 4711;

using PeerClock = std::chrono::steady_clock;

inline double secondsSince( PeerClock::time_point begin ) {
   return std::chrono::duration<double>( PeerClock::now() - begin ).count();
}

/// A server of the benchmark's own, in a temporary folder, which ends with this object or with its
/// process.
class OwnServer {
public:
   /// \p arguments( folder ): the command line.
   explicit OwnServer(
      std::function<std::vector<std::string>( std::filesystem::path const& )> const& arguments ) {
      std::string made = std::filesystem::temp_directory_path() / "peer-bench-XXXXXX";
      require( mkdtemp( made.data() ) != nullptr, "no temporary folder can be made" );
      folder_ = made;
      pid_ = fork();
      require( pid_ >= 0, "fork" );
      if ( pid_ == 0 ) {
         prctl( PR_SET_PDEATHSIG, SIGKILL );
         auto words = arguments( folder_ );
         std::vector<char*> all;
         for ( std::string& word : words ) {
            all.push_back( word.data() );
         }
         all.push_back( nullptr );
         execvp( all[0], all.data() );
         _exit( 127 );
      }
   }
   OwnServer( OwnServer const& ) = delete;
   OwnServer& operator=( OwnServer const& ) = delete;
   ~OwnServer() {
      ::kill( pid_, SIGKILL );
      int status;
      ::waitpid( pid_, &status, 0 );
      std::error_code ignored;
      std::filesystem::remove_all( folder_, ignored );
   }
   std::filesystem::path const& folder() const { return folder_; }
   /// Calls \p tried() until it returns true, or for ten seconds.
   template<class F>
   static bool ready( F tried ) {
      for ( unsigned tries = 0; tries < 1000; ++tries ) {
         if ( tried() ) {
            return true;
         }
         poll( nullptr, 0, 10 );
      }
      return false;
   }

private:
   std::filesystem::path folder_;
   pid_t pid_;
};

/// The supplicants as messages, made beforehand.
inline std::vector<bench::Supplicant>& peerMessages() {
   static std::vector<bench::Supplicant> all = [] {
      std::vector<bench::Supplicant> made( peerSupplicants );
      for ( unsigned i = 0; i < peerSupplicants; ++i ) {
         auto const one = Dot1xV2::authNSupplicantStatusFactory( supplicantMac( i ) );
         supplicantFill( *one, i );
         messageFill( made[i], *one );
      }
      return made;
   }();
   return all;
}

/// The decoded copies that a follower keeps. Reports when all are there, and when the last change is.
class Copies {
public:
   explicit Copies( std::function<void()> report ) : report_( std::move( report ) ) {}
   void take( void const* data, std::size_t size ) {
      bench::Supplicant made;
      require( made.ParseFromArray( data, static_cast<int>( size ) ), "a message that is none" );
      put( made.mac(), made.service_type(), std::move( made ) );
   }
   template<class Message>
   void put( std::uint64_t mac, std::uint32_t serviceType, Message&& message ) {
      all_[mac] = std::forward<Message>( message );
      if ( !whole_ && all_.size() == peerSupplicants ) {
         whole_ = true;
         report_();
      } else if ( serviceType == lastServiceType ) {
         report_();
      }
   }

private:
   std::function<void()> const report_;
   std::unordered_map<std::uint64_t, bench::Supplicant> all_;
   bool whole_ = false;
};

/// What a system has to do here, for Peer::Publisher and Peer::follow:
///
///     Peer::Server                     started before anything else; ready()
///     Peer::Publisher( Server& )       put( i, message ) says what supplicant i is now, flush() that
///                                      no more comes for now; serve() and fds() for what is driven by
///                                      a loop
///     Peer::follow( Server&, report )  in a process of its own: reports when all supplicants are
///                                      there, and at the last change; returns never
template<class Peer>
class PeerRun {
public:
   explicit PeerRun( unsigned followers ) {
      peerMessages();
      // Made before anything that has threads.
      for ( unsigned i = 0; i < followers; ++i ) {
         children_.emplace_back( [this]( int socket, std::function<void()> const& report ) {
            char byte;
            require( ::read( socket, &byte, 1 ) == 1, "the benchmark has ended" );
            Peer::follow( server_, report );
         } );
      }
   }

   /// Seconds until a process that has nothing has all, for each supplicant.
   double sync() {
      require( server_.ready(), "the server cannot be started" );
      publisher_ = std::make_unique<typename Peer::Publisher>( server_ );
      for ( unsigned i = 0; i < peerSupplicants; ++i ) {
         publisher_->put( i, peerMessages()[i] );
      }
      publisher_->flush();
      auto const begin = PeerClock::now();
      for ( Child const& child : children_ ) {
         require( ::write( child.socket(), "x", 1 ) == 1, "a follower has ended" );
      }
      awaitAll();
      return secondsSince( begin ) / peerSupplicants;
   }
   /// Seconds until all have all changes, for each change.
   double changes() {
      auto const begin = PeerClock::now();
      for ( unsigned i = 0; i < peerChanges; ++i ) {
         unsigned const which = i * 7919U % peerSupplicants;
         bench::Supplicant& message = peerMessages()[which];
         message.set_service_type( i + 1 == peerChanges ? lastServiceType : 5000 + i );
         publisher_->put( which, message );
         message.set_service_type( 2 );
         if ( i % 256 == 255 ) {
            publisher_->serve();
         }
      }
      publisher_->flush();
      awaitAll();
      return secondsSince( begin ) / peerChanges;
   }

private:
   void awaitAll() {
      std::vector<pollfd> fds;
      std::vector<bool> reported( children_.size() );
      for ( std::size_t left = children_.size(); left > 0; ) {
         fds = publisher_->fds();
         std::size_t const own = fds.size();
         std::size_t i = 0;
         for ( Child const& child : children_ ) {
            fds.push_back( { reported[i++] ? -1 : child.told(), POLLIN, 0 } );
         }
         poll( fds.data(), fds.size(), 1000 );
         publisher_->serve();
         i = 0;
         for ( Child const& child : children_ ) {
            if ( ( fds[own + i].revents & POLLIN ) != 0 ) {
               child.await();
               reported[i] = true;
               --left;
            }
            ++i;
         }
      }
   }

   typename Peer::Server server_;
   std::list<Child> children_;
   std::unique_ptr<typename Peer::Publisher> publisher_;
};

template<class Peer>
void peerSync( benchmark::State& state ) {
   for ( auto _ : state ) {
      state.SetIterationTime( PeerRun<Peer>( 1 ).sync() );
   }
}
template<class Peer>
void peerChange( benchmark::State& state ) {
   for ( auto _ : state ) {
      PeerRun<Peer> run( static_cast<unsigned>( state.range( 0 ) ) );
      run.sync();
      state.SetIterationTime( run.changes() );
   }
}

/// Registers what there is to measure of \p name.
template<class Peer>
bool peerRegister( std::string const& name, std::string const& side ) {
   benchmark::RegisterBenchmark( ( name + "_sync_supplicant/" + side ).c_str(), peerSync<Peer> )
      ->UseManualTime()
      ->Iterations( 1 );
   benchmark::RegisterBenchmark( ( name + "_change_followers/" + side ).c_str(), peerChange<Peer> )
      ->Arg( 1 )
      ->Arg( 4 )
      ->UseManualTime()
      ->Iterations( 1 );
   return true;
}

} // namespace Bench
