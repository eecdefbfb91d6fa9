#include <iostream>
#include <optional>
#include <utility>
#include <variant>

#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "framework/inspect/Assign.h"

using namespace Dot1xV2;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::TaggedStr;

// The first value of an attribute; null if it has no value of type T.
template<class T>
std::optional<T> first( AaaResponse const& answer, char const* name ) {
   AaaAttribute const* const held = answer.aaaAttribute( Attribute( name ) );
   if ( held && !held->attrValue().empty() ) {
      if ( T const* const value = std::get_if<T>( &held->attrValue()[0].variant() ) ) {
         return *value;
      }
   }
   return std::nullopt;
}

// Applies an Access-Accept to the state. It needs no "has it changed?": a mutator that gets the
// present value notifies nobody.
void accepted( AuthNStatus& authN, AuthZStatus& authZ, AaaResponse const& answer,
               Lumo::IntfId intf ) {
   auto const supplicant = authN.supplicantIs( answer.callingStationId() );
   auto const phase = supplicant->phaseStatusIs( AuthNZPhaseType( AuthNZPhaseEnum::authNZPhase1 ) );
   Qel::assignEntity( *phase->aaaResponseIs( answer.type() ), answer );
   phase->stageIs( AuthNPhaseStage::phaseSuccess );
   AuthNZPhase completed;
   completed.valueIs( AuthNZPhaseEnum::authNZCompleted );
   supplicant->authPhaseIs( completed );
   supplicant->intfIdIs( intf );
   supplicant->identityIs( first<Varek::String>( answer, "User-Name" ).value_or( "" ) );

   AuthZAttrs allowed;
   allowed.identityIs( first<Varek::String>( answer, "User-Name" ) );
   allowed.filterIdIs( first<Varek::String>( answer, "Filter-Id" ) );
   // With several tunnels, their tags would have to tell which are VLANs (RFC 2868 3.1).
   if ( auto const tunnel = first<TaggedStr>( answer, "Tunnel-Private-Group-Id" ) ) {
      allowed.vlanIdIs( tunnel->value );
   }
   auto const port = authZ.authZPortStatusIs( intf );
   port->authorizedMacsIs( answer.callingStationId() )->attrIs( allowed );
   port->portAuthStateIs( PortAuthState::authorized );
   port->authorizedIs( true );
}

int main() {
   auto const answer = aaaResponseFactory( AaaResponseType::accepted );
   answer->callingStationIdIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) );
   auto const says = [&]( char const* name, RadiusPktParserBase::AttrValue const& value ) {
      AaaAttribute attribute{ Attribute( name ) };
      attribute.attrValuePush( value );
      answer->aaaAttributeIs( attribute );
   };
   says( "User-Name", "alice" );
   says( "Tunnel-Private-Group-Id", TaggedStr{ 1, "STAFF" } );

   auto const authN = authNStatusFactory( "authNStatus" );
   auto const authZ = authZStatusFactory( "authZStatus" );
   int changes = 0;
   auto const count = [&]( Varek::Change const& ) { ++changes; };
   auto const ofAuthN = authN->subscribe( count, Varek::Scope::subtree );
   auto const ofAuthZ = authZ->subscribe( count, Varek::Scope::subtree );
   auto const handle = [&]( char const* what ) {
      accepted( *authN, *authZ, *answer, Lumo::IntfId( "Ethernet1" ) );
      std::cout << what << ": " << std::exchange( changes, 0 ) << " changes\n";
   };
   handle( "accepted" );
   handle( "the same again" );
   says( "Filter-Id", "acl-staff" );
   handle( "with a filter" );
   auto const port = authZ->authZPortStatus( Lumo::IntfId( "Ethernet1" ) );
   std::cout << port->authorizedMacs( answer->callingStationId() )->attr() << '\n';
}
