// What holds for every type of every module, through the records alone.

#include <algorithm>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Dot1xV2/AuthNZPhase.h"
#include "Qel/HashHelper.h"
#include "framework/records/Untyped.h"
#include "support/AnyValue.h"
#include "support/Contains.h"
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
   try {
      EXPECT_EQ( type.hash( first.data() ), type.hash( other.data() ) );
      EXPECT_TRUE( type.hashable );
   } catch ( Varek::NonHashableType const& error ) {
      EXPECT_FALSE( type.hashable );
      if ( auto const* const known = type.registered() ) {
         EXPECT_TRUE( contains( error.what(), known->name ) );
         EXPECT_EQ( error.module(), Qel::typeRecord( *known ).module->name );
         EXPECT_EQ( error.index(), known->index );
      }
   }
}

/// An object that is new, as the records tell it: defaults, children, and elements of arrays alone.
void expectFresh( Qel::TypeRecord const& type, void const* object ) {
   for ( Qel::AttributeRecord const& one : type.attributes ) {
      SCOPED_TRACE( one.name );
      if ( one.child ) {
         if ( Qel::Entity const* const child = one.child( object ) ) {
            EXPECT_EQ( child->typeData(), one.childType() );
            EXPECT_EQ( child->parent(), static_cast<Qel::Entity const*>( object ) );
         }
      } else if ( one.read && one.defaultText ) {
         EXPECT_EQ( one.value->encode( one.read( object ) ), one.defaultText() );
      } else if ( one.compute ) {
         AnyValue const first( *one.value ), again( *one.value ),
            key( one.key ? *one.key : *one.value );
         for ( AnyValue const* const value : { &first, &again, &again } ) { // nothing is added
            EXPECT_TRUE( one.compute( object, key.data(), value->data() ) );
         }
         EXPECT_EQ( first, again );
      } else if ( one.iterate ) {
         std::uint32_t count = 0;
         AnyValue const blank( *one.iterator->object );
         for ( Qel::UntypedElements at( one, object ); at; at.next(), ++count ) {
            EXPECT_TRUE( at.objectTable().equal( at.object(), blank.data() ) );
         }
         EXPECT_EQ( one.size( object ), count );
         EXPECT_EQ( count != 0, one.kind == Qel::AttributeKind::array );
      }
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

TEST_P( EveryType, IsFoundByItsNameAndItsAttributesByIdAndName ) {
   EXPECT_EQ( ModuleInspectData::find( type_.module->name ), type_.module );
   EXPECT_EQ( ModuleInspectData::findType( type_.name ), &type_ );
   EXPECT_EQ( type_.module->types[type_.index], &type_ );
   EXPECT_TRUE( type_.name.ends_with( "::" + std::string( type_.unqualifiedName() ) ) );
   std::uint16_t next = type_.kind == Varek::TypeKind::entity ? 258 : 2;
   for ( Qel::AttributeRecord const& one : type_.attributes ) {
      SCOPED_TRACE( one.name );
      bool const isName = &one == &type_.attributes.front() && one.name == "nameString";
      EXPECT_EQ( one.id, isName ? Varek::nameStringId : Varek::FieldId( next ) );
      EXPECT_EQ( type_.attribute( one.id ), &one );
      EXPECT_EQ( type_.attribute( one.name ), &one );
      EXPECT_NE( one.value != nullptr, one.childType != nullptr );
      EXPECT_EQ( one.onWire, !one.compute && ( one.kind != Qel::AttributeKind::parameter ||
                                               type_.kind != Varek::TypeKind::entity ) );
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
      expectFresh( type_, made.get() );
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
      expectFresh( type_, AnyValue( *type_.functions ).data() );
      EXPECT_THROW( Qel::genericIfConstructFromCtorArgs( type_, {} ), Varek::NewEntityArguments );
   }
}

INSTANTIATE_TEST_SUITE_P( Registered, EveryType, everyType(), registeredTypeName );

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
