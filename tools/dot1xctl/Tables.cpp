#include "Tables.h"
#include "Dot1xV2/Dot1xRecords.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "CellText.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Radius/RadiusAttributeId.h"
#include "Varek/ByteOrder.h"

namespace Dot1xCtl {

using namespace Views;

namespace {

using Json = nlohmann::ordered_json;
using namespace Dot1xV2;
using Id = RadiusPacketParser::RadiusAttributeId;

/// The members of a keyed collection in the order of their keys.
template<class Map>
auto sorted( Map const& map ) {
   using Node = typename Map::value_type;
   std::vector<Node const*> result;
   for ( Node const& one : map ) {
      result.push_back( &one );
   }
   std::sort( result.begin(), result.end(),
              []( Node const* a, Node const* b ) { return a->key < b->key; } );
   return result;
}

template<class Map>
Cell keysCell( Map const& map ) {
   Json keys = Json::array();
   std::string text;
   for ( auto const* one : sorted( map ) ) {
      keys.push_back( stringValue( one->key ) );
      text += ( text.empty() ? "" : ", " ) + stringValue( one->key );
   }
   return { keys, text.empty() ? "-" : text };
}

/// The record of the phase that the supplicant is in, or of the last that it had; null if none.
Varek::Ptr<AuthNPhaseStatus> phaseOf( AuthNSupplicantStatus const& supplicant ) {
   AuthNZPhaseType const phases[] = { AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase2 ),
                                      AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase1 ) };
   for ( AuthNZPhaseType const& one : phases ) {
      if ( one.value() == supplicant.authPhase().value() && supplicant.phaseStatus( one ) ) {
         return supplicant.phaseStatus( one );
      }
   }
   for ( AuthNZPhaseType const& one : phases ) {
      if ( auto status = supplicant.phaseStatus( one ) ) {
         return status;
      }
   }
   return nullptr;
}

AuthNPhaseStage stageOf( Varek::Ptr<AuthNPhaseStatus> const& phase ) {
   return phase ? phase->stage() : AuthNPhaseStage::phaseNotStarted;
}

AuthNMethod methodOf( Varek::Ptr<AuthNPhaseStatus> const& phase ) {
   return phase ? phase->authNMethod() : AuthNMethod::noneAuth;
}

Varek::Ptr<Dot1xSuppAttr> allowed( AuthNSupplicantStatus const& supplicant,
                                   AuthZStatus const* authZ ) {
   return authZ ? authZ->getSupplicantAuthZAttrs( supplicant.intfId(), supplicant.mac() ) : nullptr;
}

/// The VLAN as the server sent it, or else the number in the supplicant's record.
Cell vlanCell( AuthNSupplicantStatus const& supplicant, Dot1xSuppAttr const* attr ) {
   if ( attr && attr->attr().vlanId() ) {
      return cell( attr->attr().vlanId() );
   }
   std::string const number = std::to_string( supplicant.vlanId() );
   return supplicant.vlanId() == 0 ? Cell() : Cell( number, number );
}

Cell filterCell( Dot1xSuppAttr const* attr ) {
   return attr ? cell( attr->attr().filterId() ) : Cell();
}

Cell numberCell( AcctAttributes const& attributes, Id::RadiusAttributeIdEnum id ) {
   Varek::Bytes const* const octets = attributes.byteAttribute( id );
   if ( !octets || octets->size() != 4 ) {
      return {};
   }
   return cell( Varek::getBigEndian<std::uint32_t>( octets->data() ) );
}

Cell startCell( AcctAttributes const& attributes ) {
   Cell const at = numberCell( attributes, Id::eventTimestamp );
   return at.value.is_null() ? Cell() : timeCell( Varek::Duration( at.value.get<double>() ), 5 );
}

Cell updateCell( Varek::Duration due ) {
   return std::isinf( due.count() ) ? Cell( nullptr, "never" ) : timeCell( due, 5 );
}

template<class T>
void take( Varek::Ptr<T>& to, Varek::Ptr<Qel::Entity> const& root ) {
   if ( auto* const found = dynamic_cast<T*>( root.get() ); found && !to ) {
      to = Varek::Ptr<T>( found );
   }
}

/// Builds a table of a single row, column by column.
struct Record {
   Table table;
   void add( char const* member, char const* heading, Cell value ) {
      table.columns.push_back( { member, heading } );
      table.rows.front().push_back( std::move( value ) );
   }
};

void addAuthorization( Record& to, Dot1xSuppAttr const* allowed ) {
   AuthZAttrs const attrs = allowed ? allowed->attr() : AuthZAttrs();
   auto const inForce = allowed ? allowed->operationalAttr() : nullptr;
   to.add( "filter", "filter", cell( attrs.filterId() ) );
   to.add( "filterRule", "filter rule", cell( attrs.nasFilterRule() ) );
   to.add( "egressVlan", "egress VLANs",
           attrs.egressVlan() ? cell( *attrs.egressVlan() ) : Cell() );
   to.add( "vlanInForce", "VLAN in force", inForce ? cell( inForce->vlanId() ) : Cell() );
   to.add( "authorizedCount", "times authorized",
           allowed ? cell( allowed->authorizedCount() ) : Cell() );
}

void addBlocked( Record& to, Lumo::EthAddr const& mac, AuthZStatus const* authZ ) {
   auto const table = authZ ? authZ->blockedMacTable() : nullptr;
   auto const entry = table ? table->blockedMacEntry( mac ) : nullptr;
   to.add( "blockedOn", "blocked on",
           entry ? keysCell( entry->intfVlan() ) : Cell( Json::array(), "-" ) );
}

/// All texts that a cell of an enumeration can have, in JSON and in text.
template<class E>
std::vector<std::string> wordsOf() {
   std::vector<std::string> words;
   for ( auto const& one : decltype( qelEnumerators( E{} ) )::all ) {
      Cell const its = cell( static_cast<E>( one.value ) );
      words.push_back( its.value );
      if ( its.text != words.back() ) {
         words.push_back( its.text );
      }
   }
   return words;
}

} // namespace

StateRoots::StateRoots( Roots const& roots ) {
   for ( auto const& [name, root] : roots ) {
      take( authN, root );
      take( authZ, root );
      take( acct, root );
   }
}

StateRoots::~StateRoots() = default;

StateRoots StateRoots::empty() {
   return StateRoots( { { "authN", authNStatusFactory( {} ) },
                        { "authZ", authZStatusFactory( {} ) },
                        { "acct", acctStatusFactory( {} ) } } );
}

Table portsTable( AuthZStatus const& status ) {
   Table table{ "ports",
                { { "port", "port", 10 },
                  { .member = "state", .heading = "state", .words = wordsOf<PortAuthState>() },
                  { "authorized", "authorized" },
                  { "vlan", "VLAN" },
                  { "supplicants", "supplicants", 17 } },
                {} };
   for ( auto const* one : sorted( status.authZPortStatus() ) ) {
      AuthZPortStatus const& port = *one->child;
      auto const applied = port.operationalPortAttrs();
      auto const inForce = applied ? applied->operationalAttr() : nullptr;
      table.rows.push_back(
         { cell( port.intfId() ), cell( port.portAuthState() ), cell( port.authorized() ),
           inForce ? cell( inForce->vlanId() ) : Cell(), keysCell( port.authorizedMacs() ) } );
   }
   return table;
}

Table supplicantsTable( AuthNStatus const& status, AuthZStatus const* authZ ) {
   Table table{ "supplicants",
                { { "mac", "MAC" },
                  { "port", "port", 14 },
                  { "phase", "phase" },
                  { "method", "method" },
                  { "stage", "result", 9, wordsOf<AuthNPhaseStage>() },
                  { "identity", "identity", 7 },
                  { "vlan", "VLAN", 8 },
                  { "filter", "filter", 7 },
                  { "authorized", "" } },
                {} };
   for ( auto const* one : sorted( status.supplicant() ) ) {
      AuthNSupplicantStatus const& supplicant = *one->child;
      auto const phase = phaseOf( supplicant );
      auto const attr = allowed( supplicant, authZ );
      table.rows.push_back( { cell( supplicant.mac() ), cell( supplicant.intfId() ),
                              cell( supplicant.authPhase().value() ), cell( methodOf( phase ) ),
                              cell( stageOf( phase ) ), cell( supplicant.identity() ),
                              vlanCell( supplicant, attr.get() ), filterCell( attr.get() ),
                              cell( static_cast<bool>( attr ) ) } );
   }
   return table;
}

Table blockedTable( AuthZStatus const& status ) {
   Table table{ "blocked", { { "mac", "MAC" }, { "port", "port", 10 }, { "vlan", "VLAN" } }, {} };
   if ( auto const blocked = status.blockedMacTable() ) {
      for ( auto const* one : sorted( blocked->blockedMacEntry() ) ) {
         for ( auto const* place : sorted( one->child->intfVlan() ) ) {
            table.rows.push_back( { cell( one->key ), cell( place->key ), cell( place->value ) } );
         }
      }
   }
   return table;
}

Table sessionsTable( AcctStatus const& status ) {
   Table table{ "sessions",
                { { "mac", "MAC" },
                  { "port", "port", 10 },
                  { "sessionId", "session", 9 },
                  { "start", "start" },
                  { "nextUpdate", "next update" },
                  { "cause", "ended by" },
                  { "sessionTime", "" },
                  { "calledStationId", "" } },
                {} };
   for ( auto const* one : sorted( status.acctSessionState() ) ) {
      AcctSessionState const& session = *one->child;
      auto const attributes = session.attribute();
      auto const* const id = attributes ? attributes->strAttribute( Id::acctSessionId ) : nullptr;
      table.rows.push_back(
         { cell( session.mac() ), cell( session.intfId() ), id ? cell( *id ) : Cell(),
           attributes ? startCell( *attributes ) : Cell(),
           updateCell( session.nextAcctUpdateTime() ), cell( session.terminateCause() ),
           attributes ? numberCell( *attributes, Id::acctSessionTime ) : Cell(),
           session.calledStationId() == Lumo::EthAddr() ? Cell()
                                                        : cell( session.calledStationId() ) } );
   }
   return table;
}

std::optional<Table> supplicantTable( StateRoots const& state, Lumo::EthAddr const& mac ) {
   auto const held = state.authN ? state.authN->supplicant( mac ) : nullptr;
   if ( !held ) {
      return std::nullopt;
   }
   AuthNSupplicantStatus const& supplicant = *held;
   AuthZStatus const* const authZ = state.authZ.get();
   auto const phase = phaseOf( supplicant );
   auto const response = phase ? phase->aaaResponse() : nullptr;
   auto const attr = allowed( supplicant, authZ );
   std::string const trigger( stringValue( supplicant.triggerEvent() ) );
   std::string const type( response ? stringValue( response->type() ) : "" );
   Record to{ { "supplicant", {}, { {} } } };
   to.add( "mac", "MAC", cell( supplicant.mac() ) );
   to.add( "port", "port", cell( supplicant.intfId() ) );
   to.add( "phase", "phase", cell( supplicant.authPhase().value() ) );
   to.add( "method", "method", cell( methodOf( phase ) ) );
   to.add( "stage", "result", cell( stageOf( phase ) ) );
   to.add( "trigger", "trigger", { trigger, trigger } );
   to.add( "inEapolAuth", "EAPOL under way", cell( supplicant.inEapolAuth() ) );
   to.add( "identity", "identity", cell( supplicant.identity() ) );
   to.add( "lastSuccess", "last success", timeCell( supplicant.lastAuthSuccessTime() ) );
   to.add( "ended", "ended by", phase ? cell( phase->terminateCause() ) : Cell() );
   to.add( "class", "class", cell( supplicant.classAttr() ) );
   to.add( "serviceType", "service type",
           supplicant.serviceType() == Dot1xV2::Dot1xConstants::serviceTypeUndefined()
              ? Cell()
              : cell( supplicant.serviceType() ) );
   to.add( "frameVlan", "VLAN tag", cell( supplicant.vTag() ) );
   to.add( "authorized", "authorized", cell( static_cast<bool>( attr ) ) );
   to.add( "vlan", "VLAN", vlanCell( supplicant, attr.get() ) );
   addAuthorization( to, attr.get() );
   addBlocked( to, supplicant.mac(), authZ );
   to.add( "answer", "answer", cell( type ) );
   to.add( "attributes", "attributes", response ? cell( *response ) : Cell() );
   return to.table;
}

} // namespace Dot1xCtl
