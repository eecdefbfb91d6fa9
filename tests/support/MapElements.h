#pragma once

#include <bit>
#include <cstdint>
#include <string>

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Qel/HashMap2018.h"
#include "support/Tracked.h"

/// Maps of different elements behind a common interface: an element is made from the numbers of its
/// key and of its content, and returns the content.
namespace MapElements {

/// An object behind a counted pointer.
struct Counted final : Varek::Counted {
   inline static int live = 0;
   explicit Counted( std::uint32_t c ) : content( c ) { ++live; }
   ~Counted() override { --live; }
   std::uint32_t content;
};

/// \p Key beside \p Content.
template<class K, class Content>
struct Pair {
   using Key = K;
   Key key;
   Content content;
   Pair( Key const& k, Content c ) : key( k ), content( std::move( c ) ) {}
   /// The same content under another key.
   Pair( Pair const& other, Key const& k ) : key( k ), content( other.content ) {}
};
template<class Element>
struct PairKey {
   using Key = typename Element::Key;
   Key const& operator()( Element const& element ) const { return element.key; }
};

/// A key with only \p values different hashes, which count up in the bits from \p from on.
template<std::uint32_t values, unsigned from>
struct PoorKey {
   std::uint32_t number;
   std::uint32_t hash( std::uint32_t ) const { return std::rotl( number % values, from ); }
   friend auto operator<=>( PoorKey const&, PoorKey const& ) = default;
};

struct PointerNodes {
   using Element = Pair<std::uint32_t, Varek::Ptr<Counted>>;
   using Map = Qel::HashMap2018<Element, PairKey<Element>, 0x5EED0001>;
   static constexpr std::uint32_t keys = 700;
   static std::uint32_t key( std::uint32_t n ) { return n * 0x01000193U; }
   static Element make( std::uint32_t n, std::uint32_t content ) {
      return { key( n ), Varek::Ptr<Counted>::adopt( new Counted( content ) ) };
   }
   static std::uint32_t content( Element const& element ) { return element.content->content; }
   static int live() { return Counted::live; }
};

/// Elements of type \p E that hold their content, under \p count keys.
template<class K, std::uint32_t count>
struct OwnContent {
   using Element = Pair<K, Tracked>;
   using Map = Qel::HashMap2018<Element, PairKey<Element>, 0x5EED0002>;
   static constexpr std::uint32_t keys = count;
   static K key( std::uint32_t n ) {
      if constexpr ( std::same_as<K, std::string> ) {
         return std::string( n % 40, 'k' ) + std::to_string( n );
      } else {
         return K{ n };
      }
   }
   static Element make( std::uint32_t n, std::uint32_t content ) { return { key( n ), content }; }
   static std::uint32_t content( Element const& element ) { return element.content.value(); }
   static int live() { return Tracked::live; }
};
using Strings = OwnContent<std::string, 500>;
using OneHash = OwnContent<PoorKey<1, 0>, 420>;
using FourTags = OwnContent<PoorKey<4, 24>, 420>;
using TwoGroups = OwnContent<PoorKey<2, 0>, 600>;

struct Octets {
   using Element = std::uint8_t;
   using Map = Qel::HSet<std::uint8_t>;
   static constexpr std::uint32_t keys = 256;
   static std::uint8_t key( std::uint32_t n ) { return static_cast<std::uint8_t>( n ); }
   static std::uint8_t make( std::uint32_t n, std::uint32_t ) { return key( n ); }
   static std::uint32_t content( std::uint8_t ) { return 0; }
};

struct AaaAttributes {
   using Element = Dot1xV2::AaaAttribute;
   using Map = Dot1xV2::AaaResponse::QelaaaAttributeMap;
   static constexpr std::uint32_t keys = 300;
   static RadiusPktParserBase::Attribute key( std::uint32_t n ) {
      return { n % 3 * 9, static_cast<std::uint16_t>( n ) };
   }
   static Element make( std::uint32_t n, std::uint32_t content ) {
      Element element( key( n ) );
      element.attrValuePush( content );
      return element;
   }
   static std::uint32_t content( Element const& element ) {
      return std::get<std::uint32_t>( element.attrValue().at( 0 ) );
   }
};

} // namespace MapElements
