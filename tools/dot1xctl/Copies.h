#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <variant>
#include <vector>

#include "Lumo/EthAddr.h"
#include "Lumo/IntfId.h"
#include "agent/ExchangeListener.h"

/// Synthetic copies of the events of a replay, under other MAC addresses and on other ports, to
/// measure the cost of a deployment of any size.
///
/// The captured stations are copy 0. Station n of them all, counted from 0 (so that copy 1 begins
/// with as many as were captured), has the locally administered address 02:00 and n in four octets;
/// 02:01, and so on, if a captured address begins with those. A station that only has an accounting
/// session is no supplicant, and goes with the supplicant that came before it. Each captured port
/// gets a port of its own in each copy: Ethernet and the numbers that follow the highest captured
/// number, and from the first of these again when there are no more.
///
/// A copy has its own station, Calling-Station-Id, User-Name (if that is the address, in its
/// notation), NAS-Port-Id and with it NAS-Port, and ids of accounting sessions: ID-COPY, and in
/// later rounds ID-COPY.ROUND, since a station that authenticates anew begins a new session.
/// Everything else is as captured: names of users, times, authenticators, the NAS itself. Requests
/// of no supplicant (Accounting-On and Accounting-Off) are in copy 0 alone.
///
/// Memory: everything that was read, once, however many copies are played.
namespace Dot1xCtl {

class Copies final : public Agent::ExchangeListener {
public:
   void request( Capture::Request const& ) override;
   void answer( Capture::Request const&, Dot1xV2::AaaResponse const&, Capture::Time ) override;
   void unanswered( Capture::Request const& ) override;
   void eapol( Capture::Eapol const& ) override;
   void captureEnd() override;

   /// How many supplicants were captured: addresses with requests or EAPOL frames of their own.
   /// Without any of these, addresses with an accounting session count.
   std::size_t captured() const;

   struct Played {
      std::size_t copies = 0; ///< Of each round, copy 0 included; the last may be a part.
      std::uint64_t requests = 0;
      std::uint64_t eapolFrames = 0;
   };
   /// Called before each copy with the number of copies played and the number in all; returns
   /// whether to go on.
   using GoOn = std::function<bool( std::size_t done, std::size_t all )>;

   /// Plays copies for \p supplicants supplicants (if fewer than were captured, the first of
   /// these), copy after copy, and all of it \p rounds times. Throws Varek::RangeError, with
   /// nothing played, if no port or address is left for copies.
   Played play( Agent::ExchangeListener&, std::size_t supplicants, std::size_t rounds,
                GoOn const& goOn ) const;

private:
   struct Asks {
      Capture::Request request;
   };
   struct Answers {
      Capture::Request request;
      Varek::Ptr<Dot1xV2::AaaResponse> response;
      Capture::Time time;
   };
   struct Unanswered {
      Capture::Request request;
   };
   struct CaptureEnd {};
   using What = std::variant<Asks, Answers, Unanswered, Capture::Eapol, CaptureEnd>;

   struct Event {
      Lumo::EthAddr station; ///< All zero for none.
      What what;
   };
   struct Copy;
   struct Teller;

   enum class Seen { session, supplicant };
   struct Station {
      std::size_t place; ///< The position in the order of arrival, from 0.
      Seen as;
   };

   void known( Lumo::EthAddr const& station, Seen );
   std::vector<std::size_t> supplicantsBefore() const;

   std::vector<Event> events_;
   std::map<Lumo::EthAddr, Station> stations_;
   std::map<Lumo::IntfId, std::size_t> ports_; ///< With the place in the order they came in.
};

} // namespace Dot1xCtl
