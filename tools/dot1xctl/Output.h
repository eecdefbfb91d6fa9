#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Problems.h"
#include "capture/Exchange.h"

/// What replay tells, and the two forms in which it is printed: text for people and JSON for
/// programs. Both hold the same facts and are written as the captures are read.
namespace Dot1xCtl {

/// A RADIUS answer. One that could not be read whole comes as broken: then response is null and
/// attributes holds what stood before the fault.
struct Answer {
   std::uint64_t packet = 0;
   Capture::Time time;
   std::chrono::nanoseconds sinceStart{}; ///< Since the first packet of the capture.
   std::uint8_t code = 0;
   std::uint8_t identifier = 0;
   Capture::Endpoint client;
   Capture::Endpoint server;
   Capture::Request const* request = nullptr; ///< Null if the capture does not have it.
   Varek::Ptr<Dot1xV2::AaaResponse> response;
   std::vector<Dot1xV2::AaaAttribute> attributes; ///< In the order of the packet.
   std::size_t notifications = 0; ///< Changes that the response's observer was told.
};

/// Over all captures of one run.
struct Summary {
   std::size_t captures = 0;
   std::size_t packets = 0; ///< Of any kind.
   std::size_t accepted = 0;
   std::size_t rejected = 0;
   std::size_t challenges = 0;
   std::size_t acctResponses = 0;
   std::size_t duplicates = 0;     ///< Answers among the above that came again.
   std::size_t withoutRequest = 0; ///< Answers among the above.
   std::size_t broken = 0;         ///< Answers that could not be read whole; not among the above.
   std::size_t requests = 0;
   std::size_t sentAgain = 0; ///< Copies of requests; not among the above.
   std::size_t unanswered = 0;
   std::size_t otherRadius = 0; ///< Packets between RADIUS ports with other codes.
   std::size_t attributes = 0;  ///< Distinct ones, summed over the answers.
   std::size_t values = 0;      ///< Of these.
   std::size_t notifications = 0;
   std::size_t problems = 0;

   std::size_t answers() const { return accepted + rejected + challenges + acctResponses; }
};

class Output {
public:
   virtual ~Output() = default;
   /// Begins a capture.
   virtual void capture( std::string const& file ) = 0;
   virtual void answer( Answer const& ) = 0;
   virtual void broken( Answer const&, Capture::Problem const& fault ) = 0;
   virtual void unanswered( Capture::Request const& ) = 0;
   /// Any bad input, which has been told on standard error or counted there; of an answer that is
   /// broken, before that.
   virtual void problem( Capture::Problem const& ) = 0;
   /// Ends the output.
   virtual void summary( Summary const& ) = 0;
};

/// At most 80 columns, but for the names of files.
std::unique_ptr<Output> textOutput( std::ostream& );
/// One array of objects, an object a line.
std::unique_ptr<Output> jsonOutput( std::ostream& );

} // namespace Dot1xCtl
