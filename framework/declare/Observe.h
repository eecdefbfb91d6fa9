#pragma once

#include <cstdint>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Qel/Entity.h"
#include "framework/declare/Attributes.h"

/// Observing one attribute, by its name and with its types: NAMEObserve and NAMEForEach of a
/// declared type. Guarantees and cost are those of Varek::Publisher::subscribe, plus a comparison
/// of the field id for each change of another attribute of the entity.
///
///     auto const watching = supplicant->identityObserve(
///        []( AuthNSupplicantStatus& supplicant, Varek::String const& old ) { ... } );
namespace Qel {

namespace Internal {

/// Calls \p f as observeAttribute says.
template<class Self, class D, class F>
void tellTyped( Self& self, Varek::Change const& change, F& f ) {
   using Field = typename D::Field;
   if constexpr ( D::kind == AttributeKind::plain ) {
      f( self, *change.old<Field>() );
   } else if constexpr ( D::kind == AttributeKind::array ) {
      f( self, *change.key<std::uint32_t>(), *change.old<typename Field::value_type>() );
   } else if constexpr ( D::kind == AttributeKind::child ) {
      using Child = Varek::Ptr<typename Field::Child>;
      auto const* const old = change.old<Child>();
      f( self, old ? *old : Child() );
   } else if constexpr ( D::kind == AttributeKind::children ) {
      using Child = Varek::Ptr<typename Field::value_type::Child>;
      auto const* const old = change.old<Child>();
      f( self, *change.key<typename Field::Key>(), old ? *old : Child() );
   } else if constexpr ( D::kind == AttributeKind::map ) {
      using Value = decltype( Field::value_type::value );
      f( self, *change.key<typename Field::Key>(), change.old<Value>() );
   } else if constexpr ( D::kind == AttributeKind::ordered ) {
      using Value = typename std::remove_cvref_t<
         decltype( *std::declval<Field const&>().begin()->second )>::Value;
      f( self, *change.key<typename Field::Key>(), change.old<Value>() );
   } else {
      f( self, *change.key<typename Field::Key>(), change.old<typename Field::value_type>() );
   }
}

} // namespace Internal

/// Calls \p f with each change of attribute \p number of \p entity, until the result is destroyed:
///
/// | attribute | f is called with the entity, and |
/// | plain | the old value |
/// | fixed array | index (std::uint32_t), old value |
/// | collection, map, set, ordered | key, pointer to the old value; null for an insertion |
/// | children | key, counted pointer to the child that was removed; null for an insertion |
/// | single child | counted pointer to the child that was there; null if there was none |
template<std::uint16_t number, class Self, class F>
[[nodiscard]] Varek::Subscription observeAttribute( Self& entity, F&& f ) {
   using D = decltype( Self::attribute( Id<number>{} ) );
   return entity.subscribe( [f = std::forward<F>( f )]( Varek::Change const& change ) mutable {
      if ( change.id() == D::id ) {
         Internal::tellTyped<Self, D>( static_cast<Self&>( change.source() ), change, f );
      }
   } );
}

/// Calls \p f( child ) once for each member of the collection of children with id \p number: for
/// those that are there now, and then for each that comes, until the result is destroyed. \p f may
/// change what it likes; a child that goes before its turn is left out.
template<std::uint16_t number, class Self, class F>
[[nodiscard]] Varek::Subscription forEachChildNowAndLater( Self& owner, F f ) {
   using D = decltype( Self::attribute( Id<number>{} ) );
   using Map = typename D::Field;
   using Child = typename Map::value_type::Child;
   std::vector<Varek::Ptr<Child>> now;
   for ( auto const& node : D::get( owner ) ) {
      now.push_back( node.child );
   }
   // An earlier observer may replace a child that has just come: then the second child's change is
   // delivered first, and the first child's change finds the second child in place.
   std::unordered_set<Child const*> told;
   for ( auto const& child : now ) {
      told.insert( child.get() );
   }
   Varek::Subscription watching = observeAttribute<number>(
      owner, [f, told = std::move( told )]( Self& self, typename Map::Key const& key,
                                            Varek::Ptr<Child> const& removed ) mutable {
         if ( removed ) {
            told.erase( removed.get() );
            return;
         }
         auto const* const node = D::get( self ).lookupNodeG( key );
         if ( !node || !told.insert( node->child.get() ).second ) {
            return;
         }
         Varek::Ptr<Child> const child = node->child;
         f( *child );
      } );
   Varek::Ptr<Entity> const keepAlive( &owner );
   for ( auto const& child : now ) {
      if ( child->parent() == &owner ) {
         f( *child );
      }
   }
   return watching;
}

} // namespace Qel
