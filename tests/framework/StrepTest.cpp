// The string form of values: that it is read back, what may be typed, and what is said of the rest.

#include <array>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AcctStatus.h"
#include "Dot1xV2/AuthNZPhase.h"
#include "Dot1xV2/AuthZStatus.h"
#include "Dot1xV2/Dot1xStatus.h"
#include "support/AnyValue.h"
#include "support/Contains.h"
#include "support/LastWords.h"
#include "support/SafeText.h"
#include "support/TestModule.h"

namespace {

using namespace Dot1xV2;
using Varek::Inspect::InspectAtomicFnTable;
using namespace std::string_view_literals;

template<class T>
AnyValue::Table const& tableOf() {
   return InspectAtomicFnTable<T>::table;
}

/// A value that can be read back: one in range, and without a collection inside.
bool isReadBack( Qel::TypeRecord const& type, AnyValue const& value ) {
   if ( !Qel::hasStringConstructor( type ) ||
        value.text().find( "::EgressVlanAttributes(" ) != std::string::npos ) {
      return false;
   }
   try {
      if ( type.rangesCheck ) {
         type.rangesCheck( value.data() );
      }
      return true;
   } catch ( Varek::RangeError const& ) {
      return false;
   }
}

/// Every value and enumeration type, through its table alone.
class EveryValueType : public testing::TestWithParam<Qel::TypeRecord const*> {
protected:
   Qel::TypeRecord const& type_ = *GetParam();
   AnyValue::Table const& table_ = *type_.functions;
   RandomValues random_{ 17 };
   bool const isOfConstants_ =
      type_.kind == Varek::TypeKind::value &&
      std::all_of( type_.attributes.begin(), type_.attributes.end(),
                   []( auto& one ) { return one.kind == Qel::AttributeKind::constant; } );

   std::vector<AnyValue> someValues( int count ) {
      std::vector<AnyValue> values;
      for ( int i = 0; i < count; ++i ) {
         AnyValue const value( table_ );
         random_.fill( value );
         if ( isReadBack( type_, value ) ) {
            values.push_back( value );
         }
      }
      return values;
   }
   /// Reads a text; whether it was accepted. A target that was refused is as it was.
   bool decode( std::string_view text, AnyValue const& target ) {
      AnyValue const before( target );
      if ( !isSafeText( table_, text ) ) {
         return false;
      }
      try {
         table_.decode( text, target.data() );
         return true;
      } catch ( Varek::TextError const& error ) {
         EXPECT_LE( error.position(), text.size() ) << text;
         EXPECT_FALSE( error.expected().empty() );
      } catch ( Varek::RangeError const& ) {
         EXPECT_NE( type_.rangesCheck, nullptr ) << text;
      }
      EXPECT_EQ( target.text(), before.text() ) << "after " << text;
      return false;
   }
};

TEST_P( EveryValueType, IsPrintedAndReadBackOrRefused ) {
   for ( int i = 0; i < 200; ++i ) {
      AnyValue const value( table_ );
      random_.fill( value );
      EXPECT_EQ( value.text(), AnyValue( value ).text() );
      EXPECT_EQ( value.text(), value.form() ) << "alike alone and inside of others";
      EXPECT_EQ( value.text(), Qel::valueToStrep( type_, value.data() ) );
      if ( !isReadBack( type_, value ) ) {
         continue;
      }
      AnyValue const read( table_ ), inside( table_ );
      ASSERT_TRUE( decode( value.text(), read ) ) << value.text();
      EXPECT_EQ( read.text(), value.text() );
      // A number that is none differs from itself.
      EXPECT_TRUE( read == value || value.text().find( "nan" ) != std::string::npos );
      std::string const around = "#, " + value.text() + ", " + value.text();
      EXPECT_EQ( table_.parse( around, 3, inside.data() ), 3 + value.text().size() );
      EXPECT_EQ( inside.text(), value.text() );
   }
}

TEST_P( EveryValueType, IsNotMadeFromLessThanTheWholeTextNorFromMore ) {
   if ( type_.kind != Varek::TypeKind::value ) {
      return; // the front of a name, or of a number, may be another
   }
   for ( AnyValue const& value : someValues( 12 ) ) {
      AnyValue const target( table_ );
      random_.fill( target );
      std::string const text = value.text();
      for ( std::size_t length = 0; length < text.size(); ++length ) {
         EXPECT_EQ( decode( text.substr( 0, length ), target ), isOfConstants_ ) << length;
      }
      for ( char const* const more : { " ", "x", ")", ",", "\n" } ) {
         EXPECT_EQ( decode( text + more, target ), isOfConstants_ ) << text << more;
      }
      EXPECT_EQ( decode( " " + text, target ), isOfConstants_ );
   }
}

TEST_P( EveryValueType, TakesAMutatedTextAsAnotherValueOrNotAtAll ) {
   for ( AnyValue const& value : someValues( 100 ) ) {
      for ( int i = 0; i < 10; ++i ) {
         std::string text = value.text();
         auto const at = random_.below( text.size() );
         constexpr std::string_view special = "\"\\(),:[] -0x1\n";
         char const put = random_.below( 2 ) ? special[random_.below( special.size() )]
                                             : static_cast<char>( random_.below( 256 ) );
         text.replace( at, random_.below( 3 ), random_.below( 2 ), put );
         AnyValue const target( value ), again( table_ );
         if ( decode( text, target ) ) {
            EXPECT_TRUE( decode( target.text(), again ) ) << target.text();
            EXPECT_EQ( again.text(), target.text() );
         }
      }
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryValueType, everyValueType(), registeredTypeName );

// What values are made of: the form alone, and inside of others.

/// Forms that are read alone and inside of others, and printed as what is behind " -> ", or as they
/// are. For text that is what it is alone, without quotes.
template<class T>
void expectForms( std::initializer_list<std::string_view> all ) {
   constexpr bool isText = std::is_same_v<T, Varek::String>;
   for ( std::string_view const one : all ) {
      SCOPED_TRACE( one );
      std::size_t const arrow = one.find( " -> " );
      std::string const form( one.substr( 0, arrow ) );
      std::string const alone( arrow == one.npos ? one : one.substr( arrow + 4 ) );
      AnyValue const value( tableOf<T>() ), inside( tableOf<T>() );
      value.type().decode( isText ? alone : form, value.data() );
      EXPECT_EQ( value.form(), isText ? form : alone );
      EXPECT_EQ( value.text(), alone );
      for ( char const* const after : { "", " )", ", next: 1", " ]" } ) {
         std::string const whole = "( " + form + after;
         EXPECT_EQ( inside.type().parse( whole, 2, inside.data() ), 2 + form.size() ) << whole;
         EXPECT_EQ( inside.form(), value.form() );
      }
   }
}

TEST( StrepPart, IsReadAloneAndInsideOfOthers ) {
   using RadiusPktParserBase::AttrValue;
   expectForms<bool>( { "true" } );
   expectForms<std::uint8_t>( { "255", "007 -> 7" } );
   expectForms<std::uint64_t>( { "18446744073709551615" } );
   expectForms<int>( { "-5" } );
   expectForms<Varek::Duration>( { "60", "0.1", "5e-324", "1.7976931348623157e+308", "-0", "inf",
                                   "-inf", "nan", "6e1 -> 60", ".5 -> 0.5" } );
   expectForms<Varek::String>( { R"("" -> )", R"("absent, ( ] " -> absent, ( ] )",
                                 "\"\\\"\\\\\\n\\t\\x00\\x7f\\xff~\" -> \"\\\n\t\0\x7f\xff~"sv } );
   expectForms<Varek::Bytes>( { "0x", "0x00Ff -> 0x00ff" } );
   expectForms<Lumo::EthAddr>( { "00:00:5e:00:53:01" } );
   expectForms<Lumo::IntfId>( { "Ethernet3/1.100", "IntfId(0xff00000000000000)" } );
   expectForms<Bridging::VlanIdOrNone>( { "none" } );
   expectForms<Lumo::IpGenPrefix>( { "2001:db8::/32" } );
   expectForms<AttrValue>( { R"("a, b) \" ]")", R"(:1 "x")", "3600u64" } );
   expectForms<RadiusPktParserBase::Attribute>( { "Vendor-32473-Attribute-1" } );
   expectForms<RadiusPacketParser::RadiusAttributeId::RadiusAttributeIdEnum>(
      { "Class", "Attribute-200" } );
   expectForms<RadiusPacketParser::BreviaVendorSpec::BreviaVendorSpecEnum>( { "Brevia-Acl-Name" } );
   expectForms<std::optional<Varek::String>>( { "absent", R"("absent")" } );
   expectForms<std::optional<Bridging::VlanIdOrNone>>( { "absent", "none" } );
   expectForms<AcctTermCause>( { "lostCarrier", "4294967295", "2 -> lostCarrier" } );
   expectForms<TestModule::Mode>( { "200" } );
   expectForms<SupplicantPlace>( { "00:00:5e:00:53:01@Ethernet3/1", "00:00:00:00:00:00@" } );
}

/// Forms that are refused, at the '^', with words that begin with \p expected.
template<class T>
void expectRefusedForms( std::string_view expected, std::initializer_list<std::string_view> all ) {
   RandomValues random( 3 );
   for ( std::string_view const one : all ) {
      std::size_t const mark = one.find( '^' );
      std::string const form =
         std::string( one.substr( 0, mark ) ).append( one.substr( mark + 1 ) );
      AnyValue const target( tableOf<T>() );
      random.change( target );
      AnyValue const before( target );
      if constexpr ( !std::is_same_v<T, Varek::String> ) { // which alone is without quotes
         EXPECT_THROW( target.type().decode( form, target.data() ), Varek::TextError );
         EXPECT_EQ( target, before );
      }
      try {
         std::string const whole = "( " + form;
         std::size_t const end = target.type().parse( whole, 2, target.data() );
         Qel::CharRange( whole, end ).expectEnd();
         ADD_FAILURE() << form << " was read as " << target.form();
      } catch ( Varek::TextError const& error ) {
         EXPECT_EQ( error.position(), 2 + mark ) << error.what();
         EXPECT_TRUE( error.expected().starts_with( expected ) ) << error.what();
      }
   }
}

TEST( StrepPart, IsRefusedWithPositionAndWhatIsAllowed ) {
   expectRefusedForms<bool>( "true or false", { "^True", "^truely", "^1" } );
   expectRefusedForms<std::uint8_t>( "a number of 0 to 255", { "^256", "^-1" } );
   expectRefusedForms<std::uint16_t>( "a number of 0 to 65535", { "^+1" } );
   expectRefusedForms<std::uint64_t>( "a number of 0 to", { "^18446744073709551616" } );
   expectRefusedForms<Varek::Duration>( "a number, inf, -inf or nan",
                                        { "^infinity", "^-nan", "^1e999", "^" } );
   expectRefusedForms<Varek::Duration>( "the end", { "nan^(1)x" } );
   expectRefusedForms<Varek::String>( "text in quotes", { "^bare" } );
   expectRefusedForms<Varek::String>( "a quote that ends the text", { "\"open^", "\"open\\\"^" } );
   expectRefusedForms<Varek::String>( "one of", { "\"\\^q\"" } );
   expectRefusedForms<Varek::String>( "two hexadecimal digits", { "\"\\x4^\"" } );
   expectRefusedForms<Varek::Bytes>( "an even number", { "0x123^" } );
   expectRefusedForms<Varek::Bytes>( "0x", { "^123" } );
   expectRefusedForms<Lumo::EthAddr>( "a MAC address", { "00:00:5e:00:5^g:01" } );
   expectRefusedForms<std::optional<Varek::String>>( "text in quotes", { "^absentee" } );
   expectRefusedForms<AuthNMethod>( "an enumerator of Dot1xV2::AuthNMethod",
                                    { "^eapolAuthx", "^" } );
   expectRefusedForms<AuthNMethod>( "a number of 0 to 255", { "^256" } );
   expectRefusedForms<SupplicantPlace>( "the end", { "00:00:5e:00:53:01@Vlan1^x" } );
}

// Records

template<class T>
T read( std::string_view text ) {
   return T( Qel::CharRange( text ) );
}

TEST( Strep, NamesTheTypeAndItsAttributesInOrder ) {
   EXPECT_EQ(
      stringValue( AuthNTimers() ),
      "Dot1xV2::AuthNTimers( quietPeriod: 60, slowPeriod: 60, fallbackToMbaTimeout: 0, "
      "reauthNPeriod: 0, reauthNPeriodSource: cliStaticSource, mbaMulticastInterval: 30 )" );
   EXPECT_EQ( stringValue( MbaUserName() ), "Dot1xV2::MbaUserName( userNameDelim: \":\", "
                                            "userNameIsUpperCase: false, userNameGroupSize: 2 )" )
      << "without its constant";
   EXPECT_EQ( stringValue( LldpProfilingInfo( "a", "" ) ),
              "Dot1xV2::LldpProfilingInfo( lldpSysName: 0x61, lldpSysDesc: 0x )" );
   std::ostringstream out;
   out << IntfHostMode();
   EXPECT_EQ( out.str(), stringValue( IntfHostMode() ) );
}

TEST( Strep, MayBeTypedWithMoreBlanksOrFewer ) {
   AuthNTimers timers;
   timers.quietPeriodIs( Varek::Duration( 1.5 ) );
   timers.mbaMulticastIntervalIs( Varek::Duration( std::numeric_limits<double>::infinity() ) );
   timers.reauthNPeriodSourceIs( AttributeSource::aaaSource );
   EXPECT_EQ( read<AuthNTimers>( "Dot1xV2::AuthNTimers(quietPeriod:1.5,slowPeriod :60\n,\t"
                                 "fallbackToMbaTimeout: 0 , reauthNPeriod: 0,reauthNPeriodSource:"
                                 "aaaSource,mbaMulticastInterval:inf)" ),
              timers );
}

TEST( Strep, IsReadFromWhereTheRangeStandsAndAFailureSaysWhereInTheWholeText ) {
   IntfHostMode mode;
   mode.hostModeIs( HostMode::singleHost );
   std::string const front = "mode = ";
   EXPECT_EQ( IntfHostMode( Qel::CharRange( front + stringValue( mode ), front.size() ) ), mode );
   for ( auto const& [text, at, expected] : std::initializer_list<std::array<std::string_view, 3>>{
            { "Dot1xV2::IntfHostModes( hostMode", "s(", "\"(\"" },
            { "Dot1xV2::IntfHostMope( ", "pe(", "\"Dot1xV2::IntfHostMode\"" },
            { "IntfHostMode( ", "IntfHostMode", "\"Dot1xV2::IntfHostMode\"" },
            { "Dot1xV2::IntfHostMode( mbaHostModeCommonEnabled: true )", "mba", "\"hostMode\"" },
            { "Dot1xV2::IntfHostMode( hostMode: bothHosts,", "bothHosts", "an enumerator of" },
            { "Dot1xV2::IntfHostMode( hostMode: multiHost )", ")", "\",\"" },
            { "Dot1xV2::IntfHostMode( hostMode: 1, mbaHostModeCommonEnabled: true, )", ", )",
              "\")\"" },
            { "Dot1xV2::IntfHostMode( hostMode: 1, mbaHostModeCommonEnabled: true )!", "!",
              "the end" } } ) {
      try {
         std::string const whole = front + std::string( text );
         IntfHostMode( Qel::CharRange( whole, front.size() ) );
         ADD_FAILURE() << text;
      } catch ( Varek::TextError const& error ) {
         EXPECT_EQ( error.position(), front.size() + text.find( at ) ) << error.what();
         EXPECT_TRUE( error.expected().starts_with( expected ) ) << error.what();
         EXPECT_TRUE( contains( error.what(), text ) );
      }
   }
}

TEST( Strep, TellsAbsentFromEmptyAndShowsNestedValuesInFull ) {
   AuthZAttrs attrs;
   attrs.identityIs( Varek::String() );
   attrs.vlanIdIs( Varek::String( "absent" ) );
   std::string const front = "Dot1xV2::AuthZAttrs( identity: \"\", vlanId: \"absent\", filterId: "
                             "absent, nasFilterRule: absent, intfProfile: absent, egressVlan: ";
   EXPECT_EQ( stringValue( attrs ), front + "absent )" );
   EXPECT_EQ( read<AuthZAttrs>( stringValue( attrs ) ), attrs );
   EgressVlanAttributes vlans( true );
   vlans.egressVlanNameTaggedPush( "a, b" );
   vlans.egressVlanNameTaggedPush( "" );
   vlans.egressVlanIdUntaggedPush( Bridging::VlanId( 7 ) );
   attrs.egressVlanIs( vlans );
   EXPECT_EQ( stringValue( attrs ),
              front + "Dot1xV2::EgressVlanAttributes( egressVlanNameTagged: [ \"a, b\", \"\" ], "
                      "egressVlanNameUntagged: [], egressVlanIdTagged: [], egressVlanIdUntagged: "
                      "[ 7 ], ingressFilters: true ) )" );
}

TEST( Strep, PrintsEqualSetsAlike ) {
   VlanGroup up( Varek::String( "g" ) ), down( Varek::String( "g" ) );
   for ( std::uint16_t i = 0; i < 300; ++i ) {
      up.vlanIdIs( Bridging::VlanIdOrNone( i ) );
      down.vlanIdIs( Bridging::VlanIdOrNone( static_cast<std::uint16_t>( 299 - i ) ) );
   }
   EXPECT_EQ( stringValue( up ), stringValue( down ) );
   EXPECT_EQ( stringValue( up ).rfind( "Dot1xV2::VlanGroup( groupName: \"g\", vlanId: [ none, 1, "
                                       "2, 3, 4, 5, 6, 7, 8, 9, 10, 11,",
                                       0 ),
              0U );
   AuthNOrder order;
   order.authNOrderIs( 1, AuthNMethod::mbaAuth );
   EXPECT_EQ( stringValue( order ), "Dot1xV2::AuthNOrder( authNOrder: [ noneAuth, mbaAuth ] )" );
   EXPECT_EQ( stringValue( CachingControl() ), "Dot1xV2::CachingControl( event: [] )" );
}

TEST( Strep, ARangeIsCheckedAfterTheWholeTextIsRead ) {
   std::string const front = "Dot1xV2::AuthNZPhaseType( value: ";
   for ( char const* const phase : { "authNZNotStarted", "authNZCompleted", "0", "4", "255" } ) {
      AuthNZPhaseType target;
      EXPECT_THROW( Qel::strepToValue( front + phase + " )", target ), Varek::RangeError );
      EXPECT_THROW( Qel::strepToValue( front + phase + " ) ", target ), Varek::TextError );
      EXPECT_THROW( tableOf<AuthNZPhaseType>().parse( front + phase + " )", 0, &target ),
                    Varek::RangeError );
   }
   EXPECT_EQ( read<AuthNZPhaseType>( front + "3 )" ).value(), AuthNZPhaseEnum::authNZPhase2 );
}

TEST( Strep, AHolderOfConstantsTakesAnyText ) {
   EXPECT_EQ( stringValue( Dot1xConstants() ), "Dot1xV2::Dot1xConstants()" );
   EXPECT_EQ( stringValue( AuthZConstants() ), "Dot1xV2::AuthZConstants()" );
   for ( char const* const text : { "", "Dot1xV2::Dot1xConstants()", "((\"" } ) {
      EXPECT_EQ( read<Dot1xConstants>( text ), Dot1xConstants() );
   }
}

// Types with a collection

std::string assertionOf( std::string_view type ) {
   return lastWords( "^\"No String constructor for " + std::string( type ) +
                     " - has collection\" == nullptr" );
}

class StrepDeathTest : public testing::TestWithParam<Qel::TypeRecord const*> {};

TEST_P( StrepDeathTest, HasNoStringConstructor ) {
   AnyValue const value( *GetParam()->functions );
   for ( std::string const& text : { std::string(), value.text() } ) {
      EXPECT_DEATH( value.type().decode( text, value.data() ),
                    assertionOf( GetParam()->unqualifiedName() ) );
   }
   for ( char const* const nested : { "", "present" } ) {
      EXPECT_DEATH( value.type().parse( nested, 0, value.data() ),
                    assertionOf( GetParam()->unqualifiedName() ) );
   }
   EXPECT_FALSE( Qel::isSafelyReadable( value.type() ) );
}

INSTANTIATE_TEST_SUITE_P( Registered, StrepDeathTest,
                          testing::ValuesIn( registeredTypes( []( auto& type ) {
                             return type.functions && !Qel::hasStringConstructor( type );
                          } ) ),
                          registeredTypeName );

TEST( StrepMemberDeathTest, OfATypeWithACollectionIsReadNeitherAloneNorIfItIsPresent ) {
   EXPECT_DEATH( read<AaaAttribute>( "User-Name" ), assertionOf( "AaaAttribute" ) );
   AuthZAttrs attrs;
   std::string const none = stringValue( attrs );
   EXPECT_EQ( read<AuthZAttrs>( none ), attrs );
   attrs.egressVlanIs( EgressVlanAttributes() );
   std::string const front = none.substr( 0, none.rfind( "absent" ) );
   for ( std::string const& text : { stringValue( attrs ), front, front + "absentee )",
                                     front + "none )", front + "\"\" )" } ) {
      EXPECT_DEATH( read<AuthZAttrs>( text ), assertionOf( "EgressVlanAttributes" ) ) << text;
   }
   // What is wrong before it comes is only wrong.
   EXPECT_THROW( read<AuthZAttrs>( front.substr( 0, front.size() - 2 ) ), Varek::TextError );
   EXPECT_THROW( read<AuthZAttrs>( "none" ), Varek::TextError );
   using Optional = std::optional<EgressVlanAttributes>;
   EXPECT_DEATH( read<Optional>( "none" ), assertionOf( "EgressVlanAttributes" ) );
   EXPECT_FALSE( Qel::isSafelyReadable( tableOf<Optional>() ) );
   EXPECT_FALSE( Qel::isSafelyReadable( tableOf<AuthZAttrs>() ) );
   EXPECT_FALSE( Qel::isSafelyReadable( tableOf<std::optional<AuthZAttrs>>() ) );
   EXPECT_TRUE( Qel::isSafelyReadable( tableOf<std::optional<Varek::String>>() ) );
   EXPECT_TRUE( Qel::isSafelyReadable( tableOf<AuthNTimers>() ) );
}

TEST( Strep, TheFlagSaysWhetherTheFormIsThatInsideOfAnother ) {
   auto const& table = tableOf<Varek::String>();
   Varek::FieldDescriptor const label{ 260 };
   Varek::String const text = "a \"b\"";
   constexpr auto nested = Varek::Inspect::StrepFlag::nested;
   EXPECT_EQ( table.inspectEncodeToString( &text, label, 0 ), text );
   EXPECT_EQ( table.inspectEncodeToString( &text, label, nested ), R"("a \"b\"")" );
   Varek::String target;
   table.inspectDecodeFromString( &target, R"("a \"b\"")", label, nested );
   EXPECT_EQ( target, text );
   EXPECT_THROW( table.inspectDecodeFromString( &target, "a", label, nested ), Varek::TextError );
   EXPECT_THROW( table.inspectDecodeFromString( &target, "\"a\" ", label, nested ),
                 Varek::TextError );
   EXPECT_EQ( target, text );
   EXPECT_EQ( table.inspectGetHash( &text, label ), table.inspectGetHash( &target, {} ) );
}

} // namespace
