#pragma once

#include <functional>

#include "config/Faults.h"
#include "config/JsonNode.h"
#include "framework/records/Records.h"

namespace Config {

/// Sets the attributes of entities and values from a document, by their records alone.
///
/// Each named attribute is replaced as a whole: a collection then holds only the named elements,
/// and fields of a value that are not named get their defaults. A child entity is not replaced, and
/// keeps its attributes that are not named.
class EntityReader {
public:
   explicit EntityReader( Faults& faults ) : faults_( faults ) {}

   void entity( JsonPlace const& at, Qel::Entity& );

private:
   /// An attribute of the object at address object, as the functions of a record take it.
   struct Target {
      Qel::TypeRecord const& type;
      Qel::AttributeRecord const& attribute;
      void* object;
   };
   using Table = Varek::Inspect::AtomicFnTable;
   /// Called with a key; returns false to stop.
   using WithKey = std::function<bool( void const* key )>;

   void fields( JsonPlace const& at, Qel::TypeRecord const&, void* object, bool parameterIsFixed );
   void attribute( JsonPlace const& at, Target const& );
   void parameter( JsonPlace const& at, Target const&, bool isFixed );
   void child( JsonPlace const& at, Target const& );
   void children( JsonPlace const& at, Target const& );
   void elements( JsonPlace const& at, Target const& );
   void element( JsonPlace const& at, Target const& );
   void byKey( JsonPlace const& at, Target const& );
   bool value( JsonPlace const& at, Table const&, void* value, bool parameterIsFixed = false );
   void forEachKey( JsonPlace const& at, Table const&, WithKey const& );

   bool isKind( JsonPlace const& at, JsonNode::Kind, Qel::TypeRecord const* );
   void unknown( JsonPlace const& at, Qel::TypeRecord const& );
   /// Performs the inspection \p operation; reports a fault if the attribute refuses the value.
   bool run( JsonPlace const& at, Target const&, std::uint32_t operation, void const* key,
             void* value );
   bool holds( Target const&, void const* key );

   Faults& faults_;
};

} // namespace Config
