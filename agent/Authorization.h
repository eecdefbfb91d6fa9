#pragma once

#include <cstdint>
#include <map>

#include "Dot1xV2/AuthZStatus.h"
#include "Varek/Export.h"

/// Keeps an AuthZStatus: the supplicants that are authorized on each port, the authorization in
/// force there, and the blocked addresses.
///
/// Only a VLAN given by number is in force: to resolve names, a switch has its table of VLANs, and
/// a capture does not. On a port the VLAN of all its supplicants is in force; none if they differ.
namespace Agent {

class VAREK_EXPORT Authorization {
public:
   /// \p blockAfter rejections in a row block an address; at least 1.
   Authorization( Dot1xV2::AuthZStatus& status, std::uint32_t blockAfter )
      : status_( status ), blockAfter_( blockAfter ) {}

   /// Adds a port with a request; it is blocked while nobody is authorized there.
   void portIs( Lumo::IntfId );
   /// Authorizes a supplicant on \p port alone (on no port if that is empty) and unblocks it.
   void accepted( Lumo::EthAddr const& mac, Lumo::IntfId port, Dot1xV2::AuthZAttrs const& );
   /// Withdraws the supplicant's authorization on that port (on every port if it is empty). After
   /// blockAfter rejections in a row it is blocked there, with the VLAN of its frames.
   void rejected( Lumo::EthAddr const& mac, Lumo::IntfId port, Bridging::VlanIdOrNone );
   void withdrawn( Lumo::EthAddr const& mac );
   bool authorized( Lumo::EthAddr const& mac ) const { return places_.contains( mac ); }

private:
   Dot1xV2::AuthZStatus& status_;
   std::uint32_t const blockAfter_;
   std::map<Lumo::EthAddr, Lumo::IntfId> places_;      ///< Where each is authorized.
   std::map<Lumo::EthAddr, std::uint32_t> rejections_; ///< In a row.
};

} // namespace Agent
