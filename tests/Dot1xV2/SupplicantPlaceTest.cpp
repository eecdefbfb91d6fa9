// The place of a supplicant: its text, and asking by it for what is known of the supplicant, from
// the records alone.

#include <optional>
#include <string_view>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthZStatus.h"
#include "framework/Inspection.h"
#include "support/AnyValue.h"
#include "support/TextCases.h"

namespace {

using Dot1xV2::SupplicantPlace;

TEST( SupplicantPlace, IsReadInEveryNotationOfItsParts ) {
   expectText<SupplicantPlace>( "00:00:5e:00:53:01@Ethernet3/1", "00:00:5e:00:53:01@Ethernet3/1" );
   expectText<SupplicantPlace>( "0000.5E00.5301@eth0.100", "00:00:5e:00:53:01@eth0.100" );
   expectText<SupplicantPlace>( "00-00-5e-00-53-01@IntfId(0xff00000000000000)",
                                "00:00:5e:00:53:01@IntfId(0xff00000000000000)" );
   expectText<SupplicantPlace>( stringValue( SupplicantPlace() ), "00:00:00:00:00:00@" );
}

TEST( SupplicantPlace, RefusesAnythingElseWithThePositionInTheWholeText ) {
   for ( BadText const& bad : {
            BadText{ "", 0, "a MAC address" },
            { "@Ethernet3/1", 0, "a MAC address" },
            { "00:00:5e:00:53@Ethernet3/1", 14, "a MAC address" },
            { "00:00:5e:00:53:01", 17, "\"@\"" },
            { "00:00:5e:00:53:01 Ethernet3/1", 17 },
            { "00:00:5e:00:53:01 @Ethernet3/1", 17 },
            { "00:00:5e:00:53:01@ Ethernet3/1", 18 },
            { "00:00:5e:00:53:01@Ethernet3/1@", 29 },
            { "00:00:5e:00:53:01@Ethernet03/1", 26 },
            { "Vlan1@00:00:5e:00:53:01", 0, "a MAC address" },
         } )
      expectRefused<SupplicantPlace>( bad );
}

TEST( SupplicantPlace, OrdersByInterfaceThenByAddress ) {
   expectOrdered<SupplicantPlace>( { "ffffffffffff@", "000000000001@Ethernet2",
                                     "000000000002@Ethernet2", "000000000001@Ethernet10",
                                     "000000000000@Vlan1" } );
}

/// A tree that is known as some entity: what a tool has.
class ByPlace : public testing::Test {
protected:
   Varek::Ptr<Dot1xV2::AuthZStatus> const root_ = Dot1xV2::authZStatusFactory( "z" );
   Qel::Entity& any_ = *root_;

   void SetUp() override {
      auto const port = root_->authZPortStatusIs( Lumo::IntfId( "Ethernet3/1" ) );
      port->authorizedMacsIs( Lumo::EthAddr( "00:00:5e:00:53:01" ) )->authorizedCountIs( 7 );
      root_->authZPortStatusIs( Lumo::IntfId( "Ethernet3/2" ) );
   }
   /// The attribute \p field of the supplicant at \p place, as text; none without such a
   /// supplicant.
   std::optional<std::string> ask( std::string_view place, std::string_view field ) {
      auto const& type = Qel::typeRecord( any_ );
      auto const& reading = *type.attribute( "getSupplicantAuthZAttrs" );
      AnyValue const key( *reading.key ), result( *reading.value );
      reading.key->inspectDecodeFromString( place, key.data() );
      EXPECT_TRUE( read( any_, reading, result, key.data() ) );
      Qel::Entity* const supplicant = reading.computedEntity( result.data() );
      if ( !supplicant )
         return {};
      auto const& attribute = *Qel::typeRecord( *supplicant ).attribute( field );
      AnyValue const value( *attribute.value );
      EXPECT_TRUE( read( *supplicant, attribute, value ) );
      return value.text();
   }

private:
   static bool read( Qel::Entity& entity, Qel::AttributeRecord const& attribute,
                     AnyValue const& value, void const* key = nullptr ) {
      Qel::InspectArguments arguments;
      arguments.value = value.data();
      arguments.key = key;
      return Qel::inspectOperation( Qel::typeRecord( entity ), &entity, Qel::InspectOperation::read,
                                    { attribute.id }, arguments ) == Qel::InspectResult::done;
   }
};

TEST_F( ByPlace, FindsTheRecordOfASupplicantOrNone ) {
   EXPECT_EQ( ask( "0000.5e00.5301@Ethernet3/1", "authorizedCount" ), "7" );
   EXPECT_EQ( ask( "00:00:5e:00:53:01@Ethernet3/1", "mac" ), "00:00:5e:00:53:01" );
   for ( char const* const place :
         { "00:00:5e:00:53:02@Ethernet3/1", "00:00:5e:00:53:01@Ethernet3/2",
           "00:00:5e:00:53:01@Ethernet3", "00:00:5e:00:53:01@" } )
      EXPECT_EQ( ask( place, "mac" ), std::nullopt ) << place;
}

TEST_F( ByPlace, SaysWhyATextIsNoPlaceAndLeavesTheKey ) {
   auto const& key = *Qel::typeRecord( any_ ).attribute( "getSupplicantAuthZAttrs" )->key;
   AnyValue const place( key );
   key.inspectDecodeFromString( "00:00:5e:00:53:01@Ethernet3/1", place.data() );
   EXPECT_THROW( key.inspectDecodeFromString( "00:00:5e:00:53:02@Ethernet3/x", place.data() ),
                 Varek::TextError );
   EXPECT_EQ( place.text(), "00:00:5e:00:53:01@Ethernet3/1" );
   EXPECT_EQ( key.registered(), nullptr ) << "no type of a module";
}

TEST_F( ByPlace, IsReadInsideOfOthers ) {
   auto const& key = *Qel::typeRecord( any_ ).attribute( "getSupplicantAuthZAttrs" )->key;
   AnyValue const place( key );
   for ( std::string_view const text : { "00:00:5e:00:53:01@Ethernet3/1", "00:00:00:00:00:00@" } ) {
      std::string const whole = "[ " + std::string( text ) + ", next ]";
      EXPECT_EQ( key.parse( whole, 2, place.data() ), 2 + text.size() );
      EXPECT_EQ( place.form(), text );
   }
}

} // namespace
