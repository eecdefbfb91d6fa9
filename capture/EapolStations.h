#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "capture/Eapol.h"

namespace Capture {

/// Finds out whom the EAPOL frames are for that an authenticator sends to the group address (IEEE
/// 802.1X 7.8): who has begun and been told no result yet. Success and Failure carry the identifier
/// of the Response that they follow (RFC 3748 4.2). Where that may be several, as in a capture of
/// more than one port, it stays unsaid.
class EapolStations {
public:
   /// Notes what \p frame means; one to the group address is addressed to its supplicant from then
   /// on, if there is just one that it may be for.
   void see( Eapol& frame );

private:
   using Identifier = std::optional<std::uint8_t>;

   Lumo::EthAddr addressee( Eapol const& ) const;

   std::map<Lumo::EthAddr, Identifier> begun_; ///< With that of the last Response, if there is one.
};

} // namespace Capture
