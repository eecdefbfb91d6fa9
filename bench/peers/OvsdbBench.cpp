// Beside OVSDB: a row for each supplicant in a server of the benchmark's own, on a Unix socket, and
// replicas that monitor the table. Both sides speak its JSON-RPC (RFC 7047) through nlohmann/json: its own
// client library is in no package that can be linked to.

#include <fstream>
#include <istream>
#include <streambuf>
#include <sys/un.h>

#include <nlohmann/json.hpp>

#include "bench/peers/Ours.h"

namespace {

using namespace Bench;
using nlohmann::json;

constexpr char const* table = "Supplicant";

json schema() {
   auto const set = []( char const* type ) {
      return json{ { "type", { { "key", type }, { "min", 0 }, { "max", "unlimited" } } } };
   };
   json columns;
   for ( char const* name : { "mac", "identity", "class_attr" } ) {
      columns[name] = { { "type", "string" } };
   }
   for ( char const* name :
         { "interface_id", "auth_phase", "service_type", "vlan", "tag", "trigger_event" } ) {
      columns[name] = { { "type", "integer" } };
   }
   for ( char const* name : { "in_eapol_auth", "ingress_filters", "tagged" } ) {
      columns[name] = { { "type", "boolean" } };
   }
   columns["last_success"] = { { "type", "real" } };
   for ( char const* name : { "name_tagged", "name_untagged", "phases", "attributes" } ) {
      columns[name] = set( "string" );
   }
   for ( char const* name : { "id_tagged", "id_untagged" } ) {
      columns[name] = set( "integer" );
   }
   return {
      { "name", "bench" },
      { "version", "1.0.0" },
      { "tables",
        { { table, { { "columns", columns }, { "indexes", json::array( { { "mac" } } ) } } } } } };
}

template<class Values>
json setOf( Values const& values ) {
   return json::array( { "set", values } );
}

std::string hexadecimal( std::string const& octets ) {
   std::string text;
   for ( char const octet : octets ) {
      char two[3];
      std::snprintf( two, sizeof two, "%02x", static_cast<unsigned char>( octet ) );
      text += two;
   }
   return text;
}

json rowOf( bench::Supplicant const& from ) {
   auto const& vlans = from.egress_vlans();
   std::vector<std::string> phases;
   std::vector<std::string> attributes;
   for ( auto const& phase : from.phase() ) {
      phases.push_back( std::to_string( phase.phase() ) + " " + std::to_string( phase.stage() ) +
                        " " + std::to_string( phase.method() ) + " " +
                        std::to_string( phase.terminate_cause() ) + " " +
                        std::to_string( phase.answer().kind() ) + " " +
                        hexadecimal( phase.answer().calling_station() ) );
      for ( auto const& attribute : phase.answer().attribute() ) {
         for ( auto const& value : attribute.value() ) {
            attributes.push_back( std::to_string( attribute.vendor() ) + " " +
                                  std::to_string( attribute.type() ) + " " +
                                  hexadecimal( value.SerializeAsString() ) );
         }
      }
   }
   return { { "mac", std::to_string( from.mac() ) },
            { "interface_id", from.interface() },
            { "auth_phase", from.auth_phase() },
            { "phases", setOf( phases ) },
            { "attributes", setOf( attributes ) },
            { "in_eapol_auth", from.in_eapol_auth() },
            { "name_tagged", setOf( vlans.name_tagged() ) },
            { "name_untagged", setOf( vlans.name_untagged() ) },
            { "id_tagged", setOf( vlans.id_tagged() ) },
            { "id_untagged", setOf( vlans.id_untagged() ) },
            { "ingress_filters", vlans.ingress_filters() },
            { "identity", from.identity() },
            { "class_attr", from.class_attr() },
            { "last_success", from.last_success() },
            { "service_type", from.service_type() },
            { "vlan", from.vlan() },
            { "tagged", from.tagged() },
            { "tag", from.tag() },
            { "trigger_event", from.trigger_event() } };
}

/// A blocking connection: values one after the other, without anything between them.
class Connection : private std::streambuf {
public:
   explicit Connection( std::string const& path )
      : fd_( ::socket( AF_UNIX, SOCK_STREAM, 0 ) ), in_( this ) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path.copy( address.sun_path, sizeof address.sun_path - 1 );
      connected_ = ::connect( fd_, reinterpret_cast<sockaddr*>( &address ), sizeof address ) == 0;
   }
   Connection( Connection const& ) = delete;
   Connection& operator=( Connection const& ) = delete;
   ~Connection() override { ::close( fd_ ); }
   bool connected() const { return connected_; }
   void send( json const& value ) {
      std::string const text = value.dump();
      writeAll( fd_, text );
   }
   json next() {
      json value;
      in_ >> value;
      return value;
   }

private:
   int_type underflow() override {
      ssize_t const got = ::read( fd_, buffer_.data(), buffer_.size() );
      if ( got <= 0 ) {
         return traits_type::eof();
      }
      setg( buffer_.data(), buffer_.data(), buffer_.data() + got );
      return traits_type::to_int_type( buffer_[0] );
   }

   int const fd_;
   bool connected_ = false;
   std::vector<char> buffer_ = std::vector<char>( 262144 );
   std::istream in_;
};

struct Ovsdb {
   class Server {
   public:
      bool ready() {
         return OwnServer::ready( [this] { return Connection( path() ).connected(); } );
      }
      std::string path() const { return server_.folder() / "socket"; }

   private:
      OwnServer const server_{ []( std::filesystem::path const& folder ) {
         std::ofstream( folder / "schema" ) << schema();
         std::string const database = folder / "db";
         std::string const make =
            "ovsdb-tool create " + database + " " + ( folder / "schema" ).string();
         require( std::system( make.c_str() ) == 0, "no database can be made" );
         return std::vector<std::string>{ "ovsdb-server",
                                          "--no-chdir",
                                          "--verbose=off",
                                          "--log-file=" + ( folder / "log" ).string(),
                                          "--unixctl=" + ( folder / "ctl" ).string(),
                                          "--remote=punix:" + ( folder / "socket" ).string(),
                                          database };
      } };
   };

   class Publisher {
   public:
      explicit Publisher( Server& server ) : connection_( server.path() ) {
         require( connection_.connected(), "no connection to the server" );
      }
      /// The first time of each supplicant a row, many in a transaction; then a change of one column.
      void put( unsigned i, bench::Supplicant& message ) {
         if ( i == rows_ ) {
            ++rows_;
            operations_.push_back(
               { { "op", "insert" }, { "table", table }, { "row", rowOf( message ) } } );
            if ( operations_.size() == 500 ) {
               transact();
            }
            return;
         }
         operations_.push_back(
            { { "op", "update" },
              { "table", table },
              { "where", json::array( { { "mac", "==", std::to_string( message.mac() ) } } ) },
              { "row", { { "service_type", message.service_type() } } } } );
         transact();
      }
      void flush() {
         if ( !operations_.empty() ) {
            transact();
         }
         repliesAwait( 0 );
      }
      void serve() {}
      std::vector<pollfd> fds() const { return {}; }

   private:
      void transact() {
         // The server reads no more while its answers, which name each new row, wait to be read.
         unsigned const left = operations_.size() > 1 ? 0 : 64;
         json params = json::array( { "bench" } );
         for ( json& one : operations_ ) {
            params.push_back( std::move( one ) );
         }
         operations_.clear();
         connection_.send(
            { { "method", "transact" }, { "params", params }, { "id", ++unanswered_ } } );
         repliesAwait( left );
      }
      void repliesAwait( unsigned left ) {
         while ( unanswered_ > left ) {
            json const reply = connection_.next();
            if ( reply.value( "method", "" ) == "echo" ) {
               connection_.send( { { "result", reply.at( "params" ) },
                                   { "error", nullptr },
                                   { "id", reply.at( "id" ) } } );
               continue;
            }
            require( reply.at( "error" ).is_null(), "the server refuses a transaction" );
            for ( json const& one : reply.at( "result" ) ) {
               require( !one.is_object() || !one.contains( "error" ), "an operation has failed" );
            }
            --unanswered_;
         }
      }

      Connection connection_;
      std::vector<json> operations_;
      unsigned rows_ = 0;
      unsigned unanswered_ = 0;
   };

   static void follow( Server& server, std::function<void()> const& report ) {
      Connection connection( server.path() );
      require( connection.connected(), "no connection to the server" );
      connection.send(
         { { "method", "monitor" },
           { "params", json::array( { "bench", nullptr, { { table, json::object() } } } ) },
           { "id", 1 } } );
      std::unordered_map<std::string, json> rows;
      auto const take = [&]( json& updates ) {
         for ( auto& [uuid, update] : updates[table].items() ) {
            json& row = rows[uuid];
            row = std::move( update["new"] );
            if ( row.value( "service_type", 0U ) == lastServiceType ) {
               report();
            }
         }
      };
      json first = connection.next();
      take( first["result"] );
      require( rows.size() == peerSupplicants, "not all has come" );
      report();
      for ( ;; ) {
         json one = connection.next();
         if ( one.value( "method", "" ) == "update" ) {
            take( one["params"][1] );
         } else {
            connection.send(
               { { "result", one["params"] }, { "error", nullptr }, { "id", one["id"] } } );
         }
      }
   }
};

[[maybe_unused]] bool const registered =
   peerRegister<Ours>( "ovsdb", "ours" ) && peerRegister<Ovsdb>( "ovsdb", "peer" );

} // namespace
