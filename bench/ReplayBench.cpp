// How many packets a second become state on one core: a capture file of 100,000s of packets, read
// through libpcap, taken apart, and played to an agent. Nothing is printed, verified or recorded. There
// is no peer; the inverse of packets_a_second is the time.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <variant>

#include <benchmark/benchmark.h>

#include "agent/Authenticator.h"
#include "bench/Processes.h"
#include "capture/CaptureFile.h"
#include "capture/EapolStations.h"
#include "capture/RadiusReading.h"

namespace {

using namespace Capture;
using Bench::require;

/// The packets of a sample so many times, each time an hour later: else they would be requests that are
/// sent again.
class LongCapture {
public:
   LongCapture( std::string const& sample, unsigned times )
      : path_( std::filesystem::temp_directory_path() /
               ( "bench-" + std::to_string( getpid() ) ) ) {
      std::ifstream in( std::string( DOT1X_SAMPLES_DIR "/" ) + sample, std::ios::binary );
      std::string const all( ( std::istreambuf_iterator<char>( in ) ), {} );
      constexpr std::size_t fileHead = 24, recordHead = 16;
      require( all.size() > fileHead, "the sample cannot be read" );
      std::ofstream out( path_, std::ios::binary );
      out.write( all.data(), fileHead );
      std::string record;
      for ( unsigned i = 0; i < times; ++i ) {
         for ( std::size_t at = fileHead; at < all.size(); at += record.size() ) {
            std::uint32_t seconds;
            std::uint32_t captured;
            std::memcpy( &captured, all.data() + at + 8, sizeof captured );
            record = all.substr( at, recordHead + captured );
            std::memcpy( &seconds, record.data(), sizeof seconds );
            seconds += 3600 * i;
            std::memcpy( record.data(), &seconds, sizeof seconds );
            out << record;
         }
      }
   }
   ~LongCapture() { std::filesystem::remove( path_ ); }
   std::string path() const { return path_.string(); }

private:
   std::filesystem::path const path_;
};

/// What an agent's owner does with packets.
class Player {
public:
   void packet( int link, Packet const& packet ) {
      Frame const frame = dissect( link, packet.octets, packet.originalLength );
      if ( auto const* const found = std::get_if<Datagram>( &frame ) ) {
         datagram( packet, *found );
      } else if ( auto const* const seen = std::get_if<Eapol>( &frame ) ) {
         Eapol eapol = *seen;
         stations_.see( eapol );
         agent_.eapol( eapol );
      }
   }
   std::size_t accepted() const { return accepted_; }

private:
   void datagram( Packet const& packet, Datagram const& datagram ) {
      RadiusReading reading = readRadius( datagram );
      if ( isRequest( reading.code ) ) {
         Request request;
         request.time = packet.time;
         request.packet = packet.number;
         request.code = reading.code;
         request.octets.assign( datagram.payload.begin(), datagram.payload.end() );
         request.attributes = std::move( reading.attributes );
         request.station = stationOf( request.attributes );
         Flow const flow{ datagram.source, datagram.destination, reading.identifier };
         if ( exchange_.request( flow, std::move( request ) ) ) {
            agent_.request( *exchange_.recent( flow ) );
         }
      } else if ( isAnswer( reading.code ) ) {
         Flow const flow{ datagram.destination, datagram.source, reading.identifier };
         if ( Request const* const request = exchange_.answer( flow, reading.code, true ) ) {
            agent_.answer( *request, *response( reading, *request ), packet.time );
         }
      }
   }
   Varek::Ptr<Dot1xV2::AaaResponse> response( RadiusReading const& reading,
                                              Request const& request ) {
      using Type = Dot1xV2::AaaResponseType;
      accepted_ += reading.code == accessAccept;
      auto const made =
         Dot1xV2::aaaResponseFactory( reading.code == accessAccept      ? Type::accepted
                                      : reading.code == accessReject    ? Type::rejected
                                      : reading.code == accessChallenge ? Type::challenge
                                                                        : Type::acctResponse );
      if ( request.station ) {
         made->callingStationIdIs( *request.station );
      }
      for ( auto const& [attribute, value] : reading.attributes ) {
         auto const* const held = made->aaaAttribute( attribute );
         Dot1xV2::AaaAttribute more = held ? *held : Dot1xV2::AaaAttribute( attribute );
         more.attrValuePush( value );
         made->aaaAttributeIs( more );
      }
      return made;
   }

   Exchange exchange_;
   EapolStations stations_;
   Agent::Authenticator agent_;
   std::size_t accepted_ = 0;
};

void replay( benchmark::State& state, char const* sample ) {
   LongCapture const file( sample, 4000 );
   std::uint64_t packets = 0;
   for ( auto _ : state ) {
      CaptureFile capture( file.path() );
      Player player;
      for ( Packet next; capture.next( next ); ++packets ) {
         player.packet( capture.linkType(), next );
      }
      require( player.accepted() > 0, "nothing was accepted" );
   }
   state.counters["packets_a_second"] =
      benchmark::Counter( static_cast<double>( packets ), benchmark::Counter::kIsRate );
}
BENCHMARK_CAPTURE( replay, mba, "mba.pcap" )->Name( "replay_mba/ours" );
BENCHMARK_CAPTURE( replay, eap, "eap-radius.pcap" )->Name( "replay_eap/ours" );
BENCHMARK_CAPTURE( replay, wired, "wired-eapol.pcap" )->Name( "replay_wired_eapol/ours" );

} // namespace
