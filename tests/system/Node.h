#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "support/Child.h"
#include "system/Wire.h"

/// A process that runs chaos_node, and pipes to talk to it.
class Node {
public:
   static constexpr auto patience = std::chrono::seconds( 30 );

   Node( Wire& wire, std::vector<std::string> arguments ) : wire_( wire ) {
      arguments.insert( arguments.begin(), CHAOS_NODE_PATH );
      int to[2], from[2];
      if ( ::pipe2( to, O_CLOEXEC ) != 0 || ::pipe2( from, O_CLOEXEC ) != 0 ) {
         throw std::runtime_error( "no pipes" );
      }
      in_.reset( to[1] );
      out_.reset( from[0] );
      Mirror::Fd const theirIn( to[0] ), theirOut( from[1] );
      process_.emplace( arguments, theirIn.get(), theirOut.get() );
      if ( heard() != "ready" ) {
         throw std::runtime_error( "a node does not start" );
      }
   }
   void signal( int number ) const { process_->signal( number ); }
   void say( std::string const& command ) const {
      std::string const line = command + "\n";
      if ( ::write( in_.get(), line.data(), line.size() ) != static_cast<ssize_t>( line.size() ) ) {
         throw std::runtime_error( "a node does not listen to \"" + command + '"' );
      }
   }
   /// The next line that it says, while what passes through the wire goes on.
   std::string heard() {
      auto const until = std::chrono::steady_clock::now() + patience;
      std::size_t end;
      while ( ( end = text_.find( '\n' ) ) == text_.npos ) {
         if ( std::chrono::steady_clock::now() > until ) {
            throw std::runtime_error( "a node says nothing" );
         }
         std::vector<pollfd> fds{ { out_.get(), POLLIN, 0 } };
         wire_.await( fds );
         ::poll( fds.data(), fds.size(), 1000 );
         wire_.turn();
         char buffer[65536];
         if ( fds[0].revents == 0 ) {
            continue;
         }
         ssize_t const got = ::read( out_.get(), buffer, sizeof buffer );
         if ( got <= 0 ) {
            throw std::runtime_error( "a node has ended" );
         }
         text_.append( buffer, static_cast<std::size_t>( got ) );
      }
      std::string const line = text_.substr( 0, end );
      text_.erase( 0, end + 1 );
      return line;
   }
   std::string asked( std::string const& command ) {
      say( command );
      return heard();
   }
   std::string printed() {
      std::string all;
      say( "print" );
      for ( std::string line; ( line = heard() ) != "."; ) {
         all += line + "\n";
      }
      return all;
   }

private:
   Wire& wire_;
   std::optional<Child> process_;
   Mirror::Fd in_, out_;
   std::string text_;
};
