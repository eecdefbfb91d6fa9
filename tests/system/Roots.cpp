#include "system/Roots.h"

#include <string>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "mirror/Trees.h"

namespace Roots {

namespace {

using namespace Dot1xV2;
using Text = Varek::String;

std::uint32_t below( Random& random, std::uint32_t limit ) {
   return static_cast<std::uint32_t>( random() ) % limit;
}

Text text( Random& random, std::uint32_t longest = 40 ) {
   return Text( below( random, longest ), static_cast<char>( 'a' + below( random, 3 ) ) );
}

Lumo::EthAddr mac( Random& random ) {
   return Lumo::EthAddr( "00:00:5e:00:53:0" + std::to_string( below( random, 8 ) ) );
}

Lumo::IntfId port( Random& random ) {
   return Lumo::IntfId( "Ethernet" + std::to_string( 1 + below( random, 4 ) ) );
}

RadiusPktParserBase::AttrValue attrValue( Random& random ) {
   std::string const number = std::to_string( below( random, 4 ) );
   std::string const forms[] = { '"' + text( random ) + '"', number, ":1 " + number,
                                 "0x0" + number };
   return RadiusPktParserBase::AttrValue( forms[below( random, 4 )] );
}

void change( TestModule::Plant& plant, Random& random ) { Trees::change( plant, random ); }

/// The forms of attributes that Trees::change leaves alone, too.
void change( TestModule::Depot& depot, Random& random ) {
   std::uint32_t const number = below( random, 12 );
   Text const name = std::to_string( number );
   bool const remove = below( random, 3 ) == 0;
   switch ( below( random, 9 ) ) {
   case 0:
      return depot.lampIs( number, Tracked( below( random, 3 ) ) );
   case 1:
      return remove ? void( depot.stockDel( name ) )
                    : depot.stockIs( name, Tracked( below( random, 5 ) ) );
   case 2: {
      TestModule::Limits limits( number );
      limits.userIs( text( random ) );
      limits.shiftIs( below( random, 3 ), text( random, 5 ) );
      return remove ? void( depot.limitsDel( number ) ) : depot.limitsIs( limits );
   }
   case 3:
      return remove ? void( depot.noteDel( name ) ) : depot.noteIs( name, text( random, 200 ) );
   case 4:
      return remove ? void( depot.portDel( port( random ) ) )
                    : depot.portIs( port( random ), below( random, 4 ) );
   case 5:
      return remove ? void( depot.markDel( TestModule::Mode::faulty ) )
                    : depot.markIs( TestModule::Mode::faulty, Tracked( below( random, 3 ) ) );
   case 6:
      return depot.badge() ? depot.badge()->scansIs( below( random, 3 ) )
                           : void( depot.badgeIs( Tracked( 1 ) ) );
   case 7:
      if ( below( random, 10 ) == 0 )
         depot.lampDelAll(), depot.stockDelAll(), depot.limitsDelAll(), depot.noteDelAll();
      return;
   default:
      Trees::change( depot, random );
   }
}

void change( AaaResponse& response, Random& random ) {
   RadiusPktParserBase::Attribute const which(
      0, static_cast<std::uint16_t>( 1 + below( random, 9 ) ) );
   switch ( below( random, 8 ) ) {
   case 0:
      return response.callingStationIdIs( mac( random ) );
   case 1:
   case 2:
      response.aaaAttributeDel( which );
      return;
   case 3:
      return below( random, 20 ) == 0 ? response.aaaAttributeDelAll() : void();
   default:
      AaaAttribute attribute( which );
      for ( std::uint32_t i = below( random, 4 ); i-- > 0; )
         attribute.attrValuePush( attrValue( random ) );
      response.aaaAttributeIs( attribute );
   }
}

void change( AuthNStatus& status, Random& random ) {
   if ( below( random, 12 ) == 0 ) {
      status.supplicantDel( mac( random ) );
      return;
   }
   auto const supplicant = status.supplicantIs( mac( random ) );
   AuthNZPhaseType const phase( below( random, 2 ) ? AuthNZPhaseEnum::authNZPhase1
                                                   : AuthNZPhaseEnum::authNZPhase2 );
   switch ( below( random, 8 ) ) {
   case 0:
      return supplicant->intfIdIs( port( random ) );
   case 1:
      return supplicant->identityIs( text( random ) );
   case 2:
      return supplicant->vlanIdIs( below( random, 5 ) );
   case 3:
      return supplicant->lastAuthSuccessTimeIs( Varek::Duration( below( random, 9 ) * 0.25 ) );
   case 4:
      supplicant->phaseStatusDel( phase );
      return;
   case 5:
      return supplicant->phaseStatusIs( phase )->stageIs( AuthNPhaseStage( below( random, 4 ) ) );
   case 6:
      supplicant->phaseStatusIs( phase )->aaaResponseDel();
      return;
   default:
      change( *supplicant->phaseStatusIs( phase )->aaaResponseIs(
                 AaaResponseType( below( random, 3 ) ) ),
              random );
   }
}

void change( AcctStatus& status, Random& random ) {
   if ( below( random, 12 ) == 0 ) {
      status.acctSessionStateDel( mac( random ) );
      return;
   }
   auto const session = status.acctSessionStateIs( mac( random ) );
   using Id = RadiusPacketParser::RadiusAttributeId::RadiusAttributeIdEnum;
   Id const which = below( random, 2 ) ? Id::userName : Id::callingStationId;
   switch ( below( random, 5 ) ) {
   case 0:
      return session->intfIdIs( port( random ) );
   case 1:
      status.acctSessionUniqueIdInc( 1 );
      return;
   case 2:
      session->attribute()->strAttributeDel( which );
      return;
   default:
      session->attribute()->strAttributeIs( which, text( random ) );
   }
}

void change( AuthZStatus& status, Random& random ) {
   auto const table = status.blockedMacTable();
   switch ( below( random, 8 ) ) {
   case 0:
      status.authZPortStatusDel( port( random ) );
      return;
   case 1:
      return status.authZPortStatusIs( port( random ) )->authorizedIs( below( random, 2 ) != 0 );
   case 2:
      status.authZPortStatusIs( port( random ) )->authorizedMacsDel( mac( random ) );
      return;
   case 3:
      table->blockedMacEntryDel( mac( random ) );
      return;
   case 4:
      return table->blockedMacEntryIs( mac( random ) )
         ->intfVlanIs( port( random ), Bridging::VlanIdOrNone() );
   default:
      status.authZPortStatusIs( port( random ) )
         ->authorizedMacsIs( mac( random ) )
         ->authorizedCountIs( below( random, 5 ) );
   }
}

void change( Status& status, Random& random ) {
   if ( below( random, 10 ) == 0 )
      status.intfStatusDel( port( random ) );
   else
      status.intfStatusIs( port( random ) );
}

template<class T, auto made>
constexpr Root root( char const* name ) {
   return {
      name, [] { return Varek::Ptr<Qel::Entity>( made() ); },
      []( Qel::Entity& entity, Random& random ) { change( static_cast<T&>( entity ), random ); } };
}

constexpr Root roots[] = {
   root<TestModule::Plant, [] { return TestModule::Plant::PlantIs(); }>( "plant" ),
   root<TestModule::Depot, [] { return TestModule::Depot::DepotIs( Text( "north" ) ); }>( "depot" ),
   root<AaaResponse, [] { return aaaResponseFactory( AaaResponseType::challenge ); }>( "aaa" ),
   root<AuthNStatus, [] { return authNStatusFactory( "authN" ); }>( "authN" ),
   root<AuthZStatus, [] { return authZStatusFactory( "authZ" ); }>( "authZ" ),
   root<AcctStatus, [] { return acctStatusFactory( "acct" ); }>( "acct" ),
   root<Status, [] { return statusFactory( "status" ); }>( "status" ),
};

} // namespace

std::span<Root const> all() { return roots; }

} // namespace Roots
