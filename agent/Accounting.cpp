#include "agent/Accounting.h"

#include <limits>
#include <map>
#include <utility>
#include <variant>
#include <vector>

#include "Radius/ValueText.h"
#include "agent/Asked.h"

namespace Agent {

using namespace Capture;

namespace {

using namespace Dot1xV2;

using Id = RadiusPacketParser::RadiusAttributeId;
using Vsa = RadiusPacketParser::BreviaVendorSpec;
using Session = Varek::Ptr<AcctSessionState>;

enum StatusType : std::uint32_t { start = 1, stop = 2, interim = 3, on = 7, off = 8 };

Varek::Duration const never( std::numeric_limits<double>::infinity() );

/// The first six causes are enumerators of the type (RFC 2866 5.10); the others become the nearest
/// enumerator. The request's own number stays among the attributes.
AcctTermCause causeOf( std::optional<std::uint32_t> cause ) {
   constexpr std::uint32_t adminReboot = 7, userError = 17, hostRequest = 18;
   constexpr std::uint32_t supplicantRestart = 19, portDisabled = 22; // RFC 3580 2.1
   if ( cause && *cause >= 1 &&
        *cause <= static_cast<std::uint32_t>( AcctTermCause::adminReset ) ) {
      return static_cast<AcctTermCause>( *cause );
   }
   if ( cause == adminReboot || cause == portDisabled ) {
      return AcctTermCause::adminReset;
   }
   return cause == userError || cause == hostRequest || cause == supplicantRestart
             ? AcctTermCause::userRequest
             : AcctTermCause::lostService;
}

/// The MAC address in Called-Station-Id, which an SSID may follow (RFC 3580 3.20).
Lumo::EthAddr calledStation( Attributes const& attributes ) {
   auto const* const text = textOf( attributes, Id::calledStationId );
   constexpr std::size_t address = 17;
   if ( !text ) {
      return {};
   }
   bool const more = text->size() > address && ( *text )[address] == ':';
   return stationOf( more ? text->substr( 0, address ) : *text ).value_or( Lumo::EthAddr() );
}

bool ended( AcctSessionState const& session ) {
   return session.terminateCause() != AcctTermCause::causeNotSet;
}

/// What says something of one packet alone.
bool ofThePacket( std::uint16_t type ) {
   return type == Id::acctStatusType || type == Id::acctDelayTime || type == Id::eventTimestamp ||
          type == Id::messageAuthenticator || type == Id::proxyState;
}

/// A number in network byte order.
template<class T>
Varek::Bytes networkOrder( T number ) {
   std::string octets;
   for ( std::size_t shift = sizeof number * 8; shift != 0; ) {
      shift -= 8;
      octets += static_cast<char>( number >> shift & 0xff );
   }
   return Varek::Bytes( octets );
}

/// When the reported event happened, in seconds since 1970. A switch whose clock was not set may
/// send 0.
std::int64_t timeOf( Request const& request ) {
   std::uint32_t const said = integerOf( request.attributes, Id::eventTimestamp ).value_or( 0 );
   auto const sent = std::chrono::floor<std::chrono::seconds>( request.time.time_since_epoch() );
   return said != 0
             ? said
             : sent.count() - integerOf( request.attributes, Id::acctDelayTime ).value_or( 0 );
}

/// The start of a session whose first seen request this is, in the form of Event-Timestamp; nothing
/// if the request does not tell it, or it is out of range.
std::optional<Varek::Bytes> beginning( Request const& request, std::uint32_t statusType ) {
   auto const lasted = statusType == start ? std::optional( 0u )
                                           : integerOf( request.attributes, Id::acctSessionTime );
   std::int64_t const began = timeOf( request ) - lasted.value_or( 0 );
   bool const told = lasted && began > 0 && began <= std::numeric_limits<std::uint32_t>::max();
   return told ? std::optional( networkOrder( static_cast<std::uint32_t>( began ) ) )
               : std::nullopt;
}

struct OctetsOf {
   RadiusPktParserBase::Attribute attribute;

   Varek::Bytes operator()( Varek::String const& text ) const { return Varek::Bytes( text ); }
   Varek::Bytes operator()( RadiusPktParserBase::TaggedStr const& text ) const {
      return Varek::Bytes( std::string( 1, static_cast<char>( text.tag ) ) + text.value );
   }
   Varek::Bytes operator()( std::uint32_t number ) const { return networkOrder( number ); }
   Varek::Bytes operator()( RadiusPktParserBase::TaggedInt number ) const {
      return networkOrder( static_cast<std::uint32_t>( number.tag ) << 24 |
                           ( number.value & 0xffffff ) );
   }
   Varek::Bytes operator()( std::uint64_t number ) const { return networkOrder( number ); }
   Varek::Bytes operator()( Lumo::IpGenPrefix const& prefix ) const {
      Varek::Bytes const address( prefix.octets().data(), prefix.addressSize() );
      char const head[] = { 0, static_cast<char>( prefix.length() ) }; // RFC 3162 2.3
      return isOfPrefixes( attribute )
                ? Varek::Bytes( std::string( head, sizeof head ).append( address.view() ) )
                : address;
   }
   Varek::Bytes operator()( Varek::Bytes const& octets ) const { return octets; }
};

} // namespace

void Accounting::request( Request const& request, std::optional<std::uint32_t> interval ) {
   auto const type = integerOf( request.attributes, Id::acctStatusType );
   if ( type == on || type == off ) {
      nasSessionsEnd( request.attributes );
   } else if ( type == start || type == interim || type == stop ) {
      if ( request.station ) {
         sessionIs( *request.station, request, *type, interval );
      }
   }
}

void Accounting::sessionIs( Lumo::EthAddr const& mac, Request const& request,
                            std::uint32_t statusType, std::optional<std::uint32_t> interval ) {
   auto const* const id = textOf( request.attributes, Id::acctSessionId );
   if ( !id ) {
      return; // the request names no session, which it must (RFC 2866 5.5)
   }
   Session session = status_.acctSessionState( mac );
   auto const* const known =
      session ? session->attribute()->strAttribute( Id::acctSessionId ) : nullptr;
   bool const same = known && *id == *known;
   bool const open = session && !ended( *session );
   if ( same ? !open || statusType == start : open && statusType != start ) {
      return; // late
   }
   if ( !same ) {
      session = status_.acctSessionStateIs( mac );
      status_.acctSessionUniqueIdInc( 1 );
   }
   if ( Lumo::IntfId const port = portOf( request.attributes ); !same || port != Lumo::IntfId() ) {
      session->intfIdIs( port );
   }
   session->calledStationIdIs( calledStation( request.attributes ) );
   auto const* const began =
      same ? session->attribute()->byteAttribute( Id::eventTimestamp ) : nullptr;
   attributesIs( *session->attributeIs(), request.attributes,
                 began ? *began : beginning( request, statusType ) );
   bool const over = statusType == stop;
   bool const updates = !over && interval.value_or( 0 ) != 0;
   session->nextAcctUpdateTimeIs( updates ? Varek::Duration( request.time.time_since_epoch() ) +
                                               Varek::Duration( *interval )
                                          : never );
   session->terminateCauseIs(
      over ? causeOf( integerOf( request.attributes, Id::acctTerminateCause ) )
           : AcctTermCause::causeNotSet );
}

namespace {

/// The wanted contents of the maps of an AcctAttributes: the first value of each attribute.
struct Wanted {
   std::map<Id::RadiusAttributeIdEnum, Varek::String> text;
   std::map<Id::RadiusAttributeIdEnum, Varek::Bytes> octets;
   std::map<Vsa::BreviaVendorSpecEnum, Varek::String> vsaText;
   std::map<Vsa::BreviaVendorSpecEnum, Varek::Bytes> vsaOctets;
};

template<class Held, class Map, class Is, class Del>
void mapIs( Held const& held, Map const& wanted, Is is, Del del ) {
   std::vector<typename Map::key_type> gone;
   for ( auto const& one : held ) {
      if ( !wanted.contains( one.key ) ) {
         gone.push_back( one.key );
      }
   }
   for ( auto const key : gone ) {
      del( key );
   }
   for ( auto const& [key, value] : wanted ) {
      is( key, value );
   }
}

/// \p vendor is the enterprise number under which Brevia's attributes are sent.
Wanted wantedOf( Attributes const& attributes, std::uint32_t vendor ) {
   Wanted wanted;
   auto const put = []( auto& texts, auto& octets, auto key, auto const& attribute,
                        auto const& value ) {
      if ( auto const* const text = std::get_if<Varek::String>( &value.variant() ) ) {
         texts.emplace( key, *text );
      } else {
         octets.emplace( key, std::visit( OctetsOf{ attribute }, value.variant() ) );
      }
   };
   for ( auto const& [attribute, value] : attributes ) {
      if ( attribute.type() > 0xff ) {
         continue; // an extended attribute, for which the maps have no key
      }
      auto const number = static_cast<std::uint8_t>( attribute.type() );
      if ( attribute.vendor() == 0 && !ofThePacket( number ) ) {
         put( wanted.text, wanted.octets, static_cast<Id::RadiusAttributeIdEnum>( number ),
              attribute, value );
      } else if ( attribute.vendor() == vendor ) {
         put( wanted.vsaText, wanted.vsaOctets, static_cast<Vsa::BreviaVendorSpecEnum>( number ),
              attribute, value );
      }
   }
   return wanted;
}

template<class Map>
typename Map::mapped_type const* found( Map const& map, typename Map::key_type key ) {
   auto const at = map.find( key );
   return at != map.end() ? &at->second : nullptr;
}

/// The same NAS has the same NAS-Identifier, or where neither has one the same address.
bool ofNas( AcctAttributes const& session, Wanted const& nas ) {
   auto const* const name = found( nas.text, Id::nasIdentifier );
   auto const* const itsName = session.strAttribute( Id::nasIdentifier );
   if ( name || itsName ) {
      return name && itsName && *name == *itsName;
   }
   for ( auto const key : { Id::nasIpAddress, Id::nasIpv6Address } ) {
      auto const* const address = found( nas.octets, key );
      auto const* const itsAddress = session.byteAttribute( key );
      if ( address && itsAddress && *address == *itsAddress ) {
         return true;
      }
   }
   return false;
}

} // namespace

void Accounting::attributesIs( AcctAttributes& to, Attributes const& attributes,
                               std::optional<Varek::Bytes> const& began ) const {
   Wanted wanted = wantedOf( attributes, vendor_ );
   if ( began ) {
      wanted.octets.emplace( Id::eventTimestamp, *began );
   }
   mapIs(
      to.strAttribute(), wanted.text,
      [&]( auto key, auto const& value ) { to.strAttributeIs( key, value ); },
      [&]( auto key ) { to.strAttributeDel( key ); } );
   mapIs(
      to.byteAttribute(), wanted.octets,
      [&]( auto key, auto const& value ) { to.byteAttributeIs( key, value ); },
      [&]( auto key ) { to.byteAttributeDel( key ); } );
   mapIs(
      to.vsaStrAttribute(), wanted.vsaText,
      [&]( auto key, auto const& value ) { to.vsaStrAttributeIs( key, value ); },
      [&]( auto key ) { to.vsaStrAttributeDel( key ); } );
   mapIs(
      to.vsaByteAttribute(), wanted.vsaOctets,
      [&]( auto key, auto const& value ) { to.vsaByteAttributeIs( key, value ); },
      [&]( auto key ) { to.vsaByteAttributeDel( key ); } );
}

void Accounting::nasSessionsEnd( Attributes const& attributes ) {
   Wanted const nas = wantedOf( attributes, vendor_ );
   for ( auto const& element : status_.acctSessionState() ) {
      auto const& session = element.child;
      if ( !ended( *session ) && ofNas( *session->attribute(), nas ) ) {
         session->nextAcctUpdateTimeIs( never );
         session->terminateCauseIs( AcctTermCause::adminReset );
      }
   }
}

} // namespace Agent
