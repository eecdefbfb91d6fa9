#include "agent/Authenticator.h"

#include "agent/Derivation.h"

namespace Agent {

using namespace Capture;
using namespace Dot1xV2;

Authenticator::Authenticator( AuthenticatorSettings const& settings )
   : authNStatus_( authNStatusFactory( authNName ) ),
     authZStatus_( authZStatusFactory( authZName ) ), acctStatus_( acctStatusFactory( acctName ) ),
     authentication_( *authNStatus_ ), authorization_( *authZStatus_, settings.blockAfter ),
     accounting_( *acctStatus_, settings.vendor ) {}

void Authenticator::request( Request const& request ) {
   if ( request.code == accountingRequest ) {
      accounting_.request( request, interimInterval( request.attributes ) );
   } else if ( auto const asked = askedBy( request ) ) {
      latest_[asked->mac] = request.packet;
      authentication_.asked( *asked, authorization_.authorized( asked->mac ) );
      authorization_.portIs( asked->port );
   }
}

void Authenticator::answer( Request const& request, AaaResponse const& response, Time time ) {
   auto const asked = askedBy( request );
   if ( !request.whole || !asked || !isLatest( *asked, request ) ) {
      return;
   }
   latest_.erase( asked->mac );
   // A request without a port is for the one on which the supplicant is known to be.
   auto const supplicant = authentication_.supplicant( asked->mac );
   Lumo::IntfId const port = supplicant->intfId();
   switch ( response.type() ) {
   case AaaResponseType::accepted:
      authentication_.accepted( *asked, response, time );
      authorization_.accepted( asked->mac, port, authZAttrsOf( response ) );
      break;
   case AaaResponseType::rejected:
      authentication_.rejected( *asked, response );
      authorization_.rejected( asked->mac, port, supplicant->vTag() );
      break;
   case AaaResponseType::challenge:
      authentication_.challenged( *asked, response );
      break;
   default:
      break;
   }
}

void Authenticator::unanswered( Request const& request ) {
   auto const asked = askedBy( request );
   if ( request.whole && asked && isLatest( *asked, request ) ) {
      latest_.erase( asked->mac );
      authentication_.timedOut( *asked );
   }
}

void Authenticator::eapol( Eapol const& frame ) {
   Lumo::EthAddr const& mac = frame.supplicant();
   if ( !isStation( mac ) ) {
      return; // of no supplicant in particular
   }
   authentication_.eapol( frame, authorization_.authorized( mac ) );
   if ( frame.kind == Eapol::Kind::logoff ) {
      latest_.erase( mac ); // what it asked for before, it no longer wants
      authorization_.withdrawn( mac );
   }
}

bool Authenticator::isLatest( Asked const& asked, Request const& request ) const {
   auto const at = latest_.find( asked.mac );
   return at != latest_.end() && at->second == request.packet;
}

/// As the answer that accepted the supplicant has it (RFC 2869 5.16).
std::optional<std::uint32_t> Authenticator::interimInterval( Attributes const& attributes ) const {
   auto const* const id = textOf( attributes, RadiusId::callingStationId );
   auto const mac = id ? stationOf( *id ) : std::nullopt;
   auto const supplicant = mac ? authNStatus_->supplicant( *mac ) : nullptr;
   auto const phase =
      supplicant ? supplicant->phaseStatus( AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase1 ) )
                 : nullptr;
   auto const response = phase ? phase->aaaResponse() : nullptr;
   auto const* const interval =
      response && response->type() == AaaResponseType::accepted
         ? firstValue<std::uint32_t>( *response, RadiusId::acctInterimInterval )
         : nullptr;
   return interval ? std::optional( *interval ) : std::nullopt;
}

} // namespace Agent
