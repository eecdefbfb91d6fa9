#include "Lumo/IntfId.h"

#include <cstddef>
#include <iterator>
#include <ostream>
#include <string>

#include "Lumo/TextCursor.h"

namespace Lumo {

namespace {

/// The spelling of the names of a kind.
struct Kind {
   std::string_view name;
   unsigned leastNumbers;
   unsigned mostNumbers;
   bool subInterface;
   char separators[2]; ///< Before the second and the third number.
};

/// The kinds from number 1 on.
constexpr Kind kinds[] = {
   { "Ethernet", 1, 3, true, { '/', '/' } },
   { "Port-Channel", 1, 1, true, {} },
   { "Vlan", 1, 1, false, {} },
   { "Management", 1, 2, false, { '/' } },
   { "Loopback", 1, 1, false, {} },
   { "Tunnel", 1, 1, false, {} },
   { "eth", 1, 1, true, {} },
   { "lo", 0, 0, false, {} },
   { "bond", 1, 1, true, {} },
   { "br", 1, 1, false, {} },
   { "vlan", 1, 1, false, {} },
   { "veth", 1, 1, false, {} },
   { "wlan", 1, 1, true, {} },
   { "eno", 1, 1, true, {} },
   { "ens", 1, 2, true, { 'f' } },
   { "enp", 2, 3, true, { 's', 'f' } },
};

/// A field of the word.
struct Field {
   unsigned shift;
   unsigned width;

   constexpr std::uint64_t mask() const { return ( std::uint64_t{ 1 } << width ) - 1; }
   /// The largest number that fits: a field holds the number plus one.
   constexpr std::uint64_t largest() const { return mask() - 1; }
   constexpr std::uint64_t get( std::uint64_t word ) const { return word >> shift & mask(); }
};

constexpr Field kindField{ 56, 8 };
constexpr Field numberFields[] = { { 36, 20 }, { 26, 10 }, { 16, 10 } };
constexpr Field subInterfaceField{ 0, 16 };

std::string kindNames() {
   std::string names;
   for ( Kind const& kind : kinds ) {
      names += ( names.empty() ? "" : ", " ) + std::string( kind.name );
   }
   return names;
}

/// Reads a kind, up to the first digit of the name's first number, and returns the kind's number.
std::size_t readKind( TextCursor& cursor ) {
   std::string_view const name = cursor.rest();
   std::string_view const kindName = name.substr( 0, name.find_first_of( "0123456789" ) );
   for ( std::size_t i = 0; i < std::size( kinds ); ++i ) {
      if ( kinds[i].name == kindName ) {
         cursor.take( kindName );
         return i + 1;
      }
   }
   cursor.fail( "the name of an interface, of one of the kinds " + kindNames() );
}

std::uint64_t readField( TextCursor& cursor, Field field ) {
   std::uint64_t const number =
      cursor.decimal( field.largest(), "a number of at most " + std::to_string( field.largest() ) +
                                          " without leading zeros" );
   return ( number + 1 ) << field.shift;
}

std::string restOf( Kind const& kind ) {
   std::string const name( kind.name );
   if ( kind.mostNumbers == 0 ) {
      return "nothing after " + name;
   }
   std::string const most = std::to_string( kind.mostNumbers );
   return "the end of the name (" + name + " has at most " + most +
          ( kind.mostNumbers == 1 ? " number" : " numbers" ) +
          ( kind.subInterface ? " and a sub-interface)" : " and no sub-interface)" );
}

std::uint64_t readName( TextCursor& cursor ) {
   std::size_t const kindNumber = readKind( cursor );
   Kind const& kind = kinds[kindNumber - 1];
   std::uint64_t word = static_cast<std::uint64_t>( kindNumber ) << kindField.shift;
   for ( unsigned i = 0; i < kind.mostNumbers; ++i ) {
      if ( i != 0 && !cursor.take( kind.separators[i - 1] ) ) {
         if ( i < kind.leastNumbers ) {
            cursor.fail( "'" + std::string( 1, kind.separators[i - 1] ) + "' and a number" );
         }
         break;
      }
      word |= readField( cursor, numberFields[i] );
   }
   if ( kind.subInterface && cursor.take( '.' ) ) {
      word |= readField( cursor, subInterfaceField );
   }
   cursor.end( restOf( kind ) );
   return word;
}

/// The name that gives \p word; empty if no name does.
std::string nameOf( std::uint64_t word ) {
   std::uint64_t const kindNumber = kindField.get( word );
   if ( kindNumber == 0 || kindNumber > std::size( kinds ) ) {
      return {};
   }
   Kind const& kind = kinds[kindNumber - 1];
   std::string name( kind.name );
   unsigned numbers = 0;
   for ( unsigned i = 0; i < std::size( numberFields ); ++i ) {
      std::uint64_t const field = numberFields[i].get( word );
      if ( field == 0 ) {
         continue;
      }
      if ( numbers != i || i >= kind.mostNumbers ) {
         return {};
      }
      if ( i != 0 ) {
         name += kind.separators[i - 1];
      }
      name += std::to_string( field - 1 );
      ++numbers;
   }
   if ( numbers < kind.leastNumbers ) {
      return {};
   }
   if ( std::uint64_t const field = subInterfaceField.get( word ) ) {
      if ( !kind.subInterface ) {
         return {};
      }
      name += "." + std::to_string( field - 1 );
   }
   return name;
}

constexpr std::string_view rawPrefix = "IntfId(0x";

std::string rawText( std::uint64_t word ) {
   std::string text( rawPrefix );
   for ( int shift = 60; shift >= 0; shift -= 4 ) {
      text += "0123456789abcdef"[word >> shift & 0xF];
   }
   return text + ')';
}

std::uint64_t readRaw( TextCursor& cursor ) {
   constexpr std::string_view expected =
      "16 lower-case hexadecimal digits and ')', of a word without a name";
   std::string_view const digits = cursor.rest();
   std::uint64_t word = 0;
   for ( int i = 0; i < 16; ++i ) {
      word = word << 4 | cursor.hexDigit( expected );
   }
   if ( !cursor.take( ')' ) ) {
      cursor.fail( expected );
   }
   cursor.end( expected );
   if ( word == 0 || !nameOf( word ).empty() || !rawText( word ).ends_with( digits ) ) {
      cursor.back( rawPrefix.size() );
      cursor.fail( expected );
   }
   return word;
}

} // namespace

IntfId::IntfId( std::string_view name ) {
   TextCursor cursor( name );
   if ( name.empty() ) {
      return;
   }
   value_ = cursor.take( rawPrefix ) ? readRaw( cursor ) : readName( cursor );
}

Varek::String stringValue( IntfId id ) {
   if ( id.value() == 0 ) {
      return {};
   }
   Varek::String const name = nameOf( id.value() );
   return name.empty() ? rawText( id.value() ) : name;
}

std::ostream& operator<<( std::ostream& out, IntfId id ) { return out << stringValue( id ); }

} // namespace Lumo
