#pragma once

#include <map>
#include <string>
#include <vector>

#include "agent/Authenticator.h"
#include "agent/Derivation.h"
#include "views/Tree.h"

/// An agent that is fed by hand, and what its trees say of the changes.
namespace Agent {

using namespace Capture;
using namespace Dot1xV2;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::TaggedInt;
using RadiusPktParserBase::TaggedStr;

using Values = std::map<std::uint16_t, RadiusPktParserBase::AttrValue>;

inline Lumo::EthAddr const mac( "00:00:5e:00:53:01" );
inline Lumo::IntfId const port1( "Ethernet1" );
inline Lumo::IntfId const port2( "Ethernet2" );

/// Values of Acct-Status-Type (RFC 2866 5.1).
constexpr std::uint32_t start = 1, stop = 2, interim = 3, on = 7, off = 8;

/// An agent, with requests, answers and frames to feed it.
struct Fed : Authenticator {
   using Authenticator::Authenticator;

   Request sent( std::uint8_t code, Values const& values ) {
      Request request;
      request.packet = ++packet;
      request.time = Time( std::chrono::seconds( 1000 + packet ) );
      request.code = code;
      for ( auto const& [type, value] : values ) {
         request.attributes.emplace_back( Attribute( 0, type ), value );
      }
      request.station = stationOf( request.attributes );
      Authenticator::request( request );
      return request;
   }
   /// An Access-Request; an empty \p port is left out.
   Request ask( std::string const& port, Values more = {} ) {
      more.try_emplace( RadiusId::callingStationId, stringValue( mac ) );
      more.try_emplace( RadiusId::serviceType, 10u );
      more.try_emplace( RadiusId::userName, Varek::String( "00005e005301" ) );
      if ( !port.empty() ) {
         more.try_emplace( RadiusId::nasPortId, port );
      }
      return sent( accessRequest, more );
   }
   void answered( Request const& request, AaaResponseType type, Values const& values = {} ) {
      auto const response = aaaResponseFactory( type );
      for ( auto const& [id, value] : values ) {
         AaaAttribute one( Attribute( 0, id ) );
         one.attrValuePush( value );
         response->aaaAttributeIs( one );
      }
      answer( request, *response, request.time + std::chrono::seconds( 1 ) );
   }
   /// What an Access-Request is answered by; \p values are of the answer, \p asked of the request.
   void accepted( std::string const& port, Values const& values = {}, Values const& asked = {} ) {
      answered( ask( port, asked ), AaaResponseType::accepted, values );
   }
   void rejected( std::string const& port, Values const& asked = {} ) {
      answered( ask( port, asked ), AaaResponseType::rejected );
   }
   void account( std::uint32_t type, std::string const& id, Values more = {} ) {
      more.try_emplace( RadiusId::acctStatusType, type );
      more.try_emplace( RadiusId::callingStationId, stringValue( mac ) );
      more.try_emplace( RadiusId::nasPortId, Varek::String( "Ethernet1" ) );
      more.try_emplace( RadiusId::nasIdentifier, Varek::String( "switch-1" ) );
      if ( !id.empty() ) {
         more.try_emplace( RadiusId::acctSessionId, id );
      }
      sent( accountingRequest, more );
   }
   void eapolSent( Eapol::Kind kind, std::uint16_t vlan = 0, char const* identity = "" ) {
      Eapol frame;
      frame.kind = kind;
      ( frame.fromSupplicant() ? frame.source : frame.destination ) = mac;
      frame.vlan = Bridging::VlanIdOrNone( vlan );
      frame.identity = identity;
      eapol( frame );
   }

   Varek::Ptr<Dot1xSuppAttr> allowed( Lumo::IntfId port ) const {
      return authZStatus()->getSupplicantAuthZAttrs( port, mac );
   }
   AuthZPortStatus const& port( Lumo::IntfId id ) const {
      return *authZStatus()->authZPortStatus( id );
   }
   std::uint32_t blocked() const {
      return authZStatus()->blockedMacTable()->blockedMacEntry().size();
   }
   AcctSessionState const& session() const { return *acctStatus()->acctSessionState( mac ); }

   std::uint64_t packet = 0;
};

inline Values const inVlan110 = { { RadiusId::tunnelType, TaggedInt{ 0, 13 } },
                                  { RadiusId::tunnelMediumType, TaggedInt{ 0, 6 } },
                                  { RadiusId::tunnelPrivateGroupId, TaggedStr{ 0, "110" } },
                                  { RadiusId::acctInterimInterval, 60u } };

/// Counts the changes of all trees of an agent, by the name of the attribute.
class Changes {
public:
   explicit Changes( Authenticator const& agent ) {
      for ( auto const& [name, each] : agent.roots() ) {
         Varek::Ptr<Qel::Entity> const root = each;
         held_.push_back( root->subscribe(
            [this, root]( Varek::Change const& change ) {
               ++counts[std::string( Views::changePart( *root, change ).attribute.name )];
            },
            Varek::Scope::subtree ) );
      }
   }
   std::map<std::string, int> counts;

private:
   std::vector<Varek::Subscription> held_;
};

} // namespace Agent
