// The value types: what makes them differ from their default and from each other, the bytes of what
// the server sent, and the place of a supplicant as text.

#include <concepts>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Dot1xV2/AuthNZPhase.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xRecords.h"
#include "support/AnyValue.h"
#include "support/TextCases.h"

namespace {

using namespace Dot1xV2;
using Qel::AttributeKind;
using Octets = std::vector<std::uint8_t>;

// Truth

using WithTruth = testing::Types<CaptivePortal, LldpProfilingInfo, MbaUserName, CachingControl,
                                 VlanGroup, EgressVlanAttributes, AuthZAttrs>;
template<class... T>
constexpr bool noneHasTruth = ( !std::constructible_from<bool, T> && ... );
static_assert( noneHasTruth<IntfHostMode, SessionReplaceProfile, AuthNTimers, AuthNOrder,
                            AuthNZPhase, AuthNZPhaseType, Dot1xConstants> );

struct NameOfType {
   template<class T>
   static std::string GetName( int ) {
      return std::string( Qel::typeRecord( T::qelBinding() ).unqualifiedName() );
   }
};

template<class T>
class Truth : public testing::Test {
protected:
   /// Changes \p attribute of \p value to something else, or makes it what it was.
   void change( T& value, Qel::AttributeRecord const& attribute, bool back ) {
      namespace Op = Qel::InspectOperation;
      bool const plain = attribute.kind == AttributeKind::plain;
      AnyValue const to( *attribute.value );
      if ( plain ) {
         attribute.value->assign( to.data(), attribute.read( back ? &default_ : &value ) );
      }
      if ( !back ) {
         random_.change( to );
      }
      Qel::InspectArguments arguments;
      arguments.value = to.data();
      arguments.key = to.data();
      std::uint32_t const operation = back && !plain                              ? Op::removeAll
                                      : attribute.kind == AttributeKind::sequence ? Op::append
                                                                                  : Op::write;
      ASSERT_EQ( T::inspectOperation( value, operation, { attribute.id }, arguments ),
                 Qel::InspectResult::done );
   }

   T const default_{};
   RandomValues random_{ 7 };
};
TYPED_TEST_SUITE( Truth, WithTruth, NameOfType );

TYPED_TEST( Truth, IsToDifferFromTheDefaultInAnyAttribute ) {
   EXPECT_FALSE( TypeParam() );
   TypeParam value;
   int changed = 0;
   for ( auto const& one : Qel::typeRecord( TypeParam::qelBinding() ).attributes ) {
      if ( one.kind != AttributeKind::parameter && one.kind != AttributeKind::constant ) {
         SCOPED_TRACE( one.name );
         this->change( value, one, false );
         EXPECT_TRUE( value );
         EXPECT_FALSE( TypeParam::isEq( value, TypeParam() ) );
         TypeParam const copy( value );
         EXPECT_EQ( copy, value );
         this->change( value, one, true );
         EXPECT_FALSE( value );
         EXPECT_NE( copy, value );
         ++changed;
      }
   }
   EXPECT_GT( changed, 0 );
}

TEST( Truth, OfParametersAndOfWhatIsPresentButEmpty ) {
   EXPECT_FALSE( EgressVlanAttributes( false ) );
   EXPECT_TRUE( EgressVlanAttributes( true ) );
   EXPECT_NE( EgressVlanAttributes( true ), EgressVlanAttributes( false ) );
   EXPECT_TRUE( VlanGroup( Varek::String( "g" ) ) );
   EXPECT_EQ( LldpProfilingInfo( lldpTlvDefault(), lldpTlvDefault() ), LldpProfilingInfo() );
   AuthZAttrs attrs;
   attrs.identityIs( Varek::String() );
   EXPECT_TRUE( attrs );
   attrs = AuthZAttrs();
   attrs.egressVlanIs( EgressVlanAttributes( false ) );
   EXPECT_TRUE( attrs );
   attrs.egressVlanIs( std::nullopt );
   EXPECT_FALSE( attrs );
}

// Construction

TEST( GenericConstruction, GivesAValueItsParameter ) {
   bool const filters = true;
   std::uint32_t const number = 1;
   Qel::ConstructorArgument const given[] = {
      { &Varek::Inspect::InspectAtomicFnTable<bool>::table, &filters },
      { &Varek::Inspect::InspectAtomicFnTable<std::uint32_t>::table, &number } };
   std::span<Qel::ConstructorArgument const> const all( given );
   EXPECT_EQ( EgressVlanAttributes::genericIfConstructFromCtorArgs( all.first( 1 ) ),
              EgressVlanAttributes( true ) );
   EXPECT_EQ( AuthZAttrs::genericIfConstructFromCtorArgs( {} ), AuthZAttrs() );
   for ( auto const wrong : { all, all.first( 0 ), all.subspan( 1 ) } ) {
      EXPECT_THROW( EgressVlanAttributes::genericIfConstructFromCtorArgs( wrong ),
                    Varek::NewEntityArguments );
   }
   EXPECT_THROW( AuthZAttrs::genericIfConstructFromCtorArgs( all.first( 1 ) ),
                 Varek::NewEntityArguments );
}

// What the server sent, in the attribute log

template<class T>
void expectLogged( T const& value, Octets const& bytes ) {
   Octets written( attrLogSize( Qel::NboAttrLog::currentVersion, value ) );
   EXPECT_EQ( Qel::Wire<T>::put( written.data(), value ), written.data() + written.size() );
   EXPECT_EQ( written, bytes );
   Qel::NboAttrLog::In in( bytes );
   EXPECT_EQ( T( in ), value );
}

TEST( ServerAttributesLog, HasThePartsInTheirOrder ) {
   EgressVlanAttributes vlans( true );
   vlans.egressVlanNameTaggedPush( "ab" );
   vlans.egressVlanNameTaggedPush( "" );
   vlans.egressVlanNameUntaggedPush( "c" );
   vlans.egressVlanIdTaggedPush( Bridging::VlanId( 0x102 ) );
   vlans.egressVlanIdUntaggedPush( Bridging::VlanId( 3 ) );
   vlans.egressVlanIdUntaggedPush( Bridging::VlanId( 4 ) );
   Octets const bytes{ 0, 0, 0, 2,   0, 0, 0, 2, 'a', 'b', 0, 0, 0, 0, 0, 0, 0, 1, 0,
                       0, 0, 1, 'c', 0, 0, 0, 1, 1,   2,   0, 0, 0, 2, 0, 3, 0, 4, 1 };
   expectLogged( vlans, bytes );
   AuthZAttrs attrs;
   expectLogged( attrs, { 0, 0, 0, 0, 0, 0 } );
   attrs.identityIs( Varek::String() );
   attrs.filterIdIs( Varek::String( "f" ) );
   attrs.intfProfileIs( Varek::String( "i" ) );
   expectLogged( attrs, { 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 'f', 0, 1, 0, 0, 0, 1, 'i', 0 } );
   attrs = AuthZAttrs();
   attrs.egressVlanIs( vlans );
   Octets within{ 0, 0, 0, 0, 0, 1 };
   within.insert( within.end(), bytes.begin(), bytes.end() );
   expectLogged( attrs, within );
}

TEST( ServerAttributesLog, RefusesWhatNoWriterWrites ) {
   using namespace Qel::NboAttrLog;
   auto const read = []<class T>( std::type_identity<T>, Octets const& bytes ) {
      In in( bytes );
      return valueOf<T>( in );
   };
   Octets bytes( 17 );
   bytes.back() = 2;
   EXPECT_THROW( read( std::type_identity<EgressVlanAttributes>(), bytes ), AttrLogError )
      << "a boolean";
   bytes[3] = 4; // texts of four bytes at least, while thirteen are left
   EXPECT_THROW( read( std::type_identity<EgressVlanAttributes>(), bytes ), AttrLogLengthError );
   using Prefix = std::type_identity<Lumo::IpGenPrefix>;
   EXPECT_EQ( read( Prefix(), { 4, 8, 10, 0, 0, 0 } ), Lumo::IpGenPrefix( "10.0.0.0/8" ) );
   for ( Octets const& wrong :
         { Octets{ 4, 8, 10, 1, 0, 0 }, { 4, 33, 10, 0, 0, 0 }, { 5, 8, 10, 0, 0, 0 } } ) {
      EXPECT_THROW( read( Prefix(), wrong ), AttrLogError );
   }
}

// Sequences

TEST( Sequences, CountAndCompareEachByItself ) {
   EgressVlanAttributes tagged( false ), untagged( false );
   tagged.egressVlanIdTaggedPush( Bridging::VlanId( 10 ) );
   untagged.egressVlanIdUntaggedPush( Bridging::VlanId( 10 ) );
   EXPECT_NE( tagged, untagged );
   EXPECT_EQ( EgressVlanAttributes::QelegressVlanNameTaggedTag::tracker.tag(),
              "VE_EgressVlanNameTagged" );
   auto const& tracker = AaaAttribute::QelattrValueTag::tracker;
   EXPECT_EQ( tracker.tag(), "VE_AttrValue" );
   std::size_t const elements = tracker.liveElements(), bytes = tracker.liveBytes();
   {
      AaaAttribute value;
      EXPECT_EQ( tracker.liveElements(), elements );
      value.attrValuePush( 1U );
      value.attrValuePush( 2U );
      AaaAttribute const copy( value ), moved( std::move( value ) );
      EXPECT_GE( tracker.liveElements(), elements + 4 );
      EXPECT_EQ( tracker.liveBytes() - bytes,
                 ( tracker.liveElements() - elements ) * sizeof( RadiusPktParserBase::AttrValue ) );
   }
   EXPECT_EQ( tracker.liveElements(), elements );
   EXPECT_EQ( tracker.liveBytes(), bytes );
}

TEST( Sequences, AreEqualWithTheSameValuesInTheSameOrderOnly ) {
   using RadiusPktParserBase::AttrValue;
   auto const with = []( RadiusPktParserBase::Attribute attribute,
                         std::initializer_list<AttrValue> values ) {
      AaaAttribute made( attribute );
      for ( AttrValue const& value : values ) {
         made.attrValuePush( value );
      }
      return made;
   };
   AaaAttribute const reference = with( { 0, 1 }, { 1U, 2U } );
   EXPECT_EQ( reference, with( { 0, 1 }, { 1U, 2U } ) );
   for ( AaaAttribute const& other :
         { with( { 0, 1 }, { 2U, 1U } ), with( { 0, 1 }, { 1U } ), with( { 0, 1 }, { 1U, 2U, 2U } ),
           with( { 0, 2 }, { 1U, 2U } ), with( { 9, 1 }, { 1U, 2U } ),
           with( { 0, 1 }, { std::uint64_t{ 1 }, 2U } ) } ) {
      EXPECT_NE( reference, other );
   }
}

// The place of a supplicant

TEST( SupplicantPlace, IsReadInEveryNotationOfItsPartsAndRefusedWhereItIsWrong ) {
   expectTexts<SupplicantPlace>( { "00:00:5e:00:53:01@Ethernet3/1",
                                   "0000.5E00.5301@eth0.100 -> 00:00:5e:00:53:01@eth0.100",
                                   "00:00:00:00:00:00@" } );
   expectRefused<SupplicantPlace>(
      "a MAC address",
      { "^", "^@Ethernet3/1", "00:00:5e:00:53^@Ethernet3/1", "00:00:5e:00:53:01^ Ethernet3/1",
        "00:00:5e:00:53:01^ @Ethernet3/1", "^Vlan1@00:00:5e:00:53:01" } );
   expectRefused<SupplicantPlace>( "\"@\"", { "00:00:5e:00:53:01^" } );
   expectRefused<SupplicantPlace>( "", { "00:00:5e:00:53:01@^ Ethernet3/1",
                                         "00:00:5e:00:53:01@Ethernet3/1^@",
                                         "00:00:5e:00:53:01@Ethernet^03/1" } );
   expectOrdered<SupplicantPlace>( { "ffffffffffff@", "000000000001@Ethernet2",
                                     "000000000002@Ethernet2", "000000000001@Ethernet10",
                                     "000000000000@Vlan1" } );
}

} // namespace
