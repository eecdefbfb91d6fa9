#pragma once

#include "bench/peers/Peer.h"
#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "mirror/Socket.h"

/// Our mirror in the runs of the peers: a leader that listens on a Unix socket. A follower has the same
/// tree, with observers as a program that shows it would have.
namespace Bench {

struct Ours {
   class Server {
   public:
      Server() {
         std::string made = std::filesystem::temp_directory_path() / "peer-bench-XXXXXX";
         require( mkdtemp( made.data() ) != nullptr, "no temporary folder can be made" );
         folder_ = made;
      }
      Server( Server const& ) = delete;
      Server& operator=( Server const& ) = delete;
      ~Server() {
         std::error_code ignored;
         std::filesystem::remove_all( folder_, ignored );
      }
      bool ready() {
         listener_.emplace( Mirror::Listener::listenUnix( path() ) );
         return true;
      }
      std::string path() const { return folder_ / "socket"; }
      Mirror::Listener& listener() { return *listener_; }

   private:
      std::filesystem::path folder_;
      std::optional<Mirror::Listener> listener_;
   };

   class Publisher {
   public:
      explicit Publisher( Server& server ) : listener_( server.listener() ) {
         leader_.rootIs( "authNStatus", root_ );
      }
      void put( unsigned i, bench::Supplicant& message ) {
         auto const mac = supplicantMac( i );
         auto supplicant = root_->supplicant( mac );
         if ( !supplicant ) {
            supplicant = root_->supplicantIs( mac );
            supplicantFill( *supplicant, i );
         }
         supplicant->serviceTypeIs( message.service_type() );
      }
      void flush() { serve(); }
      void serve() {
         while ( auto one = listener_.accept() ) {
            connections_.push_back( &leader_.connectionIs( std::move( *one ) ) );
         }
         for ( auto* const one : connections_ ) {
            one->onReadable();
            if ( one->wantsWrite() ) {
               one->onWritable();
            }
            require( !one->closed(), "a follower has gone" );
         }
      }
      std::vector<pollfd> fds() const {
         std::vector<pollfd> all{ { listener_.fd(), POLLIN, 0 } };
         for ( auto* const one : connections_ ) {
            all.push_back( { one->fd(),
                             static_cast<short>( POLLIN | ( one->wantsWrite() ? POLLOUT : 0 ) ),
                             0 } );
         }
         return all;
      }

   private:
      Mirror::Listener& listener_;
      Varek::Ptr<Dot1xV2::AuthNStatus> const root_ = Dot1xV2::authNStatusFactory( "authNStatus" );
      Mirror::Leader leader_;
      std::vector<Mirror::LeaderConnection*> connections_;
   };

   static void follow( Server& server, std::function<void()> const& report ) {
      Mirror::Follower follower;
      follower.connectedIs( Mirror::connectUnix( server.path() ).release() );
      Varek::Subscription watched;
      auto const serviceType = Dot1xV2::AuthNSupplicantStatus::serviceTypeField;
      follower.onSynced = [&] {
         auto const root = follower.root( "authNStatus" );
         require( static_cast<Dot1xV2::AuthNStatus&>( *root ).supplicant().size() ==
                     peerSupplicants,
                  "not all has come" );
         report();
         watched = root->subscribe(
            [&]( Varek::Change const& change ) {
               auto const& entity = Qel::entityOf( change );
               if ( change.id() == serviceType &&
                    &Qel::typeRecord( entity ) ==
                       &Qel::typeRecord( Dot1xV2::AuthNSupplicantStatus::qelBinding() ) &&
                    static_cast<Dot1xV2::AuthNSupplicantStatus const&>( entity ).serviceType() ==
                       lastServiceType ) {
                  report();
               }
            },
            Varek::Scope::subtree );
      };
      while ( !follower.closed() ) {
         pollfd one{ follower.fd(),
                     static_cast<short>( POLLIN | ( follower.wantsWrite() ? POLLOUT : 0 ) ), 0 };
         poll( &one, 1, 1000 );
         follower.onReadable();
         if ( follower.wantsWrite() ) {
            follower.onWritable();
         }
      }
   }
};

} // namespace Bench
