#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "Varek/ByteOrder.h"
#include "Varek/Export.h"
#include "Varek/Failures.h"
#include "Varek/FieldId.h"
#include "Varek/String.h"

/// The network-byte-order attribute log: the form in which state travels between processes and is
/// kept in files. Here are its frames, its writer and its reader; docs/attribute-log.md gives every
/// byte. framework/wire/WireForms.h has the forms of values, framework/wire/AttrLog.h the handling of
/// messages by types.
///
/// A writer asks for room for a message of exactly known size, fills it and commits it: nothing is
/// copied afterwards. A reader trusts nothing: each length is held against the bytes that are there
/// before anything is allocated.
namespace Qel::NboAttrLog {

/// The version of the forms, which is the same in all versions of the protocol so far.
struct Version {
   std::uint16_t number = 1;
};
inline constexpr Version currentVersion{};

/// The kind of a frame. The numbers are on the wire.
enum class FrameKind : std::uint8_t {
   attribute = 0,          ///< A value, an element, or under the negative of an id a removed key.
   transactionBegin = 1,   ///< The elements of a collection follow, all of them.
   transactionEnd = 2,     ///< That was the last of them.
   announce = 3,           ///< A child entity and its constructor parameters.
   root = 4,               ///< A named root entity and its constructor parameters.
   rootGone = 5,           ///< A root is no longer published.
   synced = 6,             ///< What was there when the stream began has been sent.
   keepAlive = 7,          ///< Nothing happened.
   hello = 8,              ///< Version and description, the first frame each way.
   refused = 9,            ///< Why the stream ends.
   transactionCancel = 10, ///< The elements under way are given up; they are begun anew.
   consistent = 11,        ///< What came since the last of these belongs together.
};

/// Counts and masks: 7 bits a byte, the lowest first; bit 7 says that there is another byte.
inline std::size_t varintSize( std::uint64_t value ) {
   return ( static_cast<std::size_t>( std::bit_width( value | 1 ) ) + 6 ) / 7;
}
inline std::uint8_t* putVarint( std::uint8_t* to, std::uint64_t value ) {
   for ( ; value >= 0x80; value >>= 7 ) {
      *to++ = static_cast<std::uint8_t>( value | 0x80 );
   }
   *to++ = static_cast<std::uint8_t>( value );
   return to;
}

/// The head of a frame, read or to be written:
///
///     byte 0   bits 0 to 3  kind
///              bit 4        same field as in the frame before: no field follows
///              bit 5        same entity as in the frame before: no entity follows
///              bits 6, 7    bytes of the length: 0 (no payload), 1, 2 or 4
///     4 bytes  entity, unless bit 5
///     2 bytes  field, unless bit 4
///     length of the payload
struct FrameHead {
   FrameKind kind = FrameKind::attribute;
   std::uint32_t entity = 0;
   Varek::FieldId field;
   std::uint32_t size = 0; ///< Of the payload.
};
inline constexpr std::size_t largestHead = 11;

/// Reads frame heads one after another: each may refer to the one before.
class VAREK_EXPORT FrameHeads {
public:
   /// Reads a head at the start of \p bytes into \p head and returns how many bytes it took, or 0
   /// if they do not suffice.
   std::size_t read( std::span<std::uint8_t const> bytes, FrameHead& head ) {
      // Most frames of a full sync have the head of two bytes.
      if ( bytes.size() >= 2 && ( bytes[0] & 0xF0 ) == 0x70 ) [[likely]] {
         head = { static_cast<FrameKind>( bytes[0] & 0x0F ), entity_, field_, bytes[1] };
         return 2;
      }
      return readInFull( bytes, head );
   }

private:
   std::size_t readInFull( std::span<std::uint8_t const> bytes, FrameHead& head );

   std::uint32_t entity_ = 0;
   Varek::FieldId field_;
};

/// The place of a fault in a stream: the type of the entity, its field, and the offset in bytes.
class VAREK_EXPORT AttrLogPlace {
public:
   AttrLogPlace( std::string_view type, Varek::FieldId field, std::uint64_t offset )
      : type_( type ), field_( field ), offset_( offset ) {}
   std::string const& type() const { return type_; }
   Varek::FieldId field() const { return field_; }
   std::uint64_t offset() const { return offset_; }

private:
   std::string type_;
   Varek::FieldId field_;
   std::uint64_t offset_;
};

/// A message is too short or too long for its field, or has a value that the type does not allow.
/// what() gives the place and the fault.
class VAREK_EXPORT AttrLogError : public Varek::Failure, public AttrLogPlace {
public:
   AttrLogError( AttrLogPlace const& place, std::string_view fault );
   ~AttrLogError() override;
   /// What is wrong, without the place.
   std::string const& fault() const { return fault_; }

private:
   std::string fault_;
};

/// A count of elements that the rest of the message cannot hold; what() is "vector::reserve".
class VAREK_EXPORT AttrLogLengthError : public std::length_error, public AttrLogPlace {
public:
   explicit AttrLogLengthError( AttrLogPlace const& place );
   ~AttrLogLengthError() override;
};

/// A message is larger than a frame may be. what() gives its type and attribute, its size and the
/// limit.
class VAREK_EXPORT FrameTooLarge : public Varek::Failure {
public:
   FrameTooLarge( Varek::FieldId field, std::size_t size, std::size_t limit );
   ~FrameTooLarge() override;
   /// Only the first call has an effect: it comes from the innermost attribute.
   void ownerIs( std::string_view type, std::string_view attribute );
   char const* what() const noexcept override;
   std::size_t size() const { return size_; }
   std::size_t limit() const { return limit_; }

private:
   Varek::FieldId field_;
   std::size_t size_;
   std::size_t limit_;
   std::string text_; // in place of the base's, once the owner is known
};

/// Writes messages. Where their bytes go, and whether there is room, is its derived classes'.
class VAREK_EXPORT Out {
public:
   Out( Out const& ) = delete;
   Out& operator=( Out const& ) = delete;

   /// The largest payload that a frame can have.
   static constexpr std::size_t largestPayload = 0xFFFFFFFF - largestHead;

   /// Reserves room for a frame that is of no entity: it refers to the frame before, so that the next
   /// may do so too.
   bool outSmReserveAside( FrameKind kind, std::size_t size ) {
      return entity_ == noEntity
                ? outSmReserveMessage( kind, 0, {}, size )
                : outSmReserveMessage( kind, static_cast<std::uint32_t>( entity_ ), field_, size );
   }
   /// Reserves room for a frame with \p size bytes of payload and writes its head. False, with
   /// nothing done, when it cannot go out now: the stream is flow-controlled. Throws FrameTooLarge,
   /// with nothing done, when it can never go out.
   bool outSmReserveMessage( FrameKind kind, std::uint32_t entity, Varek::FieldId field,
                             std::size_t size ) {
      // In a run of elements the head has two bytes.
      if ( entity == entity_ && field == field_ && size - 1 < 0xFF &&
           size + largestHead <= static_cast<std::size_t>( freeEnd_ - free_ ) ) [[likely]] {
         free_[0] = static_cast<std::uint8_t>( static_cast<unsigned>( kind ) | 0x70 );
         free_[1] = static_cast<std::uint8_t>( size );
         at_ = free_ + 2;
         free_ = end_ = at_ + size;
         return true;
      }
      return reserveInFull( kind, entity, field, size );
   }
   /// Where the next byte of the payload goes; the bytes up to the reserved size may be written
   /// through it, and cursorIs() says how far that went.
   std::uint8_t* cursor() const { return at_; }
   void cursorIs( std::uint8_t* cursor ) {
      VAREK_ASSERT( cursor <= end_, cursor - end_ );
      at_ = cursor;
   }
   /// Ends the frame; its payload must have just the size that was reserved.
   void outSmCommitMessage() { outSmCommitMessage( at_ ); }
   void outSmCommitMessage( std::uint8_t* cursor ) {
      VAREK_ASSERT( cursor == end_, cursor - end_ );
      at_ = cursor;
      ++messages_;
   }

   void put8( std::uint8_t value ) { put( value ); }
   void put16( std::uint16_t value ) { put( value ); }
   void put32( std::uint32_t value ) { put( value ); }
   void put64( std::uint64_t value ) { put( value ); }
   void putOctets( void const* octets, std::size_t size ) {
      std::uint8_t* const to = take( size );
      if ( size != 0 ) {
         std::memcpy( to, octets, size );
      }
   }

   /// Whether a frame has been begun and not been ended.
   bool withinFrame() const { return at_ != end_; }
   /// The number of committed frames.
   std::uint64_t messages() const { return messages_; }

protected:
   Out() = default;
   virtual ~Out() = default;

   /// Room for \p size contiguous bytes; null if they cannot go out now.
   virtual std::uint8_t* room( std::size_t size ) = 0;
   /// The largest payload that is taken from now on; small payloads are always taken.
   void payloadLimitIs( std::size_t limit ) {
      payloadLimit_ = limit < largestPayload ? limit : largestPayload;
   }
   /// The next frame names its entity and its field in full.
   void forgetLast() { entity_ = noEntity; }
   /// Forgets a frame that was begun; the next frame then names its entity and field in full.
   void forgetFrame() {
      forgetLast();
      at_ = end_;
   }

   // The unused rest of the current storage; room() may replace it.
   std::uint8_t* free_ = nullptr;
   std::uint8_t* freeEnd_ = nullptr;

private:
   bool reserveInFull( FrameKind kind, std::uint32_t entity, Varek::FieldId field,
                       std::size_t size );

   static constexpr std::uint64_t noEntity = ~std::uint64_t{ 0 };

   std::uint8_t* take( std::size_t size ) {
      VAREK_ASSERT( size <= static_cast<std::size_t>( end_ - at_ ), size, end_ - at_ );
      return std::exchange( at_, at_ + size );
   }
   template<class U>
   void put( U value ) {
      Varek::putBigEndian( take( sizeof value ), value );
   }

   std::uint8_t* at_ = nullptr;
   std::uint8_t* end_ = nullptr;
   std::uint64_t messages_ = 0;
   std::uint64_t entity_ = noEntity;
   std::size_t payloadLimit_ = largestPayload;
   Varek::FieldId field_;
};

/// An Out into memory that grows as needed.
class VAREK_EXPORT OutBuffer final : public Out {
public:
   OutBuffer();
   ~OutBuffer() override;
   std::span<std::uint8_t const> bytes() const;
   void clear();

private:
   std::uint8_t* room( std::size_t size ) override;
   std::vector<std::uint8_t> storage_;
};

/// Reads the payload of one message.
class VAREK_EXPORT In {
public:
   /// \p offset is the position of the payload in the stream, in bytes, for errors.
   explicit In( std::span<std::uint8_t const> payload, std::uint64_t offset = 0 )
      : begin_( payload.data() ), at_( payload.data() ), end_( payload.data() + payload.size() ),
        offset_( offset ) {}

   /// The type and field of the message, for errors. \p type must outlive the reader.
   void contextIs( std::string_view type, Varek::FieldId field ) {
      type_ = type;
      field_ = field;
   }

   std::uint8_t get8() { return get<std::uint8_t>(); }
   std::uint16_t get16() { return get<std::uint16_t>(); }
   std::uint32_t get32() { return get<std::uint32_t>(); }
   std::uint64_t get64() { return get<std::uint64_t>(); }
   std::uint8_t const* getOctets( std::size_t size ) {
      if ( size > left() ) [[unlikely]] {
         failShort( size );
      }
      return std::exchange( at_, at_ + size );
   }
   /// A 32-bit count of elements of at least \p least bytes each. Throws AttrLogLengthError if what
   /// is left cannot hold so many.
   std::uint32_t getCount( std::size_t least ) {
      std::uint32_t const count = get32();
      if ( count > left() / least ) [[unlikely]] {
         failCount();
      }
      return count;
   }

   /// See varintSize(). Throws AttrLogError for a number of more than 64 bits.
   std::uint64_t getVarint() {
      if ( at_ != end_ && *at_ < 0x80 ) [[likely]] {
         return *at_++;
      }
      return getLongVarint();
   }
   /// A reader of the next \p size bytes, in which several values follow each other.
   In part( std::uint64_t size ) {
      In made( *this );
      made.moreFollow_ = true;
      made.end_ = at_ + left( size );
      at_ = made.end_;
      return made;
   }
   /// From now on other values follow the one that is read: expectEnd() is for one that is alone.
   void moreFollow() { moreFollow_ = true; }

   std::size_t left() const { return static_cast<std::size_t>( end_ - at_ ); }
   std::uint64_t offset() const { return offset_ + static_cast<std::uint64_t>( at_ - begin_ ); }

   /// Throws unless everything has been read.
   void expectEnd() const {
      if ( at_ != end_ && !moreFollow_ ) [[unlikely]] {
         failLong();
      }
   }
   /// The same where several values follow each other: that was the last of them.
   void expectLast() const {
      if ( at_ != end_ ) [[unlikely]] {
         failLong();
      }
   }
   /// Throws AttrLogError; \p fault says what is wrong with the bytes just read.
   [[noreturn]] void fail( std::string_view fault ) const;
   /// The same of a count of elements that what is left cannot hold.
   [[noreturn]] void failCount() const;
   /// The same of a boolean that is \p byte.
   [[noreturn]] void failBoolean( std::uint8_t byte ) const;

private:
   std::uint64_t getLongVarint();
   /// \p size, if so many bytes are left; fails otherwise.
   std::size_t left( std::uint64_t size ) const {
      if ( size > left() ) [[unlikely]] {
         failShort( static_cast<std::size_t>( size ) );
      }
      return static_cast<std::size_t>( size );
   }
   [[noreturn]] void failShort( std::size_t wanted ) const;
   [[noreturn]] void failLong() const;

   template<class U>
   U get() {
      return Varek::getBigEndian<U>( getOctets( sizeof( U ) ) );
   }

   std::uint8_t const* begin_;
   std::uint8_t const* at_;
   std::uint8_t const* end_;
   std::uint64_t offset_;
   std::string_view type_;
   Varek::FieldId field_;
   bool moreFollow_ = false;
};

} // namespace Qel::NboAttrLog
