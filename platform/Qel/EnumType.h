#pragma once

#include <concepts>
#include <iosfwd>

#include "Qel/CharRange.h"
#include "Varek/Export.h"
#include "Varek/ModuleInspectData.h"
#include "Varek/String.h"

namespace Qel {

/// The operations that every enumeration has, over its enumerators in the module record. \p Width
/// is the unsigned integer that it is stored in: unsigned char or unsigned int.
///
/// One rule for what is no enumerator. An unknown name is a Varek::TextError, whether it stands
/// alone or within a text; an unknown number is a Varek::RangeError. Either says which enumeration
/// and what was given. A value that is none prints as its number, so that the state of a newer peer
/// stays readable.
template<std::unsigned_integral Width>
class EnumType {
public:
   using Module = Varek::ModuleInspectData;

   VAREK_EXPORT static Width instance( unsigned value, Module const&, std::uint32_t index );
   VAREK_EXPORT static Width instance( char const* name, Module const&, std::uint32_t index );
   VAREK_EXPORT static Width instance( Varek::String const& name, Module const&,
                                       std::uint32_t index );
   VAREK_EXPORT static Varek::String stringValue( Width, Module const&, std::uint32_t index );
   VAREK_EXPORT static std::ostream& operatorLessLess( std::ostream&, Width, Module const&,
                                                       std::uint32_t index );
   /// Reads the name at the front of \p range, the longest whole identifier. Throws
   /// Varek::TextError, with \p range and \p value as they were, if that is no enumerator.
   VAREK_EXPORT static void sequenceToValue( CharRange& range, Width* value, Module const&,
                                             std::uint32_t index );
};

/// The enumerator of \p type with this value or name; null if there is none. By value at once where
/// the values count from 0 without a gap, otherwise, and by name, by binary search.
VAREK_EXPORT Varek::EnumeratorData const* enumerator( Varek::TypeInspectData const& type,
                                                      std::uint32_t value );
VAREK_EXPORT Varek::EnumeratorData const* enumerator( Varek::TypeInspectData const& type,
                                                      std::string_view name );

extern template class EnumType<unsigned char>;
extern template class EnumType<unsigned int>;

} // namespace Qel
