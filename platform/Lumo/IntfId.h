#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Varek/Export.h"
#include "Varek/Hash.h"
#include "Varek/String.h"

namespace Lumo {

/// The name of an interface in structured form: a kind, up to three numbers and a sub-interface, in
/// one 64-bit word that means the same in every process, on the wire and on disk. There is no table
/// of names behind it: a name is computed from the word and the word from the name, exactly.
///
///      63      56 55               36 35       26 25       16 15               0
///     +----------+-------------------+-----------+-----------+------------------+
///     |   kind   |   first number    |  second   |   third   |  sub-interface   |
///     +----------+-------------------+-----------+-----------+------------------+
///
/// A field of a number holds the number plus one, and 0 if the name does not have it. Hence
/// the words compare as the names should: by kind, then by numbers (Ethernet2 before Ethernet10,
/// Ethernet3 before Ethernet3/1), then by sub-interface. The word 0 is the empty name, the default.
///
/// | kind | names                                    | kind | names                             |
/// |------|------------------------------------------|------|-----------------------------------|
/// |    1 | Ethernet3, Ethernet3/1, Ethernet1/2/3 *  |    9 | bond0 *                           |
/// |    2 | Port-Channel10 *                         |   10 | br0                               |
/// |    3 | Vlan100                                  |   11 | vlan100                           |
/// |    4 | Management1, Management1/1               |   12 | veth0                             |
/// |    5 | Loopback0                                |   13 | wlan0 *                           |
/// |    6 | Tunnel5                                  |   14 | eno1 *                            |
/// |    7 | eth0 *                                   |   15 | ens3, ens3f1 *                    |
/// |    8 | lo                                       |   16 | enp3s0, enp0s31f6 *               |
///
/// A kind marked * may have a sub-interface: Ethernet3.100. The numbers of the kinds are on the
/// wire: a new kind takes the next free one. Largest numbers: first 1048574, second and third 1022,
/// sub-interface 65534. Names of the kernel that encode an address (enx...) have no place here.
class VAREK_EXPORT IntfId {
public:
   constexpr IntfId() = default;
   /// From a name, spelt as in the table, or from the text that stringValue() gives for a word
   /// without a name. Throws Varek::TextError, which says what is allowed, for an unknown kind, a
   /// number too large or with leading zeros, too many numbers, and anything left over.
   explicit IntfId( std::string_view name );
   /// From any word, as read from the wire, whether it has a name or not.
   static constexpr IntfId fromValue( std::uint64_t value ) {
      IntfId id;
      id.value_ = value;
      return id;
   }

   constexpr std::uint64_t value() const { return value_; }
   std::uint32_t hash( std::uint32_t seed ) const { return Varek::hashWord( value_, seed ); }

   friend constexpr bool operator==( IntfId, IntfId ) = default;
   friend constexpr std::strong_ordering operator<=>( IntfId, IntfId ) = default;

private:
   std::uint64_t value_ = 0;
};

/// The name; "IntfId(0x0123456789abcdef)" for a word without a name.
VAREK_EXPORT Varek::String stringValue( IntfId );
VAREK_EXPORT std::ostream& operator<<( std::ostream&, IntfId );

} // namespace Lumo
