#pragma once

#include <map>
#include <string>
#include <tuple>

#include "Exchange.h"
#include "Output.h"
#include "Problems.h"
#include "RadiusReading.h"

/// Reads captures and makes, for each RADIUS answer in them, the response entity that an
/// authenticator would keep: its type, the station that it is for, its attributes.
///
/// Each capture stands for itself: a request and its answer are looked for in the same file. A
/// packet that cannot be read is told and skipped; a file that cannot be read on ends there, and
/// the next is read.
namespace Dot1xCtl {

class Replay {
public:
   Replay( Output& output, Problems& problems ) : output_( output ), problems_( problems ) {}

   void file( std::string const& path );
   Summary const& summary();

private:
   void packet( Packet const&, Frame const& );
   void fragment( Packet const&, Fragment const& );
   void datagram( Packet const&, Datagram const& );
   void request( Packet const&, Datagram const&, RadiusReading );
   void answer( Packet const&, Datagram const&, RadiusReading const& );
   void countAnswer( Answer const& );

   Output& output_;
   Problems& problems_;
   Summary summary_;
   Exchange exchange_;
   Time start_; ///< Of the capture's first packet.
   /// Whether a datagram whose first fragment was seen is RADIUS.
   std::map<std::tuple<IpAddress, IpAddress, std::uint32_t>, bool> fragments_;
};

} // namespace Dot1xCtl
