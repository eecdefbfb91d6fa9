#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Dot1xV2/Dot1xStatus.h"
#include "Qel/NboAttrLog.h"
#include "framework/wire/AttrLog.h"
#include "mirror/Description.h"
#include "mirror/Endpoint.h"

/// What LogFuzz takes, and who makes its first inputs must know: the first byte says how the rest
/// is read.
namespace LogInput {

enum Form : std::uint8_t {
   frames,   ///< What a leader says after a hello with which the follower agrees.
   stream,   ///< All that it says.
   messages, ///< U8 number of an entity type, then of each message U16 id, U8 size, the payload.
   forms
};

/// The hello of a leader that has the modules with every form of attribute, and else types that are
/// not known here: to compare them all takes longer than anything else. Type numbers are as ever.
inline std::vector<std::uint8_t> hello() {
   Qel::NboAttrLog::OutBuffer out;
   auto ours = Mirror::Description::ofThisProcess();
   for ( auto& module : ours.modules ) {
      if ( module.name != "TestModule" && module.name != "AaaHelperLedraTypes" ) {
         for ( auto& type : module.types ) {
            type = { {}, type.kind, {}, {} };
         }
      }
   }
   out.outSmReserveMessage( Qel::NboAttrLog::FrameKind::hello, 0, {}, 22 + ours.size() );
   out.putOctets( Mirror::protocolMagic, 8 );
   out.put16( Mirror::protocolVersion );
   out.put64( 0 );
   ours.write( out );
   out.put32( 0 );
   out.outSmCommitMessage();
   return { out.bytes().begin(), out.bytes().end() };
}

/// Made of constructor parameters that are all zeros, as many as its type wants; null for a type to
/// which they mean nothing.
inline Varek::Ptr<Qel::Entity> newEntity( Qel::TypeRecord const& type ) {
   std::vector<std::uint8_t> const zeros( 64 );
   for ( std::size_t size = 0; size <= zeros.size(); ++size ) {
      Qel::NboAttrLog::In in( std::span( zeros ).first( size ) );
      try {
         return newEntityForAttrLog( type, in );
      } catch ( Varek::Failure const& ) {
      }
   }
   return nullptr;
}

inline std::vector<Qel::TypeRecord const*> entityTypes() {
   std::vector<Qel::TypeRecord const*> all;
   for ( auto const* const type : Mirror::Description::ofThisProcess().records() ) {
      if ( type->kind == Varek::TypeKind::entity && newEntity( *type ) ) {
         all.push_back( type );
      }
   }
   return all;
}

} // namespace LogInput
