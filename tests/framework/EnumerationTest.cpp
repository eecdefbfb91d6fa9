// Enumerations by number, by name and in text, of both widths, with gaps.

#include <functional>
#include <limits>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "support/AnyValue.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;

TEST( Enumeration, ItsFunctionsGoByNumberAndNameAndRefuseWhatIsNone ) {
   EXPECT_EQ( ModeInstance( 7 ), Mode::faulty );
   EXPECT_EQ( AlarmInstance( Varek::String( "lost" ) ), Alarm::lost );
   EXPECT_EQ( stringValue( Alarm::hot ), "hot" );
   EXPECT_EQ( stringValue( static_cast<Mode>( 2 ) ), "2" );
   std::ostringstream out;
   out << Mode::run << static_cast<Alarm>( 70001 );
   EXPECT_EQ( out.str(), "run70001" );
   for ( Varek::String const& name :
         { Varek::String(), Varek::String( "1" ), Varek::String( "Idle" ), Varek::String( "idle " ),
           Varek::String( "idle\0", 5 ) } ) {
      EXPECT_THROW( ModeInstance( name ), Varek::TextError ) << name;
   }
   try {
      ModeInstance( 256 );
      ADD_FAILURE();
   } catch ( Varek::RangeError const& error ) {
      EXPECT_STREQ( error.what(), "256 is no enumerator of TestModule::Mode" );
   }
}

TEST( Enumeration, AnUnknownNameIsOneFailureAloneAndWithinAText ) {
   std::string_view const said = "expected an enumerator of TestModule::Mode but found \"runs\", "
                                 "which differs from position 0";
   Mode mode{};
   Qel::CharRange range( "runs" );
   for ( auto const& read : std::initializer_list<std::function<void()>>{
            [] { ModeInstance( "runs" ); }, [&] { sequenceToValue( range, &mode ); } } ) {
      try {
         read();
         ADD_FAILURE();
      } catch ( Varek::TextError const& error ) {
         EXPECT_EQ( error.what(), said );
      }
   }
}

TEST( Enumeration, MembersOfASetThatFoldToOneAreOne ) {
   Qel::HSet<Mode> set;
   std::uint8_t const bytes[]{ 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 0, 7, 0, 0, 0, 7 };
   Qel::NboAttrLog::In in( bytes );
   Qel::Wire<decltype( set )>::read( in, set );
   in.expectEnd();
   EXPECT_EQ( set.size(), 2U );
   EXPECT_TRUE( set.lookupNodeG( Mode::running ) && set.lookupNodeG( Mode::faulty ) );
}

TEST( Enumeration, IsReadAsTheLongestIdentifier ) {
   // "run" is an enumerator and the front of another; "runs" is neither.
   struct Case {
      std::string_view text;
      std::optional<Mode> read;
      std::size_t position;
   };
   for ( Case const& one : { Case{ "run", Mode::run, 3 },
                             { "running, more", Mode::running, 7 },
                             { "run-ning", Mode::run, 3 },
                             { "runs", {}, 0 },
                             { "run_", {}, 0 },
                             { "run1", {}, 0 },
                             { " run", {}, 0 },
                             { "7", {}, 0 },
                             { "", {}, 0 } } ) {
      Qel::CharRange range( one.text );
      Mode value = Mode::faulty;
      if ( one.read ) {
         sequenceToValue( range, &value );
      } else {
         EXPECT_THROW( sequenceToValue( range, &value ), Varek::TextError ) << one.text;
      }
      EXPECT_EQ( value, one.read.value_or( Mode::faulty ) ) << one.text;
      EXPECT_EQ( range.position(), one.position ) << one.text;
   }
   Qel::CharRange range( "hot lost" );
   range.advance( 4 );
   Alarm alarm{};
   sequenceToValue( range, &alarm );
   EXPECT_EQ( alarm, Alarm::lost );
   EXPECT_TRUE( range.empty() );
   range.advance( 1 );
   EXPECT_EQ( range.position(), 8U );
}

/// Every registered enumeration.
class EveryEnumeration : public testing::TestWithParam<Qel::TypeRecord const*> {
protected:
   template<class Width>
   void goesBothWays() {
      using Type = Qel::EnumType<Width>;
      auto const& module = *type_.module;
      std::set<std::uint64_t> known;
      for ( Varek::EnumeratorData const& one : type_.enumerators ) {
         known.insert( one.value );
         auto const value = static_cast<Width>( one.value );
         Varek::String const name( one.name );
         EXPECT_EQ( Type::instance( unsigned{ one.value }, module, type_.index ), value );
         EXPECT_EQ( Type::instance( name, module, type_.index ), value );
         EXPECT_EQ( Type::instance( name.c_str(), module, type_.index ), value );
         EXPECT_EQ( Type::stringValue( value, module, type_.index ), name );
         for ( Varek::String const& other : { name + "_", '_' + name, name.substr( 1 ) } ) {
            EXPECT_THROW( Type::instance( other, module, type_.index ), Varek::TextError );
         }
      }
      for ( std::uint64_t const near : std::set<std::uint64_t>( known ) ) {
         for ( std::uint64_t const value : { near - 1, near + 1, near ^ 0x80, near ^ 0x100 } ) {
            if ( known.contains( value ) || value > 0xFFFFFFFF ) {
               continue;
            }
            auto const number = static_cast<unsigned>( value );
            EXPECT_THROW( Type::instance( number, module, type_.index ), Varek::RangeError );
            if ( value <= std::numeric_limits<Width>::max() ) {
               EXPECT_EQ( Type::stringValue( static_cast<Width>( value ), module, type_.index ),
                          std::to_string( value ) );
            }
         }
      }
   }

   Qel::TypeRecord const& type_ = *GetParam();
};

TEST_P( EveryEnumeration, GoesByNumberAndByNameBothWays ) {
   EXPECT_EQ( type_.enumeratorsByName.size(), type_.enumerators.size() );
   type_.size == 1 ? goesBothWays<unsigned char>() : goesBothWays<unsigned int>();
}

TEST_P( EveryEnumeration, TakesFourOctetsInTheLogWhateverItsWidth ) {
   for ( Varek::EnumeratorData const& one : type_.enumerators ) {
      AnyValue const value( *type_.functions ), read( *type_.functions );
      value.type().decode( one.name, value.data() );
      std::uint8_t bytes[4];
      ASSERT_EQ( type_.valueLog->size( value.data() ), 4U );
      EXPECT_EQ( type_.valueLog->put( bytes, value.data() ), bytes + 4 );
      EXPECT_EQ( bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3],
                 static_cast<int>( one.value ) );
      Qel::NboAttrLog::In in( bytes );
      type_.valueLog->read( in, read.data() );
      EXPECT_EQ( read, value );
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryEnumeration,
                          testing::ValuesIn( registeredTypes( []( auto& type ) {
                             return !type.enumerators.empty();
                          } ) ),
                          registeredTypeName );

} // namespace
