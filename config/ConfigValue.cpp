#include "config/ConfigValue.h"

#include <cstdint>
#include <string_view>
#include <vector>

#include <fmt/core.h>

#include "Varek/Failures.h"
#include "config/Suggestion.h"
#include "framework/records/TypeName.h"
#include "framework/records/Untyped.h"
#include "framework/text/Strep.h"

namespace Config {

using namespace Views;

namespace {

using Kind = JsonNode::Kind;
using Varek::Inspect::AtomicFnTable;

template<class T>
bool isA( AtomicFnTable const& table ) {
   return table.typeName == Qel::typeName<T>;
}

bool isWhole( AtomicFnTable const& table ) {
   return isA<std::uint8_t>( table ) || isA<std::uint16_t>( table ) ||
          isA<std::uint32_t>( table ) || isA<std::uint64_t>( table );
}

std::vector<std::string_view> enumeratorNames( AtomicFnTable const& table ) {
   std::vector<std::string_view> names;
   if ( Varek::TypeInspectData const* const type = table.registered() ) {
      for ( Varek::EnumeratorData const& one : type->enumerators ) {
         names.push_back( one.name );
      }
   }
   return names;
}

std::string wholeNumber( AtomicFnTable const& table ) {
   std::uint64_t const most = ~std::uint64_t{ 0 } >> ( 64 - 8 * table.size );
   return fmt::format( "a whole number of 0 to {}", most );
}

/// The expected value in words, for a fault with \p text; \p decoder are the words of its own type.
std::string expected( AtomicFnTable const& table, std::string_view text,
                      std::string const& decoder ) {
   if ( auto const names = enumeratorNames( table ); !names.empty() ) {
      return oneOf( text, names );
   }
   std::string const result = isOptional( table ) ? "null or " : "";
   return result + ( isWhole( table )                ? wholeNumber( table )
                     : isA<bool>( table )            ? "true or false"
                     : isA<Varek::String>( table )   ? "a text"
                     : isA<Varek::Duration>( table ) ? "a number of seconds, 0 or more, or \"inf\""
                     : decoder.empty() ? fmt::format( "a text that says a {}", table.typeName )
                                       : decoder );
}

/// A negative duration and NaN make no sense for any timer; and NaN, which is not equal to itself,
/// would differ from the stored value each time it is read.
bool isSensible( AtomicFnTable const& table, void const* value ) {
   return !isA<Varek::Duration>( table ) ||
          static_cast<Varek::Duration const*>( value )->count() >= 0;
}

/// Nothing if \p text is right; otherwise a description of the expected text.
std::optional<std::string> decode( AtomicFnTable const& table, std::string_view text,
                                   void* value ) {
   std::string decoder;
   try {
      table.decode( text, value );
      if ( isSensible( table, value ) ) {
         return {};
      }
   } catch ( Varek::TextError const& error ) {
      decoder = error.expected();
   } catch ( Varek::Failure const& error ) {
      decoder = fmt::format( "a {} ({})", table.typeName, error.what() );
   }
   return expected( table, text, decoder );
}

/// The kinds of JSON in which a value is written. All but numbers and truths are in quotes; a
/// number without quotes is taken for them too, since a user writes a VLAN as a number.
bool isFitting( AtomicFnTable const& table, JsonNode const& node ) {
   if ( isA<bool>( table ) ) {
      return node.kind == Kind::boolean;
   }
   if ( isWhole( table ) ) {
      return node.kind == Kind::number;
   }
   if ( isA<Varek::Duration>( table ) ) {
      return node.kind == Kind::number || ( node.kind == Kind::text && node.text == "inf" );
   }
   if ( node.kind == Kind::text ) {
      return true;
   }
   bool const numeric = enumeratorNames( table ).empty() && !isA<Varek::String>( table );
   return numeric &&
          ( node.kind == Kind::number || ( node.kind == Kind::boolean && isOptional( table ) ) );
}

bool readOctets( std::string_view hexadecimal, std::string& text ) {
   Varek::Bytes octets;
   try {
      Qel::CharRange range( hexadecimal );
      Qel::Strep::bytesRead( range, octets );
      range.expectEnd();
   } catch ( Varek::TextError const& ) {
      return false;
   }
   text = octets.view();
   return true;
}

bool readOctetsObject( JsonPlace const& at, void* value, Faults& faults ) {
   auto const& parts = at.node.parts;
   if ( parts.size() == 1 && parts[0].name == octetsName && parts[0].kind == Kind::text &&
        readOctets( parts[0].text, *static_cast<std::string*>( value ) ) ) {
      return true;
   }
   faults.unexpected( at, "a text, or {\"octets\": \"0x...\"} for one that is no UTF-8" );
   return false;
}

bool refuse( JsonPlace const& at, AtomicFnTable const& table, Faults& faults ) {
   faults.add( at, fmt::format( "a {} cannot be given in a file", table.typeName ) );
   return false;
}

} // namespace

bool readScalar( JsonPlace const& at, AtomicFnTable const& table, void* value, Faults& faults ) {
   JsonNode const& node = at.node;
   if ( !Qel::isSafelyReadable( table ) && node.kind != Kind::null ) {
      return refuse( at, table, faults );
   }
   if ( node.kind == Kind::null && isOptional( table ) ) {
      table.assign( value, Qel::UntypedValue( table ).get() );
      return true;
   }
   if ( node.kind == Kind::object && isA<Varek::String>( table ) ) {
      return readOctetsObject( at, value, faults );
   }
   bool const absent = node.text == Qel::absentWord && isOptional( table );
   Qel::UntypedValue const scratch( table );
   // The type is asked even for a node that is no single value: it says what it expects.
   auto const wrong = decode( table, absent ? std::string_view() : node.text, scratch.get() );
   if ( isFitting( table, node ) && !absent && !wrong ) {
      table.assign( value, scratch.get() );
      return true;
   }
   faults.unexpected( at, wrong ? *wrong : expected( table, node.text, {} ) );
   return false;
}

bool readKey( JsonPlace const& at, AtomicFnTable const& table, void* key, Faults& faults ) {
   if ( !Qel::isSafelyReadable( table ) ) {
      return refuse( at, table, faults );
   }
   std::string const& name = at.node.name;
   if ( isA<Varek::String>( table ) ) {
      std::string_view const prefix = octetsKey;
      if ( !name.starts_with( prefix ) ) {
         *static_cast<Varek::String*>( key ) = name;
         return true;
      }
      if ( readOctets( std::string_view( name ).substr( prefix.size() - 2 ),
                       *static_cast<std::string*>( key ) ) ) {
         return true;
      }
      faults.add( at, "not a key, expected two hexadecimal digits an octet" );
      return false;
   }
   if ( auto const wrong = decode( table, name, key ) ) {
      faults.add( at, "not a key, expected " + *wrong );
      return false;
   }
   return true;
}

} // namespace Config
