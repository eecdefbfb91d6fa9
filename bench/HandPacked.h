#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "Varek/ByteOrder.h"
#include "bench/MirrorTypes.h"
#include "bench/Processes.h"

/// The same content in plain structs, packed big-endian into a buffer and unpacked from one, with
/// no check but for the end of the buffer: with a socket between, the practical limit of a full
/// synchronisation, and otherwise a codec for those who bring none.
namespace Bench {

struct HandValue {
   std::uint8_t kind = 0;
   std::uint8_t tag = 0;
   std::uint64_t number = 0;
   std::string octets;
};
struct HandAttribute {
   std::uint32_t vendor = 0;
   std::uint16_t type = 0;
   std::vector<HandValue> values;
};
struct HandAnswer {
   std::uint32_t number = 0;
   std::uint32_t kind = 0;
   std::array<std::uint8_t, 6> station{};
   std::vector<HandAttribute> attributes;
};

inline HandValue handValue( RadiusPktParserBase::AttrValue const& from ) {
   HandValue value;
   value.kind = static_cast<std::uint8_t>( from.index() );
   struct {
      HandValue& to;
      void operator()( Varek::String const& v ) const { to.octets = v; }
      void operator()( RadiusPktParserBase::TaggedStr const& v ) const {
         to.tag = v.tag;
         to.octets = v.value;
      }
      void operator()( std::uint32_t v ) const { to.number = v; }
      void operator()( RadiusPktParserBase::TaggedInt const& v ) const {
         to.tag = v.tag;
         to.number = v.value;
      }
      void operator()( std::uint64_t v ) const { to.number = v; }
      void operator()( Lumo::IpGenPrefix const& v ) const {
         to.tag = static_cast<std::uint8_t>( v.length() );
         to.octets.assign( reinterpret_cast<char const*>( v.octets().data() ), v.addressSize() );
      }
      void operator()( Varek::Bytes const& v ) const { to.octets = v.view(); }
   } const set{ value };
   std::visit( set, from.variant() );
   return value;
}

inline HandAttribute handAttribute( Dot1xV2::AaaAttribute const& from ) {
   HandAttribute to;
   to.vendor = from.attribute().vendor();
   to.type = from.attribute().type();
   for ( auto const& value : from.attrValue() ) {
      to.values.push_back( handValue( value ) );
   }
   return to;
}

inline std::vector<HandAnswer> handAnswers( Table const& table ) {
   std::vector<HandAnswer> all;
   for ( auto const& node : table.holder() ) {
      auto const response = node.child->aaaResponse();
      HandAnswer& one = all.emplace_back();
      one.number = node.key;
      one.kind = static_cast<std::uint32_t>( response->type() );
      one.station = response->callingStationId().octets();
      for ( auto const& attribute : response->aaaAttribute() ) {
         one.attributes.push_back( handAttribute( attribute ) );
      }
   }
   return all;
}

/// Of a value: kind, tag, then a U64 or a U32 length and octets, as the kind has it.
inline bool isNumber( std::uint8_t kind ) { return kind >= 2 && kind <= 4; }

class HandPacker {
public:
   explicit HandPacker( std::size_t size ) : buffer_( size ) {}

   /// The caller must provide enough room.
   void pack( HandAnswer const& one ) {
      put( one.number );
      put( one.kind );
      octets( one.station.data(), 6 );
      put( static_cast<std::uint32_t>( one.attributes.size() ) );
      for ( HandAttribute const& attribute : one.attributes ) {
         pack( attribute );
      }
   }
   void pack( HandAttribute const& attribute ) {
      put( attribute.vendor );
      put( attribute.type );
      put( static_cast<std::uint32_t>( attribute.values.size() ) );
      for ( HandValue const& value : attribute.values ) {
         put( value.kind );
         put( value.tag );
         if ( isNumber( value.kind ) ) {
            put( value.number );
         } else {
            put( static_cast<std::uint32_t>( value.octets.size() ) );
            octets( value.octets.data(), value.octets.size() );
         }
      }
   }
   template<class U>
   void put( U value ) {
      value = Varek::bigEndian( value );
      octets( &value, sizeof value );
   }
   std::span<char const> packed() const { return { buffer_.data(), used_ }; }
   std::size_t room() const { return buffer_.size() - used_; }
   void clear() { used_ = 0; }

private:
   void octets( void const* from, std::size_t size ) {
      std::memcpy( buffer_.data() + used_, from, size );
      used_ += size;
   }
   std::vector<char> buffer_;
   std::size_t used_ = 0;
};

class HandWriter {
public:
   explicit HandWriter( int fd ) : fd_( fd ), packer_( 65536 ) {}

   void write( HandAnswer const& one ) {
      if ( packer_.room() < 4096 ) {
         flush();
      }
      packer_.pack( one );
   }
   void flush() {
      auto const packed = packer_.packed();
      writeAll( fd_, packed );
      bytes_ += packed.size();
      packer_.clear();
   }
   std::size_t bytes() const { return bytes_; }

private:
   int const fd_;
   HandPacker packer_;
   std::size_t bytes_ = 0;
};

/// Each function returns false if the rest is too short.
class HandParser {
public:
   explicit HandParser( std::span<char const> rest ) : rest_( rest ) {}

   bool parse( HandAnswer& one ) {
      std::uint32_t attributes = 0;
      if ( !get( one.number ) || !get( one.kind ) || !octets( one.station.data(), 6 ) ||
           !get( attributes ) ) {
         return false;
      }
      one.attributes.resize( attributes );
      for ( HandAttribute& attribute : one.attributes ) {
         if ( !parse( attribute ) ) {
            return false;
         }
      }
      return true;
   }
   bool parse( HandAttribute& attribute ) {
      std::uint32_t values = 0;
      if ( !get( attribute.vendor ) || !get( attribute.type ) || !get( values ) ) {
         return false;
      }
      attribute.values.resize( values );
      for ( HandValue& value : attribute.values ) {
         if ( !parse( value ) ) {
            return false;
         }
      }
      return true;
   }
   template<class U>
   bool get( U& value ) {
      if ( !octets( &value, sizeof value ) ) {
         return false;
      }
      value = Varek::bigEndian( value );
      return true;
   }
   std::span<char const> rest() const { return rest_; }

private:
   bool parse( HandValue& value ) {
      if ( !get( value.kind ) || !get( value.tag ) ) {
         return false;
      }
      if ( isNumber( value.kind ) ) {
         return get( value.number );
      }
      std::uint32_t size = 0;
      if ( !get( size ) || rest_.size() < size ) {
         return false;
      }
      value.octets.assign( rest_.data(), size );
      rest_ = rest_.subspan( size );
      return true;
   }
   bool octets( void* to, std::size_t size ) {
      if ( rest_.size() < size ) {
         return false;
      }
      std::memcpy( to, rest_.data(), size );
      rest_ = rest_.subspan( size );
      return true;
   }
   std::span<char const> rest_;
};

inline std::vector<HandAnswer> handRead( int fd, std::size_t count ) {
   std::vector<HandAnswer> all;
   ReadBuffer buffer( fd );
   while ( all.size() < count ) {
      HandParser parser( buffer.held() );
      HandAnswer one;
      if ( parser.parse( one ) ) {
         all.push_back( std::move( one ) );
         buffer.takenIs( buffer.held().size() - parser.rest().size() );
      } else {
         buffer.more();
      }
   }
   return all;
}

} // namespace Bench
