#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "Varek/Export.h"
#include "Varek/Failures.h"

/// Packet captures (pcap and pcapng), one packet after the other, read through libpcap in constant
/// memory.
namespace Capture {

/// A time since 1970-01-01 00:00 UTC, in nanoseconds.
using Time = std::chrono::sys_time<std::chrono::nanoseconds>;

struct Packet {
   std::uint64_t number = 0; ///< From 1.
   Time time;
   std::span<std::uint8_t const> octets; ///< As captured. Valid until the next is read.
   std::size_t originalLength = 0;       ///< Number of octets on the wire, captured or not.
};

/// The file is no capture, or cannot be read further. what() does not name the file.
class VAREK_EXPORT CaptureError : public Varek::Failure {
public:
   explicit CaptureError( std::string const& what, std::uint64_t packet = 0,
                          std::optional<std::uint64_t> offset = {} )
      : Failure( what ), packet_( packet ), offset_( offset ) {}

   std::uint64_t packet() const { return packet_; } ///< From 1; 0 before the first packet.
   /// The offset of that packet in the file, in octets; nothing before the first, and for a pipe.
   std::optional<std::uint64_t> offset() const { return offset_; }

private:
   std::uint64_t packet_;
   std::optional<std::uint64_t> offset_;
};

class VAREK_EXPORT CaptureFile {
public:
   /// Opens \p path; "-" is standard input. Throws CaptureError if it cannot be read.
   explicit CaptureFile( std::string const& path );
   ~CaptureFile();
   CaptureFile( CaptureFile const& ) = delete;
   CaptureFile& operator=( CaptureFile const& ) = delete;

   /// Reads the next packet: false at the end of the file. Throws CaptureError where the file is
   /// cut short or damaged; the packets before that have been read.
   bool next( Packet& );
   /// The link type, a DLT_ value of libpcap.
   int linkType() const;

   /// How far the file has been read, and its length, in octets; 0 for a pipe.
   std::uint64_t position() const;
   std::uint64_t size() const;

private:
   struct State;
   std::unique_ptr<State> state_;
};

} // namespace Capture
