#include "CellText.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Radius/ValueText.h"
#include "Varek/Text.h"
#include "capture/CaptureFile.h"
#include "views/JsonValue.h"
#include "views/Tree.h"

#include "views/TimeText.h"

namespace Dot1xCtl {

using namespace Capture;
using namespace Views;

using Varek::escaped;
using Varek::quoted;

namespace {

using Json = nlohmann::ordered_json;
using namespace Dot1xV2;

template<class E>
Cell named( E value, char const* text, Tone tone = Tone::plain ) {
   return { std::string( stringValue( value ) ), text, tone };
}

template<class Names, class Ids>
Json vlans( Names const& names, Ids const& ids, std::string& text, char const* what ) {
   Json result = Json::array();
   std::string list;
   for ( Bridging::VlanId const id : ids ) {
      result.push_back( id.value() );
      list += ( list.empty() ? "" : ", " ) + std::to_string( id.value() );
   }
   for ( Varek::String const& name : names ) {
      result.push_back( textJson( name ) );
      list += ( list.empty() ? "" : ", " ) + quoted( name );
   }
   if ( !list.empty() ) {
      text += ( text.empty() ? "" : "; " ) + std::string( what ) + " " + list;
   }
   return result;
}

} // namespace

Cell cell( Lumo::EthAddr const& mac ) { return { stringValue( mac ), stringValue( mac ) }; }

Cell cell( Lumo::IntfId id ) {
   return id == Lumo::IntfId() ? Cell() : Cell( stringValue( id ), stringValue( id ) );
}

Cell cell( Bridging::VlanIdOrNone vlan ) {
   return vlan.isNone() ? Cell() : Cell( vlan.value(), std::to_string( vlan.value() ) );
}

Cell cell( Varek::String const& text ) {
   return text.empty() ? Cell() : Cell( textJson( text ), escaped( text ) );
}

Cell cell( std::optional<Varek::String> const& text ) { return text ? cell( *text ) : Cell(); }

Cell cell( Varek::Bytes const& bytes ) {
   return bytes.empty() ? Cell() : Cell( stringValue( bytes ), stringValue( bytes ) );
}

Cell cell( bool value ) { return { value, value ? "yes" : "no" }; }
Cell cell( std::uint32_t value ) { return { value, std::to_string( value ) }; }

Cell cell( AuthNZPhaseEnum phase ) {
   switch ( phase ) {
   case AuthNZPhaseEnum::authNZNotStarted:
      return named( phase, "-" );
   case AuthNZPhaseEnum::authNZInit:
      return named( phase, "init" );
   case AuthNZPhaseEnum::authNZPhase1:
      return named( phase, "1" );
   case AuthNZPhaseEnum::authNZPhase2:
      return named( phase, "2" );
   case AuthNZPhaseEnum::authNZCompleted:
      return named( phase, "done" );
   }
   return named( phase, "?" );
}

Cell cell( AuthNPhaseStage stage ) {
   switch ( stage ) {
   case AuthNPhaseStage::phaseNotStarted:
      return named( stage, "-" );
   case AuthNPhaseStage::phaseSuccess:
      return named( stage, "success", Tone::good );
   case AuthNPhaseStage::phaseFail:
      return named( stage, "fail", Tone::bad );
   case AuthNPhaseStage::phaseTimedOut:
      return named( stage, "timeout", Tone::bad );
   case AuthNPhaseStage::waitForSuppResponse:
      return named( stage, "wait supp" );
   case AuthNPhaseStage::waitForAuthServer:
      return named( stage, "wait aaa" );
   case AuthNPhaseStage::waitForAuthZ:
      return named( stage, "wait authz" );
   }
   return named( stage, "?" );
}

Cell cell( AuthNMethod method ) {
   switch ( method ) {
   case AuthNMethod::eapolAuth:
      return named( method, "eapol" );
   case AuthNMethod::mbaAuth:
      return named( method, "mba" );
   case AuthNMethod::skipAuth:
      return named( method, "skip" );
   case AuthNMethod::noneAuth:
   case AuthNMethod::invalidAuthNMethod:
      return named( method, "-" );
   }
   return named( method, "?" );
}

Cell cell( AcctTermCause cause ) {
   return cause == AcctTermCause::causeNotSet
             ? Cell()
             : Cell( std::string( stringValue( cause ) ), std::string( stringValue( cause ) ) );
}

Cell cell( PortAuthState state ) {
   std::string const name( stringValue( state ) );
   return { name, name,
            state == PortAuthState::blocked      ? Tone::bad
            : state == PortAuthState::authorized ? Tone::good
                                                 : Tone::plain };
}

Cell cell( EgressVlanAttributes const& egress ) {
   if ( !egress ) {
      return {};
   }
   std::string text;
   Json value = Json::object();
   value["tagged"] =
      vlans( egress.egressVlanNameTagged(), egress.egressVlanIdTagged(), text, "tagged" );
   value["untagged"] =
      vlans( egress.egressVlanNameUntagged(), egress.egressVlanIdUntagged(), text, "untagged" );
   value["ingressFilters"] = egress.ingressFilters();
   if ( egress.ingressFilters() ) {
      text += text.empty() ? "ingress filters" : "; ingress filters";
   }
   return { value, text };
}

Cell timeCell( Varek::Duration time, std::size_t from ) {
   constexpr double endOfCalendar = 9e9; // the year 2255, before the nanoseconds overflow
   if ( !( time.count() > 0 && time.count() < endOfCalendar ) ) {
      return {};
   }
   Time const exact( std::chrono::microseconds( std::llround( time.count() * 1e6 ) ) );
   return { timeText( exact, 'T', 6 ) + "Z", timeText( exact, ' ', 0 ).substr( from, 19 - from ) };
}

Cell cell( AaaResponse const& response ) {
   std::vector<AaaAttribute const*> sorted;
   for ( AaaAttribute const& one : response.aaaAttribute() ) {
      sorted.push_back( &one );
   }
   std::sort( sorted.begin(), sorted.end(),
              []( auto const* a, auto const* b ) { return a->attribute() < b->attribute(); } );
   Json value = Json::object();
   std::string text;
   for ( AaaAttribute const* const one : sorted ) {
      std::string const name = stringValue( one->attribute() );
      Json& list = value[name] = Json::array();
      for ( auto const& each : one->attrValue() ) {
         std::string const its = valueText( one->attribute(), each );
         list.push_back( its );
         text += ( text.empty() ? "" : ", " ) + name + " " + its;
      }
   }
   return text.empty() ? Cell() : Cell( value, text );
}

} // namespace Dot1xCtl
