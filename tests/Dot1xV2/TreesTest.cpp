// The trees of status and configuration: what their entities do beyond what every one does.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "Pallo/Pallo.h"
#include "support/AnyValue.h"

namespace {

using namespace Dot1xV2;

Lumo::EthAddr const host( "00:00:5e:00:53:01" ), otherHost( "00:00:5e:00:53:02" );
Lumo::IntfId const port( "Ethernet3/1" ), otherPort( "Ethernet4" );

void read( Qel::Entity& entity, Varek::FieldId id, void* value, void const* key ) {
   Qel::InspectArguments arguments;
   arguments.value = value;
   arguments.key = key;
   EXPECT_EQ( Qel::inspectOperation( Qel::typeRecord( entity ), &entity,
                                     Qel::InspectOperation::read, { id }, arguments ),
              Qel::InspectResult::done );
}

// What each factory makes

template<class T>
T const& made( Varek::Ptr<T> const& one ) {
   EXPECT_EQ( one->references(), 1U );
   EXPECT_EQ( one->parent(), nullptr );
   EXPECT_EQ( Qel::typeRecord( *one ).name, Qel::typeName<T> );
   return *one; // the caller's expression keeps it
}

TEST( Factories, MakeParentlessEntitiesFromTheirParameter ) {
   made( acctAttributesFactory() );
   made( blockedMacTableFactory() );
   EXPECT_EQ( made( acctSessionStateFactory( host ) ).mac(), host );
   EXPECT_EQ( made( authNSupplicantStatusFactory( host ) ).mac(), host );
   EXPECT_EQ( made( blockedMacEntryFactory( host ) ).mac(), host );
   EXPECT_EQ( made( authZPortStatusFactory( port ) ).intfId(), port );
   EXPECT_EQ( made( intfStatusFactory( port ) ).intfId(), port );
   EXPECT_EQ( made( aaaResponseFactory( AaaResponseType::challenge ) ).type(),
              AaaResponseType::challenge );
   EXPECT_EQ( made( acctStatusFactory( "a" ) ).name(), "a" );
   EXPECT_EQ( made( authNStatusFactory( "b" ) ).name(), "b" );
   EXPECT_EQ( made( authZStatusFactory( "c" ) ).name(), "c" );
   EXPECT_EQ( made( authNProfileFactory( "d" ) ).name(), "d" );
   EXPECT_EQ( made( authZProfileFactory( "e" ) ).name(), "e" );
   EXPECT_EQ( made( acctRequestProfileFactory( "f" ) ).name(), "f" );
   EXPECT_EQ( made( statusFactory( "g" ) ).name(), "g" );
   EXPECT_EQ( Status::IntfStatusKeyFunktor{}( *intfStatusFactory( port ) ), port );
}

// Authorization

TEST( AuthZStatus, FindsASupplicantByPortAndAddressAndMakesNothing ) {
   auto const root = authZStatusFactory( "root" );
   auto const status = root->authZPortStatusIs( port );
   root->authZPortStatusIs( otherPort )->authorizedMacsIs( otherHost );
   auto const supplicant = status->authorizedMacsIs( host );
   EXPECT_EQ( status->operationalPortAttrs()->intfId(), Lumo::IntfId() ) << "the agent's to set";
   auto const watching = root->subscribe( []( auto& ) { ADD_FAILURE(); }, Varek::Scope::subtree );
   auto const found = [&]( Lumo::IntfId intf, Lumo::EthAddr const& mac ) {
      auto const direct = root->getSupplicantAuthZAttrs( intf, mac );
      Varek::Ptr<Dot1xSuppAttr> inspected;
      SupplicantPlace const place{ intf, mac };
      read( *root, 259, &inspected, &place );
      EXPECT_EQ( inspected, direct );
      return direct;
   };
   EXPECT_EQ( found( port, host ), supplicant );
   EXPECT_EQ( found( port, otherHost ), nullptr );
   EXPECT_EQ( found( otherPort, host ), nullptr );
   EXPECT_EQ( found( Lumo::IntfId( "Ethernet5" ), host ), nullptr );
   EXPECT_EQ( root->authZPortStatus().size(), 2U );
   EXPECT_EQ( status->authorizedMacs().size(), 1U );
}

// Profiles

TEST( AuthNProfile, TellsTheMethodsOfAnEvent ) {
   std::map<unsigned, std::string> const shown{ { 2, "mbaAuth" }, { 3, "skipAuth" } };
   auto const name = [&]( unsigned method ) {
      return shown.contains( method ) ? shown.at( method ) : std::string( "eapolAuth" );
   };
   auto const profile = authNProfileFactory( "p" );
   AuthNEventType const event = AuthNEventType::mbaPktRx;
   auto const expect = [&]( AuthNEventType asked, std::uint32_t count, std::string const& text ) {
      std::uint32_t counted = 99;
      Varek::String formatted;
      read( *profile, 273, &counted, &asked );
      read( *profile, 274, &formatted, &asked );
      EXPECT_EQ( counted, count );
      EXPECT_EQ( formatted, text );
      EXPECT_EQ( profile->getNumAuthNOrders( asked ), count );
      EXPECT_EQ( profile->formatAuthNOrders( asked ), text );
   };
   expect( event, 0, "[]" );
   for ( unsigned const first : { 0U, 1U, 2U, 3U, 4U, 200U } ) {
      for ( unsigned const second : { 0U, 1U, 2U, 3U, 4U, 255U } ) {
         AuthNOrder order;
         order.authNOrderIs( 0, static_cast<AuthNMethod>( first ) );
         order.authNOrderIs( 1, static_cast<AuthNMethod>( second ) );
         profile->eventAuthNOrderIs( event, order );
         expect( event, 2, "[ " + name( first ) + ", " + name( second ) + " ]" );
      }
   }
   expect( AuthNEventType::eapolPktRx, 0, "[]" );
   profile->eventAuthNOrderDel( event );
   expect( event, 0, "[]" );
}

TEST( AuthZProfile, APriorityFromTheLogIsAppliedInFullWhateverObserversThrow ) {
   auto const profile = authZProfileFactory( "p" );
   auto const subscription = profile->subscribe(
      []( auto& change ) { throw std::to_string( *change.template key<std::uint32_t>() ); } );
   std::uint8_t const bytes[] = { 0, 0, 0, 2, 0, 0, 0, 1 };
   Qel::NboAttrLog::In in( bytes );
   try {
      Qel::doHandleAttrDeserialization( { *profile, Qel::typeRecord( *profile ), nullptr }, 275,
                                        in );
      ADD_FAILURE() << "nobody was told";
   } catch ( std::string const& first ) {
      EXPECT_EQ( first, "0" );
   }
   EXPECT_EQ( profile->authZPriority( 0 ), AuthNMethod::mbaAuth );
   EXPECT_EQ( profile->authZPriority( 1 ), AuthNMethod::eapolAuth );
}

TEST( IntfStatus, CostsLittle ) {
   auto const total = [] {
      std::size_t objects = 0, bytes = 0;
      for ( Qel::TypeRecord const* const type : registeredTypes( []( auto& ) { return true; } ) ) {
         if ( type->allocations ) {
            objects += type->allocations->liveObjects();
            bytes += type->allocations->liveBytes();
         }
      }
      return std::pair( objects, bytes );
   };
   auto const before = total();
   std::size_t const slabsBefore = Pallo::usage().liveBytes;
   {
      auto const intf = intfStatusFactory( port );
      auto const after = total();
      std::size_t const slabs = Pallo::usage().liveBytes - slabsBefore;
      EXPECT_EQ( after.first - before.first, 9U ); // itself, seven profiles, the timers of one
      EXPECT_LT( after.second - before.second, 4096U );
      EXPECT_LT( slabs, 4096U );
      RecordProperty( "bytes", std::to_string( after.second - before.second ) );
      RecordProperty( "slabBytes", std::to_string( slabs ) );
   }
   EXPECT_EQ( total(), before );
   EXPECT_EQ( Pallo::usage().liveBytes, slabsBefore );
}

} // namespace
