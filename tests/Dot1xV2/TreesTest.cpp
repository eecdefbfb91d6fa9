// The trees of status and configuration: what their entities do beyond what every one does.

#include <cstdint>
#include <limits>
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
#include "support/ChangeRecorder.h"
#include "support/LogStream.h"

namespace {

using namespace Dot1xV2;
namespace Op = Qel::InspectOperation;

Lumo::EthAddr const host( "00:00:5e:00:53:01" ), otherHost( "00:00:5e:00:53:02" );
Lumo::IntfId const port( "Ethernet3/1" ), otherPort( "Ethernet4" );

/// Counts what is told of a tree.
struct Told {
   explicit Told( Qel::Entity& root )
      : subscription( root.subscribe( [this]( auto& ) { ++count; }, Varek::Scope::subtree ) ) {}
   int count = 0;
   Varek::Subscription subscription;
};

Qel::InspectArguments inspected( Qel::Entity& entity, std::uint32_t operation, Varek::FieldId id,
                                 void* value, void const* key = nullptr ) {
   Qel::InspectArguments arguments;
   arguments.value = value;
   arguments.key = key;
   EXPECT_EQ(
      Qel::inspectOperation( Qel::typeRecord( entity ), &entity, operation, { id }, arguments ),
      Qel::InspectResult::done );
   return arguments;
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
   EXPECT_EQ( made( acctStatusFactory( "a" ) ).name(), "a" );
   EXPECT_EQ( made( authNStatusFactory( "b" ) ).name(), "b" );
   EXPECT_EQ( made( authZStatusFactory( "c" ) ).name(), "c" );
   EXPECT_EQ( made( authNProfileFactory( "d" ) ).name(), "d" );
   EXPECT_EQ( made( authZProfileFactory( "e" ) ).name(), "e" );
   EXPECT_EQ( made( acctRequestProfileFactory( "f" ) ).name(), "f" );
   EXPECT_EQ( made( statusFactory( "g" ) ).name(), "g" );
}

// Clear-alls, of every collection of every type

class EveryCollection : public testing::TestWithParam<Qel::TypeRecord const*> {
protected:
   Qel::TypeRecord const& type_ = *GetParam();
   RandomValues random_{ 5 };

   /// Makes two elements; those that are entities.
   std::vector<Varek::Ptr<Qel::Entity>> fill( Qel::Entity& owner,
                                              Qel::AttributeRecord const& one ) {
      std::vector<Varek::Ptr<Qel::Entity>> members;
      AnyValue const key( *one.key ); // the first is the default
      AnyValue const value( one.childType ? *one.key : *one.value );
      for ( int tries = 0; tries < 500 && one.size( &owner ) < 2; ++tries ) {
         void* const to = one.childType ? &members.emplace_back() : value.data();
         inspected( owner, Op::write, one.id, to, key.data() );
         random_.fill( key );
         random_.fill( value );
      }
      EXPECT_EQ( one.size( &owner ), 2U );
      return members;
   }
};

TEST_P( EveryCollection, IsClearedKeyByKeyOnceObservedAndMembersAlwaysLoseTheirOwner ) {
   for ( Qel::AttributeRecord const& one : type_.attributes ) {
      if ( !one.key || !one.iterate || one.kind == Qel::AttributeKind::array )
         continue;
      SCOPED_TRACE( one.name );
      for ( bool const observedBefore : { false, true } ) {
         auto const owner = freshEntity( type_ );
         if ( observedBefore )
            Told{ *owner };
         auto const members = fill( *owner, one );
         for ( auto const& member : members )
            EXPECT_EQ( member->parent(), owner.get() );
         std::optional<Told> told;
         if ( observedBefore )
            told.emplace( *owner );
         inspected( *owner, Op::removeAll, one.id, nullptr );
         EXPECT_EQ( one.size( owner.get() ), 0U );
         for ( auto const& member : members )
            EXPECT_EQ( member->parent(), nullptr );
         if ( told ) {
            EXPECT_EQ( told->count, 2 );
         }
         EXPECT_EQ( owner->initial(), !observedBefore );
      }
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryCollection,
                          testing::ValuesIn( registeredTypes( []( auto& type ) {
                             return type.kind == Varek::TypeKind::entity;
                          } ) ),
                          registeredTypeName );

// Accounting

TEST( AcctSessionState, NeverIsAnInfiniteTimeInEveryForm ) {
   Varek::Duration const never( std::numeric_limits<double>::infinity() );
   auto const session = acctSessionStateFactory( host ), copy = acctSessionStateFactory( host );
   auto const& type = Qel::typeRecord( *session );
   LogStream stream;
   EXPECT_TRUE(
      Qel::streamAdapterOnAttribute( { *session, type, 1, stream, nullptr }, 261, nullptr ) );
   auto const payload = stream.frames().at( 0 ).payload;
   EXPECT_EQ( payload, ( std::vector<std::uint8_t>{ 0x7F, 0xF0, 0, 0, 0, 0, 0, 0 } ) );
   copy->nextAcctUpdateTimeIs( Varek::Duration( 30 ) );
   Qel::NboAttrLog::In in( payload );
   EXPECT_TRUE( Qel::doHandleAttrDeserialization( { *copy, type, nullptr }, 261, in ) );
   EXPECT_EQ( copy->nextAcctUpdateTime(), never );
   Varek::Duration read( 0 ), parsed( 0 );
   EXPECT_TRUE( inspected( *session, Op::read, 261, &read ).found );
   EXPECT_EQ( read, never );
   Qel::strepToValue( type.attribute( 261 )->value->inspectEncodeToString( &read ), parsed );
   EXPECT_EQ( parsed, never );
   Told told( *session );
   session->nextAcctUpdateTimeIs( never );
   session->lldpTlvsIs( LldpProfilingInfo( lldpTlvDefault(), lldpTlvDefault() ) );
   EXPECT_EQ( told.count, 0 );
}

// Authorization

TEST( AuthZStatus, FindsASupplicantByPortAndAddressAndMakesNothing ) {
   auto const root = authZStatusFactory( "root" );
   auto const status = root->authZPortStatusIs( port );
   root->authZPortStatusIs( otherPort )->authorizedMacsIs( otherHost );
   auto const supplicant = status->authorizedMacsIs( host );
   EXPECT_EQ( status->operationalPortAttrs()->intfId(), Lumo::IntfId() ) << "the agent's to set";
   Told told( *root );
   auto const found = [&]( Lumo::IntfId intf, Lumo::EthAddr const& mac ) {
      auto const direct = root->getSupplicantAuthZAttrs( intf, mac );
      Varek::Ptr<Dot1xSuppAttr> read;
      SupplicantPlace const place{ intf, mac };
      EXPECT_EQ( inspected( *root, Op::read, 259, &read, &place ).found, direct != nullptr );
      EXPECT_EQ( read, direct );
      return direct;
   };
   EXPECT_EQ( found( port, host ), supplicant );
   EXPECT_EQ( found( port, otherHost ), nullptr );
   EXPECT_EQ( found( otherPort, host ), nullptr );
   EXPECT_EQ( found( Lumo::IntfId( "Ethernet5" ), host ), nullptr );
   EXPECT_EQ( root->authZPortStatus().size(), 2U );
   EXPECT_EQ( status->authorizedMacs().size(), 1U );
   EXPECT_EQ( told.count, 0 );
   EXPECT_EQ( root->authZPortStatusDel( port ), status );
   EXPECT_EQ( told.count, 1 );
   EXPECT_EQ( status->authorizedMacs( host ), supplicant ) << "what was removed keeps what it has";
   EXPECT_EQ( supplicant->parent(), status.get() );
   EXPECT_EQ( found( port, host ), nullptr );
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
      inspected( *profile, Op::read, 273, &counted, &asked );
      inspected( *profile, Op::read, 274, &formatted, &asked );
      EXPECT_EQ( counted, count );
      EXPECT_EQ( formatted, text );
      EXPECT_EQ( profile->getNumAuthNOrders( asked ), count );
      EXPECT_EQ( profile->formatAuthNOrders( asked ), text );
   };
   expect( event, 0, "[]" );
   for ( unsigned const first : { 0U, 1U, 2U, 3U, 4U, 200U } )
      for ( unsigned const second : { 0U, 1U, 2U, 3U, 4U, 255U } ) {
         AuthNOrder order;
         order.authNOrderIs( 0, static_cast<AuthNMethod>( first ) );
         order.authNOrderIs( 1, static_cast<AuthNMethod>( second ) );
         profile->eventAuthNOrderIs( event, order );
         expect( event, 2, "[ " + name( first ) + ", " + name( second ) + " ]" );
      }
   expect( AuthNEventType::eapolPktRx, 0, "[]" );
   profile->eventAuthNOrderDel( event );
   expect( event, 0, "[]" );
}

TEST( AuthZProfile, NoVlanIsNotTheVlanNone ) {
   auto const profile = authZProfileFactory( "p" );
   using Vlan = std::optional<Bridging::VlanIdOrNone>;
   ChangeRecorder<int, Vlan> changes( *profile );
   Bridging::VlanIdOrNone const none;
   for ( Vlan const& one : { Vlan(), Vlan( none ), Vlan( none ), Vlan() } )
      profile->authFailVlanIs( one );
   ASSERT_EQ( changes.told.size(), 2U );
   EXPECT_EQ( *changes.told[0].old, Vlan() );
   EXPECT_EQ( *changes.told[1].old, Vlan( none ) );
   EXPECT_EQ( profile->authZTimers()->authCacheTimeoutDel( DeviceType::phoneDevice ),
              Varek::Duration( 0 ) );
   EXPECT_THROW( profile->authZPriorityIs( 2, AuthNMethod::mbaAuth ), Varek::RangeError );
   EXPECT_EQ( changes.told.size(), 2U );
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

// An interface

TEST( IntfStatus, AProfileOfAnotherNameIsAFreshOne ) {
   auto const root = statusFactory( "root" );
   auto const intf = root->intfStatusIs( port );
   EXPECT_EQ( Status::IntfStatusKeyFunktor{}( *intf ), port );
   auto const first = intf->authZProfile();
   auto const suppIO = intf->suppIOProfile();
   first->guestVlanIs( Bridging::VlanIdOrNone( 7 ) );
   first->authZTimers()->idleTimeoutIs( Varek::Duration( 5 ) );
   Told told( *root );
   EXPECT_EQ( intf->authZProfileIs( "authZProfile" ), first );
   EXPECT_EQ( told.count, 0 );
   auto const second = intf->authZProfileIs( "other" );
   EXPECT_EQ( told.count, 1 );
   EXPECT_NE( second, first );
   EXPECT_EQ( intf->authZProfile(), second );
   EXPECT_EQ( second->name(), "other" );
   EXPECT_TRUE( second->guestVlan().isNone() );
   EXPECT_EQ( second->authZTimers()->idleTimeout(), Varek::Duration( 0 ) );
   EXPECT_EQ( second->parent(), intf.get() );
   EXPECT_EQ( first->parent(), nullptr );
   EXPECT_EQ( first->authZTimers()->parent(), first.get() );
   EXPECT_EQ( intf->suppIOProfile(), suppIO );
   EXPECT_EQ( intf->authZProfileDel(), second );
   EXPECT_EQ( intf->authZProfile(), nullptr );
   EXPECT_EQ( intf->authZProfileIs( "authZProfile" )->name(), "authZProfile" );
   EXPECT_EQ( told.count, 3 );
}

TEST( IntfStatus, CostsLittle ) {
   auto const total = [] {
      std::size_t objects = 0, bytes = 0;
      for ( Qel::TypeRecord const* const type : registeredTypes( []( auto& ) { return true; } ) )
         if ( type->allocations ) {
            objects += type->allocations->liveObjects();
            bytes += type->allocations->liveBytes();
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
