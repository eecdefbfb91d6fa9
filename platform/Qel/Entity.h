#pragma once

#include "Varek/Export.h"
#include "Varek/ModuleInspectData.h"
#include "Varek/Ptr.h"
#include "Varek/Publisher.h"

namespace Qel {

template<class T>
using Ptr = Varek::Ptr<T>;

/// Base of all entities: reference-counted objects with attributes, which publish their changes and
/// know the entity that owns them. Only their factories and their owner's mutators make them; they
/// are never copied. A tree of entities is used from one thread at a time.
class VAREK_EXPORT Entity : public Varek::Publisher {
public:
   Varek::Publisher& publisher() { return *this; }
   Varek::Publisher const& publisher() const { return *this; }

   /// The type: the record of its module and the index in it.
   virtual Varek::TypeData typeData() const = 0;

   /// The owner; null for a root and for an entity that was removed from its owner.
   Entity* parent() const { return static_cast<Entity*>( parentPublisher() ); }
   /// For the mutators of owners alone.
   void qelParentIs( Entity* parent ) { parentPublisherIs( parent ); }

   /// Makes this and all that it owns a read-only proxy: from then on a mutator that would change
   /// it raises Varek::WriteFromReadOnlyProxy and changes nothing; only messages of the attribute
   /// log change it. Entities that are made in it become proxies as well, entities that are taken
   /// out cease to be proxies. For code that keeps a mirror.
   void qelReadOnlyProxyIs( bool proxy ) { readOnlyProxyIs( proxy ); }

   /// For code that keeps records about entities: the place of this entity's record; 0 when the
   /// note is free for use. It is a note, not a promise: compare the record that is found there.
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
