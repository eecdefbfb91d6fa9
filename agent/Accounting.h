#pragma once

#include <cstdint>
#include <optional>

#include "Dot1xV2/AcctStatus.h"
#include "Varek/Export.h"
#include "capture/Exchange.h"

/// Keeps an AcctStatus from the accounting requests that are sent (RFC 2866, RFC 2869 2.1): an
/// authenticator knows its sessions whether the server answers or not.
///
/// - Acct-Session-Id identifies a session. A repeated Start begins no session, and late requests of
///   a session that has ended, or of another session than the open one, change nothing.
/// - A request without Acct-Session-Id, or without a MAC address as Calling-Station-Id, belongs to
///   no session.
/// - An update or a Stop of a session whose Start was not seen is taken for what it says.
/// - The session's attribute Event-Timestamp is its beginning, whatever its later requests have:
///   the time of the Start or, without a Start, the time of the first request that says how long
///   the session has lasted, less that duration. It stays absent until then. The time of a request
///   is its Event-Timestamp (RFC 2869 5.3), or else the time of capture less its Acct-Delay-Time
///   (RFC 2866 5.2).
/// - Accounting-On and Accounting-Off end the open sessions of the same NAS, with adminReset.
namespace Agent {

class VAREK_EXPORT Accounting {
public:
   /// \p vendor is the enterprise number under which Brevia's attributes are sent.
   Accounting( Dot1xV2::AcctStatus& status, std::uint32_t vendor )
      : status_( status ), vendor_( vendor ) {}

   /// A request was sent. \p interval is the server's interval between updates, in seconds.
   void request( Capture::Request const&, std::optional<std::uint32_t> interval );

private:
   void sessionIs( Lumo::EthAddr const& mac, Capture::Request const&, std::uint32_t statusType,
                   std::optional<std::uint32_t> interval );
   void attributesIs( Dot1xV2::AcctAttributes&, Capture::Attributes const&,
                      std::optional<Varek::Bytes> const& began ) const;
   void nasSessionsEnd( Capture::Attributes const& );

   Dot1xV2::AcctStatus& status_;
   std::uint32_t const vendor_;
};

} // namespace Agent
