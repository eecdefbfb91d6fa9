#include "Dot1xV2/AuthZStatus.h"

#include <ostream>

#include "Varek/Failures.h"
#include "framework/declare/Module.h"

namespace Dot1xV2 {

QEL_MODULE( "AuthZStatus", authZStatusModule, OperationalAuthZAttrs, Dot1xSuppAttr,
            Dot1xPortAppliedAttr, AuthZPortStatus, AuthZStatus, BlockedMacEntry, BlockedMacTable );

namespace {

/// Makes a value from \p text, a part of \p whole; errors give the position in \p whole.
template<class T>
T partFrom( std::string_view text, std::string_view whole ) {
   try {
      return T( text );
   } catch ( Varek::TextError const& error ) {
      auto const before = static_cast<std::size_t>( text.data() - whole.data() );
      throw Varek::TextError( error.expected(), whole, before + error.position() );
   }
}

} // namespace

SupplicantPlace::SupplicantPlace( std::string_view text ) {
   std::string_view const address = text.substr( 0, text.find( '@' ) );
   mac = partFrom<Lumo::EthAddr>( address, text );
   if ( address.size() == text.size() ) {
      throw Varek::TextError( "\"@\" and an interface", text, text.size() );
   }
   intfId = partFrom<Lumo::IntfId>( text.substr( address.size() + 1 ), text );
}

Varek::String stringValue( SupplicantPlace const& place ) {
   return stringValue( place.mac ) + '@' + stringValue( place.intfId );
}

std::ostream& operator<<( std::ostream& out, SupplicantPlace const& place ) {
   return out << stringValue( place );
}

Varek::Ptr<Dot1xSuppAttr> AuthZStatus::getSupplicantAuthZAttrs( Lumo::IntfId intfId,
                                                                Lumo::EthAddr const& mac ) const {
   auto const port = authZPortStatus( intfId );
   return port ? port->authorizedMacs( mac ) : nullptr;
}

Varek::Ptr<AuthZPortStatus> authZPortStatusFactory( Lumo::IntfId intfId ) {
   return AuthZPortStatus::AuthZPortStatusIs( intfId );
}

Varek::Ptr<AuthZStatus> authZStatusFactory( Varek::String const& name ) {
   return AuthZStatus::AuthZStatusIs( name );
}

Varek::Ptr<BlockedMacEntry> blockedMacEntryFactory( Lumo::EthAddr const& mac ) {
   return BlockedMacEntry::BlockedMacEntryIs( mac );
}

Varek::Ptr<BlockedMacTable> blockedMacTableFactory() {
   return BlockedMacTable::BlockedMacTableIs();
}

} // namespace Dot1xV2
