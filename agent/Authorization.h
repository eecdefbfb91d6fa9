#pragma once

#include <cstdint>
#include <map>

#include "Dot1xV2/AuthZStatus.h"

/// Keeps an AuthZStatus: which supplicants are authorized on which ports, what is in force there,
/// and which addresses are blocked.
///
/// In force is a VLAN that is given by number: names are for a switch to resolve, which has the
/// VLANs. Of a port it is what all of its supplicants have in common, and nothing if they differ.
namespace Agent {

class Authorization {
public:
   /// \p blockAfter rejections in a row block an address; at least 1.
   Authorization( Dot1xV2::AuthZStatus& status, std::uint32_t blockAfter )
      : status_( status ), blockAfter_( blockAfter ) {}

   /// A port that somebody asks on; blocked while nobody is authorized there.
   void portIs( Lumo::IntfId );
   /// Authorizes a supplicant on a port, and nowhere else; an empty \p port is no port. It is no
   /// longer blocked.
   void accepted( Lumo::EthAddr const& mac, Lumo::IntfId port, Dot1xV2::AuthZAttrs const& );
   /// The supplicant has no authorization on that port (on any, if it is empty). One that is
   /// rejected again and again is blocked there, with the VLAN of its frames.
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
