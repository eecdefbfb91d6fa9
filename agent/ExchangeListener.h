#pragma once

#include "Dot1xV2/AaaHelperLedraTypes.h"
#include "Varek/Export.h"
#include "capture/Eapol.h"
#include "capture/Exchange.h"

namespace Agent {

/// Receives the events of a replay, in order.
class VAREK_EXPORT ExchangeListener {
public:
   virtual ~ExchangeListener() = default;

   /// A request that was read whole, when it is sent first.
   virtual void request( Capture::Request const& ) = 0;
   /// The answer to a request.
   virtual void answer( Capture::Request const&, Dot1xV2::AaaResponse const&, Capture::Time ) = 0;
   /// A request that is not answered any more.
   virtual void unanswered( Capture::Request const& ) = 0;
   virtual void eapol( Capture::Eapol const& ) = 0;
   /// The capture ends: nothing in the next capture answers what is under way.
   virtual void captureEnd() = 0;
};

} // namespace Agent
