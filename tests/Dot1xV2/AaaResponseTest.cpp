// An answer of the AAA server: its place in the module, its defaults, how it is made, and the
// generic iteration of what it holds.

#include <set>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "support/ChangeRecorder.h"

namespace {

using Dot1xV2::AaaAttribute;
using Dot1xV2::AaaResponse;
using Dot1xV2::AaaResponseType;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using Varek::Inspect::InspectAtomicFnTable;
using Varek::Inspect::IterFnTable;

template<class T>
Qel::ConstructorArgument argument( T const& value ) {
   return { &InspectAtomicFnTable<T>::table, &value };
}

TEST( AaaModule, HasItsTypesInTheirSlots ) {
   using Varek::TypeKind;
   struct Slot {
      std::string_view name;
      TypeKind kind;
      bool hashable;
   };
   Slot const slots[] = { { "Dot1xV2::AaaAttribute", TypeKind::value, false },
                          { "Dot1xV2::AaaRequestType", TypeKind::enum8, true },
                          { "Dot1xV2::AaaResponseType", TypeKind::enum8, true },
                          { "Dot1xV2::AaaResponse", TypeKind::entity, false } };
   auto const& module = *Varek::ModuleInspectData::find( "AaaHelperLedraTypes" );
   ASSERT_EQ( module.types.size(), std::size( slots ) );
   for ( std::uint32_t i = 0; i < std::size( slots ); ++i ) {
      EXPECT_EQ( module.types[i]->name, slots[i].name );
      EXPECT_EQ( module.types[i]->kind, slots[i].kind ) << slots[i].name;
      EXPECT_EQ( module.types[i]->hashable, slots[i].hashable ) << slots[i].name;
      EXPECT_EQ( module.types[i]->index, i );
   }
   std::string_view const requests[] = { "accessRequest", "acctStart", "acctStop", "acctInterim" };
   std::string_view const responses[] = { "rejected", "accepted", "challenge", "timeout",
                                          "acctResponse" };
   auto const expectNames = [&]( std::uint32_t index, auto const& names ) {
      ASSERT_EQ( module.types[index]->enumerators.size(), std::size( names ) );
      for ( std::uint32_t i = 0; i < std::size( names ); ++i ) {
         EXPECT_EQ( module.types[index]->enumerators[i].name, names[i] );
         EXPECT_EQ( module.types[index]->enumerators[i].value, i );
      }
   };
   expectNames( 1, requests );
   expectNames( 2, responses );
}

TEST( AaaModule, HasItsAttributes ) {
   struct Line {
      std::uint16_t id;
      std::string_view name, type, kind;
      bool onWire;
   };
   auto const expect = []( std::string_view type, std::initializer_list<Line> lines ) {
      auto const& record = Qel::typeRecord( *Varek::ModuleInspectData::findType( type ) );
      EXPECT_EQ( record.attributes.size(), lines.size() );
      for ( Line const& line : lines ) {
         auto const* const one = record.attribute( Varek::FieldId( line.id ) );
         ASSERT_NE( one, nullptr ) << line.id;
         EXPECT_EQ( one->name, line.name );
         EXPECT_EQ( one->typeName(), line.type );
         EXPECT_EQ( stringValue( one->kind ), line.kind );
         EXPECT_EQ( one->onWire, line.onWire ) << line.name;
      }
   };
   expect( "Dot1xV2::AaaResponse",
           { { 258, "type", "Dot1xV2::AaaResponseType", "parameter", false },
             { 259, "callingStationId", "Lumo::EthAddr", "plain", true },
             { 260, "aaaAttribute", "Dot1xV2::AaaAttribute", "collection", true } } );
   expect( "Dot1xV2::AaaAttribute",
           { { 2, "attribute", "RadiusPktParserBase::Attribute", "parameter", true },
             { 3, "attrValue", "RadiusPktParserBase::AttrValue", "sequence", true } } );
   auto const& record = Qel::typeRecord( AaaResponse::qelBinding() );
   EXPECT_EQ( record.attribute( "aaaAttribute" )->salt, 0xE0935DCAU );
   EXPECT_EQ( record.attribute( "aaaAttribute" )->key->typeName, "RadiusPktParserBase::Attribute" );
   EXPECT_EQ( record.attribute( "callingStationId" )->defaultText(), "00:00:00:00:00:00" );
}

TEST( AaaResponse, IsTheSameHoweverItIsMade ) {
   auto const live = AaaResponse::allocations().liveObjects();
   {
      AaaResponseType const type = AaaResponseType::challenge;
      Qel::ConstructorArgument const given[] = { argument( type ) };
      Qel::Ptr<AaaResponse> const all[] = { Dot1xV2::aaaResponseFactory( type ),
                                            AaaResponse::AaaResponseIs( type ),
                                            AaaResponse::genericIfConstructFromCtorArgs( given ) };
      for ( auto const& made : all ) {
         EXPECT_EQ( made->references(), 1U );
         EXPECT_EQ( made->type(), type );
         EXPECT_EQ( made->callingStationId(), Lumo::EthAddr() );
         EXPECT_TRUE( made->aaaAttribute().empty() );
         EXPECT_EQ( made->parent(), nullptr );
         EXPECT_TRUE( made->initial() );
         EXPECT_EQ( made->typeData(), ( Varek::TypeData{ &Dot1xV2::aaaHelperLedraTypes, 3 } ) );
      }
      EXPECT_EQ( AaaResponse::allocations().liveObjects(), live + 3 );
   }
   EXPECT_EQ( AaaResponse::allocations().liveObjects(), live );
}

TEST( AaaResponse, IsNotMadeFromWrongArguments ) {
   auto const type = AaaResponseType::accepted;
   auto const request = Dot1xV2::AaaRequestType::acctStop;
   std::uint8_t const number = 1;
   using Arguments = std::vector<Qel::ConstructorArgument>;
   for ( auto const& [given, fact] : { std::pair{ Arguments{}, "0" },
                                       { Arguments{ argument( type ), argument( type ) }, "2" },
                                       { Arguments{ argument( request ) }, "AaaRequestType" },
                                       { Arguments{ argument( number ) }, "U8" } } ) {
      try {
         AaaResponse::genericIfConstructFromCtorArgs( given );
         ADD_FAILURE() << fact;
      } catch ( Varek::NewEntityArguments const& error ) {
         std::string const text = error.what();
         EXPECT_NE( text.find( fact ), std::string::npos ) << text;
         EXPECT_NE( text.find( "AaaResponse" ), std::string::npos ) << text;
      }
   }
}

TEST( AaaResponse, PublishesUnderItsIds ) {
   auto const response = AaaResponse::AaaResponseIs( AaaResponseType::accepted );
   Lumo::EthAddr const first( "00:1c:73:00:00:01" );
   response->callingStationIdIs( first );
   ChangeRecorder<Attribute, Lumo::EthAddr> addresses( *response );
   response->callingStationIdIs( first );
   response->callingStationIdIs( Lumo::EthAddr() );
   ASSERT_EQ( addresses.told.size(), 1U );
   EXPECT_EQ( addresses.told[0].id, 259 );
   EXPECT_EQ( addresses.told[0].old, first );
   addresses.subscription.reset();
   ChangeRecorder<Attribute, AaaAttribute> attributes( *response );
   response->aaaAttributeIs( AaaAttribute( Attribute( 0, 1 ) ) );
   ASSERT_EQ( attributes.told.size(), 1U );
   EXPECT_EQ( attributes.told[0].id, 260 );
   EXPECT_EQ( attributes.told[0].key, Attribute( 0, 1 ) );
}

// Generic iteration

class Walk {
public:
   template<class Owner>
   Walk( Owner const& owner, Varek::FieldId id, void const* startKey = nullptr )
      : at( Owner::genericIfIterator( owner, startKey, { id }, functions ) ) {}
   Walk( Walk const& ) = delete;
   Walk& operator=( Walk const& ) = delete;
   ~Walk() {
      if ( at )
         functions->iterDel( at );
   }
   bool nonnull() const { return functions->iterNonnull( at ); }
   void next() { functions->iterInc( at ); }
   template<class Key>
   Key key() const {
      Key made{};
      functions->iterKey( at, &made );
      return made;
   }
   /// Asked for at once, as by one who saw that there is an element: \p key and \p object are what
   /// it has become, or untouched if it is gone.
   template<class Key, class Object>
   void expect( bool stays, Key const& key, Object const& object ) const {
      auto keyGiven = stays ? Key{} : key;
      auto objectGiven = stays ? Object{} : object;
      functions->iterKey( at, &keyGiven );
      functions->iterObj( at, &objectGiven );
      EXPECT_EQ( keyGiven, key );
      EXPECT_EQ( objectGiven, object );
      EXPECT_EQ( functions->iterPeek( at ) != nullptr, stays );
   }
   template<class Object>
   Object object() const {
      Object made;
      functions->iterObj( at, &made );
      EXPECT_EQ( made, *static_cast<Object const*>( functions->iterPeek( at ) ) );
      return made;
   }

   IterFnTable const* functions = nullptr;
   void* at;
};

Qel::Ptr<AaaResponse> responseWith( std::uint16_t count ) {
   auto made = AaaResponse::AaaResponseIs( AaaResponseType::accepted );
   for ( std::uint16_t type = 1; type <= count; ++type ) {
      AaaAttribute one( Attribute( 0, type ) );
      one.attrValuePush( AttrValue( std::uint32_t{ type } ) );
      made->aaaAttributeIs( one );
   }
   return made;
}

TEST( GenericIteration, MeetsEveryElementOnceFromAnyStart ) {
   auto const response = responseWith( 60 );
   std::vector<Attribute> order;
   for ( Walk walk( *response, 260 ); walk.nonnull(); walk.next() ) {
      order.push_back( walk.key<Attribute>() );
      EXPECT_EQ( walk.object<AaaAttribute>(), *response->aaaAttribute( order.back() ) );
   }
   EXPECT_EQ( std::set<Attribute>( order.begin(), order.end() ).size(), 60U );
   ASSERT_EQ( order.size(), 60U );
   for ( std::size_t from = 0; from < order.size(); ++from ) {
      std::vector<Attribute> rest;
      for ( Walk walk( *response, 260, &order[from] ); walk.nonnull(); walk.next() )
         rest.push_back( walk.key<Attribute>() );
      EXPECT_TRUE( std::equal( rest.begin(), rest.end(), order.begin() + static_cast<int>( from ),
                               order.end() ) );
   }
   Attribute const absent( 1, 1 );
   EXPECT_FALSE( Walk( *response, 260, &absent ).nonnull() );
   EXPECT_FALSE( Walk( *responseWith( 0 ), 260 ).nonnull() );
}

TEST( GenericIteration, GoesOverASequenceByIndex ) {
   AaaAttribute value( Attribute( 0, 25 ) );
   for ( std::uint32_t i = 0; i < 4; ++i )
      value.attrValuePush( AttrValue( i * 10 ) );
   for ( std::uint32_t const start : { 0U, 2U, 3U, 4U, 0xFFFFFFFFU } ) {
      std::uint32_t next = start;
      for ( Walk walk( value, 3, &start ); walk.nonnull(); walk.next(), ++next ) {
         EXPECT_EQ( walk.key<std::uint32_t>(), next );
         EXPECT_EQ( walk.object<AttrValue>(), AttrValue( next * 10 ) );
      }
      EXPECT_EQ( next, std::max( start, 4U ) );
   }
   Walk walk( value, 3 );
   walk.next();
   walk.next();
   value.attrValuePop();
   walk.expect( true, 2U, AttrValue( 20U ) );
   value.attrValuePop();
   walk.expect( false, 77U, AttrValue( 77U ) );
   EXPECT_FALSE( walk.nonnull() );
}

TEST( GenericIteration, KnowsNoOtherIds ) {
   auto const response = responseWith( 1 );
   AaaAttribute const value;
   for ( auto const id :
         std::initializer_list<Varek::FieldId>{ 0, 2, 3, 257, 258, 259, 261, 65535 } )
      EXPECT_EQ( Walk( *response, id ).at, nullptr ) << id.value();
   for ( auto const id : std::initializer_list<Varek::FieldId>{ 0, 1, 2, 4, 260 } ) {
      IterFnTable const* functions = nullptr;
      EXPECT_EQ( AaaAttribute::genericIfIterator( value, nullptr, { id }, functions ), nullptr );
      EXPECT_EQ( functions, nullptr ) << "touched for " << id.value();
   }
}

TEST( GenericIteration, SurvivesErasureOfAnyElement ) {
   auto const response = responseWith( 60 );
   std::set<Attribute> met, erased;
   for ( Walk walk( *response, 260 ); walk.nonnull(); walk.next() ) {
      Attribute const here = walk.key<Attribute>();
      EXPECT_TRUE( met.insert( here ).second );
      EXPECT_FALSE( erased.contains( here ) );
      // The one it stands on, and another that may be before or after.
      for ( Attribute const gone :
            { here, Attribute( 0, static_cast<std::uint16_t>( here.type() % 7 * 8 ) ) } )
         if ( here.type() % 3 == 0 ) {
            response->aaaAttributeDel( gone );
            erased.insert( gone );
            EXPECT_EQ( walk.nonnull(), response->aaaAttribute( here ) != nullptr );
         }
   }
   for ( std::uint16_t type = 1; type <= 60; ++type )
      EXPECT_TRUE( met.contains( Attribute( 0, type ) ) || erased.contains( Attribute( 0, type ) ) )
         << type;
}

TEST( GenericIteration, GivesNothingOfAnElementThatWentAfterItWasSeen ) {
   enum Event { nothing, erased, replaced, grown, erasedAndGrown, cleared, clearedAndFilled };
   for ( Event const event :
         { nothing, erased, replaced, grown, erasedAndGrown, cleared, clearedAndFilled } ) {
      SCOPED_TRACE( event );
      auto const response = responseWith( 15 ); // all slots of a group
      Walk walk( *response, 260 );
      walk.next();
      ASSERT_TRUE( walk.nonnull() );
      auto const here = walk.key<Attribute>();
      if ( event == erased || event == replaced || event == erasedAndGrown )
         response->aaaAttributeDel( here );
      if ( event == cleared || event == clearedAndFilled )
         response->aaaAttributeDelAll();
      // One takes the slot that is free, and many make the collection grow.
      std::uint16_t const others[] = { 0, 0, 1, 200, 200, 0, 15 };
      for ( std::uint16_t n = 0; n < others[event]; ++n )
         response->aaaAttributeIs( AaaAttribute( Attribute( 1, n ) ) );
      bool const stays = event == nothing || event == grown;
      Attribute const other( 9, 9 );
      walk.expect( stays, stays ? here : other,
                   stays ? *response->aaaAttribute( here ) : AaaAttribute( other ) );
      EXPECT_EQ( walk.nonnull(), stays );
   }
}

TEST( GenericIteration, GoesOnFromItsElementWhenTheCollectionGrows ) {
   auto const response = responseWith( 10 );
   Walk walk( *response, 260 );
   walk.next();
   auto const here = walk.key<Attribute>();
   for ( std::uint16_t type = 100; type < 300; ++type )
      response->aaaAttributeIs( AaaAttribute( Attribute( 0, type ) ) );
   ASSERT_TRUE( walk.nonnull() );
   EXPECT_EQ( walk.key<Attribute>(), here );
   std::set<Attribute> rest;
   for ( walk.next(); walk.nonnull(); walk.next() )
      EXPECT_TRUE( rest.insert( walk.key<Attribute>() ).second );
   EXPECT_FALSE( rest.contains( here ) );
   Walk lost( *response, 260 );
   response->aaaAttributeDel( lost.key<Attribute>() );
   for ( std::uint16_t type = 300; type < 900; ++type )
      response->aaaAttributeIs( AaaAttribute( Attribute( 0, type ) ) );
   lost.next();
   EXPECT_FALSE( lost.nonnull() );
   Walk emptied( *response, 260 );
   response->aaaAttributeDelAll();
   EXPECT_FALSE( emptied.nonnull() );
   emptied.next();
   response->aaaAttributeIs( AaaAttribute( Attribute( 0, 1 ) ) );
   EXPECT_FALSE( emptied.nonnull() );
}

} // namespace
