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

TEST( Enumeration, IsMadeFromANumberOrANameAndSaysWhyNot ) {
   EXPECT_EQ( ModeInstance( 7 ), Mode::faulty );
   EXPECT_EQ( AlarmInstance( Varek::String( "lost" ) ), Alarm::lost );
   std::ostringstream out;
   out << Mode::run << static_cast<Alarm>( 70001 ) << stringValue( Alarm::hot );
   EXPECT_EQ( out.str(), "run70001hot" );
   for ( Varek::String const& name : { Varek::String(), Varek::String( "1" ),
                                       Varek::String( "Idle" ), Varek::String( "idle\0", 5 ) } ) {
      EXPECT_THROW( ModeInstance( name ), Varek::TextError ) << name;
   }
   try {
      ModeInstance( 256 );
      ADD_FAILURE();
   } catch ( Varek::RangeError const& error ) {
      EXPECT_STREQ( error.what(), "256 is no enumerator of TestModule::Mode" );
   }
   // Alone and within a text an unknown name is the same failure.
   Mode mode{};
   Qel::CharRange range( "runs" );
   for ( auto const& read : std::initializer_list<std::function<void()>>{
            [] { ModeInstance( "runs" ); }, [&] { sequenceToValue( range, &mode ); } } ) {
      try {
         read();
         ADD_FAILURE();
      } catch ( Varek::TextError const& error ) {
         EXPECT_STREQ( error.what(),
                       "expected an enumerator of TestModule::Mode but found \"runs\", "
                       "which differs from position 0" );
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

// "run" is an enumerator and the front of another; "runs" is neither.
TEST( Enumeration, IsReadAsTheLongestIdentifier ) {
   for ( auto const& [text, read] : std::initializer_list<std::pair<std::string_view, Mode>>{
            { "run", Mode::run },
            { "running, more", Mode::running },
            { "run-ning", Mode::run } } ) {
      Qel::CharRange range( text );
      Mode value{};
      sequenceToValue( range, &value );
      EXPECT_EQ( value, read ) << text;
      EXPECT_EQ( range.position(), stringValue( read ).size() );
   }
   for ( std::string_view const text : { "runs", "run_", "run1", " run", "7", "" } ) {
      Qel::CharRange range( text );
      Mode value = Mode::faulty;
      EXPECT_THROW( sequenceToValue( range, &value ), Varek::TextError ) << text;
      EXPECT_EQ( value, Mode::faulty );
      EXPECT_EQ( range.position(), 0U );
   }
   Qel::CharRange range( "hot lost" );
   range.advance( 4 );
   Alarm alarm{};
   sequenceToValue( range, &alarm );
   EXPECT_EQ( alarm, Alarm::lost );
   range.advance( 1 ); // beyond the end
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

INSTANTIATE_TEST_SUITE_P( Registered, EveryEnumeration,
                          testing::ValuesIn( registeredTypes( []( auto& type ) {
                             return !type.enumerators.empty();
                          } ) ),
                          registeredTypeName );

} // namespace
