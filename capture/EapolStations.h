#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "Varek/Export.h"
#include "capture/Eapol.h"

namespace Capture {

/// Finds the supplicant for which an authenticator sends EAPOL frames to the group address (IEEE
/// 802.1X 7.8): the supplicant that has begun and been told no result yet. Success and Failure
/// carry the identifier of the Response that they follow (RFC 3748 4.2). If several supplicants
/// qualify, as in a capture of more than one port, the frame stays without an addressee.
class VAREK_EXPORT EapolStations {
public:
   /// Notes what \p frame means. A frame to the group address gets the address of its supplicant,
   /// if only a single supplicant qualifies.
   void see( Eapol& frame );

private:
   using Identifier = std::optional<std::uint8_t>;

   Lumo::EthAddr addressee( Eapol const& ) const;

   std::map<Lumo::EthAddr, Identifier>
      begun_; ///< With the identifier of the last Response, if any.
};

} // namespace Capture
