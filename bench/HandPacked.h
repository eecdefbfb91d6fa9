#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <unistd.h>
#include <variant>
#include <vector>

#include "bench/MirrorTypes.h"
#include "bench/Processes.h"

/// The practical limit of a full synchronisation: the same content in plain structs, packed
/// big-endian into a buffer and unpacked from one, with no check but for the end of the buffer, no
/// keys, no observers, no flow control.
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

inline std::vector<HandAnswer> handAnswers( Table const& table ) {
   std::vector<HandAnswer> all;
   for ( auto const& node : table.holder() ) {
      auto const response = node.child->aaaResponse();
      HandAnswer& one = all.emplace_back();
      one.number = node.key;
      one.kind = static_cast<std::uint32_t>( response->type() );
      one.station = response->callingStationId().octets();
      for ( auto const& attribute : response->aaaAttribute() ) {
         HandAttribute& to = one.attributes.emplace_back();
         to.vendor = attribute.attribute().vendor();
         to.type = attribute.attribute().type();
         for ( auto const& value : attribute.attrValue() )
            to.values.push_back( handValue( value ) );
      }
   }
   return all;
}

/// Of a value: kind, tag, then a U64 or a U32 length and octets, as the kind has it.
inline bool isNumber( std::uint8_t kind ) { return kind >= 2 && kind <= 4; }

class HandWriter {
public:
   explicit HandWriter( int fd ) : fd_( fd ), buffer_( 65536 ) {}

   void write( HandAnswer const& one ) {
      if ( buffer_.size() - used_ < 4096 )
         flush();
      put( one.number );
      put( one.kind );
      octets( one.station.data(), 6 );
      put( static_cast<std::uint32_t>( one.attributes.size() ) );
      for ( HandAttribute const& attribute : one.attributes ) {
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
   }
   void flush() {
      for ( std::size_t sent = 0; sent < used_; ) {
         ssize_t const n = ::write( fd_, buffer_.data() + sent, used_ - sent );
         require( n > 0, "write" );
         sent += static_cast<std::size_t>( n );
      }
      bytes_ += used_;
      used_ = 0;
   }
   std::size_t bytes() const { return bytes_; }

private:
   template<class U>
   void put( U value ) {
      value = Qel::NboAttrLog::Internal::networkOrder( value );
      octets( &value, sizeof value );
   }
   void octets( void const* from, std::size_t size ) {
      std::memcpy( buffer_.data() + used_, from, size );
      used_ += size;
   }
   int const fd_;
   std::vector<char> buffer_;
   std::size_t used_ = 0;
   std::size_t bytes_ = 0;
};

class HandReader {
public:
   explicit HandReader( int fd ) : fd_( fd ), buffer_( 262144 ) {}

   std::vector<HandAnswer> read( std::size_t count ) {
      std::vector<HandAnswer> all;
      while ( all.size() < count ) {
         std::size_t const mark = at_;
         HandAnswer one;
         if ( parse( one ) ) {
            all.push_back( std::move( one ) );
         } else {
            at_ = mark;
            more();
         }
      }
      return all;
   }

private:
   void more() {
      std::memmove( buffer_.data(), buffer_.data() + at_, end_ - at_ );
      end_ -= at_;
      at_ = 0;
      ssize_t const n = ::read( fd_, buffer_.data() + end_, buffer_.size() - end_ );
      require( n > 0, "read" );
      end_ += static_cast<std::size_t>( n );
   }
   bool parse( HandAnswer& one ) {
      std::uint32_t attributes = 0;
      if ( !get( one.number ) || !get( one.kind ) || !octets( one.station.data(), 6 ) ||
           !get( attributes ) )
         return false;
      one.attributes.resize( attributes );
      for ( HandAttribute& attribute : one.attributes ) {
         std::uint32_t values = 0;
         if ( !get( attribute.vendor ) || !get( attribute.type ) || !get( values ) )
            return false;
         attribute.values.resize( values );
         for ( HandValue& value : attribute.values )
            if ( !parse( value ) )
               return false;
      }
      return true;
   }
   bool parse( HandValue& value ) {
      if ( !get( value.kind ) || !get( value.tag ) )
         return false;
      if ( isNumber( value.kind ) )
         return get( value.number );
      std::uint32_t size = 0;
      if ( !get( size ) || end_ - at_ < size )
         return false;
      value.octets.assign( buffer_.data() + at_, size );
      at_ += size;
      return true;
   }
   template<class U>
   bool get( U& value ) {
      if ( !octets( &value, sizeof value ) )
         return false;
      value = Qel::NboAttrLog::Internal::networkOrder( value );
      return true;
   }
   bool octets( void* to, std::size_t size ) {
      if ( end_ - at_ < size )
         return false;
      std::memcpy( to, buffer_.data() + at_, size );
      at_ += size;
      return true;
   }
   int const fd_;
   std::vector<char> buffer_;
   std::size_t at_ = 0;
   std::size_t end_ = 0;
};

} // namespace Bench
