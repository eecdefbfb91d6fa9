#pragma once

#include <compare>
#include <cstdint>

namespace Varek {

/// The 16-bit number of an attribute within its type: from 258 in entities, from 2 in value types;
/// 154 is the name of a named entity.
class FieldId {
public:
   constexpr FieldId() = default;
   constexpr FieldId( std::uint16_t value ) : value_( value ) {}
   constexpr std::uint16_t value() const { return value_; }
   /// The id under which the removal of a collection element travels: the 16-bit negative.
   constexpr FieldId removal() const { return static_cast<std::uint16_t>( -value_ ); }

   friend constexpr bool operator==( FieldId, FieldId ) = default;
   friend constexpr std::strong_ordering operator<=>( FieldId, FieldId ) = default;

private:
   std::uint16_t value_ = 0;
};

/// Selects an attribute in a generic operation.
struct FieldDescriptor {
   FieldId id;
};

inline constexpr FieldId nameStringId{ 154 };
inline constexpr FieldId firstEntityFieldId{ 258 };
inline constexpr FieldId firstValueFieldId{ 2 };

} // namespace Varek
