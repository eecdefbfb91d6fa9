// Enumerations by number, by name and in text, of both widths, with gaps.

#include <limits>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "support/AnyValue.h"
#include "support/TestModule.h"

namespace {

using namespace TestModule;

TEST( Enumeration, GoesByNumberAndByNameBothWays ) {
   for ( auto const& [value, name] : { std::pair{ Mode::idle, "idle" },
                                       { Mode::running, "running" },
                                       { Mode::faulty, "faulty" },
                                       { Mode::run, "run" } } ) {
      EXPECT_EQ( ModeInstance( static_cast<unsigned>( value ) ), value );
      EXPECT_EQ( ModeInstance( Varek::String( name ) ), value );
      EXPECT_EQ( stringValue( value ), name );
      std::ostringstream out;
      out << value;
      EXPECT_EQ( out.str(), name );
   }
   EXPECT_EQ( AlarmInstance( 4294967295U ), Alarm::worst );
   EXPECT_EQ( AlarmInstance( Varek::String( "lost" ) ), Alarm::lost );
   EXPECT_EQ( stringValue( Alarm::hot ), "hot" );
}

TEST( Enumeration, WhatIsNoneIsRefusedByNumberAndNameAndPrintsAsItsNumber ) {
   for ( unsigned const number : { 2U, 6U, 8U, 254U, 256U, 263U, 4294967295U } )
      EXPECT_THROW( ModeInstance( number ), Varek::RangeError ) << number;
   for ( unsigned const number : { 1U, 255U, 257U, 69999U, 4294967294U } )
      EXPECT_THROW( AlarmInstance( number ), Varek::RangeError ) << number;
   for ( char const* const name : { "", "Idle", "idle ", "runn", "runningx", "1" } )
      EXPECT_THROW( ModeInstance( Varek::String( name ) ), Varek::RangeError ) << name;
   EXPECT_EQ( stringValue( static_cast<Mode>( 2 ) ), "2" );
   EXPECT_EQ( stringValue( static_cast<Alarm>( 70001 ) ), "70001" );
   try {
      ModeInstance( 256 );
   } catch ( Varek::RangeError const& error ) {
      EXPECT_STREQ( error.what(), "256 is no enumerator of TestModule::Mode" );
   }
}

TEST( Enumeration, ANameWithAnythingAfterItIsAnotherName ) {
   EXPECT_THROW( ModeInstance( Varek::String( "idle\0x", 6 ) ), Varek::RangeError );
   EXPECT_THROW( ModeInstance( Varek::String( "idle\0", 5 ) ), Varek::RangeError );
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

TEST( Enumeration, AFailureSaysWhereInTheWholeText ) {
   Qel::CharRange range( "idle bogus" );
   range.advance( 5 );
   Mode value{};
   try {
      sequenceToValue( range, &value );
      ADD_FAILURE();
   } catch ( Varek::TextError const& error ) {
      EXPECT_EQ( error.position(), 5U );
      EXPECT_NE( error.expected().find( "TestModule::Mode" ), std::string::npos );
   }
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
         for ( Varek::String const& other : { name + "_", '_' + name, name.substr( 1 ) } )
            EXPECT_THROW( Type::instance( other, module, type_.index ), Varek::RangeError );
      }
      for ( std::uint64_t const near : std::set<std::uint64_t>( known ) )
         for ( std::uint64_t const value : { near - 1, near + 1, near ^ 0x80, near ^ 0x100 } ) {
            if ( known.contains( value ) || value > 0xFFFFFFFF )
               continue;
            auto const number = static_cast<unsigned>( value );
            EXPECT_THROW( Type::instance( number, module, type_.index ), Varek::RangeError );
            if ( value <= std::numeric_limits<Width>::max() ) {
               EXPECT_EQ( Type::stringValue( static_cast<Width>( value ), module, type_.index ),
                          std::to_string( value ) );
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
      value.type().inspectDecodeFromString( one.name, value.data() );
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
