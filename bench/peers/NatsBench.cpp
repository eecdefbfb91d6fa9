// Beside NATS JetStream: a key-value bucket in memory, a key for each supplicant. The server is a process
// of the benchmark's own, on loopback.

#include <nats/nats.h>

#include "bench/peers/Ours.h"

namespace {

using namespace Bench;

void good( natsStatus status, char const* what ) {
   if ( status != NATS_OK ) {
      throw std::runtime_error( std::string( what ) + ": " + natsStatus_GetText( status ) );
   }
}

constexpr int port = 42220;
std::string url() { return "nats://127.0.0.1:" + std::to_string( port ); }

struct Connection {
   natsConnection* connection = nullptr;
   jsCtx* context = nullptr;

   bool open() {
      return natsConnection_ConnectTo( &connection, url().c_str() ) == NATS_OK &&
             natsConnection_JetStream( &context, connection, nullptr ) == NATS_OK;
   }
   ~Connection() {
      jsCtx_Destroy( context );
      natsConnection_Destroy( connection );
   }
};

struct Nats {
   class Server {
   public:
      bool ready() {
         return OwnServer::ready( [] { return Connection().open(); } );
      }

   private:
      OwnServer const server_{ []( std::filesystem::path const& folder ) {
         return std::vector<std::string>{ "nats-server", "--jetstream",
                                          "--addr",      "127.0.0.1",
                                          "--port",      std::to_string( port ),
                                          "--store_dir", folder.string(),
                                          "--log",       ( folder / "log" ).string() };
      } };
   };

   class Publisher {
   public:
      explicit Publisher( Server& ) {
         require( connection_.open(), "no connection to the server" );
         kvConfig config;
         kvConfig_Init( &config );
         config.Bucket = "bench";
         config.StorageType = js_MemoryStorage;
         kvStore* bucket = nullptr;
         good( js_CreateKeyValue( &bucket, connection_.context, &config ), "no bucket" );
         kvStore_Destroy( bucket );
      }
      void put( unsigned, bench::Supplicant& message ) {
         message.SerializeToString( &bytes_ );
         std::string const subject = "$KV.bench." + std::to_string( message.mac() );
         good( js_PublishAsync( connection_.context, subject.c_str(), bytes_.data(),
                                static_cast<int>( bytes_.size() ), nullptr ),
               "a key cannot be put" );
      }
      void flush() {
         good( js_PublishAsyncComplete( connection_.context, nullptr ),
               "what was put is not there" );
      }
      void serve() {}
      std::vector<pollfd> fds() const { return {}; }

   private:
      Connection connection_;
      std::string bytes_;
   };

   static void follow( Server&, std::function<void()> const& report ) {
      Connection connection;
      require( connection.open(), "no connection to the server" );
      kvStore* bucket = nullptr;
      good( js_KeyValue( &bucket, connection.context, "bench" ), "no bucket" );
      kvWatcher* watcher = nullptr;
      good( kvStore_WatchAll( &watcher, bucket, nullptr ), "no watcher" );
      Copies copies( report );
      for ( ;; ) {
         kvEntry* entry = nullptr;
         natsStatus const status = kvWatcher_Next( &entry, watcher, 60000 );
         if ( status == NATS_TIMEOUT ) {
            continue;
         }
         good( status, "the watcher ends" );
         if ( entry ) {
            copies.take( kvEntry_Value( entry ),
                         static_cast<std::size_t>( kvEntry_ValueLen( entry ) ) );
            kvEntry_Destroy( entry );
         }
      }
   }
};

[[maybe_unused]] bool const registered =
   peerRegister<Ours>( "nats", "ours" ) && peerRegister<Nats>( "nats", "peer" );

} // namespace
