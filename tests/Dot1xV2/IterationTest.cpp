// The generic iteration of what an answer of the AAA server holds, whatever becomes of it
// meanwhile.

#include <set>

#include <gtest/gtest.h>

#include "Dot1xV2/AaaHelperLedraTypes.h"

namespace {

using Dot1xV2::AaaAttribute;
using Dot1xV2::AaaResponse;
using Dot1xV2::AaaResponseType;
using RadiusPktParserBase::Attribute;
using RadiusPktParserBase::AttrValue;
using Varek::Inspect::IterFnTable;

class Walk {
public:
   template<class Owner>
   Walk( Owner const& owner, Varek::FieldId id, void const* startKey = nullptr )
      : at( Owner::genericIfIterator( owner, startKey, { id }, functions ) ) {}
   Walk( Walk const& ) = delete;
   Walk& operator=( Walk const& ) = delete;
   ~Walk() { functions->iterDel( at ); }
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
      for ( Walk walk( *response, 260, &order[from] ); walk.nonnull(); walk.next() ) {
         rest.push_back( walk.key<Attribute>() );
      }
      EXPECT_TRUE( std::equal( rest.begin(), rest.end(), order.begin() + static_cast<int>( from ),
                               order.end() ) );
   }
   Attribute const absent( 1, 1 );
   EXPECT_FALSE( Walk( *response, 260, &absent ).nonnull() );
   EXPECT_FALSE( Walk( *responseWith( 0 ), 260 ).nonnull() );
}

TEST( GenericIteration, GoesOverASequenceByIndex ) {
   AaaAttribute value( Attribute( 0, 25 ) );
   for ( std::uint32_t i = 0; i < 4; ++i ) {
      value.attrValuePush( AttrValue( i * 10 ) );
   }
   for ( std::uint32_t const start : { 0U, 2U, 3U, 4U, 0xFFFFFFFFU } ) {
      std::uint32_t next = start;
      for ( Walk walk( value, 3, &start ); walk.nonnull(); walk.next(), ++next ) {
         EXPECT_EQ( walk.key<std::uint32_t>(), next );
         EXPECT_EQ( walk.object<AttrValue>(), AttrValue( next * 10 ) );
      }
      EXPECT_EQ( next, std::max( start, 4U ) );
   }
   std::uint32_t const last = 0xFFFFFFFF;
   Walk far( value, 3, &last );
   far.next();
   EXPECT_FALSE( far.nonnull() ) << "on the first element again";
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
   for ( auto const id :
         std::initializer_list<Varek::FieldId>{ 0, 3, 257, 258, 259, 261, 65535 } ) {
      IterFnTable const* functions = nullptr;
      EXPECT_EQ( AaaResponse::genericIfIterator( *response, nullptr, { id }, functions ), nullptr );
      EXPECT_EQ( functions, nullptr ) << "touched for " << id.value();
   }
}

TEST( GenericIteration, GivesNothingOfAnElementThatWentAndGoesOn ) {
   enum Event { nothing, erased, replaced, grown, erasedAndGrown, cleared, clearedAndFilled };
   for ( Event const event :
         { nothing, erased, replaced, grown, erasedAndGrown, cleared, clearedAndFilled } ) {
      SCOPED_TRACE( event );
      auto const response = responseWith( 15 ); // all slots of a group
      Walk walk( *response, 260 );
      walk.next();
      ASSERT_TRUE( walk.nonnull() );
      auto const here = walk.key<Attribute>();
      if ( event == erased || event == replaced || event == erasedAndGrown ) {
         response->aaaAttributeDel( here );
      }
      if ( event == cleared || event == clearedAndFilled ) {
         response->aaaAttributeDelAll();
      }
      // One takes the slot that is free, and many make the collection grow.
      std::uint16_t const others[] = { 0, 0, 1, 200, 200, 0, 15 };
      for ( std::uint16_t n = 0; n < others[event]; ++n ) {
         response->aaaAttributeIs( AaaAttribute( Attribute( 1, n ) ) );
      }
      bool const stays = event == nothing || event == grown;
      Attribute const other( 9, 9 );
      walk.expect( stays, stays ? here : other,
                   stays ? *response->aaaAttribute( here ) : AaaAttribute( other ) );
      EXPECT_EQ( walk.nonnull(), stays );
      // It goes on from its element, wherever that is now; without it, where nothing has moved.
      std::set<Attribute> met{ here };
      for ( walk.next(); walk.nonnull(); walk.next() ) {
         EXPECT_TRUE( met.insert( walk.key<Attribute>() ).second );
      }
      if ( event <= replaced ) {
         EXPECT_GE( met.size(), 14U );
      } else if ( event >= erasedAndGrown ) {
         EXPECT_EQ( met.size(), 1U );
      }
   }
}

} // namespace
