#include "capture/Eapol.h"

namespace Capture {

namespace {

EapolReading fault( std::size_t offset, char const* part, bool ends = true ) {
   EapolReading result;
   result.fault = { offset, part, ends };
   return result;
}

EapolReading frameOf( Eapol::Kind kind, std::uint8_t identifier = 0 ) {
   EapolReading result;
   result.frame.emplace().kind = kind;
   result.frame->identifier = identifier;
   return result;
}

/// Reads code, identifier and length and, of requests and responses, the type (RFC 3748 4).
EapolReading readEap( std::span<std::uint8_t const> octets, std::size_t bodyLength ) {
   constexpr std::size_t begin = 4, header = 4;
   constexpr std::uint8_t request = 1, response = 2, success = 3, failure = 4, identity = 1;
   if ( octets.size() < begin + header ) {
      return fault( begin, "an EAP header" );
   }
   std::uint8_t const code = octets[begin], identifier = octets[begin + 1];
   auto const length = static_cast<std::size_t>( octets[begin + 2] << 8 | octets[begin + 3] );
   if ( length < header || length > bodyLength ) {
      return fault( begin, "an EAP header", false );
   }
   if ( code == request ) {
      return frameOf( Eapol::Kind::request, identifier );
   }
   if ( code == success || code == failure ) {
      return frameOf( code == success ? Eapol::Kind::success : Eapol::Kind::failure, identifier );
   }
   if ( code != response ) {
      return {};
   }
   if ( length == header ) {
      return fault( begin, "an EAP Response", false );
   }
   bool const typeThere = octets.size() > begin + header;
   if ( !typeThere || ( octets[begin + header] == identity && octets.size() < begin + length ) ) {
      return fault( begin, "an EAP Response" );
   }
   EapolReading result = frameOf( Eapol::Kind::response, identifier );
   if ( octets[begin + header] == identity ) {
      auto const text = octets.subspan( begin + header + 1, length - header - 1 );
      result.frame->identity.assign( text.begin(), text.end() );
   }
   return result;
}

} // namespace

EapolReading readEapol( std::span<std::uint8_t const> octets ) {
   constexpr std::size_t header = 4;
   constexpr std::uint8_t packet = 0, start = 1, logoff = 2;
   if ( octets.size() < header ) {
      return fault( 0, "an EAPOL header" );
   }
   switch ( octets[1] ) {
   case packet:
      return readEap( octets, static_cast<std::size_t>( octets[2] << 8 | octets[3] ) );
   case start:
      return frameOf( Eapol::Kind::start );
   case logoff:
      return frameOf( Eapol::Kind::logoff );
   default:
      return {};
   }
}

} // namespace Capture
