#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "mirror/Socket.h"

/// A socket in the middle: what a follower and its leader say passes through the test, which cuts
/// it after any number of bytes. It holds little, so a follower that stands still holds back its
/// leader.
class Wire {
public:
   Wire( std::string const& front, std::string back )
      : listener_( Mirror::Listener::listenUnix( front ) ), back_( std::move( back ) ) {}

   /// Cuts both directions once so many more bytes have come from the leader.
   void cutAfter( std::size_t bytes ) { left_ = bytes; }
   unsigned cuts() const { return cuts_; }

   /// What to wait for, and then what to do.
   void await( std::vector<pollfd>& fds ) const {
      fds.push_back( { listener_.fd(), POLLIN, 0 } );
      if ( !ends_ ) {
         return;
      }
      for ( unsigned i : { 0U, 1U } ) {
         short const in = ends_->held[i].size() < most ? POLLIN : 0;
         short const out = ends_->held[1 - i].empty() ? 0 : POLLOUT;
         fds.push_back( { ends_->fd[i].get(), static_cast<short>( in | out ), 0 } );
      }
   }
   void turn() {
      while ( std::optional<Mirror::Accepted> one = listener_.accept() ) {
         connect( std::move( one->fd ) );
      }
      if ( ends_ && !( pass( follower ) && pass( leader ) ) ) {
         ends_.reset();
      }
   }

private:
   static constexpr std::size_t most = 8 * 1024;
   static constexpr std::size_t never = ~std::size_t{ 0 };
   enum Side : unsigned { follower, leader };
   struct Ends {
      std::array<Mirror::Fd, 2> fd;
      std::array<std::string, 2> held; // by where it came from
   };

   void connect( Mirror::Fd fromFollower ) {
      try {
         Mirror::Fd toLeader = Mirror::connectUnix( back_ );
         int const least = 1;
         ::setsockopt( fromFollower.get(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least );
         ends_.emplace( Ends{ { std::move( fromFollower ), std::move( toLeader ) }, {} } );
      } catch ( Mirror::SocketError const& ) {
         ends_.reset(); // no leader now
      }
   }

   /// From one side to the other; false at the end.
   bool pass( Side from ) {
      std::string& held = ends_->held[from];
      std::array<char, 8192> buffer;
      bool ended = false;
      while ( held.size() < most ) {
         std::size_t const limit =
            from == leader ? std::min( left_, buffer.size() ) : buffer.size();
         ssize_t const got =
            limit == 0 ? 0 : ::recv( ends_->fd[from].get(), buffer.data(), limit, MSG_DONTWAIT );
         ended = got == 0 || ( got < 0 && errno != EAGAIN );
         if ( got <= 0 ) {
            break;
         }
         held.append( buffer.data(), static_cast<std::size_t>( got ) );
         if ( from == leader && left_ != never ) {
            left_ -= static_cast<std::size_t>( got );
         }
      }
      while ( !held.empty() ) {
         ssize_t const sent = ::send( ends_->fd[1 - from].get(), held.data(), held.size(),
                                      MSG_DONTWAIT | MSG_NOSIGNAL );
         if ( sent < 0 && errno != EAGAIN ) {
            return false;
         }
         if ( sent < 0 ) {
            break;
         }
         held.erase( 0, static_cast<std::size_t>( sent ) );
      }
      // What was said before the end still arrives, if it can.
      if ( !ended || !held.empty() ) {
         return true;
      }
      if ( from == leader && left_ == 0 ) {
         left_ = never;
         ++cuts_;
      }
      return false;
   }

   Mirror::Listener listener_;
   std::string const back_;
   std::optional<Ends> ends_;
   std::size_t left_ = never;
   unsigned cuts_ = 0;
};
