#include "Copies.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/core.h>

#include "Radius/RadiusAttributeId.h"
#include "Varek/Failures.h"
#include "agent/Asked.h"
#include "capture/Exchange.h"
#include "framework/inspect/Assign.h"

namespace Dot1xCtl {

using namespace Agent;
using namespace Capture;

namespace {

using Id = RadiusPacketParser::RadiusAttributeId;
using Dot1xV2::AaaResponse;

constexpr std::uint64_t highestPort = 1'048'574; // that an interface can have, Lumo/IntfId.h

/// The first number of an Ethernet port; 0 for other interfaces.
std::uint64_t ethernetNumber( Lumo::IntfId id ) {
   return id.isEthernet() ? id.number( 0 ).value_or( 0 ) : 0;
}

/// \p address in the notation of \p text, which is the address of another station.
Varek::String inNotationOf( Varek::String const& text, Lumo::EthAddr const& address ) {
   bool const upper =
      std::ranges::any_of( text, []( unsigned char c ) { return std::isupper( c ) != 0; } );
   char const* const digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
   Varek::String result = text;
   std::size_t written = 0;
   for ( char& c : result ) {
      if ( std::isxdigit( static_cast<unsigned char>( c ) ) != 0 ) {
         std::uint8_t const octet = address.octets().at( written / 2 );
         c = digits[written % 2 == 0 ? octet >> 4 : octet & 0xf];
         ++written;
      }
   }
   return result;
}

/// A request without its octets, which nobody reads any more.
Request lean( Request const& request ) {
   Request result;
   result.packet = request.packet;
   result.time = request.time;
   result.code = request.code;
   result.attributes = request.attributes;
   result.station = request.station;
   result.whole = request.whole;
   return result;
}

Varek::Ptr<AaaResponse> copyOf( AaaResponse const& response ) {
   auto result = aaaResponseFactory( response.type() );
   Qel::assignEntity( *result, response );
   return result;
}

/// Whether it makes a session of its station.
bool isOfSession( Request const& request ) {
   auto const type = integerOf( request.attributes, Id::acctStatusType );
   return request.code == accountingRequest && type && *type >= acctStart &&
          *type <= acctInterimUpdate && textOf( request.attributes, Id::acctSessionId ) != nullptr;
}

Lumo::EthAddr stationOrNone( Request const& request ) {
   return request.station.value_or( Lumo::EthAddr() );
}

Lumo::EthAddr supplicantOf( Eapol const& frame ) {
   return isStation( frame.supplicant() ) ? frame.supplicant() : Lumo::EthAddr();
}

} // namespace

void Copies::request( Request const& request ) {
   Lumo::EthAddr const mac = stationOrNone( request );
   if ( askedBy( request ) ) {
      known( mac, Seen::supplicant );
   } else if ( isOfSession( request ) ) {
      known( mac, Seen::session );
   }
   if ( Lumo::IntfId const port = portOf( request.attributes ); port != Lumo::IntfId() ) {
      ports_.try_emplace( port, ports_.size() );
   }
   events_.push_back( { mac, Asks{ lean( request ) } } );
}

void Copies::answer( Request const& request, AaaResponse const& response, Time time ) {
   events_.push_back(
      { stationOrNone( request ), Answers{ lean( request ), copyOf( response ), time } } );
}

void Copies::unanswered( Request const& request ) {
   events_.push_back( { stationOrNone( request ), Unanswered{ lean( request ) } } );
}

void Copies::eapol( Eapol const& frame ) {
   Lumo::EthAddr const mac = supplicantOf( frame );
   if ( frame.kind == Eapol::Kind::start || frame.kind == Eapol::Kind::response ) {
      known( mac, Seen::supplicant );
   }
   events_.push_back( { mac, frame } );
}

void Copies::captureEnd() { events_.push_back( { {}, CaptureEnd{} } ); }

void Copies::known( Lumo::EthAddr const& station, Seen as ) {
   if ( station != Lumo::EthAddr() ) {
      Station& held =
         stations_.try_emplace( station, Station{ stations_.size(), as } ).first->second;
      held.as = std::max( held.as, as );
   }
}

std::size_t Copies::captured() const {
   auto const supplicants = std::ranges::count( stations_, Seen::supplicant,
                                                []( auto const& one ) { return one.second.as; } );
   return supplicants != 0 ? static_cast<std::size_t>( supplicants ) : stations_.size();
}

/// For each station, by place: the number of supplicants before its own supplicant.
std::vector<std::size_t> Copies::supplicantsBefore() const {
   bool const all = captured() == stations_.size();
   std::vector<std::size_t> before( stations_.size() );
   for ( auto const& [address, one] : stations_ ) {
      before[one.place] = all || one.as == Seen::supplicant ? 1 : 0;
   }
   std::size_t count = 0;
   for ( std::size_t& one : before ) {
      count += one;
      one = count == 0 ? 0 : count - 1;
   }
   return before;
}

/// The values of a copy in place of the captured ones.
struct Copies::Copy {
   std::size_t number = 0;
   std::size_t round = 0;
   std::size_t stations = 0;
   std::uint8_t prefix = 0; ///< The second octet of the addresses.
   std::uint64_t firstPort = 0;
   std::map<Lumo::IntfId, std::size_t> const& ports;

   Lumo::EthAddr address( Lumo::EthAddr const& of, std::size_t index ) const {
      if ( number == 0 ) {
         return of;
      }
      std::size_t const n = number * stations + index;
      auto const octet = [n]( int shift ) { return static_cast<std::uint8_t>( n >> shift ); };
      return Lumo::EthAddr(
         Lumo::EthAddr::Octets{ 0x02, prefix, octet( 24 ), octet( 16 ), octet( 8 ), octet( 0 ) } );
   }

   std::uint64_t portNumber( Lumo::IntfId of ) const {
      std::uint64_t const next = ( number - 1 ) * ports.size() + ports.at( of );
      return firstPort + next % ( highestPort - firstPort + 1 );
   }

   Varek::String named( Varek::String const& text, Lumo::EthAddr const& of,
                        Lumo::EthAddr const& address ) const {
      return stationOf( text ) == of ? inNotationOf( text, address ) : text;
   }

   Varek::String session( Varek::String const& id ) const {
      return id + ( number == 0 ? "" : "-" + std::to_string( number ) ) +
             ( round == 0 ? "" : "." + std::to_string( round + 1 ) );
   }

   void change( Request& request, Lumo::EthAddr const& of, Lumo::EthAddr const& address ) const {
      Lumo::IntfId const port = portOf( request.attributes );
      bool const elsewhere = number != 0 && port != Lumo::IntfId();
      if ( request.station ) {
         request.station = address;
      }
      for ( auto& [attribute, value] : request.attributes ) {
         auto* const text = std::get_if<Varek::String>( &value );
         if ( attribute.vendor() != 0 ) {
            continue;
         }
         switch ( attribute.type() ) {
         case Id::callingStationId:
         case Id::userName:
            if ( text ) {
               *text = named( *text, of, address );
            }
            break;
         case Id::acctSessionId:
         case Id::acctMultiSessionId:
            if ( text ) {
               *text = session( *text );
            }
            break;
         case Id::nasPortId:
            if ( text && elsewhere ) {
               *text = "Ethernet" + std::to_string( portNumber( port ) );
            }
            break;
         case Id::nasPort:
            if ( elsewhere ) {
               value = static_cast<std::uint32_t>( portNumber( port ) );
            }
            break;
         default:
            break;
         }
      }
   }

   Varek::Ptr<AaaResponse> changed( AaaResponse const& response, Lumo::EthAddr const& of,
                                    Lumo::EthAddr const& address ) const {
      auto result = copyOf( response );
      if ( response.callingStationId() == of ) {
         result->callingStationIdIs( address );
      }
      RadiusPktParserBase::Attribute const userName( 0, Id::userName );
      if ( auto const* const user = response.aaaAttribute( userName ) ) {
         Dot1xV2::AaaAttribute changedUser( userName );
         for ( auto const& value : user->attrValue() ) {
            auto const* const text = std::get_if<Varek::String>( &value );
            changedUser.attrValuePush(
               text ? RadiusPktParserBase::AttrValue( named( *text, of, address ) ) : value );
         }
         result->aaaAttributeIs( changedUser );
      }
      return result;
   }
};

/// Tells an event of a copy.
struct Copies::Teller {
   ExchangeListener& to;
   Copy const& copy;
   Lumo::EthAddr const& of;
   Lumo::EthAddr const address;
   Played& played;

   Request changed( Request request ) const {
      copy.change( request, of, address );
      return request;
   }

   void operator()( Asks const& event ) const {
      ++played.requests;
      to.request( changed( event.request ) );
   }
   void operator()( Answers const& event ) const {
      to.answer( changed( event.request ), *copy.changed( *event.response, of, address ),
                 event.time );
   }
   void operator()( Unanswered const& event ) const { to.unanswered( changed( event.request ) ); }
   void operator()( Eapol const& frame ) const {
      Eapol changedFrame = frame;
      changedFrame.supplicant() = address;
      changedFrame.identity = copy.named( frame.identity, of, address );
      ++played.eapolFrames;
      to.eapol( changedFrame );
   }
   void operator()( CaptureEnd ) const { to.captureEnd(); }
};

Copies::Played Copies::play( ExchangeListener& to, std::size_t supplicants, std::size_t rounds,
                             GoOn const& goOn ) const {
   Played played;
   std::size_t const perCopy = captured();
   played.copies = perCopy == 0 ? 1 : std::max<std::size_t>( 1, ( supplicants - 1 ) / perCopy + 1 );
   std::vector<std::size_t> const before = supplicantsBefore();
   Copy copy{ .stations = stations_.size(), .firstPort = 1, .ports = ports_ };
   for ( auto const& [port, index] : ports_ ) {
      copy.firstPort = std::max( copy.firstPort, ethernetNumber( port ) + 1 );
   }
   if ( copy.firstPort > highestPort && played.copies > 1 ) {
      throw Varek::RangeError( fmt::format(
         "there is a captured Ethernet{}; no port above it is left for copies", highestPort ) );
   }
   while ( std::ranges::any_of( stations_, [&]( auto const& one ) {
      auto const& octets = one.first.octets();
      return octets[0] == 0x02 && octets[1] == copy.prefix;
   } ) ) {
      if ( ++copy.prefix == 0 ) {
         throw Varek::RangeError( "there are captured addresses from 02:00 to 02:ff; none is left "
                                  "for copies" );
      }
   }
   for ( ; copy.round < rounds; ++copy.round ) {
      for ( copy.number = 0; copy.number < played.copies; ++copy.number ) {
         if ( !goOn( copy.round * played.copies + copy.number, rounds * played.copies ) ) {
            return played;
         }
         for ( Event const& event : events_ ) {
            auto const at = stations_.find( event.station );
            bool const nobody = at == stations_.end();
            bool const ends = std::holds_alternative<CaptureEnd>( event.what );
            if ( nobody ? copy.number == 0 || ends
                        : copy.number * perCopy + before[at->second.place] < supplicants ) {
               Lumo::EthAddr const address =
                  nobody ? event.station : copy.address( event.station, at->second.place );
               std::visit( Teller{ to, copy, event.station, address, played }, event.what );
            }
         }
      }
   }
   return played;
}

} // namespace Dot1xCtl
