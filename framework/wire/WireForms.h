#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Qel/HashMap2018.h"
#include "Qel/NboAttrLog.h"
#include "Varek/ByteOrder.h"
#include "Varek/String.h"
#include "framework/records/TypeName.h"

/// The forms of values in the attribute log: a specialisation of Wire for each type, found at
/// compile time. All numbers are big-endian.
///
/// | type                        | form                                                       |
/// |-----------------------------|------------------------------------------------------------|
/// | bool                        | 1 byte, 0 or 1                                             |
/// | U8, U16, U32, U64           | 1, 2, 4, 8 bytes                                           |
/// | enumeration                 | 4 bytes, whatever its width in memory                      |
/// | Varek::Duration             | 8 bytes, IEEE 754 binary64, seconds                        |
/// | Varek::String, Varek::Bytes | U32 length, the bytes                                      |
/// | optional                    | bool, then the value if true                               |
/// | sequence, set in a value    | U32 count, then each                                       |
/// | fixed array                 | each                                                       |
/// | value type                  | its stored fields in id order                              |
///
/// A type of another room brings its own specialisation, as those of forms/ do.
namespace Qel {

namespace NboAttrLog {}

/// Size, writing and reading of a \p T. `least` is the smallest size and `size` the exact size.
/// `put` writes that many bytes, into room that is there, and returns where the next byte goes.
/// `read` may leave its target in part changed when it throws. `form` is a short text; types whose
/// bytes mean different things have different forms, which two processes compare before they talk.
template<class T>
struct Wire;

/// Appends \p part to the form \p text.
VAREK_EXPORT void formAppend( Varek::String& text, std::string_view part );

namespace Internal {

/// A form of always the same size.
template<std::size_t bytes>
struct FixedWire {
   static constexpr std::size_t least = bytes;
   template<class T>
   static constexpr std::size_t size( T const& ) {
      return bytes;
   }
};

template<std::size_t bytes>
using UnsignedOf = std::conditional_t<
   bytes == 1, std::uint8_t,
   std::conditional_t<bytes == 2, std::uint16_t,
                      std::conditional_t<bytes == 4, std::uint32_t, std::uint64_t>>>;

/// Most texts are short: then two moves that may overlap are cheaper than a call.
inline void copyOctets( std::uint8_t* to, std::uint8_t const* from, std::size_t size ) {
   auto const twice = [&]<class Word>( Word ) {
      Word head, tail;
      std::memcpy( &head, from, sizeof head );
      std::memcpy( &tail, from + size - sizeof tail, sizeof tail );
      std::memcpy( to, &head, sizeof head );
      std::memcpy( to + size - sizeof tail, &tail, sizeof tail );
   };
   if ( size > 16 ) {
      std::memcpy( to, from, size );
   } else if ( size >= 8 ) {
      twice( std::uint64_t{} );
   } else if ( size >= 4 ) {
      twice( std::uint32_t{} );
   } else {
      for ( ; size > 0; --size ) {
         *to++ = *from++;
      }
   }
}
inline std::uint8_t* putOctets( std::uint8_t* to, void const* octets, std::size_t size ) {
   copyOctets( to, static_cast<std::uint8_t const*>( octets ), size );
   return to + size;
}

template<class U>
U getUnsigned( NboAttrLog::In& in ) {
   if constexpr ( sizeof( U ) == 1 ) {
      return in.get8();
   } else if constexpr ( sizeof( U ) == 2 ) {
      return in.get16();
   } else if constexpr ( sizeof( U ) == 4 ) {
      return in.get32();
   } else {
      return in.get64();
   }
}

} // namespace Internal

template<>
struct Wire<bool> : Internal::FixedWire<1> {
   static std::uint8_t* put( std::uint8_t* to, bool v ) {
      *to = v;
      return to + 1;
   }
   static void read( NboAttrLog::In& in, bool& v ) {
      std::uint8_t const byte = in.get8();
      if ( byte > 1 ) [[unlikely]] {
         in.failBoolean( byte );
      }
      v = byte != 0;
   }
   static void form( Varek::String& text ) { formAppend( text, "bool" ); }
};

template<std::unsigned_integral T>
struct Wire<T> : Internal::FixedWire<sizeof( T )> {
   using U = Internal::UnsignedOf<sizeof( T )>;
   static std::uint8_t* put( std::uint8_t* to, T v ) {
      return Varek::putBigEndian( to, static_cast<U>( v ) );
   }
   static void read( NboAttrLog::In& in, T& v ) { v = Internal::getUnsigned<U>( in ); }
   static void form( Varek::String& text ) {
      formAppend( text, sizeof( T ) == 1   ? "U8"
                        : sizeof( T ) == 2 ? "U16"
                        : sizeof( T ) == 4 ? "U32"
                                           : "U64" );
   }
};

template<class T>
   requires std::is_enum_v<T>
struct Wire<T> : Internal::FixedWire<4> {
   static std::uint8_t* put( std::uint8_t* to, T v ) {
      return Varek::putBigEndian( to, static_cast<std::uint32_t>( v ) );
   }
   // A value that is no enumerator is kept: a newer peer may know it.
   static void read( NboAttrLog::In& in, T& v ) {
      v = static_cast<T>( static_cast<std::underlying_type_t<T>>( in.get32() ) );
   }
   static void form( Varek::String& text ) { formAppend( text, typeName<T> ); }
};

template<>
struct Wire<Varek::Duration> : Internal::FixedWire<8> {
   static std::uint8_t* put( std::uint8_t* to, Varek::Duration v ) {
      return Varek::putBigEndian( to, std::bit_cast<std::uint64_t>( v.count() ) );
   }
   static void read( NboAttrLog::In& in, Varek::Duration& v ) {
      v = Varek::Duration( std::bit_cast<double>( in.get64() ) );
   }
   static void form( Varek::String& text ) { formAppend( text, "Duration" ); }
};

template<>
struct Wire<Varek::String> {
   static constexpr std::size_t least = 4;
   static std::size_t size( Varek::String const& v ) { return 4 + v.size(); }
   static std::uint8_t* put( std::uint8_t* to, Varek::String const& v ) {
      to = Varek::putBigEndian( to, static_cast<std::uint32_t>( v.size() ) );
      return Internal::putOctets( to, v.data(), v.size() );
   }
   static void read( NboAttrLog::In& in, Varek::String& v ) {
      std::uint32_t const length = in.get32();
      v.assign( reinterpret_cast<char const*>( in.getOctets( length ) ), length );
   }
   static void form( Varek::String& text ) { formAppend( text, "String" ); }
};

template<>
struct Wire<Varek::Bytes> {
   static constexpr std::size_t least = 4;
   static std::size_t size( Varek::Bytes const& v ) { return 4 + v.size(); }
   static std::uint8_t* put( std::uint8_t* to, Varek::Bytes const& v ) {
      to = Varek::putBigEndian( to, static_cast<std::uint32_t>( v.size() ) );
      return Internal::putOctets( to, v.data(), v.size() );
   }
   static void read( NboAttrLog::In& in, Varek::Bytes& v ) {
      std::uint32_t const length = in.get32();
      v = Varek::Bytes( in.getOctets( length ), length );
   }
   static void form( Varek::String& text ) { formAppend( text, "Bytes" ); }
};

template<class T>
struct Wire<std::optional<T>> {
   static constexpr std::size_t least = 1;
   static std::size_t size( std::optional<T> const& v ) {
      return 1 + ( v ? Wire<T>::size( *v ) : 0 );
   }
   static std::uint8_t* put( std::uint8_t* to, std::optional<T> const& v ) {
      to = Wire<bool>::put( to, v.has_value() );
      return v ? Wire<T>::put( to, *v ) : to;
   }
   static void read( NboAttrLog::In& in, std::optional<T>& v ) {
      bool present;
      Wire<bool>::read( in, present );
      v.reset();
      if ( present ) {
         Wire<T>::read( in, v.emplace() );
      }
   }
   static void form( Varek::String& text ) {
      formAppend( text, "?" );
      Wire<T>::form( text );
   }
};

namespace Internal {

template<class Several>
std::size_t sizeOfAll( Several const& several ) {
   std::size_t total = 0;
   for ( auto const& one : several ) {
      total += Wire<typename Several::value_type>::size( one );
   }
   return total;
}
template<class Several>
std::uint8_t* putAll( std::uint8_t* to, Several const& several ) {
   for ( auto const& one : several ) {
      to = Wire<typename Several::value_type>::put( to, one );
   }
   return to;
}

} // namespace Internal

template<class T, class A>
struct Wire<std::vector<T, A>> {
   static constexpr std::size_t least = 4;
   static std::size_t size( std::vector<T, A> const& v ) { return 4 + Internal::sizeOfAll( v ); }
   static std::uint8_t* put( std::uint8_t* to, std::vector<T, A> const& v ) {
      return Internal::putAll( Varek::putBigEndian( to, static_cast<std::uint32_t>( v.size() ) ),
                               v );
   }
   static void read( NboAttrLog::In& in, std::vector<T, A>& v ) {
      std::uint32_t const count = in.getCount( Wire<T>::least );
      v.clear();
      // Beyond this the storage grows as the elements come, whatever the count promises.
      v.reserve( std::min<std::uint32_t>( count, 1024 ) );
      for ( std::uint32_t i = 0; i < count; ++i ) {
         if constexpr ( requires { Wire<T>::append( in, v ); } ) {
            Wire<T>::append( in, v );
         } else {
            Wire<T>::read( in, v.emplace_back() );
         }
      }
   }
   static void form( Varek::String& text ) {
      formAppend( text, "*" );
      Wire<T>::form( text );
   }
};

template<class T, std::size_t count>
struct Wire<std::array<T, count>> {
   static constexpr std::size_t least = count * Wire<T>::least;
   static std::size_t size( std::array<T, count> const& v ) { return Internal::sizeOfAll( v ); }
   static std::uint8_t* put( std::uint8_t* to, std::array<T, count> const& v ) {
      return Internal::putAll( to, v );
   }
   static void read( NboAttrLog::In& in, std::array<T, count>& v ) {
      for ( T& one : v ) {
         Wire<T>::read( in, one );
      }
   }
   static void form( Varek::String& text ) {
      formAppend( text, std::to_string( count ) + '*' );
      Wire<T>::form( text );
   }
};

/// A set inside a value.
template<class T, std::uint32_t salt>
struct Wire<HashMap2018<T, MemberKeyFunktor<T>, salt>> {
   using Set = HashMap2018<T, MemberKeyFunktor<T>, salt>;
   static constexpr std::size_t least = 4;
   static std::size_t size( Set const& v ) { return 4 + Internal::sizeOfAll( v ); }
   static std::uint8_t* put( std::uint8_t* to, Set const& v ) {
      return Internal::putAll( Varek::putBigEndian( to, static_cast<std::uint32_t>( v.size() ) ),
                               v );
   }
   static void read( NboAttrLog::In& in, Set& v ) {
      v.memberDelAll();
      for ( std::uint32_t count = in.getCount( Wire<T>::least ); count > 0; --count ) {
         // A repeated member adds nothing: 257 in a one-byte enumeration is 1.
         T member{};
         Wire<T>::read( in, member );
         v.findOrNewMemberG( member, member );
      }
   }
   static void form( Varek::String& text ) {
      formAppend( text, "#" );
      Wire<T>::form( text );
   }
};

namespace NboAttrLog {

/// A type with a form in the attribute log.
template<class T>
concept Logged = requires( T const& value, std::uint8_t* to ) {
   { Wire<T>::size( value ) } -> std::convertible_to<std::size_t>;
   { Wire<T>::put( to, value ) } -> std::same_as<std::uint8_t*>;
};

/// The exact number of bytes that \p value takes.
template<Logged T>
std::size_t attrLogSize( Version, T const& value ) {
   return Wire<T>::size( value );
}

template<Logged T>
Out& operator<<( Out& out, T const& value ) {
   out.cursorIs( Wire<T>::put( out.cursor(), value ) );
   return out;
}

/// Reads the next value. Inlined, so that the value is constructed in place and a moved value
/// leaves nothing to destroy.
template<Logged T>
[[gnu::always_inline]] inline T valueOf( In& in ) {
   T value{};
   Wire<T>::read( in, value );
   return value;
}

} // namespace NboAttrLog

} // namespace Qel
