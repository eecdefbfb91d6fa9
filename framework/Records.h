#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "Qel/Entity.h"
#include "Varek/AllocTrack.h"
#include "Varek/Export.h"
#include "Varek/FieldId.h"
#include "Varek/Inspect.h"
#include "Varek/ModuleInspectData.h"

/// The records that describe every type and attribute: what generic code works from. They are built
/// by the compiler from the declarations, lie in constant memory, and are reached through the
/// module registry (Varek/ModuleInspectData.h).
namespace Qel {

/// The kinds of attribute; each has one declaration form in framework/Declare.h.
enum class AttributeKind : std::uint8_t {
   parameter,  ///< Constructor parameter: given once, never changed.
   plain,      ///< One value.
   sequence,   ///< Values by index, in a value type.
   collection, ///< Values with their key inside, by key.
   children,   ///< Entities that the owner makes, by key.
};

/// "parameter", "plain" and so on.
VAREK_EXPORT std::string_view stringValue( AttributeKind );

/// One attribute. The functions take the address of the object that has it: of the value, or of the
/// Entity part of an entity.
struct AttributeRecord {
   Varek::FieldId id;
   std::string_view name;
   AttributeKind kind = AttributeKind::plain;
   /// Of the value, or of one element; the child entity's own record is reached through childType.
   Varek::Inspect::AtomicFnTable const* value = nullptr;
   Varek::Inspect::AtomicFnTable const* key = nullptr; ///< Null where there are no keys.
   Varek::TypeData ( *childType )() = nullptr;         ///< For kinds whose elements are entities.
   std::uint32_t salt = 0; ///< Of the key hash; of use for hashed kinds only.
   bool salted = false;
   /// Whether it travels; false for an entity's constructor parameter, which has no message.
   bool onWire = false;

   /// Where the value lies, or null for kinds that hold several.
   void const* ( *read )( void const* object ) = nullptr;
   /// How many elements there are, for kinds that hold several.
   std::uint32_t ( *size )( void const* object ) = nullptr;
   /// A new iterator at \p startKey or, if that is null, at the first element; see iterator.
   void* ( *iterate )( void const* object, void const* startKey ) = nullptr;
   Varek::Inspect::IterFnTable const* iterator = nullptr;
   /// The default as text; null where there is none to tell.
   Varek::String ( *defaultText )() = nullptr;

   /// The name of the type of the value or of one element.
   VAREK_EXPORT std::string_view typeName() const;
};

/// One constructor argument for generic construction: a value and how to handle it.
struct ConstructorArgument {
   Varek::Inspect::AtomicFnTable const* type;
   void const* value;
};

/// One type.
struct TypeRecord : Varek::TypeInspectData {
   std::span<AttributeRecord const> attributes; ///< In id order.
   /// For values and enumerations.
   Varek::Inspect::AtomicFnTable const* functions = nullptr;
   /// For entities: their live objects.
   Varek::AllocTrackTypeInfo const* allocations = nullptr;
   /// For entities: makes one, as its factory does.
   Ptr<Entity> ( *construct )( std::span<ConstructorArgument const> ) = nullptr;

   /// The attribute with this id or name; null if there is none.
   VAREK_EXPORT AttributeRecord const* attribute( Varek::FieldId ) const;
   VAREK_EXPORT AttributeRecord const* attribute( std::string_view name ) const;
};

/// Every registered type is described by a TypeRecord.
inline TypeRecord const& typeRecord( Varek::TypeInspectData const& type ) {
   return static_cast<TypeRecord const&>( type );
}
inline TypeRecord const& typeRecord( Varek::TypeData type ) {
   return typeRecord( *type.module->types[type.index] );
}
inline TypeRecord const& typeRecord( Entity const& entity ) {
   return typeRecord( entity.typeData() );
}

/// Generic iteration: a new iterator over the collection or sequence of \p object (of type
/// \p type) that \p field names, standing on the element with \p startKey or, if that is null, on
/// the first; \p functions is then how to use it. Null, with \p functions untouched, for an id that
/// is no collection or sequence of the type, and when there is no memory.
VAREK_EXPORT void* genericIfIterator( TypeRecord const& type, void const* object,
                                      void const* startKey, Varek::FieldDescriptor field,
                                      Varek::Inspect::IterFnTable const*& functions );

/// Generic construction: the entity of type \p type from its constructor parameters, in order.
/// Throws Varek::NewEntityArguments for a wrong number or type of arguments.
VAREK_EXPORT Ptr<Entity> genericIfConstructFromCtorArgs( TypeRecord const& type,
                                                         std::span<ConstructorArgument const> );

} // namespace Qel
