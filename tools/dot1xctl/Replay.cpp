#include "Replay.h"

#include <utility>

#include <fmt/core.h>

#include "Radius/RadiusAttributeId.h"

namespace Dot1xCtl {

using namespace Capture;

namespace {

using Id = RadiusPacketParser::RadiusAttributeId;

/// The most fragmented datagrams that are told apart at the same time.
constexpr std::size_t fragmentsKnown = 4096;

Dot1xV2::AaaResponseType responseType( std::uint8_t code ) {
   switch ( code ) {
   case accessAccept:
      return Dot1xV2::AaaResponseType::accepted;
   case accessReject:
      return Dot1xV2::AaaResponseType::rejected;
   case accessChallenge:
      return Dot1xV2::AaaResponseType::challenge;
   default:
      return Dot1xV2::AaaResponseType::acctResponse;
   }
}

/// An element for each distinct attribute, in the order of first occurrence.
std::vector<Dot1xV2::AaaAttribute> grouped( Attributes const& attributes ) {
   std::vector<Dot1xV2::AaaAttribute> result;
   for ( auto const& [attribute, value] : attributes ) {
      auto at = result.begin();
      while ( at != result.end() && at->attribute() != attribute ) {
         ++at;
      }
      if ( at == result.end() ) {
         at = result.insert( at, Dot1xV2::AaaAttribute( attribute ) );
      }
      at->attrValuePush( value );
   }
   return result;
}

/// The text of a standard attribute of the request; empty if it is missing.
Varek::String requestText( Answer const& answer, std::uint16_t type ) {
   auto const* const text = answer.request ? textOf( answer.request->attributes, type ) : nullptr;
   return text ? *text : Varek::String();
}

void summaryIs( ::Replay::Status& status, Summary const& summary ) {
   auto const count = []( std::size_t n ) { return static_cast<std::uint32_t>( n ); };
   status.capturesIs( count( summary.captures ) );
   status.packetsIs( count( summary.packets ) );
   status.requestsIs( count( summary.requests ) );
   status.sentAgainIs( count( summary.sentAgain ) );
   status.unansweredIs( count( summary.unanswered ) );
   status.acceptedIs( count( summary.accepted ) );
   status.rejectedIs( count( summary.rejected ) );
   status.challengesIs( count( summary.challenges ) );
   status.acctResponsesIs( count( summary.acctResponses ) );
   status.duplicatesIs( count( summary.duplicates ) );
   status.withoutRequestIs( count( summary.withoutRequest ) );
   status.brokenIs( count( summary.broken ) );
   status.otherRadiusIs( count( summary.otherRadius ) );
   status.attributesIs( count( summary.attributes ) );
   status.valuesIs( count( summary.values ) );
   status.notificationsIs( count( summary.notifications ) );
   status.problemsIs( count( summary.problems ) );
}

} // namespace

void Replay::file( std::string const& path ) {
   problems_.file( path );
   output_.capture( path );
   file_ = path;
   exchange_ = {};
   stations_ = {};
   fragments_ = {};
   try {
      CaptureFile capture( path );
      ++summary_.captures;
      for ( Packet next; !( interrupted && interrupted() ) && capture.next( next ); ) {
         ++summary_.packets;
         if ( progress ) {
            progress( capture.position(), capture.size() );
         }
         if ( next.number == 1 ) {
            start_ = next.time;
         }
         packet( next, dissect( capture.linkType(), next.octets, next.originalLength ) );
      }
   } catch ( CaptureError const& error ) {
      // A signal that is to end the program interrupts the reading of a pipe.
      if ( !( interrupted && interrupted() ) ) {
         auto const at = error.offset();
         tell( { ProblemKind::file, error.packet(),
                 at ? std::optional( Offset{ OffsetIn::file, *at } ) : std::nullopt,
                 error.what() } );
      }
   }
   for ( Request const& request : exchange_.unanswered() ) {
      ++summary_.unanswered;
      output_.unanswered( request );
      if ( agent ) {
         agent->unanswered( request );
      }
   }
   if ( agent ) {
      agent->captureEnd();
   }
   problems_.done();
}

Summary const& Replay::summary() {
   summary_.problems = problems_.count();
   summaryIs( *status_, summary_ );
   return summary_;
}

void Replay::tell( Problem const& problem ) {
   problems_.add( problem );
   output_.problem( problem );
}

void Replay::packet( Packet const& packet, Frame const& frame ) {
   if ( auto const* found = std::get_if<Datagram>( &frame ) ) {
      datagram( packet, *found );
   } else if ( auto const* part = std::get_if<Fragment>( &frame ) ) {
      fragment( packet, *part );
   } else if ( auto const* bad = std::get_if<BadFrame>( &frame ) ) {
      tell( { bad->cut ? ProblemKind::cut : ProblemKind::malformed, packet.number,
              Offset{ OffsetIn::packet, bad->offset }, bad->what } );
   } else if ( auto const* seen = std::get_if<Eapol>( &frame ); seen && agent ) {
      Eapol eapol = *seen;
      stations_.see( eapol );
      agent->eapol( eapol );
   }
}

/// Tells one problem for a datagram, at its first fragment; and one at each other fragment that
/// comes before the first or without it.
void Replay::fragment( Packet const& packet, Fragment const& part ) {
   std::tuple const key( part.source, part.destination, part.identification );
   auto const skip = [&]( std::string const& what ) {
      tell(
         { ProblemKind::fragment, packet.number, Offset{ OffsetIn::packet, part.offset }, what } );
   };
   if ( part.first ) {
      if ( fragments_.size() >= fragmentsKnown ) {
         fragments_.clear();
      }
      fragments_[key] = part.radius;
      if ( part.radius ) {
         skip( fmt::format( "the first fragment of UDP datagram {}, which is RADIUS; fragments are "
                            "not put together, so this RADIUS packet is not read",
                            part.identification ) );
      }
   } else if ( fragments_.find( key ) == fragments_.end() ) {
      skip( fmt::format( "a later fragment of UDP datagram {}, whose first has not been seen; it "
                         "may be RADIUS and is not read",
                         part.identification ) );
   }
}

void Replay::datagram( Packet const& packet, Datagram const& datagram ) {
   RadiusReading reading = readRadius( datagram );
   bool const ours = isRequest( reading.code ) || isAnswer( reading.code );
   if ( reading.fault ) {
      reading.fault->packet = packet.number;
   }
   // The contents of other packets are not read here, but their headers must be there.
   if ( reading.fault && ( ours || !reading.hasHeader ) ) {
      tell( *reading.fault );
   }
   if ( isRequest( reading.code ) ) {
      request( packet, datagram, std::move( reading ) );
   } else if ( isAnswer( reading.code ) ) {
      answer( packet, datagram, reading );
   } else if ( reading.hasHeader ) {
      ++summary_.otherRadius;
   }
}

void Replay::request( Packet const& packet, Datagram const& datagram, RadiusReading reading ) {
   Request request;
   request.packet = packet.number;
   request.time = packet.time;
   request.code = reading.code;
   request.octets.assign( datagram.payload.begin(), datagram.payload.end() );
   request.attributes = std::move( reading.attributes );
   request.station = stationOf( request.attributes );
   request.whole = !reading.fault;
   Flow const flow{ datagram.source, datagram.destination, reading.identifier };
   bool const isNew = exchange_.request( flow, std::move( request ) );
   ++( isNew ? summary_.requests : summary_.sentAgain );
   if ( Request const& sent = *exchange_.recent( flow ); agent && isNew && sent.whole ) {
      agent->request( sent );
   }
}

void Replay::answer( Packet const& packet, Datagram const& datagram,
                     RadiusReading const& reading ) {
   Answer answer;
   answer.packet = packet.number;
   answer.time = packet.time;
   answer.sinceStart = packet.time - start_;
   answer.code = reading.code;
   answer.identifier = reading.identifier;
   answer.client = datagram.destination;
   answer.server = datagram.source;
   answer.request = exchange_.answer( { answer.client, answer.server, answer.identifier },
                                      answer.code, !reading.fault );
   answer.attributes = grouped( reading.attributes );
   if ( reading.fault ) {
      ++summary_.broken;
      output_.broken( answer, *reading.fault );
      return;
   }
   makeResponse( answer );
   countAnswer( answer );
   if ( agent && answer.request && answer.request->answers == 1 ) {
      agent->answer( *answer.request, *answer.response, answer.time );
   }
   output_.answer( answer );
   if ( answers_ == Answers::pass ) {
      status_->answerDel( made_ );
   }
}

/// Makes the response entity of an answer, with an observer as an agent would have.
void Replay::makeResponse( Answer& answer ) {
   auto const made = status_->answerIs( ++made_ );
   made->captureIs( file_ );
   made->packetIs( answer.packet );
   made->timeIs( static_cast<std::uint64_t>(
      std::chrono::floor<std::chrono::microseconds>( answer.time ).time_since_epoch().count() ) );
   made->userIs( requestText( answer, Id::userName ) );
   made->portIs( requestText( answer, Id::nasPortId ) );
   made->codeIs( codeText( answer.code ) );
   answer.response = made->aaaResponseIs( responseType( answer.code ) );
   Varek::Subscription const subscription = answer.response->publisher().subscribe(
      [&answer]( Varek::Change const& ) { ++answer.notifications; } );
   if ( answer.request && answer.request->station ) {
      answer.response->callingStationIdIs( *answer.request->station );
   }
   for ( Dot1xV2::AaaAttribute const& attribute : answer.attributes ) {
      answer.response->aaaAttributeIs( attribute );
   }
}

void Replay::countAnswer( Answer const& answer ) {
   switch ( answer.code ) {
   case accessAccept:
      ++summary_.accepted;
      break;
   case accessReject:
      ++summary_.rejected;
      break;
   case accessChallenge:
      ++summary_.challenges;
      break;
   default:
      ++summary_.acctResponses;
   }
   summary_.withoutRequest += !answer.request ? 1 : 0;
   summary_.duplicates += answer.request && answer.request->answers > 1 ? 1 : 0;
   summary_.attributes += answer.attributes.size();
   for ( Dot1xV2::AaaAttribute const& attribute : answer.attributes ) {
      summary_.values += attribute.attrValue().size();
   }
   summary_.notifications += answer.notifications;
}

} // namespace Dot1xCtl
