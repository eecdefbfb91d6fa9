#pragma once

#include <functional>

#include "config/Faults.h"
#include "config/JsonNode.h"
#include "framework/Records.h"

namespace Config {

/// Gives entities and records what a document says of them, by their records alone.
///
/// Each attribute that is named is replaced as a whole: a collection holds then what is named and
/// nothing else, a record the defaults of its type where a field is not named. Child entities are
/// gone into, and keep what is not named.
class EntityReader {
public:
   explicit EntityReader( Faults& faults ) : faults_( faults ) {}

   void entity( JsonPlace const& at, Qel::Entity& );

private:
   /// An attribute of the object (as the functions of a record take it) that lies at object.
   struct Target {
      Qel::TypeRecord const& type;
      Qel::AttributeRecord const& attribute;
      void* object;
   };
   using Table = Varek::Inspect::AtomicFnTable;
   /// Takes a key; false to go no further.
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
   /// Does what inspection calls \p operation; tells if the attribute does not take the value.
   bool run( JsonPlace const& at, Target const&, std::uint32_t operation, void const* key,
             void* value );
   bool holds( Target const&, void const* key );

   Faults& faults_;
};

} // namespace Config
