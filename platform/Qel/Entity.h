#pragma once

#include "Varek/Export.h"
#include "Varek/ModuleInspectData.h"
#include "Varek/Ptr.h"
#include "Varek/Publisher.h"

namespace Qel {

template<class T>
using Ptr = Varek::Ptr<T>;

/// Base of all entities: reference-counted objects with attributes, which publish their changes and
/// know the entity that owns them. Made by their factories or by their owner's mutators only; never
/// copied. A tree of entities is used from one thread at a time.
class VAREK_EXPORT Entity : public Varek::Publisher {
public:
   Varek::Publisher& publisher() { return *this; }
   Varek::Publisher const& publisher() const { return *this; }

   /// The type: the record of its module and the index in it.
   virtual Varek::TypeData typeData() const = 0;

   /// The entity that owns this one; null for a root and for what was removed from its owner.
   Entity* parent() const { return static_cast<Entity*>( parentPublisher() ); }
   /// For the mutators of owners alone.
   void qelParentIs( Entity* parent ) { parentPublisherIs( parent ); }

   /// Makes this and all that it owns a read-only proxy: from then on a mutator that would change
   /// it raises Varek::WriteFromReadOnlyProxy, with nothing changed, and only messages of the
   /// attribute log change it. What is made in it is a proxy as well, what is taken out is none any
   /// more. For whoever keeps a mirror.
   void qelReadOnlyProxyIs( bool proxy ) { readOnlyProxyIs( proxy ); }

   /// For whoever keeps records about entities: where that of this one is. 0 when it is free for
   /// use. A note, not a promise: what is found there is to be compared.
   std::uint32_t qelPlace() const { return place_; }
   void qelPlaceIs( std::uint32_t place ) { place_ = place; }

protected:
   Entity() = default;
   ~Entity() override = default;

private:
   std::uint32_t place_ = 0;
};

[[noreturn]] VAREK_EXPORT void throwWriteFromReadOnlyProxy( Entity const& );

/// The entity that has changed.
inline Entity& entityOf( Varek::Change const& change ) {
   return static_cast<Entity&>( change.source() );
}

} // namespace Qel
