#include "Qel/NboAttrLog.h"

#include <algorithm>

namespace Qel::NboAttrLog {

namespace {

using Varek::getBigEndian;
using Varek::putBigEndian;

constexpr unsigned sameField = 0x10;
constexpr unsigned sameEntity = 0x20;
constexpr unsigned lengthShift = 6;
constexpr std::size_t lengthBytes[] = { 0, 1, 2, 4 };

constexpr unsigned lengthForm( std::size_t size ) {
   return size == 0 ? 0 : size <= 0xFF ? 1 : size <= 0xFFFF ? 2 : 3;
}

std::uint32_t getLength( std::uint8_t const* from, unsigned form ) {
   switch ( form ) {
   case 0:
      return 0;
   case 1:
      return *from;
   case 2:
      return getBigEndian<std::uint16_t>( from );
   default:
      return getBigEndian<std::uint32_t>( from );
   }
}

std::string where( AttrLogPlace const& place, std::string_view fault ) {
   std::string text = place.type().empty() ? "message" : place.type();
   text += ", field " + std::to_string( place.field().value() );
   text += ", offset " + std::to_string( place.offset() );
   return text.append( ": " ).append( fault );
}

} // namespace

AttrLogError::AttrLogError( AttrLogPlace const& place, std::string_view fault )
   : Failure( where( place, fault ) ), AttrLogPlace( place ), fault_( fault ) {}
AttrLogError::~AttrLogError() = default;

AttrLogLengthError::AttrLogLengthError( AttrLogPlace const& place )
   : std::length_error( "vector::reserve" ), AttrLogPlace( place ) {}
AttrLogLengthError::~AttrLogLengthError() = default;

namespace {

std::string tooLarge( std::string_view who, std::size_t size, std::size_t limit ) {
   return std::string( who ) + " takes " + std::to_string( size ) + " bytes; a frame holds " +
          std::to_string( limit ) + " at most";
}

} // namespace

FrameTooLarge::FrameTooLarge( Varek::FieldId field, std::size_t size, std::size_t limit )
   : Failure( tooLarge( "field " + std::to_string( field.value() ), size, limit ) ),
     field_( field ), size_( size ), limit_( limit ) {}
FrameTooLarge::~FrameTooLarge() = default;

void FrameTooLarge::ownerIs( std::string_view type, std::string_view attribute ) {
   if ( !text_.empty() ) {
      return;
   }
   std::string who( type );
   who.append( ", field " ).append( std::to_string( field_.value() ) );
   who.append( " (" ).append( attribute ).append( ")" );
   text_ = tooLarge( who, size_, limit_ );
}
char const* FrameTooLarge::what() const noexcept {
   return text_.empty() ? Failure::what() : text_.c_str();
}

std::size_t FrameHeads::readInFull( std::span<std::uint8_t const> bytes, FrameHead& head ) {
   if ( bytes.empty() ) {
      return 0;
   }
   unsigned const first = bytes[0];
   std::size_t const entityBytes = first & sameEntity ? 0 : 4;
   std::size_t const fieldBytes = first & sameField ? 0 : 2;
   unsigned const form = first >> lengthShift;
   std::size_t const whole = 1 + entityBytes + fieldBytes + lengthBytes[form];
   if ( bytes.size() < whole ) {
      return 0;
   }
   std::uint8_t const* at = bytes.data() + 1;
   if ( entityBytes ) {
      entity_ = getBigEndian<std::uint32_t>( at );
   }
   at += entityBytes;
   if ( fieldBytes ) {
      field_ = getBigEndian<std::uint16_t>( at );
   }
   at += fieldBytes;
   head = { static_cast<FrameKind>( first & 0x0F ), entity_, field_, getLength( at, form ) };
   return whole;
}

bool Out::reserveInFull( FrameKind kind, std::uint32_t entity, Varek::FieldId field,
                         std::size_t size ) {
   if ( size > payloadLimit_ ) [[unlikely]] {
      throw FrameTooLarge( field, size, payloadLimit_ );
   }
   std::size_t const whole = largestHead + size;
   std::uint8_t* to = free_;
   if ( whole > static_cast<std::size_t>( freeEnd_ - free_ ) || !to ) [[unlikely]] {
      to = room( whole );
      if ( !to ) {
         return false;
      }
   }
   unsigned const form = lengthForm( size );
   bool const namesEntity = entity != entity_;
   bool const namesField = namesEntity || field != field_;
   std::uint8_t* at = to + 1;
   *to = static_cast<std::uint8_t>( static_cast<unsigned>( kind ) | form << lengthShift |
                                    ( namesEntity ? 0 : sameEntity ) |
                                    ( namesField ? 0 : sameField ) );
   // There is room for the largest head: each part is written whole, without a question, and what
   // follows begins where so much of it ends as is needed.
   putBigEndian( at, entity );
   at += namesEntity ? 4 : 0;
   putBigEndian( at, field.value() );
   at += namesField ? 2 : 0;
   putBigEndian( at, static_cast<std::uint32_t>( size << ( 32 - 8 * lengthBytes[form] ) % 32 ) );
   at += lengthBytes[form];
   entity_ = entity;
   field_ = field;
   at_ = at;
   end_ = at + size;
   free_ = end_;
   return true;
}

OutBuffer::OutBuffer() = default;
OutBuffer::~OutBuffer() = default;

std::span<std::uint8_t const> OutBuffer::bytes() const {
   return { storage_.data(), static_cast<std::size_t>( free_ - storage_.data() ) };
}

void OutBuffer::clear() {
   free_ = storage_.data();
   forgetLast();
}

std::uint8_t* OutBuffer::room( std::size_t size ) {
   auto const used = static_cast<std::size_t>( free_ - storage_.data() );
   storage_.resize( std::max( storage_.size() * 2, used + size ) );
   free_ = storage_.data() + used;
   freeEnd_ = storage_.data() + storage_.size();
   return free_;
}

void In::fail( std::string_view fault ) const {
   throw AttrLogError( { type_, field_, offset() }, fault );
}
void In::failBoolean( std::uint8_t byte ) const {
   fail( "a boolean is 0 or 1, not " + std::to_string( byte ) );
}

std::uint64_t In::getLongVarint() {
   std::uint64_t value = 0;
   for ( unsigned shift = 0; shift < 64; shift += 7 ) {
      std::uint8_t const byte = get8();
      value |= std::uint64_t{ byte & 0x7FU } << shift;
      if ( byte < 0x80 && ( shift < 63 || byte <= 1 ) ) {
         return value;
      }
   }
   fail( "a number of more than 64 bits" );
}

void In::failShort( std::size_t wanted ) const {
   fail( "the message ends here; " + std::to_string( wanted ) + " bytes were to come, " +
         std::to_string( left() ) + " are left" );
}
void In::failLong() const {
   fail( "the message should end here; " + std::to_string( left() ) + " bytes are left" );
}
void In::failCount() const { throw AttrLogLengthError( { type_, field_, offset() } ); }

} // namespace Qel::NboAttrLog
