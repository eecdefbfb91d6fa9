#include "capture/EapolStations.h"

#include <algorithm>

#include "capture/RadiusReading.h"

namespace Capture {

void EapolStations::see( Eapol& frame ) {
   if ( !frame.fromSupplicant() && !isStation( frame.destination ) ) {
      if ( Lumo::EthAddr const found = addressee( frame ); found != Lumo::EthAddr() ) {
         frame.destination = found;
      }
   }
   Lumo::EthAddr const& station = frame.supplicant();
   if ( !isStation( station ) ) {
      return;
   }
   switch ( frame.kind ) {
   case Eapol::Kind::start:
      begun_[station] = std::nullopt;
      break;
   case Eapol::Kind::response:
      begun_[station] = frame.identifier;
      break;
   case Eapol::Kind::request:
      break;
   case Eapol::Kind::success:
   case Eapol::Kind::failure:
   case Eapol::Kind::logoff:
      begun_.erase( station );
      break;
   }
}

Lumo::EthAddr EapolStations::addressee( Eapol const& frame ) const {
   auto const mayBe = [&]( auto const& one ) {
      return frame.kind == Eapol::Kind::request || one.second == Identifier( frame.identifier );
   };
   auto const first = std::ranges::find_if( begun_, mayBe );
   bool const one = first != begun_.end() &&
                    std::find_if( std::next( first ), begun_.end(), mayBe ) == begun_.end();
   return one ? first->first : Lumo::EthAddr();
}

} // namespace Capture
