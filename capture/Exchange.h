#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Varek/Export.h"
#include "capture/CaptureFile.h"
#include "capture/Frame.h"
#include "capture/RadiusReading.h"

/// Matches RADIUS answers with their requests. An answer repeats only the identifier of its
/// request, an octet: it belongs to the most recent request with that identifier between the same
/// two endpoints.
///
/// - A request sent again, octet for octet, is the same request (RFC 5080 2.2.1). Other octets
///   under the same identifier are a new request, and the request before can no longer be answered.
/// - An answered request is kept, for answers that arrive twice, until its identifier is used
///   again.
/// - An answer whose code does not fit the code of that request answers nothing.
///
/// Memory: 256 requests for each pair of endpoints, and every request that was given up.
namespace Capture {

/// The codes of requests and answers between these ports (RFC 2865 3, RFC 2866 3).
enum RadiusCode : std::uint8_t {
   accessRequest = 1,
   accessAccept = 2,
   accessReject = 3,
   accountingRequest = 4,
   accountingResponse = 5,
   accessChallenge = 11,
   statusServer = 12,
};

/// Values of Acct-Status-Type (RFC 2866 5.1).
enum AcctStatusType : std::uint32_t {
   acctStart = 1,
   acctStop = 2,
   acctInterimUpdate = 3,
   accountingOn = 7,
   accountingOff = 8,
};

VAREK_EXPORT bool isRequest( std::uint8_t code );
VAREK_EXPORT bool isAnswer( std::uint8_t code );

/// Identifies a request for as long as it is the most recent request with its identifier.
struct Flow {
   Endpoint client;
   Endpoint server;
   std::uint8_t identifier = 0;

   friend bool operator==( Flow const&, Flow const& ) = default;
   friend std::strong_ordering operator<=>( Flow const&, Flow const& ) = default;
};

/// A request, parsed once; it says also which station it is for.
struct Request {
   std::uint64_t packet = 0; ///< The packet in which it was first sent.
   Time time;
   std::uint8_t code = 0;
   std::vector<std::uint8_t> octets; ///< The packet as captured, header included.
   Attributes attributes;
   std::optional<Lumo::EthAddr> station; ///< stationOf( attributes )
   bool whole = true; ///< False if it was cut or malformed: then attributes are missing.
   std::uint32_t timesSent = 1;
   std::uint32_t answers = 0; ///< Only those that could be read whole.
   bool answerHeard = false;  ///< Whole or not.
};

/// "Access-Accept"; "code 77" for a code without a name.
VAREK_EXPORT std::string codeText( std::uint8_t code );

class VAREK_EXPORT Exchange {
public:
   /// Takes note of a request: false if it was sent again.
   bool request( Flow const&, Request );
   /// The most recent request with that identifier, null if none. Valid until the next call.
   Request const* recent( Flow const& ) const;
   /// The request that this answer belongs to, null if none; it counts as answered from now on.
   /// \p whole is false for an answer that was cut or malformed. Valid until the next call.
   Request const* answer( Flow const&, std::uint8_t code, bool whole );
   /// The requests without any answer so far, in the order of sending.
   std::vector<Request> unanswered() const;

private:
   std::map<Flow, Request> recent_;
   std::vector<Request> givenUp_;
};

} // namespace Capture
