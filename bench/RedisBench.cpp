// Telling other processes of a tree of 100,000 answers, and of changes after that, beside Redis:
// each answer a hash with one field for each attribute, each change an HSET, so that the server
// holds the state, and a PUBLISH, so that subscribers keep a decoded copy. The server is a process
// of this benchmark's own, on a Unix socket in a temporary folder, and writes nothing to disk.

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/prctl.h>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>
#include <hiredis.h>

#include "bench/HandPacked.h"
#include "bench/Mirrored.h"
#include "bench/Processes.h"

namespace {

using namespace Bench;

using Context = std::unique_ptr<redisContext, decltype( &redisFree )>;
using Reply = std::unique_ptr<redisReply, decltype( &freeReplyObject )>;
using Words = std::vector<std::string>;

/// A running server, which ends with this object or with its process.
class Server {
public:
   Server() {
      std::string made = std::filesystem::temp_directory_path() / "redis-bench-XXXXXX";
      require( mkdtemp( made.data() ) != nullptr, "no temporary folder can be made" );
      folder_ = made;
      pid_ = fork();
      require( pid_ >= 0, "fork" );
      if ( pid_ == 0 ) {
         prctl( PR_SET_PDEATHSIG, SIGKILL );
         // No limit on a subscriber's queue: by default a slow subscriber would be disconnected.
         execlp( "redis-server", "redis-server", "--port", "0", "--unixsocket", path().c_str(),
                 "--dir", folder_.c_str(), "--save", "", "--appendonly", "no", "--logfile",
                 ( folder_ / "log" ).c_str(), "--client-output-buffer-limit", "pubsub 0 0 0",
                 nullptr );
         _exit( 127 );
      }
   }
   Server( Server const& ) = delete;
   Server& operator=( Server const& ) = delete;
   ~Server() {
      if ( !ended_ ) {
         ::kill( pid_, SIGKILL );
         int status;
         ::waitpid( pid_, &status, 0 );
      }
      std::error_code ignored;
      std::filesystem::remove_all( folder_, ignored );
   }

   std::string path() const { return folder_ / "socket"; }

   /// Waits until the server answers. False if it cannot be started.
   bool ready() {
      for ( unsigned tries = 0; tries < 500 && !ended(); ++tries ) {
         Context const context( redisConnectUnix( path().c_str() ), redisFree );
         if ( context && !context->err ) {
            return true;
         }
         poll( nullptr, 0, 10 );
      }
      return false;
   }

private:
   bool ended() {
      int status;
      return ended_ = ended_ || ::waitpid( pid_, &status, WNOHANG ) == pid_;
   }
   std::filesystem::path folder_;
   pid_t pid_;
   bool ended_ = false;
};

std::unique_ptr<Server> server;

class Client {
public:
   Client() : context_( redisConnectUnix( server->path().c_str() ), redisFree ) {
      require( context_ && !context_->err, "no connection to the server" );
   }
   void append( Words const& words ) {
      arguments_.clear();
      sizes_.clear();
      for ( auto const& word : words ) {
         arguments_.push_back( word.data() );
         sizes_.push_back( word.size() );
      }
      require( redisAppendCommandArgv( context_.get(), static_cast<int>( words.size() ),
                                       arguments_.data(), sizes_.data() ) == REDIS_OK,
               "a command cannot be sent" );
      ++unanswered_;
   }
   /// Sends the appended commands.
   void flush() {
      int done = 0;
      while ( !done ) {
         require( redisBufferWrite( context_.get(), &done ) == REDIS_OK, "write" );
      }
   }
   Reply reply() {
      void* reply = nullptr;
      require( redisGetReply( context_.get(), &reply ) == REDIS_OK, "no reply" );
      Reply taken( static_cast<redisReply*>( reply ), freeReplyObject );
      require( taken->type != REDIS_REPLY_ERROR, "the server refuses a command" );
      return taken;
   }
   /// Takes replies until at most \p left are outstanding.
   void repliesAwait( std::size_t left = 0 ) {
      for ( ; unanswered_ > left; --unanswered_ ) {
         reply();
      }
   }

private:
   Context context_;
   std::vector<char const*> arguments_;
   std::vector<std::size_t> sizes_;
   std::size_t unanswered_ = 0;
};

std::string text( HandPacker const& packer ) {
   return { packer.packed().data(), packer.packed().size() };
}

std::string keyOf( unsigned answer ) { return "answer:" + std::to_string( answer ); }

/// The leader's side: commands in batches; the replies to a batch are taken during the next.
class Publisher {
public:
   void answer( HandAnswer const& one ) {
      Words words{ "HSET",    keyOf( one.number ),
                   "kind",    std::to_string( one.kind ),
                   "station", { reinterpret_cast<char const*>( one.station.data() ), 6 } };
      for ( HandAttribute const& attribute : one.attributes ) {
         words.push_back( fieldOf( attribute ) );
         words.push_back( packed( attribute ) );
      }
      packer_.clear();
      packer_.pack( one );
      send( words, { "PUBLISH", "answers", text( packer_ ) } );
   }
   void change( unsigned answer, HandAttribute const& attribute ) {
      Words const hset{ "HSET", keyOf( answer ), fieldOf( attribute ), packed( attribute ) };
      packer_.clear();
      packer_.put( answer );
      packer_.pack( attribute );
      send( hset, { "PUBLISH", "changes", text( packer_ ) } );
   }
   void finish() {
      client_.append( { "PUBLISH", "end", "" } );
      client_.repliesAwait();
      pending_ = 0;
   }

private:
   static std::string fieldOf( HandAttribute const& one ) {
      return std::to_string( one.vendor ) + ':' + std::to_string( one.type );
   }
   std::string packed( HandAttribute const& attribute ) {
      packer_.clear();
      packer_.pack( attribute );
      return text( packer_ );
   }
   void send( Words const& hset, Words const& publish ) {
      constexpr std::size_t batch = 256;
      client_.append( hset );
      client_.append( publish );
      if ( ++pending_ == batch ) {
         client_.flush();
         client_.repliesAwait( 2 * batch );
         pending_ = 0;
      }
   }
   Client client_;
   HandPacker packer_{ 4096 };
   std::size_t pending_ = 0;
};

/// In the child: keeps a decoded copy; reports when it has subscribed and at each end.
void subscribe( int, std::function<void()> const& report ) {
   Client client;
   client.append( { "SUBSCRIBE", "answers", "changes", "end" } );
   client.flush();
   for ( unsigned n = 0; n < 3; ++n ) {
      client.reply();
   }
   report();
   std::unordered_map<std::uint32_t, HandAnswer> all;
   all.reserve( answers );
   for ( ;; ) {
      Reply const reply = client.reply();
      std::string_view const channel( reply->element[1]->str, reply->element[1]->len );
      HandParser parser( { reply->element[2]->str, reply->element[2]->len } );
      if ( channel == "changes" ) {
         std::uint32_t number = 0;
         HandAttribute attribute;
         require( parser.get( number ) && parser.parse( attribute ), "a message is cut" );
         auto& held = all[number].attributes;
         auto const at = std::ranges::find_if( held, [&]( auto const& one ) {
            return one.vendor == attribute.vendor && one.type == attribute.type;
         } );
         require( at != held.end(), "a change of what is not there" );
         *at = std::move( attribute );
      } else if ( channel == "answers" ) {
         HandAnswer one;
         require( parser.parse( one ), "a message is cut" );
         auto const number = one.number;
         all[number] = std::move( one );
      } else {
         require( all.size() == answers, "not all has come" );
         report();
      }
   }
}

void publishAll( Publisher& publisher, std::vector<HandAnswer> const& all ) {
   for ( HandAnswer const& one : all ) {
      publisher.answer( one );
   }
   publisher.finish();
}

std::vector<HandAnswer> const& content() {
   static std::vector<HandAnswer> const all = handAnswers( table() );
   return all;
}

void syncOurs( benchmark::State& state ) {
   table();
   for ( auto _ : state ) {
      Mirrored mirrored;
      state.SetIterationTime( fullSync( mirrored ) );
   }
}
BENCHMARK( syncOurs )->Name( "redis_sync_answer/ours" )->UseManualTime()->Iterations( 1 );

void syncPeer( benchmark::State& state ) {
   content();
   for ( auto _ : state ) {
      Client client;
      client.append( { "FLUSHALL" } );
      client.repliesAwait();
      Child subscriber( subscribe );
      subscriber.await();
      Publisher publisher;
      auto const begin = Clock::now();
      publishAll( publisher, content() );
      subscriber.await();
      state.SetIterationTime( since( begin ) / answers );
   }
}
BENCHMARK( syncPeer )->Name( "redis_sync_answer/peer" )->UseManualTime()->Iterations( 1 );

void changesOurs( benchmark::State& state ) {
   table();
   Mirrored mirrored;
   for ( auto n = state.range( 0 ); n > 0; --n ) {
      mirrored.followerIs();
   }
   mirrored.awaitAll();
   for ( auto _ : state ) {
      auto const begin = Clock::now();
      changesMake( mirrored );
      state.SetIterationTime( since( begin ) / changesEach );
   }
}
BENCHMARK( changesOurs )
   ->Name( "redis_change_followers/ours" )
   ->Arg( 1 )
   ->Arg( 4 )
   ->UseManualTime()
   ->Iterations( 1 );

void changesPeer( benchmark::State& state ) {
   std::list<Child> subscribers;
   for ( auto n = state.range( 0 ); n > 0; --n ) {
      subscribers.emplace_back( subscribe ).await();
   }
   Publisher publisher;
   auto const awaitAll = [&] {
      for ( Child const& one : subscribers ) {
         one.await();
      }
   };
   publishAll( publisher, content() );
   awaitAll();
   HandAttribute changed;
   changed.type = changedType;
   changed.values.push_back( { 3, 1, 0, {} } );
   for ( auto _ : state ) {
      auto const begin = Clock::now();
      for ( unsigned n = 0; n < changesEach; ++n ) {
         ++changed.values.front().number;
         publisher.change( changedAnswer( n ), changed );
      }
      publisher.finish();
      awaitAll();
      state.SetIterationTime( since( begin ) / changesEach );
   }
}
BENCHMARK( changesPeer )
   ->Name( "redis_change_followers/peer" )
   ->Arg( 1 )
   ->Arg( 4 )
   ->UseManualTime()
   ->Iterations( 1 );

} // namespace

int main( int argc, char** argv ) {
   benchmark::Initialize( &argc, argv );
   if ( benchmark::ReportUnrecognizedArguments( argc, argv ) ) {
      return 2;
   }
   try {
      server = std::make_unique<Server>();
      if ( !server->ready() ) {
         std::fputs( "bench_redis: redis-server cannot be started: is it installed?\n", stderr );
         server.reset();
         return 1;
      }
      benchmark::RunSpecifiedBenchmarks();
      server.reset();
   } catch ( std::exception const& e ) {
      std::fprintf( stderr, "bench_redis: %s\n", e.what() );
      server.reset();
      return 1;
   }
   return 0;
}
