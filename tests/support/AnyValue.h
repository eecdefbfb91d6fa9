#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "Dot1xV2/AuthNZLedraTypes.h"
#include "Qel/NboAttrLog.h"
#include "Varek/Inspect.h"
#include "framework/records/Records.h"
#include "framework/wire/AttrLogRecords.h"
#include "support/Tracked.h"

/// A value of a type that only its table knows, in memory that was not clean; nothing is to be
/// written beyond its size.
class AnyValue {
public:
   using Table = Varek::Inspect::AtomicFnTable;

   explicit AnyValue( Table const& type, void const* source = nullptr )
      : type_( &type ), memory_( type.size / sizeof( std::max_align_t ) + 1 ) {
      std::memset( data(), 0xA5, room() );
      type.inspectConstruct( data(), source );
   }
   AnyValue( AnyValue const& other ) : AnyValue( *other.type_, other.data() ) {}
   AnyValue& operator=( AnyValue const& ) = delete;
   ~AnyValue() {
      type_->inspectDestroy( data() );
      auto const* const begin = static_cast<unsigned char const*>( data() );
      EXPECT_EQ( std::count( begin + type_->size, begin + room(), 0xA5 ),
                 static_cast<std::ptrdiff_t>( room() - type_->size ) )
         << "written beyond the end of " << type_->typeName;
   }

   Table const& type() const { return *type_; }
   void* data() const { return memory_.data(); }
   std::string text() const { return type_->encode( data() ); }
   std::string form() const {
      std::string to;
      type_->print( to, data() );
      return to;
   }
   friend bool operator==( AnyValue const& a, AnyValue const& b ) {
      return a.type_->equal( a.data(), b.data() );
   }

private:
   std::size_t room() const { return memory_.size() * sizeof( std::max_align_t ); }

   Table const* type_;
   std::vector<std::max_align_t> mutable memory_;
};

/// All types of all modules for which \p wanted holds.
template<class Wanted>
std::vector<Qel::TypeRecord const*> registeredTypes( Wanted wanted ) {
   std::vector<Qel::TypeRecord const*> all;
   for ( Varek::ModuleInspectData const* const module : Varek::ModuleInspectData::all() ) {
      for ( Varek::TypeInspectData const* const type : module->types ) {
         if ( Qel::TypeRecord const& record = Qel::typeRecord( *type ); wanted( record ) ) {
            all.push_back( &record );
         }
      }
   }
   return all;
}

/// For tests that are run for each registered type, for those of entities, and for those of values
/// and enumerations.
inline auto everyType() {
   return testing::ValuesIn( registeredTypes( []( auto& ) { return true; } ) );
}
inline auto everyEntityType() {
   return testing::ValuesIn(
      registeredTypes( []( auto& one ) { return one.kind == Varek::TypeKind::entity; } ) );
}
inline auto everyValueType() {
   return testing::ValuesIn(
      registeredTypes( []( auto& one ) { return one.functions != nullptr; } ) );
}

/// What entities of a type are made from.
using Parameters = std::vector<AnyValue>;
inline Parameters defaultParameters( Qel::TypeRecord const& type ) {
   Parameters all;
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      if ( one.kind == Qel::AttributeKind::parameter ) {
         all.emplace_back( *one.value );
      }
   }
   return all;
}
inline Varek::Ptr<Qel::Entity> newEntity( Qel::TypeRecord const& type,
                                          Parameters const& parameters ) {
   std::vector<Qel::ConstructorArgument> given;
   for ( AnyValue const& one : parameters ) {
      given.push_back( { &one.type(), one.data() } );
   }
   return Qel::genericIfConstructFromCtorArgs( type, given );
}
inline Varek::Ptr<Qel::Entity> freshEntity( Qel::TypeRecord const& type ) {
   return newEntity( type, defaultParameters( type ) );
}

/// The name of a test that is run for one type.
inline std::string
registeredTypeName( testing::TestParamInfo<Qel::TypeRecord const*> const& info ) {
   return std::string( info.param->module->name ) + "_" +
          std::string( info.param->unqualifiedName() );
}

/// Makes \p value a random one: of a registered type what its reader accepts of random bytes, of
/// others what one of a few texts says.
class RandomValues {
public:
   explicit RandomValues( unsigned seed ) : engine_( seed ) {}

   unsigned below( std::size_t end ) {
      return static_cast<unsigned>( engine_() % static_cast<unsigned>( end ) );
   }
   void fill( AnyValue const& value ) {
      if ( &value.type() == &Varek::Inspect::InspectAtomicFnTable<Tracked>::table ) {
         *static_cast<Tracked*>( value.data() ) = Tracked( below( 1000 ) );
      } else if ( value.type().typeName == Qel::typeName<OptionalVlans> ) {
         fillOptional<Dot1xV2::EgressVlanAttributes>( value );
      } else if ( auto const* const type = value.type().registered() ) {
         fillByBytes( Qel::typeRecord( *type ), value );
      } else {
         fillByText( value );
      }
   }
   /// Until it is another one.
   void change( AnyValue const& value ) {
      AnyValue const before( value );
      for ( int i = 0; i < 10000; ++i ) {
         fill( value );
         if ( !( value == before ) ) {
            return;
         }
      }
      ADD_FAILURE() << "no other value of " << value.type().typeName;
   }

private:
   using OptionalVlans = std::optional<Dot1xV2::EgressVlanAttributes>;

   template<class T>
   void fillOptional( AnyValue const& value ) {
      AnyValue const any( Varek::Inspect::InspectAtomicFnTable<T>::table );
      fill( any );
      auto& target = *static_cast<std::optional<T>*>( value.data() );
      if ( below( 3 ) == 0 ) {
         target.reset();
      } else {
         target = *static_cast<T const*>( any.data() );
      }
   }
   void fillByBytes( Qel::TypeRecord const& type, AnyValue const& value ) {
      for ( ;; ) {
         // Mostly small numbers, since a count of random bytes would nearly always be too great.
         std::uint8_t bytes[160];
         for ( std::uint8_t& one : bytes ) {
            unsigned const choice = below( 10 );
            one = static_cast<std::uint8_t>( choice < 6 ? 0 : below( choice < 9 ? 4 : 256 ) );
         }
         Qel::NboAttrLog::In in( bytes );
         AnyValue const read( value.type() );
         try {
            type.valueLog->read( in, read.data() );
            value.type().assign( value.data(), read.data() );
            return;
         } catch ( std::exception const& ) {
         }
      }
   }
   void fillByText( AnyValue const& value ) {
      ASSERT_NE( value.type().inspectDecodeFromString, nullptr ) << value.type().typeName;
      constexpr std::string_view texts[] = { "true",
                                             "false",
                                             "1",
                                             "##",
                                             "###",
                                             "inf",
                                             "0x##ff",
                                             "192.0.2.##",
                                             "User-Name",
                                             "Filter-Id",
                                             "Attribute-2##",
                                             "absent",
                                             "\"x #\"",
                                             "Vlan##",
                                             "Ethernet3/##",
                                             "00:00:5e:00:53:##",
                                             "00:00:5e:00:53:0#@Ethernet3/#",
                                             "Brevia-Acl-Name",
                                             "Brevia-Attribute-1##",
                                             "none",
                                             "36##u64",
                                             "#.5",
                                             "nan",
                                             "TestModule::Limits( )" };
      for ( ;; ) {
         std::string text( texts[below( std::size( texts ) )] );
         for ( char& one : text ) { // a digit in each place that is left for one
            one = one == '#' ? static_cast<char>( '0' + below( 10 ) ) : one;
         }
         try {
            value.type().decode( text, value.data() );
            return;
         } catch ( Varek::Failure const& ) {
         }
      }
   }

   std::minstd_rand engine_;
};
