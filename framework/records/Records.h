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

/// The records that describe every type and attribute to generic code. The compiler builds them
/// from the declarations; they lie in constant memory and are reached through the module registry
/// (Varek/ModuleInspectData.h).
namespace Qel {

/// The kinds of attribute. framework/declare/Declare.h has the forms that declare them.
enum class AttributeKind : std::uint8_t {
   parameter,  ///< Constructor parameter: given once, never changed.
   plain,      ///< One value.
   sequence,   ///< Values by index, in a value type.
   collection, ///< Values with their key inside, by key.
   children,   ///< Entities that the owner makes, by key.
   set,        ///< Plain values that are their own keys.
   map,        ///< Plain values by a key beside them.
   ordered,    ///< Values or plain values in counted nodes, in ascending order of their keys.
   array,      ///< A fixed number of values by index.
   child,      ///< One entity that the owner makes, or none.
   constant,   ///< A value that is the same for every object of the type and is not stored.
   derived,    ///< Computed when it is read, from a key or without one; not stored.
};

/// "parameter", "plain" and so on.
VAREK_EXPORT std::string_view stringValue( AttributeKind );

/// The record of an attribute. The functions take the address of the object that has the attribute:
/// of the value, or of the Entity part of an entity.
struct AttributeRecord {
   Varek::FieldId id;
   std::string_view name;
   AttributeKind kind = AttributeKind::plain;
   /// Of the value, or of an element; the child entity's own record is reached through childType.
   Varek::Inspect::AtomicFnTable const* value = nullptr;
   /// Of the keys of changes (the index, a U32, for an array); null where there are none.
   Varek::Inspect::AtomicFnTable const* key = nullptr;
   Varek::TypeData ( *childType )() = nullptr; ///< For kinds whose elements are entities.
   std::uint32_t salt = 0;                     ///< Of the key hash; of use for hashed kinds only.
   bool salted = false;
   /// Whether it travels; false for an entity's constructor parameter, which has no message, and
   /// for what is not stored.
   bool onWire = false;

   /// Where the value lies (of a child, the pointer to it); null for kinds that hold several and
   /// for what is not stored.
   void const* ( *read )( void const* object ) = nullptr;
   /// For single children: the child, or null.
   Entity* ( *child )( void const* object ) = nullptr;
   /// For an attribute that is not stored: assigns it to \p result, a live value; \p key is null if
   /// the attribute takes none. False, with nothing done, if the object is in no state that has
   /// this reading.
   bool ( *compute )( void const* object, void const* key, void* result ) = nullptr;
   /// For a computed attribute that is an entity: the entity in \p result, or null.
   Entity* ( *computedEntity )( void const* result ) = nullptr;
   /// How many elements there are, for kinds that hold several.
   std::uint32_t ( *size )( void const* object ) = nullptr;
   /// A new iterator at \p startKey or, if that is null, at the first element; see iterator.
   void* ( *iterate )( void const* object, void const* startKey ) = nullptr;
   Varek::Inspect::IterFnTable const* iterator = nullptr;
   /// The default, or the constant, as text; null where there is none to tell.
   Varek::String ( *defaultText )() = nullptr;

   /// The name of the type of the value or of an element.
   VAREK_EXPORT std::string_view typeName() const;
};

/// One constructor argument for generic construction: a value and how to handle it.
struct ConstructorArgument {
   Varek::Inspect::AtomicFnTable const* type;
   void const* value;
};

struct AttributeInspection;
struct AttributeLog;
struct ConstructorLog;
struct ValueLog;
struct ValuesLog;

/// The attribute log's part of an attribute; the functions are in framework/wire/AttrLogRecords.h.
struct AttributeWire {
   /// Appends a text that differs where the bytes mean something else; null for what never travels.
   void ( *form )( Varek::String& text ) = nullptr;
   /// Null unless it travels in messages of its own.
   AttributeLog const* log = nullptr;
};

/// The record of a type.
struct TypeRecord : Varek::TypeInspectData {
   std::span<AttributeRecord const> attributes; ///< In id order.
   /// For values and enumerations.
   Varek::Inspect::AtomicFnTable const* functions = nullptr;
   /// For entities: their live objects.
   Varek::AllocTrackTypeInfo const* allocations = nullptr;
   /// For entities: makes an entity, as its factory does.
   Ptr<Entity> ( *construct )( std::span<ConstructorArgument const> ) = nullptr;

   /// For values and entities: one for each of attributes, in the same order.
   AttributeWire const* wire = nullptr;
   /// For values and entities: one for each of attributes; see framework/inspect/InspectionRecords.h.
   AttributeInspection const* inspection = nullptr;
   /// For values with an attribute that is to lie in a range: throws Varek::RangeError if it does
   /// not.
   void ( *rangesCheck )( void const* value ) = nullptr;
   /// For entities.
   ConstructorLog const* constructorLog = nullptr;
   /// For entities.
   ValuesLog const* valuesLog = nullptr;
   /// For entities: the attributes that are collections or children, as bits by position.
   std::uint64_t holders = 0;
   /// For entities: the attributes, as bits by position, that have a part of what they hold elsewhere
   /// in memory.
   std::uint64_t elsewhere = 0;
   /// For values and enumerations.
   ValueLog const* valueLog = nullptr;

   /// The attribute with this id or name; null if there is none.
   AttributeRecord const* attribute( Varek::FieldId wanted ) const {
      // All but a name are dense up to the last.
      std::size_t const count = attributes.size();
      if ( count == 0 ) {
         return nullptr;
      }
      std::size_t const guess = wanted.value() + ( count - 1 ) - attributes.back().id.value();
      if ( guess < count && attributes[guess].id == wanted ) [[likely]] {
         return &attributes[guess];
      }
      return attributes.front().id == wanted ? &attributes.front() : nullptr;
   }
   VAREK_EXPORT AttributeRecord const* attribute( std::string_view name ) const;
   /// The first constructor parameter, under which an owner holds a child; null if there is none.
   VAREK_EXPORT AttributeRecord const* parameter() const;
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

/// Throws Varek::NewEntityArguments unless \p given are the constructor parameters of \p type, in
/// order.
VAREK_EXPORT void constructorArgumentsCheck( TypeRecord const& type,
                                             std::span<ConstructorArgument const> given );

/// Generic construction: the entity of type \p type from its constructor parameters, in order.
/// Throws Varek::NewEntityArguments for a wrong number or type of arguments.
VAREK_EXPORT Ptr<Entity> genericIfConstructFromCtorArgs( TypeRecord const& type,
                                                         std::span<ConstructorArgument const> );

/// The entity of type \p type with the name \p name. Throws Varek::NewEntityArguments for a type
/// whose entities have no name, and for any \p further arguments: such an entity takes its name
/// alone.
VAREK_EXPORT Ptr<Entity> newEntityInDirectory( TypeRecord const& type, Varek::String const& name,
                                               std::span<ConstructorArgument const> further );

} // namespace Qel
