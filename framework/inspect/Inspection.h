#pragma once

#include <cstdint>

#include "Varek/Export.h"
#include "Varek/FieldId.h"
#include "Varek/Inspect.h"
#include "framework/records/Records.h"

/// Reading and changing any object, entity or value, by the numbers of its attributes, for tools
/// that know a type only by its record. Every change goes through the attribute's own mutator, so
/// observers are told as usual, and nothing is possible that the type's own header does not allow.
namespace Qel {

/// What can be done with an attribute. Each operation says which of InspectArguments it takes and
/// gives. An operation that the attribute does not allow, or that lacks an argument, is refused.
namespace InspectOperation {

/// Stores the attribute, or its element with the key, into value, and says in found whether there
/// is an element (a null entity is none). Derived readings need their key, if they take one. A
/// reading may make a demand on the entity, which its declaration states; while the demand is not
/// met, the result is noReading.
inline constexpr std::uint32_t read = 0;
/// Gives the attribute, or its element with the key, the value; makes the element if it is not
/// there. Of a collection whose elements have their key inside, the value is all; of a set the key;
/// of children, and of a single child whose type has a constructor parameter, the key is that
/// parameter, and value, if it is given, becomes the child. Throws what the mutator throws, such
/// as Varek::RangeError for an index beyond an array.
inline constexpr std::uint32_t write = 1;
/// Removes the element with the key, or the single child; sets the element of an array to its first
/// value. Says in found whether there was an element, and stores it into value if that is given.
inline constexpr std::uint32_t remove = 2;
/// Iterates, from the key on if it is given: iterator and functions are as genericIfIterator gives
/// them. The iterator, null for want of memory, is the caller's.
inline constexpr std::uint32_t iterate = 3;
/// Counts the elements, into size.
inline constexpr std::uint32_t size = 4;
/// Removes all elements.
inline constexpr std::uint32_t removeAll = 5;
/// Adds the value at the end of a sequence.
inline constexpr std::uint32_t append = 6;
/// Removes the last element of a sequence. Throws Varek::VectorEmptyBack if there is none.
inline constexpr std::uint32_t removeLast = 7;
/// Whether objects of the type can be inspected: they can. Has no field (id 0), as the next.
inline constexpr std::uint32_t isInspectable = 11;
/// Whether an object can be written as a whole: no, only its attributes can.
inline constexpr std::uint32_t isWritableAsWhole = 12;

} // namespace InspectOperation

/// The result of an operation.
namespace InspectResult {

inline constexpr std::uint32_t done = 0;
inline constexpr std::uint32_t notAllowed = 1;
inline constexpr std::uint32_t noSuchField = 2;
/// The object is in no state that has this derived reading.
inline constexpr std::uint32_t noReading = 3;

} // namespace InspectResult

/// Arguments and results of an operation; members that it does not use stay as they are.
struct InspectArguments {
   /// A live value of the type of the attribute or element, AttributeRecord::value; of an attribute
   /// that holds child entities a Varek::Ptr<Qel::Entity>.
   void* value = nullptr;
   /// A live value of the type AttributeRecord::key; the index, a std::uint32_t, of sequences.
   void const* key = nullptr;

   bool found = false;
   std::uint32_t size = 0;
   void* iterator = nullptr;
   Varek::Inspect::IterFnTable const* functions = nullptr;
};

/// Does \p operation with attribute \p field of \p object: a value, or the Entity part of an entity
/// that the caller holds, of type \p type. An id that the type does not have is told before
/// anything else.
VAREK_EXPORT std::uint32_t inspectOperation( TypeRecord const& type, void* object,
                                             std::uint32_t operation, Varek::FieldDescriptor field,
                                             InspectArguments& arguments );

} // namespace Qel
