#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/FieldId.h"
#include "Varek/ModuleInspectData.h"
#include "Varek/String.h"

/// Handling values and collections without knowing their types: tables of functions over untyped
/// memory. Every value, key or element that an attribute can hold has an AtomicFnTable; every
/// collection or sequence serves iteration through an iterator's table.
namespace Varek::Inspect {

/// Flags of the string form.
namespace StrepFlag {

/// The form inside of another value, in which text is in quotes.
inline constexpr std::uint32_t nested = 1;

} // namespace StrepFlag

/// The operations on values of a type. \p p points to a live value of that type.
struct AtomicFnTable {
   std::string_view typeName; ///< "Lumo::EthAddr", "U32", "Varek::String".
   std::size_t size;
   std::size_t alignment;
   /// Constructs a value at \p destination: a copy of \p source, or the default value if that is
   /// null.
   void ( *inspectConstruct )( void* destination, void const* source );
   void ( *inspectDestroy )( void* p );
   void ( *assign )( void* p, void const* source );
   bool ( *equal )( void const* a, void const* b );
   /// Whether \p a comes before \p b; null for a type without an order.
   bool ( *less )( void const* a, void const* b );
   /// The string form; null for a type that has none. A descriptor names the attribute that holds
   /// the value, if any; the forms of all attributes of a type are alike. \p flags are of
   /// StrepFlag.
   String ( *inspectEncodeToString )( void const* p, FieldDescriptor, std::uint32_t flags );
   /// Assigns what \p text, the whole of it, says; null for a type that cannot be read. Throws
   /// TextError, or the RangeError of the type, with the value as it was. There are types of which
   /// some text ends the process: see Qel::isSafelyReadable.
   void ( *inspectDecodeFromString )( void* p, std::string_view text, FieldDescriptor,
                                      std::uint32_t flags );
   /// Appends the form that the value has inside of another value, in which text is in quotes.
   void ( *print )( String& to, void const* p );
   /// Reads that form from \p position of \p text on; the position behind it. Null where
   /// inspectDecodeFromString is. Throws likewise, but then the value may be in part changed.
   std::size_t ( *parse )( std::string_view text, std::size_t position, void* p );
   /// The hash with seed 0; throws NonHashableType for a type that has none.
   std::uint32_t ( *inspectGetHash )( void const* p, FieldDescriptor );
   bool hashable;
   /// The registered type, null for the types of the platform.
   TypeInspectData const* ( *registered )();
   /// For an optional: the table of the type that it may hold; null for other types.
   AtomicFnTable const* optionalOf;

   // The same for a value by itself, which no attribute holds.
   String encode( void const* p ) const { return inspectEncodeToString( p, {}, 0 ); }
   void decode( std::string_view text, void* p ) const {
      inspectDecodeFromString( p, text, {}, 0 );
   }
   std::uint32_t hash( void const* p ) const { return inspectGetHash( p, {} ); }
};

/// Iterates one collection or sequence; obtained from genericIfIterator together with the iterator.
/// An iterator stays safe to use whatever happens to the collection meanwhile, but is released
/// before the object that holds the collection.
struct IterFnTable {
   AtomicFnTable const* key; ///< The index, a U32, for a sequence.
   AtomicFnTable const* object;
   /// Copies the current key into \p key, a live value of its type, which stays as it is if the
   /// element has gone meanwhile.
   void ( *iterKey )( void const* iterator, void* key );
   /// Copies the current element into \p object, likewise.
   void ( *iterObj )( void const* iterator, void* object );
   /// The address of the current element, to read it without a copy; null if it has gone.
   void const* ( *iterPeek )( void const* iterator );
   void ( *iterInc )( void* iterator );
   bool ( *iterNonnull )( void const* iterator );
   /// Destroys the iterator and releases its storage.
   void ( *iterDel )( void* iterator );
};

/// Raises NonHashableType for the type at \p index of \p module.
[[noreturn]] VAREK_EXPORT void throwNonHashableType( ModuleInspectData const* module,
                                                     std::uint32_t index, std::string_view type );

} // namespace Varek::Inspect
