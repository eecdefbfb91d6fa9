#include "config/InterfaceRange.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <unordered_set>

#include "Varek/Failures.h"

namespace Config {

namespace {

using Number = std::uint64_t;

bool isDigit( char c ) { return c >= '0' && c <= '9'; }

std::size_t digitsAtEnd( std::string_view text ) {
   auto const last = std::find_if_not( text.rbegin(), text.rend(), isDigit );
   return static_cast<std::size_t>( last - text.rbegin() );
}

/// A name and the number at its end, which may be missing.
struct Split {
   std::string_view before;
   std::string_view number;

   explicit Split( std::string_view name )
      : before( name.substr( 0, name.size() - digitsAtEnd( name ) ) ),
        number( name.substr( before.size() ) ) {}
};

/// The largest number for what is none: it is one that no interface has.
Number numberOf( std::string_view digits ) {
   Number value = 0;
   auto const [end, error] = std::from_chars( digits.data(), digits.data() + digits.size(), value );
   return error == std::errc() && end == digits.data() + digits.size() ? value : ~Number{ 0 };
}

class Reader {
public:
   explicit Reader( std::string_view text ) : text_( text ) {}

   std::vector<Lumo::IntfId> read() {
      for ( std::size_t begin = 0;; ) {
         std::size_t const end = std::min( text_.find( ',', begin ), text_.size() );
         item( begin, end );
         if ( end == text_.size() ) {
            return std::move( result_ );
         }
         begin = end + 1;
      }
   }

private:
   [[noreturn]] void fail( std::string const& expected, std::size_t position ) const {
      throw Varek::TextError( expected, text_, position );
   }

   void item( std::size_t begin, std::size_t end ) {
      while ( begin != end && text_[begin] == ' ' ) {
         ++begin;
      }
      while ( end != begin && text_[end - 1] == ' ' ) {
         --end;
      }
      std::string_view const whole = text_.substr( begin, end - begin );
      if ( whole.empty() ) {
         fail( "the name of an interface", begin );
      }
      // A dash before a digit and behind one; Port-Channel1 has another.
      std::size_t const last = whole.size() - digitsAtEnd( whole );
      bool const isRange =
         last >= 2 && last != whole.size() && whole[last - 1] == '-' && isDigit( whole[last - 2] );
      Split const first( isRange ? whole.substr( 0, last - 1 ) : whole );
      if ( !first.before.empty() || prefix_.empty() ) {
         prefix_ = first.before;
      }
      // This also refuses every text that is no name, with the error of its own type.
      name( first.number, begin );
      if ( isRange ) {
         range( numberOf( first.number ), whole.substr( last ), begin + last );
      }
   }

   void name( std::string_view number, std::size_t position ) {
      std::string const name = prefix_ + std::string( number );
      Lumo::IntfId id;
      try {
         id = Lumo::IntfId( name );
      } catch ( Varek::TextError const& error ) {
         // A name completed from the item before is not in the text, so its positions do not fit.
         bool const written = text_.substr( position ).starts_with( name );
         fail( error.expected(), position + ( written ? error.position() : 0 ) );
      }
      add( id, position );
   }

   void range( Number first, std::string_view lastDigits, std::size_t position ) {
      Number const last = numberOf( lastDigits );
      if ( last < first || ( lastDigits.size() > 1 && lastDigits[0] == '0' ) ) {
         fail( "a number of " + std::to_string( first ) + " or more, the end of a range",
               position );
      }
      if ( last - first >= mostInterfaces ) {
         tooMany( position );
      }
      for ( Number number = first + 1; number <= last; ++number ) {
         name( std::to_string( number ), position );
      }
   }

   void add( Lumo::IntfId id, std::size_t position ) {
      if ( result_.size() == mostInterfaces ) {
         tooMany( position );
      }
      if ( !seen_.insert( id.value() ).second ) {
         fail( "each interface once; " + stringValue( id ) + " is there before", position );
      }
      result_.push_back( id );
   }

   [[noreturn]] void tooMany( std::size_t position ) const {
      fail( "at most " + std::to_string( mostInterfaces ) + " interfaces", position );
   }

   std::string_view const text_;
   std::string prefix_; ///< The name up to its last number.
   std::vector<Lumo::IntfId> result_;
   std::unordered_set<std::uint64_t> seen_;
};

} // namespace

std::vector<Lumo::IntfId> interfacesOf( std::string_view text ) { return Reader( text ).read(); }

std::string interfacesText( std::vector<Lumo::IntfId> interfaces ) {
   std::ranges::sort( interfaces );
   interfaces.erase( std::unique( interfaces.begin(), interfaces.end() ), interfaces.end() );
   std::string result;
   std::string prefix;
   for ( auto at = interfaces.begin(); at != interfaces.end(); ) {
      std::string const name = stringValue( *at );
      Split const first( name );
      Number last = numberOf( first.number );
      auto next = at + 1;
      while ( !first.number.empty() && next != interfaces.end() &&
              stringValue( *next ) == std::string( first.before ) + std::to_string( last + 1 ) ) {
         ++last;
         ++next;
      }
      bool const sameName = !result.empty() && !first.number.empty() && first.before == prefix;
      result += result.empty() ? "" : ",";
      result += sameName ? std::string( first.number ) : name;
      if ( next - at > 1 ) {
         result += "-" + std::to_string( last );
      }
      prefix = first.before;
      at = next;
   }
   return result;
}

} // namespace Config
