#pragma once

#include <cstdint>
#include <utility>

#include "framework/declare/Maps.h"
#include "framework/declare/Ordered.h"
#include "framework/declare/Sets.h"
#include "framework/wire/AttrLog.h"
#include "framework/wire/ValueWire.h"

/// What differs among the kinds of attribute whose elements have keys: how a present element is
/// written and applied, and how an element is removed.
namespace Qel {

/// A member of a map: the key, then the value.
template<class K, class V>
struct Wire<MapMember<K, V>> {
   static constexpr std::size_t least = Wire<K>::least + Wire<V>::least;
   static std::size_t size( MapMember<K, V> const& member ) {
      return Wire<K>::size( member.key ) + Wire<V>::size( member.value );
   }
   static std::uint8_t* put( std::uint8_t* to, MapMember<K, V> const& member ) {
      return Wire<V>::put( Wire<K>::put( to, member.key ), member.value );
   }
   static void read( NboAttrLog::In& in, MapMember<K, V>& member ) {
      Wire<K>::read( in, member.key );
      Wire<V>::read( in, member.value );
   }
   static void form( Varek::String& text ) {
      Wire<K>::form( text );
      formAppend( text, ":" );
      Wire<V>::form( text );
   }
};

namespace Internal {

/// Values with the key inside, members of sets, values with the key beside them: \p before is
/// called with the key when all has been read and nothing is changed yet.
template<class Owner, class D>
struct ElementLog {
   using Map = typename D::Field;
   using Element = typename Map::value_type;
   using Held = Element;
   static constexpr std::size_t least = Wire<Element>::least;
   static std::size_t size( Element const& element ) { return Wire<Element>::size( element ); }
   static std::uint8_t* put( std::uint8_t* to, Element const& element ) {
      return Wire<Element>::put( to, element );
   }
   template<class Before>
   static void apply( Owner& owner, NboAttrLog::In& in, Before before ) {
      auto element = NboAttrLog::valueOf<Element>( in );
      in.expectEnd();
      before( typename Map::KeyOf{}( element ) );
      if constexpr ( D::kind == AttributeKind::set ) {
         setIs<Writer::log>( owner, D::id, D::get( owner ), element );
      } else if constexpr ( D::kind == AttributeKind::map ) {
         mapIs<Writer::log>( owner, D::id, D::get( owner ), element.key, element.value );
      } else {
         collectionIs<Writer::log>( owner, D::id, D::get( owner ), std::move( element ) );
      }
   }
   static void remove( Owner& owner, typename Map::Key const& key ) {
      if constexpr ( D::kind == AttributeKind::map ) {
         mapDel<Writer::log>( owner, D::id, D::get( owner ), key );
      } else {
         collectionDel<Writer::log>( owner, D::id, D::get( owner ), key );
      }
   }
   static void form( Varek::String& text ) { Wire<Element>::form( text ); }
};

template<class Map>
struct NodeOfMap;
template<class Node, class KeyFunktor>
struct NodeOfMap<RbTreeMap<Node, KeyFunktor>> {
   using Type = Node;
};

template<class Owner, class D>
   requires( D::kind == AttributeKind::ordered )
struct ElementLog<Owner, D> {
   using Map = typename D::Field;
   using Node = typename NodeOfMap<Map>::Type;
   using Held = Node;
   using KeyWire = Wire<typename Map::Key>;
   using ValueWire = Wire<typename Node::Value>;
   static constexpr std::size_t least = ValueWire::least; // the key may be inside
   static std::size_t size( Node const& node ) {
      return ( Node::keyInside ? 0 : KeyWire::size( node.key() ) ) +
             ValueWire::size( node.value() );
   }
   static std::uint8_t* put( std::uint8_t* to, Node const& node ) {
      if constexpr ( !Node::keyInside ) {
         to = KeyWire::put( to, node.key() );
      }
      return ValueWire::put( to, node.value() );
   }
   template<class Before>
   static void apply( Owner& owner, NboAttrLog::In& in, Before before ) {
      typename Map::Key key{};
      if constexpr ( !Node::keyInside ) {
         KeyWire::read( in, key );
      }
      auto const value = NboAttrLog::valueOf<typename Node::Value>( in );
      in.expectEnd();
      if constexpr ( Node::keyInside ) {
         key = Node::keyOf( value );
      }
      before( key );
      OrderedMutators::is<Node, Writer::log>( owner, D::id, D::get( owner ), key, value );
   }
   static void remove( Owner& owner, typename Map::Key const& key ) {
      auto& map = D::get( owner );
      OrderedMutators::remove<Node, Writer::log>( owner, D::id, map, map.find( key ) );
   }
   static void form( Varek::String& text ) {
      KeyWire::form( text );
      formAppend( text, "<" );
      ValueWire::form( text );
   }
};

/// Children are announced; they have no form of their own.
template<class Owner, class D>
   requires( D::kind == AttributeKind::children )
struct ElementLog<Owner, D> {
   using Map = typename D::Field;
   using Child = typename Map::value_type::Child;
   static void form( Varek::String& text ) {
      Wire<typename Map::Key>::form( text );
      formAppend( text, ":" );
      formAppend( text, typeName<Child> );
   }
};

} // namespace Internal

} // namespace Qel
