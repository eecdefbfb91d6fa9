#pragma once

#include <cstdint>

#include "Qel/NboAttrLog.h"
#include "Varek/String.h"

/// Texts in frames other than those of attributes: U32 length, the bytes.
namespace Mirror {

inline std::size_t textSize( Varek::String const& text ) { return 4 + text.size(); }

inline void putText( Qel::NboAttrLog::Out& out, Varek::String const& text ) {
   out.put32( static_cast<std::uint32_t>( text.size() ) );
   out.putOctets( text.data(), text.size() );
}

inline Varek::String getText( Qel::NboAttrLog::In& in ) {
   std::uint32_t const size = in.get32();
   return { reinterpret_cast<char const*>( in.getOctets( size ) ), size };
}

} // namespace Mirror
