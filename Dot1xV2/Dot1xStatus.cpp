#include "Dot1xV2/Dot1xStatus.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "Dot1xStatus", dot1xStatusModule, Dot1xConstants, AuthZConstants, CaptivePortal,
            IntfHostMode, SessionReplaceProfile, AuthNTimers, AuthNOrder, LldpProfilingInfo,
            MbaUserName, CachingControl, VlanGroup, AuthNProfile, AuthZProfile, AuthZTimers,
            AuthNZCommonProfile, SuppIOProfile, AaaRequestProfile, AaaResponseProfile,
            AcctRequestProfile, Status, IntfStatus );

namespace {

/// Whether attribute \p id of \p T is called \p name and begins with \p value.
template<class T, std::uint16_t id, class V>
constexpr bool begins( std::string_view name, V const& value ) {
   return T::attribute( Qel::Id<id>{} ).name == name && T::qelDefault( Qel::Id<id>{} ) == value;
}

// A profile states its default as a literal beside the attribute, where a reader looks for it. Here
// the compiler compares these literals with the constants.
using Dot1x = Dot1xConstants;
static_assert( begins<AuthNTimers, 2>( "quietPeriod", Dot1x::defaultQuietPeriod() ) );
static_assert( begins<AuthNTimers, 3>( "slowPeriod", Dot1x::defaultSlowPeriod() ) );
static_assert( begins<AuthNTimers, 7>( "mbaMulticastInterval",
                                       Dot1x::defaultMbaMulticastInterval() ) );
static_assert( begins<SuppIOProfile, 261>( "txPeriod", Dot1x::defaultTxPeriod() ) );
static_assert( begins<SuppIOProfile, 262>( "maxTxRetries", Dot1x::defaultMaxTxRetries() ) );
static_assert( begins<SuppIOProfile, 263>( "mbaPktDelay", Dot1x::defaultMbaDelay() ) );
static_assert( begins<SuppIOProfile, 264>( "mbaHoldPeriod", Dot1x::defaultMbaHoldPeriod() ) );
static_assert( std::tuple_size_v<AuthNOrder::QelauthNOrderArray> == Dot1x::maxAuthNPhases() );
static_assert( Dot1x::eapolWithTagMinSize() == Dot1x::eapolMinSize() + Dot1x::dot1qTagSize() );
static_assert( Dot1x::eapRespMinLen() == Dot1x::eapMinSize() + 1 );

// Every method but mbaAuth and skipAuth is shown as EAPOL, so the enumerators' names do not serve.
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
   if ( !order ) {
      return "[]";
   }
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
