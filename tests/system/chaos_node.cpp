#include <algorithm>
#include <chrono>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "mirror/Follower.h"
#include "mirror/Leader.h"
#include "mirror/Socket.h"
#include "support/RandomChange.h"
#include "system/Roots.h"
#include "views/Tree.h"
#include "views/TreeText.h"

/// One of the two processes of a test: publishes the trees and changes them as it is told, or
/// follows them. Commands come as lines on standard input, each answered by one line or, for
/// "print", by the trees and a line ".".
///
///     chaos_node leader SOCKET SEED CHANGES     makes its trees by so many changes first
///     chaos_node follower SOCKET
namespace {

using namespace std::chrono_literals;
using Mirror::Clock;
using Trees = Views::Roots;

std::string printed( Trees const& trees ) {
   std::ostringstream out;
   Views::printText( out, Views::rootsPart( trees ) );
   return out.str();
}

std::size_t hashOf( Trees const& trees ) { return std::hash<std::string>()( printed( trees ) ); }

/// Waits for any of \p fds, until \p when at the latest.
void await( std::vector<pollfd>& fds, Clock::time_point when ) {
   // A deadline may be the least or the greatest time there is.
   Clock::time_point const now = Clock::now();
   auto const longest = std::clamp( when, now, now + 1s ) - now;
   ::poll( fds.data(), fds.size(),
           static_cast<int>( std::chrono::ceil<std::chrono::milliseconds>( longest ).count() ) );
}

/// The lines on standard input.
class Commands {
public:
   /// Calls \p obey with each that is there; false at the end.
   bool read( std::function<void( std::string const&, std::istream& )> const& obey ) {
      char buffer[4096];
      ssize_t const got = ::read( STDIN_FILENO, buffer, sizeof buffer );
      if ( got <= 0 ) {
         return false;
      }
      text_.append( buffer, static_cast<std::size_t>( got ) );
      for ( std::size_t end; ( end = text_.find( '\n' ) ) != text_.npos; ) {
         std::istringstream line( text_.substr( 0, end ) );
         text_.erase( 0, end + 1 );
         std::string word;
         line >> word;
         obey( word, line );
         std::cout.flush();
      }
      return true;
   }

private:
   std::string text_;
};

class Leader {
public:
   Leader( std::string const& socket, std::uint32_t seed, unsigned changes )
      : random_( seed ), listener_( Mirror::Listener::listenUnix( socket ) ), leader_( options() ) {
      leader_.onClosed = [this]( Mirror::LeaderConnection& one, Varek::String const& ) {
         std::erase( connections_, &one );
         leader_.connectionDel( one );
      };
      for ( Roots::Root const& root : Roots::all() ) {
         trees_[root.name] = root.make();
      }
      for ( unsigned i = 0; i < changes; ++i ) {
         change();
      }
      for ( Roots::Root const& root : Roots::all() ) {
         publish( root.name );
      }
   }

   void run() {
      std::cout << "ready" << std::endl;
      Commands commands;
      auto const obey = [this]( std::string const& word, std::istream& more ) {
         if ( word == "change" ) {
            more >> left_;
         } else if ( word == "hash" ) {
            std::cout << hashOf( published_ ) << ' ' << behind_ << '\n';
         } else {
            std::cout << printed( published_ ) << ".\n";
         }
      };
      for ( bool goesOn = true; goesOn; ) {
         std::vector<pollfd> fds{ { STDIN_FILENO, POLLIN, 0 }, { listener_.fd(), POLLIN, 0 } };
         auto const waited = connections_;
         for ( auto* const one : waited ) {
            fds.push_back( { one->fd(),
                             static_cast<short>( one->wantsWrite() ? POLLIN | POLLOUT : POLLIN ),
                             0 } );
         }
         await( fds, left_ > 0 ? Clock::now() : leader_.nextDeadline() );
         for ( std::size_t i = 0; i < waited.size(); ++i ) {
            serve( waited[i], fds[2 + i].revents );
         }
         if ( fds[1].revents != 0 ) {
            accept();
         }
         leader_.tick( Clock::now() );
         if ( left_ > 0 ) {
            changeSome();
         }
         if ( fds[0].revents != 0 ) {
            goesOn = commands.read( obey );
         }
      }
   }

private:
   static Mirror::LeaderOptions options() {
      Mirror::LeaderOptions options;
      options.outputLimit = 8 * 1024;
      return options;
   }

   bool there( Mirror::LeaderConnection const* one ) const {
      return std::ranges::find( connections_, one ) != connections_.end();
   }
   void serve( Mirror::LeaderConnection* one, short ready ) {
      if ( there( one ) && ( ready & ~POLLOUT ) != 0 ) {
         one->onReadable();
      }
      if ( there( one ) && ( ready & POLLOUT ) != 0 ) {
         one->onWritable();
      }
   }
   void accept() {
      while ( std::optional<Mirror::Accepted> one = listener_.accept() ) {
         // The system keeps little for it: a follower that stands still is behind soon.
         int const least = 1;
         ::setsockopt( one->fd.get(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least );
         connections_.push_back( &leader_.connectionIs( std::move( *one ) ) );
      }
   }

   void publish( std::string const& name ) {
      leader_.rootIs( name, trees_[name] );
      published_[name] = trees_[name];
   }
   void change() {
      Roots::Root const& root = Roots::all()[random_() % Roots::all().size()];
      if ( random_() % 500 != 0 ) {
         return change_( *trees_[root.name] );
      }
      if ( published_.erase( root.name ) == 0 ) {
         return publish( root.name );
      }
      leader_.rootDel( root.name );
      if ( random_() % 2 == 0 ) {
         trees_[root.name] = root.make();
      }
   }
   /// In between, connections get their turn.
   void changeSome() {
      for ( auto i = 1 + random_() % 40; i-- > 0 && left_ > 0; --left_ ) {
         change();
      }
      behind_ += leader_.stats().behind;
      if ( left_ == 0 ) {
         std::cout << "done" << std::endl;
      }
   }

   std::mt19937 random_;
   RandomChange change_{ static_cast<std::uint32_t>( random_() ) };
   Trees trees_, published_;
   Mirror::Listener listener_;
   std::vector<Mirror::LeaderConnection*> connections_;
   Mirror::Leader leader_;
   unsigned left_ = 0;
   std::uint64_t behind_ = 0; // how often a follower was found so
};

class Follower {
public:
   explicit Follower( std::string const& socket ) : socket_( socket ) {
      follower_.onRoot = [this]( Varek::String const& name, Qel::Entity& root ) {
         watches_[name] = root.publisher().subscribe(
            [this, name, &root]( Varek::Change const& change ) { changed( name, root, change ); },
            Varek::Scope::subtree );
      };
      follower_.onRootGone = [this]( Varek::String const& name, Qel::Entity& ) {
         watches_.erase( name );
      };
      follower_.onClosed = [this]( Varek::String const& reason ) {
         lost_ += isSynced_ ? 1 : 0;
         isSynced_ = false;
         if ( reason.starts_with( "refused" ) ) {
            std::cerr << "follower: " << reason << '\n';
         }
      };
      follower_.onSynced = [this] { isSynced_ = true; };
   }

   void run() {
      std::cout << "ready" << std::endl;
      Commands commands;
      auto const obey = [this]( std::string const& word, std::istream& ) {
         if ( word == "hash" ) {
            std::cout << hashOf( trees() ) << ' ' << changes_ << ' ' << lost_ << ' ' << unreal_
                      << '\n';
         } else {
            std::cout << printed( trees() ) << ".\n";
         }
      };
      for ( bool goesOn = true; goesOn; ) {
         if ( follower_.closed() ) {
            connect();
         }
         std::vector<pollfd> fds{ { STDIN_FILENO, POLLIN, 0 } };
         if ( !follower_.closed() ) {
            fds.push_back(
               { follower_.fd(),
                 static_cast<short>( follower_.wantsWrite() ? POLLIN | POLLOUT : POLLIN ), 0 } );
         }
         await( fds, follower_.closed() ? Clock::now() + 2ms : follower_.nextDeadline() );
         if ( fds.size() > 1 && ( fds[1].revents & ~POLLOUT ) != 0 ) {
            follower_.onReadable();
         }
         if ( fds.size() > 1 && ( fds[1].revents & POLLOUT ) != 0 ) {
            follower_.onWritable();
         }
         follower_.tick( Clock::now() );
         if ( fds[0].revents != 0 ) {
            goesOn = commands.read( obey );
         }
      }
   }

private:
   void connect() {
      try {
         follower_.connectedIs( Mirror::connectUnix( socket_ ).release() );
      } catch ( Mirror::SocketError const& ) {
         // Nobody is there at the moment.
      }
   }
   Trees trees() const {
      Trees all;
      for ( Varek::String const& name : follower_.roots() ) {
         all[name] = follower_.root( name );
      }
      return all;
   }
   /// What is told is to be a difference, also after a reconnect.
   void changed( std::string const& name, Qel::Entity const& root, Varek::Change const& change ) {
      ++changes_;
      Views::ChangePart const part = Views::changePart( root, change );
      if ( part.before.form == part.after.form && part.after.form != Views::Part::Form::entity &&
           Views::lineOf( part.before ) == Views::lineOf( part.after ) ) {
         ++unreal_;
         std::cerr << "no difference: ";
         Views::printText( std::cerr, "", name, part );
      }
   }

   std::string const socket_;
   Mirror::Follower follower_;
   std::map<Varek::String, Varek::Subscription> watches_;
   bool isSynced_ = false;
   std::uint64_t changes_ = 0, lost_ = 0, unreal_ = 0;
};

int run( std::vector<std::string> const& arguments ) {
   if ( arguments.size() == 5 && arguments[1] == "leader" ) {
      Leader( arguments[2], static_cast<std::uint32_t>( std::stoul( arguments[3] ) ),
              static_cast<unsigned>( std::stoul( arguments[4] ) ) )
         .run();
   } else if ( arguments.size() == 3 && arguments[1] == "follower" ) {
      Follower( arguments[2] ).run();
   } else {
      return 2;
   }
   return 0;
}

} // namespace

int main( int argc, char** argv ) {
   try {
      return run( { argv, argv + argc } );
   } catch ( std::exception const& error ) {
      std::cerr << argv[1] << ": " << error.what() << '\n';
      return 1;
   }
}
