#pragma once

#include <chrono>
#include <list>
#include <vector>

#include "bench/MirrorTypes.h"
#include "bench/Processes.h"
#include "bench/SampleAnswer.h"
#include "framework/declare/Module.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"

/// A tree of 100,000 answers, and a leader of it with followers in processes of their own. To be
/// included once in an executable.
namespace Bench {
QEL_MODULE( "Bench", benchModule, Holder, Table );

using Clock = std::chrono::steady_clock;

inline constexpr unsigned answers = 100000;
inline constexpr unsigned attributesEach = 6;
inline constexpr unsigned changesEach = 200000;
inline constexpr std::uint16_t changedType = 64; // Tunnel-Type
inline Lumo::EthAddr const last( "ff:ff:ff:ff:ff:ff" );

inline double since( Clock::time_point begin ) {
   return std::chrono::duration<double>( Clock::now() - begin ).count();
}

inline Table& table() {
   static Varek::Ptr<Table> const made = [] {
      auto all = Table::TableIs();
      for ( unsigned i = 0; i < answers; ++i ) {
         answerFill( *all->holderIs( i )->aaaResponseIs( Dot1xV2::AaaResponseType::accepted ), i,
                     attributesEach );
      }
      return all;
   }();
   return *made;
}

/// In the child: follows until its process ends; reports when it is ready, when it is synced, and
/// each time that the first answer's station becomes another.
inline void follow( int socket, std::function<void()> const& report ) {
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
         if ( change.id() == Varek::FieldId( 259 ) ) {
            report();
         }
      } );
      report();
   };
   while ( !follower.closed() ) {
      pollfd one{ socket, static_cast<short>( POLLIN | ( follower.wantsWrite() ? POLLOUT : 0 ) ),
                  0 };
      poll( &one, 1, 1000 );
      if ( one.revents & ( POLLIN | POLLHUP ) ) {
         follower.onReadable();
      }
      if ( follower.wantsWrite() ) {
         follower.onWritable();
      }
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
         for ( auto* const one : connections_ ) {
            fds.push_back( { one->fd(),
                             static_cast<short>( POLLIN | ( one->wantsWrite() ? POLLOUT : 0 ) ),
                             0 } );
         }
         std::size_t i = 0;
         for ( auto const& child : children_ ) {
            fds.push_back( { reported[i++] ? -1 : child.told(), POLLIN, 0 } );
         }
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
   /// What an agent's loop does about its sockets.
   void serve() {
      for ( auto* const one : connections_ ) {
         one->onReadable();
         if ( one->wantsWrite() ) {
            one->onWritable();
         }
         require( !one->closed(), "a follower has gone" );
      }
   }
   Mirror::Leader::Stats stats() const { return leader_.stats(); }

private:
   std::list<Child> children_;
   Mirror::Leader leader_;
   std::vector<Mirror::LeaderConnection*> connections_;
};

/// How long it takes to tell all answers to a follower that has none, in seconds for each.
inline double fullSync( Mirrored& mirrored ) {
   mirrored.followerIs();
   auto const begin = Clock::now();
   mirrored.awaitAll();
   return since( begin ) / answers;
}

/// Makes the first answer's station another, which the followers report.
inline void stationToggle() {
   auto const first = table().holder( 0 )->aaaResponse();
   first->callingStationIdIs( first->callingStationId() == last ? Lumo::EthAddr() : last );
}

/// Changes go round all answers, so that hardly two in a row are of one.
inline unsigned changedAnswer( unsigned n ) { return n * 7919U % answers; }

/// Changes one attribute of one answer.
inline void changeOne( unsigned i, unsigned number ) {
   auto const response = table().holder( i )->aaaResponse();
   attributePut( *response, 0, changedType, { RadiusPktParserBase::TaggedInt{ 1, number } } );
}

/// Makes 200,000 changes and waits until each follower has the last.
inline void changesMake( Mirrored& mirrored ) {
   static unsigned number = 1000000;
   for ( unsigned n = 0; n < changesEach; ++n ) {
      changeOne( changedAnswer( n ), ++number );
      // As an agent's loop would: some work, then its sockets.
      if ( n % 256 == 255 ) {
         mirrored.serve();
      }
   }
   stationToggle();
   mirrored.awaitAll();
}

} // namespace Bench
