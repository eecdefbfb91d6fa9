#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "Varek/Export.h"

/// The registry of modules. A module is a source file of types with one constant record that
/// describes them all; its static initialiser registers the record when the library is loaded, and
/// from then on every type is found by (module, index within the module) or by its qualified name.
///
/// These records have only the parts that the platform needs (names, kinds, enumerators). The
/// framework derives its own records from them, which add the attribute tables.
namespace Varek {

enum class TypeKind : std::uint8_t { value, enum8, enum32, entity };

/// One enumerator of an enumeration type.
struct EnumeratorData {
   std::uint32_t value = 0;
   std::string_view name;
};

struct ModuleInspectData;

/// The record of a type. It lives in constant memory for as long as its module is loaded.
struct TypeInspectData {
   std::string_view name; ///< Qualified: "Dot1xV2::AaaResponse".
   ModuleInspectData const* module = nullptr;
   std::uint32_t index = 0; ///< Position within the module.
   TypeKind kind = TypeKind::value;
   bool hashable = false;
   std::uint32_t size = 0; ///< Of an object, in bytes, on this platform.
   /// In ascending order of value; empty unless the type is an enumeration.
   std::span<EnumeratorData const> enumerators;
   /// Positions of the enumerators in ascending order of their names.
   std::span<std::uint16_t const> enumeratorsByName;

   /// "AaaResponse" of "Dot1xV2::AaaResponse".
   std::string_view unqualifiedName() const { return name.substr( name.rfind( ':' ) + 1 ); }
};

/// The record of one module.
struct ModuleInspectData {
   std::string_view name;
   std::span<TypeInspectData const* const> types; ///< By index.

   /// Registers \p module; called once per module, by its static initialiser. Two different modules
   /// of one name are a broken build and end the process.
   VAREK_EXPORT static void loaded( ModuleInspectData const& module );
   /// The registered module of this name, or null.
   VAREK_EXPORT static ModuleInspectData const* find( std::string_view name );
   /// The registered type of this qualified name, or null.
   VAREK_EXPORT static TypeInspectData const* findType( std::string_view qualifiedName );
   /// All registered modules, sorted by name.
   VAREK_EXPORT static std::vector<ModuleInspectData const*> all();
};

/// A type as its module knows it; the result of an entity's typeData().
struct TypeData {
   ModuleInspectData const* module = nullptr;
   std::uint32_t index = 0;
   friend bool operator==( TypeData const&, TypeData const& ) = default;
};

} // namespace Varek
