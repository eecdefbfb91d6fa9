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

/// The output of replay in its two forms: text for people and JSON for programs. Both hold the same
/// facts and are written while the captures are read.
namespace Dot1xCtl {

/// A RADIUS answer. An answer that could not be read whole is passed to broken(): then response is
/// null, and attributes holds the attributes before the fault.
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
   std::size_t notifications = 0; ///< Changes that the response's observer was told of.
};

/// Over all captures of a run.
struct Summary {
   std::size_t captures = 0;
   std::size_t packets = 0; ///< Of any kind.
   std::size_t accepted = 0;
   std::size_t rejected = 0;
   std::size_t challenges = 0;
   std::size_t acctResponses = 0;
   std::size_t duplicates = 0;     ///< Repeated answers among the above.
   std::size_t withoutRequest = 0; ///< Answers without a request among the above.
   std::size_t broken = 0;         ///< Answers that could not be read whole; not among the above.
   std::size_t requests = 0;
   std::size_t sentAgain = 0; ///< Copies of requests; not among the above.
   std::size_t unanswered = 0;
   std::size_t otherRadius = 0; ///< Packets between RADIUS ports with other codes.
   std::size_t attributes = 0;  ///< Distinct attributes, summed over the answers.
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
   /// Called for all bad input, which is on standard error already or counted there; for a broken
   /// answer, before broken().
   virtual void problem( Capture::Problem const& ) = 0;
   /// Ends the output.
   virtual void summary( Summary const& ) = 0;
};

/// The text form: at most 80 columns, except for names of files.
std::unique_ptr<Output> textOutput( std::ostream& );
/// The JSON form: an array of objects, each on a line.
std::unique_ptr<Output> jsonOutput( std::ostream& );

} // namespace Dot1xCtl
