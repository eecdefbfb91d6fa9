#include "Dot1xV2/Dot1xStatus.h"

#include "framework/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "Dot1xStatus", dot1xStatusModule, Dot1xConstants, AuthZConstants, CaptivePortal,
            IntfHostMode, SessionReplaceProfile, AuthNTimers, AuthNOrder, LldpProfilingInfo,
            MbaUserName, CachingControl, VlanGroup, AuthNProfile, AuthZProfile, AuthZTimers,
            AuthNZCommonProfile, SuppIOProfile, AaaRequestProfile, AaaResponseProfile,
            AcctRequestProfile, Status, IntfStatus );

namespace {

// Not the enumerators' own names: whatever is neither of the two is shown as EAPOL.
char const* shownName( AuthNMethod method ) {
   switch ( method ) {
   case AuthNMethod::mbaAuth:
      return "mbaAuth";
   case AuthNMethod::skipAuth:
      return "skipAuth";
   default:
      return "eapolAuth";
   }
}

} // namespace

Varek::String lldpTlvDefault() { return {}; }

std::uint32_t AuthNProfile::getNumAuthNOrders( AuthNEventType event ) const {
   AuthNOrder const* const order = eventAuthNOrder( event );
   return order ? static_cast<std::uint32_t>( order->authNOrder().size() ) : 0;
}

Varek::String AuthNProfile::formatAuthNOrders( AuthNEventType event ) const {
   AuthNOrder const* const order = eventAuthNOrder( event );
   if ( !order )
      return "[]";
   Varek::String text = "[ ";
   text += shownName( order->authNOrder( 0 ) );
   text += ", ";
   text += shownName( order->authNOrder( 1 ) );
   return text += " ]";
}

Varek::Ptr<AuthNProfile> authNProfileFactory( Varek::String const& name ) {
   return AuthNProfile::AuthNProfileIs( name );
}

Varek::Ptr<AuthZProfile> authZProfileFactory( Varek::String const& name ) {
   return AuthZProfile::AuthZProfileIs( name );
}

Varek::Ptr<AcctRequestProfile> acctRequestProfileFactory( Varek::String const& name ) {
   return AcctRequestProfile::AcctRequestProfileIs( name );
}

Varek::Ptr<IntfStatus> intfStatusFactory( Lumo::IntfId intfId ) {
   return IntfStatus::IntfStatusIs( intfId );
}

Varek::Ptr<Status> statusFactory( Varek::String const& name ) { return Status::StatusIs( name ); }

} // namespace Dot1xV2
