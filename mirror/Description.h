#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "Varek/String.h"
#include "framework/records/Records.h"

/// The description of its types that each process sends first, so that a newer and an older process
/// do not misread each other. Types and attributes that only one side knows are fine; those that
/// both know must mean the same. Type numbers on the wire are positions in the leader's
/// description.
namespace Mirror {

/// All registered types, with their meaning in text: enough to compare, and no more.
struct VAREK_EXPORT Description {
   struct Attribute {
      std::uint16_t id;
      Varek::String name;
      Varek::String kind; ///< In words, since the numbers of kinds are no promise.
      Varek::String form; ///< Of the bytes; empty for what never travels.
      /// As it would be written; empty where there is none.
      Varek::String byDefault{};
   };
   struct Enumerator {
      std::uint32_t value;
      Varek::String name;
   };
   struct Type {
      Varek::String name;
      Varek::TypeKind kind;
      std::vector<Attribute> attributes;
      std::vector<Enumerator> enumerators;
   };
   struct Module {
      Varek::String name;
      std::vector<Type> types;
   };
   std::vector<Module> modules;

   /// The description of the modules that are registered now.
   static Description ofThisProcess();
   std::size_t size() const;
   void write( Qel::NboAttrLog::Out& ) const;

   /// This process's records of the types, by number; null for a type that it does not know.
   std::vector<Qel::TypeRecord const*> records() const;

   /// The side that sends the description.
   enum class Side : std::uint8_t { leader, follower };
   /// Attributes of a type, as bits (framework/wire/Contents.h).
   struct Attributes {
      Qel::TypeRecord const* type;
      std::uint64_t bits;
   };
   /// What two sides that can talk have found out about each other.
   struct Agreement {
      /// At a follower: the leader's types, as by records().
      std::vector<Qel::TypeRecord const*> types;
      /// At a leader: attributes whose defaults differ.
      std::vector<Attributes> otherDefaults;
   };
   /// Reads the other side's description, as write() wrote it, and returns the first difference as
   /// a sentence; nothing if both can talk. It is compared while it is read, so that a description
   /// of any size costs no memory. One of protocol version 1 has no defaults. Throws
   /// Qel::NboAttrLog::AttrLogError or AttrLogLengthError.
   std::optional<Varek::String> difference( Side, Qel::NboAttrLog::In& theirs,
                                            std::uint16_t version, Agreement& ) const;
};

} // namespace Mirror
