#pragma once

#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <string_view>
#include <type_traits>

#include "Qel/Entity.h"
#include "Varek/Export.h"
#include "Varek/String.h"

/// Entities as wholes, of whatever types: comparing, copying and printing them with everything
/// below them, and getting from an Entity to its type. All of it works from the records; a declared
/// type needs nothing for it.
namespace Qel {

/// Whether two entities are of the same type, were made with the same constructor parameters, and
/// hold the same, down to the last child. The order of elements counts where they have an index;
/// numbers compare as mutators compare them (NaN is the same as NaN). Constants, derived readings,
/// observers and parents have no part in it. Costs a look-up for each element and no memory beyond
/// a key.
///
/// Counted pointers compare as pointers do: a == b asks whether they hold the same object.
VAREK_EXPORT bool operator==( Entity const& a, Entity const& b );

/// A new entity by the factory of the type of \p source, with the contents of \p source and of all
/// below it. It is a root, and writable even where \p source is a read-only proxy; observers stay
/// with \p source, which must not change meanwhile. Throws std::bad_alloc.
VAREK_EXPORT Ptr<Entity> cloneEntity( Entity const& source );

/// The same with its type.
template<std::derived_from<Entity> T>
   requires( !std::same_as<T, Entity> )
[[nodiscard]] Ptr<T> cloneEntity( T const& source ) {
   Ptr<Entity> made = cloneEntity( static_cast<Entity const&>( source ) );
   return Ptr<T>::adopt( static_cast<T*>( made.release() ) );
}

/// The entity with all that is below it on one line, in the manner of the string form of values:
///
///     TestModule::Rack( place: "r", mode: idle, sensor: [ 1: TestModule::Sensor( ... ) ] )
///
/// Elements without an index stand in ascending order of their keys, so that equal entities print
/// the same; a child that is not there prints as absent. For people and logs; it cannot be read
/// back.
VAREK_EXPORT Varek::String entityText( Entity const& );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, Entity const& );

namespace Internal {

[[noreturn]] VAREK_EXPORT void throwOtherType( Varek::TypeData wanted, Entity const* );

} // namespace Internal

/// \p entity as a \p T: null if it is null or of another type.
template<std::derived_from<Entity> T>
T* entityIf( Entity* entity ) {
   return entity && entity->typeData() == T::qelBinding() ? static_cast<T*>( entity ) : nullptr;
}
template<std::derived_from<Entity> T>
Ptr<T> entityIf( Ptr<Entity> const& entity ) {
   return Ptr<T>( entityIf<T>( entity.get() ) );
}

/// The same where the type is known, as of the root that a follower was told to mirror: throws
/// Varek::Failure with the names of both types if \p entity is null or of another type.
template<std::derived_from<Entity> T>
T& entityAs( Entity& entity ) {
   T* const typed = entityIf<T>( &entity );
   if ( !typed ) {
      Internal::throwOtherType( T::qelBinding(), &entity );
   }
   return *typed;
}
template<std::derived_from<Entity> T>
Ptr<T> entityAs( Ptr<Entity> const& entity ) {
   Ptr<T> typed = entityIf<T>( entity );
   if ( !typed ) {
      Internal::throwOtherType( T::qelBinding(), entity.get() );
   }
   return typed;
}

/// The total of the entities of all registered types in this process: the number of live objects,
/// and their size in bytes without the text, elements and tables that they own. Pallo::usage() has
/// the slabs that serve both.
struct TrackedMemory {
   std::size_t liveObjects = 0;
   std::size_t liveBytes = 0;
};
VAREK_EXPORT TrackedMemory trackedMemory();

} // namespace Qel
