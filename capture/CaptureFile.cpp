#include "capture/CaptureFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <pcap/pcap.h>

#include "capture/Frame.h"

namespace Capture {

namespace {

/// A damaged record can hold any time. It is brought into a range (up to the year 2255) in which
/// times and their differences can be counted in nanoseconds.
Time timeOf( timeval const& stamp ) {
   constexpr std::int64_t lastSecond = 9'000'000'000;
   auto const second = std::clamp<std::int64_t>( stamp.tv_sec, 0, lastSecond );
   // The file is opened with nanosecond precision: then this field, too, counts nanoseconds.
   auto const nanosecond = std::clamp<std::int64_t>( stamp.tv_usec, 0, 999'999'999 );
   return Time( std::chrono::seconds( second ) + std::chrono::nanoseconds( nanosecond ) );
}

std::string wholeBefore( std::uint64_t packets ) {
   return packets == 0   ? ""
          : packets == 1 ? "; the one before it is whole"
                         : "; the " + std::to_string( packets ) + " before it are whole";
}

bool cutShort( std::string_view error ) {
   return error.find( "truncated" ) != std::string_view::npos;
}

} // namespace

struct CaptureFile::State {
   ~State() {
      if ( pcap ) {
         pcap_close( pcap ); // closes the file too
      } else if ( file && file != stdin ) {
         std::fclose( file );
      }
   }

   std::FILE* file = nullptr;
   pcap_t* pcap = nullptr;
   std::uint64_t packets = 0;
   std::uint64_t size = 0;
};

CaptureFile::CaptureFile( std::string const& path ) : state_( std::make_unique<State>() ) {
   state_->file = path == "-" ? stdin : std::fopen( path.c_str(), "rb" );
   if ( !state_->file ) {
      throw CaptureError( std::string( "cannot be opened: " ) + std::strerror( errno ) );
   }
   std::error_code unknown;
   std::uintmax_t const size = std::filesystem::file_size( path, unknown );
   state_->size = unknown ? 0 : size;
   int const first = std::getc( state_->file );
   if ( first == EOF ) {
      throw CaptureError( std::ferror( state_->file ) != 0
                             ? std::string( "cannot be read: " ) + std::strerror( errno )
                             : "is empty, without even the header of a capture" );
   }
   std::ungetc( first, state_->file );

   char error[PCAP_ERRBUF_SIZE] = {};
   state_->pcap =
      pcap_fopen_offline_with_tstamp_precision( state_->file, PCAP_TSTAMP_PRECISION_NANO, error );
   if ( !state_->pcap ) {
      std::string const meaning = cutShort( error ) ? "is cut short within its header: "
                                                    : "is no capture in pcap or pcapng format: ";
      throw CaptureError( meaning + error );
   }
   if ( !linkTypeKnown( linkType() ) ) {
      char const* const name = pcap_datalink_val_to_name( linkType() );
      throw CaptureError( "has packets of link type " +
                          ( name ? std::string( name ) : std::to_string( linkType() ) ) +
                          "; readable are Ethernet, Linux cooked, raw IP and loopback" );
   }
}

CaptureFile::~CaptureFile() = default;

int CaptureFile::linkType() const { return pcap_datalink( state_->pcap ); }

std::uint64_t CaptureFile::position() const {
   long const offset = std::ftell( state_->file );
   return offset < 0 ? 0 : static_cast<std::uint64_t>( offset );
}

std::uint64_t CaptureFile::size() const { return state_->size; }

bool CaptureFile::next( Packet& packet ) {
   long const offset = std::ftell( state_->file );
   pcap_pkthdr* header = nullptr;
   u_char const* octets = nullptr;
   int const result = pcap_next_ex( state_->pcap, &header, &octets );
   if ( result == PCAP_ERROR_BREAK ) {
      return false;
   }
   std::uint64_t const number = state_->packets + 1;
   if ( result != 1 ) {
      std::string const error = pcap_geterr( state_->pcap );
      throw CaptureError( cutShort( error ) ? "the file is cut short within this packet (" + error +
                                                 ")" + wholeBefore( state_->packets )
                                            : "the file cannot be read on: " + error,
                          number,
                          offset < 0 ? std::nullopt
                                     : std::optional( static_cast<std::uint64_t>( offset ) ) );
   }
   state_->packets = number;
   packet.number = number;
   packet.time = timeOf( header->ts );
   packet.octets = { octets, header->caplen };
   packet.originalLength = header->len;
   return true;
}

} // namespace Capture
