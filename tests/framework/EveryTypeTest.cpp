// What holds for every type of every module, through the records alone.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <set>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AuthNZPhase.h"
#include "Qel/HashHelper.h"
#include "support/AnyValue.h"
#include "support/TestModule.h"

namespace {

using Varek::ModuleInspectData;
using Varek::Inspect::AtomicFnTable;

void expectRegular( AtomicFnTable const& type ) {
   SCOPED_TRACE( type.typeName );
   EXPECT_LE( type.alignment, alignof( std::max_align_t ) );
   AnyValue first( type ), copy( type, first.data() ), other( type );
   EXPECT_TRUE( type.equal( first.data(), copy.data() ) );
   EXPECT_TRUE( type.equal( first.data(), other.data() ) ) << "not every default is the same";
   type.assign( other.data(), copy.data() );
   type.assign( other.data(), other.data() );
   EXPECT_TRUE( type.equal( other.data(), first.data() ) );
   if ( type.hashable ) {
      EXPECT_EQ( type.hash( first.data() ), type.hash( other.data() ) );
   } else {
      EXPECT_THROW( type.hash( first.data() ), Varek::NonHashableType );
   }
   if ( type.inspectEncodeToString ) {
      EXPECT_EQ( type.encode( first.data() ), type.encode( copy.data() ) );
   }
}

/// All that the records can read of an object that is new.
void expectReadable( Qel::TypeRecord const& type, void const* object ) {
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      SCOPED_TRACE( one.name );
      if ( one.read && !one.child ) {
         AnyValue const copy( *one.value, one.read( object ) );
         EXPECT_TRUE( one.value->equal( one.read( object ), copy.data() ) );
         if ( one.defaultText ) {
            EXPECT_EQ( one.value->encode( one.read( object ) ), one.defaultText() );
         }
      } else if ( one.child ) {
         if ( Qel::Entity const* const child = one.child( object ) ) {
            EXPECT_EQ( child->typeData(), one.childType() );
            EXPECT_EQ( child->parent(), static_cast<Qel::Entity const*>( object ) );
         }
      } else if ( one.compute ) {
         AnyValue const first( *one.value ), again( *one.value );
         auto const key = one.key ? std::make_unique<AnyValue>( *one.key ) : nullptr;
         for ( AnyValue const* const value : { &first, &again, &again } ) { // nothing is added
            EXPECT_TRUE( one.compute( object, key ? key->data() : nullptr, value->data() ) );
         }
         EXPECT_TRUE( one.value->equal( first.data(), again.data() ) );
      } else {
         // Elements that are there without having been made are those of an array.
         std::uint32_t count = 0;
         AnyValue const blank( *one.iterator->object ), element( *one.iterator->object );
         void* const at = one.iterate( object, nullptr );
         for ( ; one.iterator->iterNonnull( at ); one.iterator->iterInc( at ), ++count ) {
            one.iterator->iterObj( at, element.data() );
            EXPECT_TRUE( one.iterator->object->equal( element.data(), blank.data() ) );
         }
         one.iterator->iterDel( at );
         EXPECT_EQ( one.size( object ), count );
         EXPECT_EQ( count != 0, one.kind == Qel::AttributeKind::array );
      }
   }
}

void expectHashOrItsRefusal( Qel::TypeRecord const& type ) {
   AnyValue const value( *type.functions );
   try {
      type.functions->hash( value.data() );
      EXPECT_TRUE( type.hashable );
   } catch ( Varek::NonHashableType const& error ) {
      EXPECT_FALSE( type.hashable );
      EXPECT_NE( std::string_view( error.what() ).find( type.name ), std::string::npos );
      EXPECT_EQ( error.module(), type.module->name );
      EXPECT_EQ( error.index(), type.index );
   }
}

class EveryType : public testing::TestWithParam<Qel::TypeRecord const*> {
protected:
   void expectNotMadeFrom( Parameters const& wrong, std::string_view fact ) {
      try {
         newEntity( type_, wrong );
         ADD_FAILURE() << fact;
      } catch ( Varek::NewEntityArguments const& error ) {
         std::string_view const text = error.what();
         EXPECT_NE( text.find( fact ), std::string::npos ) << text;
         EXPECT_NE( text.find( type_.name ), std::string::npos ) << text;
      }
   }

   Qel::TypeRecord const& type_ = *GetParam();
};

TEST_P( EveryType, IsFoundByItsNames ) {
   EXPECT_EQ( ModuleInspectData::find( type_.module->name ), type_.module );
   EXPECT_EQ( ModuleInspectData::findType( type_.name ), &type_ );
   EXPECT_EQ( type_.module->types[type_.index], &type_ );
   EXPECT_FALSE( type_.unqualifiedName().empty() );
   EXPECT_EQ( type_.unqualifiedName().find( ':' ), std::string::npos );
   EXPECT_LT( type_.unqualifiedName().size(), type_.name.size() );
}

TEST_P( EveryType, HasDenseAttributesThatAreFoundByIdAndName ) {
   std::uint16_t next = type_.kind == Varek::TypeKind::entity ? 258 : 2;
   std::set<std::string_view> names;
   for ( Qel::AttributeRecord const& one : type_.attributes ) {
      SCOPED_TRACE( one.name );
      bool const isName = &one == &type_.attributes.front() && one.name == "nameString";
      EXPECT_EQ( one.id, isName ? Varek::nameStringId : Varek::FieldId( next ) );
      EXPECT_EQ( type_.attribute( one.id ), &one );
      EXPECT_EQ( type_.attribute( one.name ), &one );
      EXPECT_FALSE( one.name.empty() );
      EXPECT_TRUE( names.insert( one.name ).second );
      EXPECT_FALSE( one.typeName().empty() );
      EXPECT_NE( one.value != nullptr, one.childType != nullptr );
      EXPECT_EQ( one.iterate != nullptr, one.size != nullptr );
      EXPECT_EQ( one.iterate != nullptr, one.iterator != nullptr );
      EXPECT_EQ( ( one.iterate != nullptr ) + ( one.read != nullptr ) + ( one.compute != nullptr ),
                 1 );
      EXPECT_EQ( one.child != nullptr, one.kind == Qel::AttributeKind::child );
      EXPECT_EQ( one.onWire, !one.compute && ( one.kind != Qel::AttributeKind::parameter ||
                                               type_.kind != Varek::TypeKind::entity ) );
      EXPECT_FALSE( one.computedEntity && !one.compute );
      if ( one.compute && one.key ) {
         EXPECT_NE( one.key->inspectDecodeFromString, nullptr ) << "nobody can type its key";
      }
      EXPECT_FALSE( one.salted && !one.key->hashable );
      EXPECT_NE( stringValue( one.kind ), "unknown" );
      for ( AtomicFnTable const* const part : { one.value, one.key } ) {
         if ( part ) {
            expectRegular( *part );
         }
      }
      next = static_cast<std::uint16_t>( next + !isName );
   }
   EXPECT_EQ( type_.attribute( Varek::FieldId( next ) ), nullptr );
   EXPECT_EQ( type_.attribute( Varek::FieldId( 1 ) ), nullptr );
   EXPECT_EQ( type_.attribute( "noSuchAttribute" ), nullptr );
}

TEST_P( EveryType, IsMadeCopiedComparedAndHashedThroughItsRecord ) {
   if ( type_.kind == Varek::TypeKind::entity ) {
      ASSERT_NE( type_.construct, nullptr );
      Parameters parameters = defaultParameters( type_ );
      EXPECT_EQ( type_.allocations->identity(), type_.name );
      EXPECT_EQ( type_.allocations->alignment(), 8U );
      auto const live = type_.allocations->liveObjects();
      auto const made = newEntity( type_, parameters );
      EXPECT_EQ( &Qel::typeRecord( *made ), &type_ );
      EXPECT_EQ( made->parent(), nullptr );
      EXPECT_EQ( made->references(), 1U );
      EXPECT_TRUE( made->initial() );
      expectReadable( type_, made.get() );
      EXPECT_EQ( type_.allocations->liveObjects(), live + 1 );
      EXPECT_EQ( type_.allocations->liveBytes(), ( live + 1 ) * type_.size );
      AnyValue const other( Varek::Inspect::InspectAtomicFnTable<int>::table );
      if ( !parameters.empty() ) {
         expectNotMadeFrom( {}, "not 0" );
         expectNotMadeFrom( Parameters( parameters.size(), other ),
                            "not a " + std::string( other.type().typeName ) );
      }
      parameters.push_back( other );
      expectNotMadeFrom( parameters, "not " + std::to_string( parameters.size() ) );
      EXPECT_EQ( type_.allocations->liveObjects(), live + 1 );
   } else {
      ASSERT_NE( type_.functions, nullptr );
      EXPECT_EQ( type_.functions->registered(), &type_ );
      EXPECT_EQ( type_.functions->size, type_.size );
      EXPECT_EQ( type_.functions->hashable, type_.hashable );
      expectRegular( *type_.functions );
      expectHashOrItsRefusal( type_ );
      expectReadable( type_, AnyValue( *type_.functions ).data() );
      EXPECT_THROW( Qel::genericIfConstructFromCtorArgs( type_, {} ), Varek::NewEntityArguments );
   }
}

TEST_P( EveryType, HasEnumeratorsInOrderIfItIsAnEnumeration ) {
   bool const isEnum =
      type_.kind == Varek::TypeKind::enum8 || type_.kind == Varek::TypeKind::enum32;
   EXPECT_NE( type_.enumerators.empty(), isEnum );
   for ( std::size_t i = 0; i < type_.enumerators.size(); ++i ) {
      EXPECT_FALSE( type_.enumerators[i].name.empty() );
      if ( i > 0 ) {
         EXPECT_LT( type_.enumerators[i - 1].value, type_.enumerators[i].value );
      }
   }
   if ( isEnum ) {
      EXPECT_EQ( type_.size, type_.kind == Varek::TypeKind::enum8 ? 1U : 4U );
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryType,
                          testing::ValuesIn( registeredTypes( []( auto& ) { return true; } ) ),
                          registeredTypeName );

TEST( Hashing, OfTheValueTypesOnlyAPhaseHasAHashThatOfItsOneOctet ) {
   for ( Qel::TypeRecord const* const type : registeredTypes( []( auto& one ) {
            return one.kind == Varek::TypeKind::value && one.name.starts_with( "Dot1xV2::" );
         } ) ) {
      EXPECT_EQ( type->hashable, type->name == "Dot1xV2::AuthNZPhaseType" ) << type->name;
   }
   Dot1xV2::AuthNZPhaseType const phase( Dot1xV2::AuthNZPhaseEnum::authNZPhase1 );
   EXPECT_EQ( Qel::typeRecord( Dot1xV2::AuthNZPhaseType::qelBinding() ).functions->hash( &phase ),
              Qel::hashSingleAttr( std::uint8_t{ 2 }, 0 ) );
}

TEST( ModuleRegistry, ListsModulesByNameAndKnowsNoOthers ) {
   // In an order that is neither theirs nor its reverse.
   static ModuleInspectData const late[] = { { "M", {} }, { "Z", {} }, { "A", {} } };
   for ( ModuleInspectData const& module : late ) {
      ModuleInspectData::loaded( module );
   }
   auto const all = ModuleInspectData::all();
   EXPECT_EQ( ModuleInspectData::find( "M" ), &late[0] );
   EXPECT_TRUE( std::is_sorted( all.begin(), all.end(),
                                []( auto* a, auto* b ) { return a->name < b->name; } ) );
   EXPECT_EQ( ModuleInspectData::find( "AaaHelperLedraTypes" ), &Dot1xV2::aaaHelperLedraTypes );
   EXPECT_EQ( ModuleInspectData::find( "TestModule" ), &TestModule::testModule );
   for ( auto const name : { "", "AaaHelperLedraType", "TestModule2", "testModule" } ) {
      EXPECT_EQ( ModuleInspectData::find( name ), nullptr ) << name;
   }
   for ( auto const name : { "", "AaaResponse", "Dot1xV2::", "Dot1xV2::AaaResponseTyp" } ) {
      EXPECT_EQ( ModuleInspectData::findType( name ), nullptr ) << name;
   }
   ModuleInspectData::loaded( TestModule::testModule ); // loaded again: still there once
   EXPECT_EQ( ModuleInspectData::all().size(), all.size() );
}

TEST( ModuleRegistryDeathTest, TwoModulesOfOneNameAreABrokenBuild ) {
   static ModuleInspectData const twin{ "TestModule", {} };
   EXPECT_DEATH( ModuleInspectData::loaded( twin ), "moduleIsKnown" );
}

} // namespace
