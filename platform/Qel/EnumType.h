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
/// An unknown name raises Varek::TextError, whether it stands alone or within a text; an unknown
/// number raises Varek::RangeError. Both errors name the enumeration and the name or number given.
/// A value without an enumerator prints as its number, so that the state of a newer peer stays
/// readable.
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
   /// Reads the longest identifier at the front of \p range as a name. Throws Varek::TextError,
   /// with \p range and \p value as they were, if no enumerator has that name.
   VAREK_EXPORT static void sequenceToValue( CharRange& range, Width* value, Module const&,
                                             std::uint32_t index );
};

/// The enumerator of \p type with this value or name; null if there is none. A look-up is a binary
/// search, but a look-up by value is an index where the values count from 0 without a gap.
VAREK_EXPORT Varek::EnumeratorData const* enumerator( Varek::TypeInspectData const& type,
                                                      std::uint32_t value );
VAREK_EXPORT Varek::EnumeratorData const* enumerator( Varek::TypeInspectData const& type,
                                                      std::string_view name );

extern template class EnumType<unsigned char>;
extern template class EnumType<unsigned int>;

} // namespace Qel
