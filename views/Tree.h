#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Varek/Export.h"
#include "Varek/Publisher.h"
#include "framework/records/Records.h"
#include "framework/records/Untyped.h"

/// Entities and values of any type as a tree of texts, from their records alone, for TreeText and
/// TreeJson to print.
///
/// Only stored attributes are shown, no constants and derived readings. Elements of hash tables are
/// sorted by key, so that two processes with the same state print the same. All other elements
/// keep their order.
namespace Views {

/// An entity, a value, or several of them.
struct Part {
   enum class Form : std::uint8_t {
      none,    ///< No child, an absent value, or nothing before or after a change.
      boolean, ///< text is true or false.
      number,
      text,   ///< Any bytes, as they are.
      word,   ///< Whatever else its type prints.
      fields, ///< Of a value that has no text; parts are its attributes.
      entity, ///< Likewise.
      list,   ///< parts are elements in order.
      keyed,  ///< parts are elements with a key.
   };

   Form form = Form::none;
   bool parameter = false; ///< A constructor parameter.
   std::string_view name;  ///< Of an attribute.
   std::string_view type;  ///< Of an entity.
   std::string text;
   std::vector<Part> key; ///< One, or none.
   std::vector<Part> parts;
   /// Of an entity whose parts are still to be made, by opened(); null if they are there.
   Qel::Entity const* unopened = nullptr;

   friend bool operator==( Part const&, Part const& ) = default;
};

/// The part for the value at address \p value.
VAREK_EXPORT Part valuePart( Varek::Inspect::AtomicFnTable const&, void const* value );
/// Whether a part has everything below an entity, or opened() adds it later: so a large tree is
/// printed entity by entity and never held as parts all at once.
enum class Children : std::uint8_t { whole, unopened };

/// An attribute of the object (as the functions of a record take it) that lies at \p object.
VAREK_EXPORT Part attributePart( Qel::TypeRecord const&, Qel::AttributeRecord const&,
                                 void const* object, Children = Children::whole );
/// The part for an entity with everything below it.
VAREK_EXPORT Part entityPart( Qel::Entity const& );
/// The parts of an unopened part, with their children unopened; of any other part its own.
VAREK_EXPORT std::vector<Part> opened( Part const& );
/// Whether attributes of this kind are stored, and so shown.
VAREK_EXPORT bool isShown( Qel::AttributeRecord const& );
/// An attribute that holds several elements; \p element is called for each of them.
VAREK_EXPORT Part severalPart( Qel::AttributeRecord const&, void const* object,
                               std::function<Part( Qel::UntypedElements const& )> const& element );

/// An entity by its type alone; nothing for null.
VAREK_EXPORT Part bareEntity( Qel::Entity const* );

/// The trees of a process, by the names under which they are published.
using Roots = std::map<std::string, Varek::Ptr<Qel::Entity>>;
/// All roots, keyed by name and unopened: \p roots must not change until the parts are printed.
VAREK_EXPORT Part rootsPart( Roots const& );

/// One change of an attribute.
struct ChangePart {
   std::vector<Part> path; ///< From the root down: the name and perhaps key of each attribute.
   Part attribute;         ///< Name and perhaps key of what changed.
   Part before;
   Part after;
};

/// A change of an entity in the tree of \p root; call it from an observer. A new or removed child
/// is an entity without attributes, since its contents have changes of their own.
VAREK_EXPORT ChangePart changePart( Qel::Entity const& root, Varek::Change const& );

} // namespace Views
