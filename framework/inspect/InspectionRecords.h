#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

#include "framework/declare/Arrays.h"
#include "framework/declare/Maps.h"
#include "framework/declare/Mutators.h"
#include "framework/declare/Ordered.h"
#include "framework/declare/Sets.h"
#include "framework/declare/SingleChild.h"
#include "framework/inspect/Inspection.h"
#include "framework/records/ValueOf.h"

/// Fills the part of the records that serves inspection: a handful of functions for each attribute,
/// which know the types. Inspection.cpp uses them. Reading needs few of them, since AttributeRecord
/// has most already.
namespace Qel {

/// The operations of inspection on an attribute. Objects, keys and values are as in
/// InspectArguments; an operation that the attribute does not allow is null.
struct AttributeInspection {
   /// For elements by key or index: the address of the element, or null.
   void const* ( *find )( void const* object, void const* key ) = nullptr;
   /// For children by key: the child, or null.
   Entity* ( *child )( void const* object, void const* key ) = nullptr;
   void ( *write )( void* object, void const* key, void const* value ) = nullptr;
   bool writeTakesKey = false;
   bool writeTakesValue = false;
   /// In place of write, for children.
   Ptr<Entity> ( *make )( void* object, void const* key ) = nullptr;
   /// \p removed is null if the caller does not want the removed value.
   void ( *remove )( void* object, void const* key, void* removed ) = nullptr;
   /// Removes all at once, without a word. Null for what is told element by element, always.
   void ( *clear )( void* object ) = nullptr;
   void ( *append )( void* object, void const* value ) = nullptr;
   void ( *removeLast )( void* object, void* removed ) = nullptr;
};

namespace Internal {

template<class Owner>
Owner& ownerAt( void* object ) {
   return const_cast<Owner&>( Qel::ownerAt<Owner>( static_cast<void const*>( object ) ) );
}
template<class T>
T const& valueAt( void const* p ) {
   return *static_cast<T const*>( p );
}
template<class T, class Removed>
void give( void* to, Removed&& removed ) {
   if ( to ) {
      *static_cast<T*>( to ) = std::forward<Removed>( removed );
   }
}

/// Types that are as they were when assigning to them fails.
template<class T>
inline constexpr bool assignsWhole = std::is_trivially_copyable_v<T>;
template<>
inline constexpr bool assignsWhole<Varek::String> = true;
template<>
inline constexpr bool assignsWhole<std::optional<Varek::String>> = true;

/// What plainIs does, for a field of any of these types; \p owner is null for those of values.
VAREK_EXPORT void plainWrite( Entity* owner, Varek::FieldId id,
                              Varek::Inspect::AtomicFnTable const& table, void* stored,
                              void const* value );

template<class Owner, class D>
constexpr void inspectPlain( AttributeInspection& made ) {
   using Field = typename D::Field;
   made.writeTakesValue = true;
   made.write = []( void* object, void const*, void const* value ) {
      Owner& owner = ownerAt<Owner>( object );
      // What it holds may be given again, in range or not.
      if constexpr ( Ranged<Owner, D> ) {
         auto const& given = valueAt<Field>( value );
         if ( !same( D::get( owner ), given ) ) {
            Owner::qelRangeCheck( Id<D::id.value()>{}, given );
         }
      }
      if constexpr ( assignsWhole<Field> ) {
         Entity* entity = nullptr;
         if constexpr ( std::is_base_of_v<Entity, Owner> ) {
            entity = &owner;
         }
         plainWrite( entity, D::id, *valueTable<Field>, &D::get( owner ), value );
      } else {
         plainIs( owner, D::id, D::get( owner ), valueAt<Field>( value ) );
      }
   };
}

/// Sequences and arrays.
template<class Owner, class D>
constexpr void inspectIndexed( AttributeInspection& made ) {
   using Element = typename D::Field::value_type;
   made.find = []( void const* object, void const* key ) -> void const* {
      auto const& all = D::get( Qel::ownerAt<Owner>( object ) );
      auto const index = valueAt<std::uint32_t>( key );
      return index < all.size() ? &all[index] : nullptr;
   };
   made.writeTakesKey = made.writeTakesValue = true;
   made.write = []( void* object, void const* key, void const* value ) {
      Owner& owner = ownerAt<Owner>( object );
      auto const index = valueAt<std::uint32_t>( key );
      if constexpr ( D::kind == AttributeKind::array ) {
         arrayIs( owner, D::id, D::get( owner ), index, valueAt<Element>( value ) );
      } else {
         sequenceIs( D::get( owner ), index, valueAt<Element>( value ) );
      }
   };
   if constexpr ( D::kind == AttributeKind::array ) {
      made.remove = []( void* object, void const* key, void* removed ) {
         Owner& owner = ownerAt<Owner>( object );
         give<Element>( removed,
                        arrayDel( owner, D::id, D::get( owner ), valueAt<std::uint32_t>( key ) ) );
      };
   } else {
      made.clear = []( void* object ) { D::get( ownerAt<Owner>( object ) ).clear(); };
      made.append = []( void* object, void const* value ) {
         D::get( ownerAt<Owner>( object ) ).push_back( valueAt<Element>( value ) );
      };
      made.removeLast = []( void* object, void* removed ) {
         give<Element>( removed, sequencePop( D::get( ownerAt<Owner>( object ) ) ) );
      };
   }
}

/// Collections of values with the key inside, and sets.
template<class Owner, class D>
constexpr void inspectMembers( AttributeInspection& made ) {
   using Key = typename D::Field::Key;
   using Element = typename D::Field::value_type;
   constexpr bool isSet = D::kind == AttributeKind::set;
   made.find = []( void const* object, void const* key ) -> void const* {
      return D::get( Qel::ownerAt<Owner>( object ) ).lookupNodeG( valueAt<Key>( key ) );
   };
   made.writeTakesKey = isSet;
   made.writeTakesValue = !isSet;
   made.write = []( void* object, [[maybe_unused]] void const* key,
                    [[maybe_unused]] void const* value ) {
      Owner& owner = ownerAt<Owner>( object );
      if constexpr ( isSet ) {
         setIs( owner, D::id, D::get( owner ), valueAt<Key>( key ) );
      } else {
         collectionIs( owner, D::id, D::get( owner ), valueAt<Element>( value ) );
      }
   };
   made.remove = []( void* object, void const* key, void* removed ) {
      Owner& owner = ownerAt<Owner>( object );
      give<Element>( removed, collectionDel( owner, D::id, D::get( owner ), valueAt<Key>( key ) ) );
   };
   made.clear = []( void* object ) { D::get( ownerAt<Owner>( object ) ).memberDelAll(); };
}

template<class Owner, class D>
constexpr void inspectMap( AttributeInspection& made ) {
   using Map = typename D::Field;
   using Key = typename Map::Key;
   using Value = MappedType<Map>;
   made.find = []( void const* object, void const* key ) -> void const* {
      return mapGet( D::get( Qel::ownerAt<Owner>( object ) ), valueAt<Key>( key ) );
   };
   made.writeTakesKey = made.writeTakesValue = true;
   made.write = []( void* object, void const* key, void const* value ) {
      Owner& owner = ownerAt<Owner>( object );
      mapIs( owner, D::id, D::get( owner ), valueAt<Key>( key ), valueAt<Value>( value ) );
   };
   made.remove = []( void* object, void const* key, void* removed ) {
      Owner& owner = ownerAt<Owner>( object );
      give<Value>( removed, mapDel( owner, D::id, D::get( owner ), valueAt<Key>( key ) ) );
   };
   made.clear = []( void* object ) { D::get( ownerAt<Owner>( object ) ).memberDelAll(); };
}

template<class Owner, class D, class Node, class KeyFunktor>
constexpr void inspectOrdered( AttributeInspection& made, RbTreeMap<Node, KeyFunktor> const* ) {
   using Key = typename Node::Key;
   using Value = typename Node::Value;
   made.find = []( void const* object, void const* key ) -> void const* {
      return OrderedMutators::get<Node>( D::get( Qel::ownerAt<Owner>( object ) ),
                                         valueAt<Key>( key ) );
   };
   made.writeTakesKey = !Node::keyInside;
   made.writeTakesValue = true;
   made.write = []( void* object, [[maybe_unused]] void const* key, void const* value ) {
      Owner& owner = ownerAt<Owner>( object );
      auto const& given = valueAt<Value>( value );
      if constexpr ( Node::keyInside ) {
         OrderedMutators::is<Node>( owner, D::id, D::get( owner ), Node::keyOf( given ), given );
      } else {
         OrderedMutators::is<Node>( owner, D::id, D::get( owner ), valueAt<Key>( key ), given );
      }
   };
   made.remove = []( void* object, void const* key, void* removed ) {
      Owner& owner = ownerAt<Owner>( object );
      auto& map = D::get( owner );
      give<Value>( removed, OrderedMutators::del<Node>( owner, D::id, map,
                                                        map.find( valueAt<Key>( key ) ) ) );
   };
   made.clear = []( void* object ) { D::get( ownerAt<Owner>( object ) ).memberClearAll(); };
}

template<class Owner, class D>
constexpr void inspectChildren( AttributeInspection& made ) {
   using Key = typename D::Field::Key;
   made.child = []( void const* object, void const* key ) {
      return static_cast<Entity*>(
         childrenGet( D::get( Qel::ownerAt<Owner>( object ) ), valueAt<Key>( key ) ).get() );
   };
   made.writeTakesKey = true;
   made.make = []( void* object, void const* key ) -> Ptr<Entity> {
      Owner& owner = ownerAt<Owner>( object );
      return childrenIs( owner, D::id, D::get( owner ), valueAt<Key>( key ) );
   };
   made.remove = []( void* object, void const* key, void* removed ) {
      Owner& owner = ownerAt<Owner>( object );
      give<Ptr<Entity>>( removed,
                         childrenDel( owner, D::id, D::get( owner ), valueAt<Key>( key ) ) );
   };
}

template<class Owner, class D>
constexpr void inspectChild( AttributeInspection& made ) {
   using Child = typename D::Field::Child;
   made.writeTakesKey = !MadeFromNothing<Child>;
   made.make = []( void* object, [[maybe_unused]] void const* key ) -> Ptr<Entity> {
      Owner& owner = ownerAt<Owner>( object );
      if constexpr ( MadeFromNothing<Child> ) {
         return childIs( owner, D::id, D::get( owner ) );
      } else {
         return childIs( owner, D::id, D::get( owner ), valueAt<ParameterType<Child>>( key ) );
      }
   };
   made.remove = []( void* object, void const*, void* removed ) {
      Owner& owner = ownerAt<Owner>( object );
      give<Ptr<Entity>>( removed, childDel( owner, D::id, D::get( owner ) ) );
   };
}

template<class Owner, class D>
constexpr AttributeInspection makeAttributeInspection() {
   AttributeInspection made;
   if constexpr ( D::kind == AttributeKind::plain ) {
      inspectPlain<Owner, D>( made );
   } else if constexpr ( D::kind == AttributeKind::sequence || D::kind == AttributeKind::array ) {
      inspectIndexed<Owner, D>( made );
   } else if constexpr ( D::kind == AttributeKind::collection || D::kind == AttributeKind::set ) {
      inspectMembers<Owner, D>( made );
   } else if constexpr ( D::kind == AttributeKind::map ) {
      inspectMap<Owner, D>( made );
   } else if constexpr ( D::kind == AttributeKind::ordered ) {
      inspectOrdered<Owner, D>( made, static_cast<typename D::Field const*>( nullptr ) );
   } else if constexpr ( D::kind == AttributeKind::children ) {
      inspectChildren<Owner, D>( made );
   } else if constexpr ( D::kind == AttributeKind::child ) {
      inspectChild<Owner, D>( made );
   }
   return made;
}

/// Of the attributes of \p T, in id order.
template<class T>
inline constexpr auto attributeInspections = [] {
   std::array<AttributeInspection, attributeCount<T>()> all{};
   std::size_t i = 0;
   forEachAttribute<T>( [&]<class D>( D ) { all[i++] = makeAttributeInspection<T, D>(); } );
   return all;
}();

} // namespace Internal

} // namespace Qel
