#include "agent/Authenticator.h"

#include <utility>

#include "Dot1xV2/AuthNStatus.h"
#include "agent/Derivation.h"

namespace Agent {

using namespace Capture;
using namespace Dot1xV2;

Authenticator::Authenticator( AuthenticatorSettings const& settings )
   : authNStatus_( authNStatusFactory( authNName ) ),
     authZStatus_( authZStatusFactory( authZName ) ), acctStatus_( acctStatusFactory( acctName ) ),
     authentication_( *authNStatus_ ), authorization_( *authZStatus_, settings.blockAfter ),
     accounting_( *acctStatus_, settings.vendor ) {}

Authenticator::~Authenticator() = default;

std::map<std::string, Varek::Ptr<Qel::Entity>> Authenticator::roots() const {
   return { { authNName, authNStatus_ }, { authZName, authZStatus_ }, { acctName, acctStatus_ } };
}

void Authenticator::request( Request const& request ) {
   if ( request.code == accountingRequest ) {
      accounting_.request( request,
                           request.station ? interimInterval( *request.station ) : std::nullopt );
   } else if ( auto const asked = askedBy( request ) ) {
      latest_.insert_or_assign( asked->mac, Open{ request.packet, *asked } );
      authentication_.asked( *asked, authorization_.authorized( asked->mac ) );
      authorization_.portIs( asked->port );
   }
}

void Authenticator::answer( Request const& request, AaaResponse const& response, Time time ) {
   auto const asked = takeOpen( request );
   if ( !asked ) {
      return;
   }
   // A request without a port is for the port on which the supplicant is known to be.
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
   if ( auto const asked = takeOpen( request ) ) {
      authentication_.timedOut( *asked );
   }
}

void Authenticator::eapol( Eapol const& frame ) {
   Lumo::EthAddr const& mac = frame.supplicant();
   if ( !isStation( mac ) ) {
      return; // concerns no particular supplicant
   }
   authentication_.eapol( frame, authorization_.authorized( mac ) );
   if ( frame.kind == Eapol::Kind::logoff ) {
      latest_.erase( mac ); // a Logoff withdraws the open request
      authorization_.withdrawn( mac );
   }
}

/// Closes the request and returns its contents; nothing if it is not the supplicant's latest.
std::optional<Asked> Authenticator::takeOpen( Request const& request ) {
   auto const at = request.whole && request.code == accessRequest && request.station
                      ? latest_.find( *request.station )
                      : latest_.end();
   if ( at == latest_.end() || at->second.packet != request.packet ) {
      return std::nullopt;
   }
   return std::move( latest_.extract( at ).mapped().asked );
}

/// Acct-Interim-Interval of the answer that accepted the supplicant, in seconds (RFC 2869 5.16).
std::optional<std::uint32_t> Authenticator::interimInterval( Lumo::EthAddr const& mac ) const {
   auto const supplicant = authNStatus_->supplicant( mac );
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
