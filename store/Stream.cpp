#include "store/Stream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

#include <fmt/core.h>

#include "Varek/Failures.h"
#include "mirror/Leader.h"
#include "mirror/Transport.h"
#include "store/Replacement.h"

namespace Store {

namespace {

/// The other side of a connection that is all there already: its words are a text, and what it is told
/// is kept as a text.
class Recorded final : public Mirror::Transport {
public:
   /// Both outlive the transport. Without \p told nothing is kept.
   Recorded( std::string_view says, std::string* told ) : says_( says ), told_( told ) {}

   Mirror::Transfer read( std::span<std::uint8_t> to ) noexcept override {
      std::size_t const count = std::min( to.size(), says_.size() );
      if ( count == 0 ) {
         return Mirror::Transfer::none( Mirror::Transfer::State::untilReadable );
      }
      std::memcpy( to.data(), says_.data(), count );
      says_.remove_prefix( count );
      return Mirror::Transfer::moved( count );
   }
   Mirror::Transfer write( std::span<Bytes const> pieces ) noexcept override {
      std::size_t count = 0;
      for ( Bytes const piece : pieces ) {
         if ( told_ && !append( piece ) ) {
            return count != 0 ? Mirror::Transfer::moved( count )
                              : Mirror::Transfer::none( Mirror::Transfer::State::failed, ENOMEM );
         }
         count += piece.size();
      }
      return Mirror::Transfer::moved( count );
   }
   void end() noexcept override {}

private:
   bool append( Bytes piece ) noexcept try {
      told_->append( reinterpret_cast<char const*>( piece.data() ), piece.size() );
      return true;
   } catch ( std::exception const& ) {
      return false;
   }

   std::string_view says_;
   std::string* const told_;
};

std::string helloOfAFollower() {
   std::string told;
   Mirror::Endpoint follower( {}, Mirror::Endpoint::Role::follower );
   follower.start( std::make_unique<Recorded>( std::string_view(), &told ), "itself",
                   Mirror::Description::ofThisProcess() );
   follower.flush();
   std::string result = std::move( told );
   return result;
}

} // namespace

std::string streamOf( Views::Roots const& roots ) {
   std::string const hello = helloOfAFollower();
   std::string told;
   Mirror::LeaderOptions options;
   options.generation = 0; // equal trees make equal files
   Mirror::Leader leader( options );
   for ( auto const& [name, root] : roots ) {
      leader.rootIs( name, root );
   }
   Mirror::LeaderConnection& connection =
      leader.connectionIs( std::make_unique<Recorded>( hello, &told ), "itself" );
   while ( !connection.synced() || connection.wantsWrite() ) {
      connection.onReadable();
      connection.onWritable();
      if ( connection.closed() ) {
         throw Varek::Failure( "the state cannot be told: " + connection.reason() );
      }
   }
   // Not the text itself, to which the connection may add when it ends.
   std::string result = std::move( told );
   return result;
}

LeftOut apply( std::string_view stream, Mirror::Follower& follower, std::string const& name,
               HowFar const& howFar ) {
   follower.recordedIs( std::make_unique<Recorded>( stream, nullptr ), name );
   auto const wholeSize = stream.size();
   while ( !follower.closed() && follower.stats().bytes < wholeSize ) {
      follower.onReadable();
      if ( howFar ) {
         howFar( follower.stats().bytes, wholeSize );
      }
   }
   if ( follower.closed() ) {
      refuse( name, "the state in it cannot be taken: " + follower.reason() );
   }
   Mirror::Follower::Stats const stats = follower.stats();
   bool const whole = follower.synced() && stats.incomplete == 0;
   follower.close();
   if ( !whole ) {
      refuse( name,
              fmt::format( "the state in it ends before it is whole, after {} bytes", wholeSize ) );
   }
   return { stats.unknownTypes, stats.skipped };
}

Views::Roots rootsOf( Mirror::Follower const& follower ) {
   Views::Roots roots;
   for ( Varek::String const& name : follower.roots() ) {
      roots[name] = follower.root( name );
   }
   return roots;
}

} // namespace Store
