#include "capture/Exchange.h"

#include <algorithm>
#include <utility>

#include "Radius/Packet.h"

namespace Capture {

namespace {

bool answers( std::uint8_t answer, std::uint8_t request ) {
   switch ( answer ) {
   case accessAccept: // answers Status-Server too, as does Accounting-Response (RFC 5997)
      return request == accessRequest || request == statusServer;
   case accessReject:
   case accessChallenge:
      return request == accessRequest;
   case accountingResponse:
      return request == accountingRequest || request == statusServer;
   default:
      return false;
   }
}

} // namespace

bool isRequest( std::uint8_t code ) {
   return code == accessRequest || code == accountingRequest || code == statusServer;
}

bool isAnswer( std::uint8_t code ) {
   return code == accessAccept || code == accessReject || code == accessChallenge ||
          code == accountingResponse;
}

std::string codeText( std::uint8_t code ) {
   std::string const name( RadiusPktParserBase::codeName( code ) );
   return name.empty() ? "code " + std::to_string( code ) : name;
}

bool Exchange::request( Flow const& flow, Request request ) {
   auto const [at, isNew] = recent_.try_emplace( flow );
   Request& known = at->second;
   if ( !isNew && known.octets == request.octets ) {
      ++known.timesSent;
      return false;
   }
   if ( !isNew && !known.answerHeard ) {
      givenUp_.push_back( std::move( known ) );
   }
   known = std::move( request );
   return true;
}

Request const* Exchange::recent( Flow const& flow ) const {
   auto const at = recent_.find( flow );
   return at != recent_.end() ? &at->second : nullptr;
}

Request const* Exchange::answer( Flow const& flow, std::uint8_t code, bool whole ) {
   auto const at = recent_.find( flow );
   if ( at == recent_.end() || !answers( code, at->second.code ) ) {
      return nullptr;
   }
   at->second.answerHeard = true;
   at->second.answers += whole ? 1 : 0;
   return &at->second;
}

std::vector<Request> Exchange::unanswered() const {
   std::vector<Request> result = givenUp_;
   for ( auto const& [flow, request] : recent_ ) {
      if ( !request.answerHeard ) {
         result.push_back( request );
      }
   }
   std::sort( result.begin(), result.end(),
              []( Request const& a, Request const& b ) { return a.packet < b.packet; } );
   return result;
}

} // namespace Capture
