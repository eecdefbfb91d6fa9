// The value types of configuration and authorization: what makes them differ from their default,
// and the size and bytes of what the server sent.

#include <array>
#include <concepts>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNStatus.h"
#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Dot1xV2/Dot1xRecords.h"
#include "support/AnyValue.h"

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
      if ( plain )
         attribute.value->assign( to.data(), attribute.read( back ? &default_ : &value ) );
      if ( !back )
         random_.change( to );
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
   for ( auto const& one : Qel::typeRecord( TypeParam::qelBinding() ).attributes )
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
   EXPECT_GT( changed, 0 );
}

TEST( Truth, OfParametersAndOfWhatIsPresentButEmpty ) {
   EXPECT_FALSE( EgressVlanAttributes( false ) );
   EXPECT_TRUE( EgressVlanAttributes( true ) );
   EXPECT_NE( EgressVlanAttributes( true ), EgressVlanAttributes( false ) );
   EXPECT_TRUE( VlanGroup( Varek::String( "g" ) ) );
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
   for ( auto const wrong : { all, all.first( 0 ), all.subspan( 1 ) } )
      EXPECT_THROW( EgressVlanAttributes::genericIfConstructFromCtorArgs( wrong ),
                    Varek::NewEntityArguments );
   EXPECT_THROW( AuthZAttrs::genericIfConstructFromCtorArgs( all.first( 1 ) ),
                 Varek::NewEntityArguments );
}

// What the server sent, in the attribute log

/// A writer that knows nothing of the library's.
struct Bytes : Octets {
   void number( std::size_t value, unsigned bytes ) {
      while ( bytes-- > 0 )
         push_back( static_cast<std::uint8_t>( value >> 8 * bytes ) );
   }
   void text( Varek::String const& value ) {
      number( value.size(), 4 );
      insert( end(), value.begin(), value.end() );
   }
   template<class All>
   void texts( All const& all ) {
      number( all.size(), 4 );
      for ( auto const& one : all )
         text( one );
   }
   template<class All>
   void ids( All const& all ) {
      number( all.size(), 4 );
      for ( auto const one : all )
         number( one.value(), 2 );
   }
   void vlans( EgressVlanAttributes const& value ) {
      texts( value.egressVlanNameTagged() );
      texts( value.egressVlanNameUntagged() );
      ids( value.egressVlanIdTagged() );
      ids( value.egressVlanIdUntagged() );
      number( value.ingressFilters(), 1 );
   }
};

std::size_t sizeBySum( EgressVlanAttributes const& value ) {
   std::size_t size =
      9 + 2 * ( value.egressVlanIdTagged().size() + value.egressVlanIdUntagged().size() ) + 4 + 4;
   for ( auto const& name : value.egressVlanNameTagged() )
      size += 4 + name.size();
   for ( auto const& name : value.egressVlanNameUntagged() )
      size += 4 + name.size();
   return size;
}

template<class T>
void expectLogged( T const& value, std::size_t size, Bytes const& bytes ) {
   using namespace Qel::NboAttrLog;
   EXPECT_EQ( attrLogSize( currentVersion, value ), size );
   EXPECT_EQ( bytes.size(), size );
   OutBuffer out;
   out.outSmReserveMessage( FrameKind::attribute, 1, 259, size );
   out << value;
   out.outSmCommitMessage(); // aborts unless the size was exact
   auto const written = out.bytes().last( size );
   EXPECT_TRUE( std::equal( written.begin(), written.end(), bytes.begin(), bytes.end() ) );
   In in( bytes );
   EXPECT_EQ( T( in ), value );
   EXPECT_EQ( in.left(), 0U );
}

TEST( ServerAttributesLog, IsOfTheSizeOfItsPartsAndInTheirOrder ) {
   std::mt19937 random( 11 );
   auto const below = [&]( unsigned end ) { return static_cast<unsigned>( random() % end ); };
   auto const name = [&] {
      Varek::String made;
      for ( unsigned length = below( 4 ) * below( 30 ); length > 0; --length )
         made += static_cast<char>( below( 256 ) );
      return made;
   };
   auto const vlan = [&] {
      return Bridging::VlanId( static_cast<std::uint16_t>( below( 65536 ) ) );
   };
   for ( int round = 0; round < 500; ++round ) {
      EgressVlanAttributes vlans( below( 2 ) == 0 );
      for ( unsigned n = below( 4 ) * below( 4 ); n > 0; --n )
         vlans.egressVlanNameTaggedPush( name() );
      for ( unsigned n = below( 4 ); n > 0; --n )
         vlans.egressVlanNameUntaggedPush( name() );
      for ( unsigned n = below( 40 ); n > 0; --n )
         vlans.egressVlanIdTaggedPush( vlan() );
      for ( unsigned n = below( 3 ); n > 0; --n )
         vlans.egressVlanIdUntaggedPush( vlan() );
      Bytes bytes;
      bytes.vlans( vlans );
      expectLogged( vlans, sizeBySum( vlans ), bytes );

      AuthZAttrs attrs;
      unsigned const present = below( 64 );
      std::array<Varek::String, 5> const texts{ name(), name(), name(), name(), name() };
      if ( present & 1U )
         attrs.identityIs( texts[0] );
      if ( present & 2U )
         attrs.vlanIdIs( texts[1] );
      if ( present & 4U )
         attrs.filterIdIs( texts[2] );
      if ( present & 8U )
         attrs.nasFilterRuleIs( texts[3] );
      if ( present & 16U )
         attrs.intfProfileIs( texts[4] );
      if ( present & 32U )
         attrs.egressVlanIs( vlans );
      std::size_t size = 6;
      Bytes all;
      for ( unsigned i = 0; i < 5; ++i ) {
         bool const here = present >> i & 1U;
         all.number( here, 1 );
         if ( here )
            all.text( texts[i] );
         size += here ? 4 + texts[i].size() : 0;
      }
      all.number( present >> 5, 1 );
      if ( present & 32U )
         all.vlans( vlans );
      expectLogged( attrs, size + ( present & 32U ? sizeBySum( vlans ) : 0 ), all );
   }
   EXPECT_EQ( attrLogSize( Qel::NboAttrLog::currentVersion, EgressVlanAttributes( true ) ), 17U );
   EXPECT_EQ( attrLogSize( Qel::NboAttrLog::currentVersion, AuthZAttrs() ), 6U );
}

TEST( EgressVlanAttributes, OrderCountsAndEachSequenceByItself ) {
   Bridging::VlanId const ten( 10 ), twenty( 20 );
   EgressVlanAttributes up( false ), down( false ), untagged( false );
   up.egressVlanIdTaggedPush( ten );
   up.egressVlanIdTaggedPush( twenty );
   down.egressVlanIdTaggedPush( twenty );
   down.egressVlanIdTaggedPush( ten );
   untagged.egressVlanIdUntaggedPush( ten );
   untagged.egressVlanIdUntaggedPush( twenty );
   EXPECT_NE( up, down );
   EXPECT_NE( up, untagged );
   down.egressVlanIdTaggedIs( 0, ten );
   down.egressVlanIdTaggedIs( 1, twenty );
   EXPECT_EQ( up, down );
   using Vlans = EgressVlanAttributes;
   EXPECT_EQ( Vlans::QelegressVlanNameTaggedTag::tracker.tag(), "VE_EgressVlanNameTagged" );
   EXPECT_EQ( Vlans::QelegressVlanIdUntaggedTag::tracker.tag(), "VE_EgressVlanIdUntagged" );
}

// Records of configuration

TEST( AuthNOrder, AnIndexBeyondItsTwoIsRefusedInTheseWords ) {
   AuthNOrder order;
   order.authNOrderIs( 0, AuthNMethod::mbaAuth );
   AuthNOrder const before = order;
   for ( unsigned const index : { 2U, 3U, 4294967295U } ) {
      std::string const words =
         "cannot access index " + std::to_string( index ) + " of an array with size 2";
      for ( bool const set : { true, false } )
         try {
            if ( set )
               order.authNOrderIs( index, AuthNMethod::skipAuth );
            else
               order.authNOrderDel( index );
            ADD_FAILURE() << index;
         } catch ( Varek::RangeError const& error ) {
            EXPECT_EQ( error.what(), words );
         }
   }
   EXPECT_EQ( order, before );
   EXPECT_EQ( order.authNOrderDel( order.authNOrder().begin() ), AuthNMethod::mbaAuth );
   EXPECT_EQ( order, AuthNOrder() );
   order.authNOrderIs( 1, AuthNMethod::mbaAuth );
   EXPECT_NE( order, before );
   EXPECT_EQ( order.authNOrderDel( order.authNOrder().begin() ), AuthNMethod::noneAuth );
   order.authNOrderDelAll();
   EXPECT_EQ( order, AuthNOrder() );
}

TEST( LldpProfilingInfo, KeepsWhateverBytesCame ) {
   Varek::String every;
   for ( int byte = 255; byte >= 0; --byte )
      every += static_cast<char>( byte );
   LldpProfilingInfo const info( every + every, Varek::String( 3, '\0' ) );
   EXPECT_EQ( info.lldpSysName().view(), every + every );
   EXPECT_EQ( info.lldpSysDesc().size(), 3U );
   EXPECT_EQ( LldpProfilingInfo( Qel::CharRange( stringValue( info ) ) ), info );
   EXPECT_EQ( LldpProfilingInfo( lldpTlvDefault(), lldpTlvDefault() ), LldpProfilingInfo() );
}

} // namespace
