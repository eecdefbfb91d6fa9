#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Qel/NboAttrLog.h"
#include "Varek/Export.h"
#include "Varek/String.h"
#include "framework/Records.h"

/// What two processes tell each other of their types before they talk, so that one may be newer
/// than the other, and none misreads the other. What only one side knows is fine; what both know
/// must mean the same. Type numbers on the wire are positions in the leader's description.
namespace Mirror {

/// All registered types, in text as far as meaning goes: enough to compare, and no more.
struct VAREK_EXPORT Description {
   struct Attribute {
      std::uint16_t id;
      Varek::String name;
      Varek::String kind; ///< In words, since the numbers of kinds are no promise.
      Varek::String form; ///< Of the bytes; empty for what never travels.
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

   /// Of the modules that are registered now.
   static Description ofThisProcess();
   std::size_t size() const;
   void write( Qel::NboAttrLog::Out& ) const;

   /// The types in the order of their numbers: this process's record, null where it has none.
   std::vector<Qel::TypeRecord const*> records() const;

   /// Which side this description is of.
   enum class Side : std::uint8_t { leader, follower };
   /// Reads what write() wrote on the other side, and says the first thing in which the two differ,
   /// as a sentence; nothing if they can talk. It is compared as it is read, so one of any size
   /// costs no memory. A follower is given the leader's types, as of records(). Throws
   /// Qel::NboAttrLog::AttrLogError or AttrLogLengthError.
   std::optional<Varek::String> difference( Side, Qel::NboAttrLog::In& theirs,
                                            std::vector<Qel::TypeRecord const*>& types ) const;
};

} // namespace Mirror
