#pragma once

#include <functional>
#include <map>
#include <string>
#include <tuple>

#include "Output.h"
#include "Problems.h"
#include "ReplayTypes.h"
#include "agent/ExchangeListener.h"
#include "capture/EapolStations.h"
#include "capture/Exchange.h"
#include "capture/RadiusReading.h"

/// Reads captures and makes, for each RADIUS answer in them, the response entity that an
/// authenticator would keep: its type, the station that it is for, its attributes.
///
/// Each capture stands for itself: the request of an answer is looked for in the same file. A
/// packet that cannot be read is reported and skipped; a file that cannot be read further ends
/// there, and the next file is read.
///
/// Memory: the requests of a single capture, unless the answers are kept.
namespace Dot1xCtl {

class Replay {
public:
   enum class Answers : std::uint8_t { pass, keep };

   Replay( Output& output, Problems& problems, Answers answers = Answers::pass )
      : output_( output ), problems_( problems ), answers_( answers ) {}

   /// Called, if set, before each packet; returns whether to stop reading there.
   std::function<bool()> interrupted;

   /// Called, if set, before each packet with its offset and the length of the file, in octets.
   std::function<void( std::uint64_t at, std::uint64_t of )> progress;

   /// Receives each request, answer and EAPOL frame; may be null.
   Agent::ExchangeListener* agent = nullptr;

   void file( std::string const& path );
   Summary const& summary();
   /// The results as a tree: the answers, if they are kept, and the counts of summary().
   Varek::Ptr<::Replay::Status> const& status() const { return status_; }

private:
   void tell( Capture::Problem const& );
   void packet( Capture::Packet const&, Capture::Frame const& );
   void fragment( Capture::Packet const&, Capture::Fragment const& );
   void datagram( Capture::Packet const&, Capture::Datagram const& );
   void request( Capture::Packet const&, Capture::Datagram const&, Capture::RadiusReading );
   void answer( Capture::Packet const&, Capture::Datagram const&, Capture::RadiusReading const& );
   void makeResponse( Answer& );
   void countAnswer( Answer const& );

   Output& output_;
   Problems& problems_;
   Answers const answers_;
   Varek::Ptr<::Replay::Status> const status_ = ::Replay::statusFactory( "replay" );
   std::uint32_t made_ = 0; ///< Number of the last answer.
   std::string file_;
   Summary summary_;
   Capture::Exchange exchange_;
   Capture::EapolStations stations_;
   Capture::Time start_; ///< Of the capture's first packet.
   /// Whether a datagram whose first fragment was seen is RADIUS.
   std::map<std::tuple<Capture::IpAddress, Capture::IpAddress, std::uint32_t>, bool> fragments_;
};

} // namespace Dot1xCtl
