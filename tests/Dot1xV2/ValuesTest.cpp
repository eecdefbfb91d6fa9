// The value types of configuration and authorization: what makes them differ from their default,
// and the size and bytes of what the server sent.

#include <concepts>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Dot1xV2/AuthNZPhase.h"
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

/// A writer that knows nothing of the library's.
struct Bytes : Octets {
   void number( std::size_t value, unsigned bytes ) {
      while ( bytes-- > 0 ) {
         push_back( static_cast<std::uint8_t>( value >> 8 * bytes ) );
      }
   }
   void text( Varek::String const& value ) {
      number( value.size(), 4 );
      insert( end(), value.begin(), value.end() );
   }
   template<class All>
   void texts( All const& all ) {
      number( all.size(), 4 );
      for ( auto const& one : all ) {
         text( one );
      }
   }
   template<class All>
   void ids( All const& all ) {
      number( all.size(), 4 );
      for ( auto const one : all ) {
         number( one.value(), 2 );
      }
   }
   void vlans( EgressVlanAttributes const& value ) {
      texts( value.egressVlanNameTagged() );
      texts( value.egressVlanNameUntagged() );
      ids( value.egressVlanIdTagged() );
      ids( value.egressVlanIdUntagged() );
      number( value.ingressFilters(), 1 );
   }
};

template<class T>
void expectLogged( T const& value, Bytes const& bytes ) {
   using namespace Qel::NboAttrLog;
   std::size_t const size = attrLogSize( currentVersion, value );
   ASSERT_EQ( size, bytes.size() );
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
      for ( unsigned length = below( 4 ) * below( 30 ); length > 0; --length ) {
         made += static_cast<char>( below( 256 ) );
      }
      return made;
   };
   auto const vlan = [&] {
      return Bridging::VlanId( static_cast<std::uint16_t>( below( 65536 ) ) );
   };
   for ( int round = 0; round < 500; ++round ) {
      EgressVlanAttributes vlans( below( 2 ) == 0 );
      for ( unsigned n = below( 4 ) * below( 4 ); n > 0; --n ) {
         vlans.egressVlanNameTaggedPush( name() );
      }
      for ( unsigned n = below( 4 ); n > 0; --n ) {
         vlans.egressVlanNameUntaggedPush( name() );
      }
      for ( unsigned n = below( 40 ); n > 0; --n ) {
         vlans.egressVlanIdTaggedPush( vlan() );
      }
      for ( unsigned n = below( 3 ); n > 0; --n ) {
         vlans.egressVlanIdUntaggedPush( vlan() );
      }
      Bytes bytes;
      bytes.vlans( vlans );
      expectLogged( vlans, bytes );

      AuthZAttrs attrs;
      Bytes all;
      for ( auto const set :
            { &AuthZAttrs::identityIs, &AuthZAttrs::vlanIdIs, &AuthZAttrs::filterIdIs,
              &AuthZAttrs::nasFilterRuleIs, &AuthZAttrs::intfProfileIs } ) {
         Varek::String const text = name();
         bool const here = below( 2 ) == 0;
         all.number( here, 1 );
         if ( here ) {
            ( attrs.*set )( text );
            all.text( text );
         }
      }
      bool const withVlans = below( 2 ) == 0;
      all.number( withVlans, 1 );
      if ( withVlans ) {
         attrs.egressVlanIs( vlans );
         all.vlans( vlans );
      }
      expectLogged( attrs, all );
   }
   EXPECT_EQ( attrLogSize( Qel::NboAttrLog::currentVersion, EgressVlanAttributes( true ) ), 17U );
   EXPECT_EQ( attrLogSize( Qel::NboAttrLog::currentVersion, AuthZAttrs() ), 6U );
}

TEST( EgressVlanAttributes, EachSequenceCountsByItself ) {
   EgressVlanAttributes tagged( false ), untagged( false );
   tagged.egressVlanIdTaggedPush( Bridging::VlanId( 10 ) );
   untagged.egressVlanIdUntaggedPush( Bridging::VlanId( 10 ) );
   EXPECT_NE( tagged, untagged );
   using Vlans = EgressVlanAttributes;
   EXPECT_EQ( Vlans::QelegressVlanNameTaggedTag::tracker.tag(), "VE_EgressVlanNameTagged" );
   EXPECT_EQ( Vlans::QelegressVlanIdUntaggedTag::tracker.tag(), "VE_EgressVlanIdUntagged" );
}

} // namespace
