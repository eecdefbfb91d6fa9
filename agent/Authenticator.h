#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Varek/Export.h"
#include "agent/Accounting.h"
#include "agent/Authentication.h"
#include "agent/Authorization.h"
#include "agent/ExchangeListener.h"

/// Drives the state trees of an authenticator by its packets: the RADIUS exchanges with its server,
/// and the EAPOL frames of its ports. All captures are taken to be of the same switch, in the order
/// in which they are read.
///
/// A supplicant's latest request counts. An answer to an earlier request, an answer that comes
/// again and an answer to a request that could not be read whole change nothing. Neither does a
/// request that is sent again. Accounting says nothing of authentication and authorization, nor
/// they of it.
namespace Agent {

struct AuthenticatorSettings {
   /// After this many rejections in a row a MAC address is blocked.
   std::uint32_t blockAfter = 3;
   /// The enterprise number under which Brevia's attributes are sent: that for documentation (RFC
   /// 5612).
   std::uint32_t vendor = 32473;
};

class VAREK_EXPORT Authenticator : public ExchangeListener {
public:
   static constexpr char const* authNName = "authNStatus";
   static constexpr char const* authZName = "authZStatus";
   static constexpr char const* acctName = "acctStatus";

   explicit Authenticator( AuthenticatorSettings const& = {} );
   ~Authenticator() override;

   void request( Capture::Request const& ) override;
   void answer( Capture::Request const&, Dot1xV2::AaaResponse const&, Capture::Time ) override;
   void unanswered( Capture::Request const& ) override;
   void eapol( Capture::Eapol const& ) override;
   void captureEnd() override { latest_.clear(); }

   Varek::Ptr<Dot1xV2::AuthNStatus> const& authNStatus() const { return authNStatus_; }
   Varek::Ptr<Dot1xV2::AuthZStatus> const& authZStatus() const { return authZStatus_; }
   Varek::Ptr<Dot1xV2::AcctStatus> const& acctStatus() const { return acctStatus_; }
   /// All of these under their names.
   std::map<std::string, Varek::Ptr<Qel::Entity>> roots() const;

private:
   struct Open {
      std::uint64_t packet; ///< Of the request.
      Asked asked;
   };

   std::optional<std::uint32_t> interimInterval( Lumo::EthAddr const& ) const;
   std::optional<Asked> takeOpen( Capture::Request const& );

   Varek::Ptr<Dot1xV2::AuthNStatus> const authNStatus_;
   Varek::Ptr<Dot1xV2::AuthZStatus> const authZStatus_;
   Varek::Ptr<Dot1xV2::AcctStatus> const acctStatus_;
   Authentication authentication_;
   Authorization authorization_;
   Accounting accounting_;
   std::map<Lumo::EthAddr, Open> latest_; ///< The open request of each supplicant.
};

} // namespace Agent
