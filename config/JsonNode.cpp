#include "config/JsonNode.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <unordered_set>
#include <utility>

#include <nlohmann/json.hpp>

#include "Varek/Text.h"
#include "config/Faults.h"

namespace Config {

using Varek::escaped;
using Varek::quoted;

namespace {

using PlainJson = nlohmann::json;
using Kind = JsonNode::Kind;

/// Says how far the parser has come in a text.
class Counted {
public:
   using iterator_category = std::input_iterator_tag;
   using value_type = char;
   using difference_type = std::ptrdiff_t;
   using pointer = char const*;
   using reference = char const&;

   Counted( char const* at, char const** reached ) : at_( at ), reached_( reached ) {}
   reference operator*() const { return *at_; }
   Counted& operator++() {
      *reached_ = ++at_;
      return *this;
   }
   friend bool operator!=( Counted const& a, Counted const& b ) { return a.at_ != b.at_; }

private:
   char const* at_;
   char const** reached_;
};

/// Makes nodes from the events of the parser.
class Builder {
public:
   Builder( std::string_view text, JsonNode& root, Faults& faults )
      : text_( text ), reached_( text.data() ), counted_( text.data() ), root_( root ),
        faults_( faults ) {}

   bool run() {
      return PlainJson::sax_parse( Counted( text_.data(), &reached_ ),
                                   Counted( text_.data() + text_.size(), &reached_ ), this );
   }

   // The parser's callbacks.
   bool null() { return add( Kind::null, {} ); }
   bool boolean( bool value ) { return add( Kind::boolean, value ? "true" : "false" ); }
   bool number_integer( std::int64_t value ) { return number( std::to_string( value ) ); }
   bool number_unsigned( std::uint64_t value ) { return number( std::to_string( value ) ); }
   bool number_float( double, std::string const& text ) { return number( text ); }
   bool string( std::string& text ) { return add( Kind::text, std::move( text ) ); }
   bool binary( PlainJson::binary_t& ) { return false; } // no part of JSON's text
   bool start_object( std::size_t ) { return open( Kind::object ); }
   bool end_object() { return close(); }
   bool start_array( std::size_t ) { return open( Kind::array ); }
   bool end_array() { return close(); }
   bool key( std::string& name ) {
      name_ = std::move( name );
      if ( !names_.back().insert( name_ ).second ) {
         JsonNode named;
         named.name = name_;
         named.line = line();
         faults_.add( named.line, path( named ) + ": named twice in one object" );
      }
      return true;
   }
   bool parse_error( std::size_t position, std::string const&, PlainJson::exception const& error ) {
      // "[json.exception.parse_error.101] parse error at line 1, column 2: what"
      std::string what = error.what();
      if ( std::size_t const at = what.find( "column " ); at != std::string::npos ) {
         what.erase( 0, what.find( ':', at ) + 2 );
      } else {
         what.erase( 0, what.find( ']' ) + 2 );
      }
      std::size_t const read = std::min( position, text_.size() );
      std::string_view const before = text_.substr( 0, read != 0 ? read - 1 : 0 );
      std::size_t const lineStart = before.rfind( '\n' ) + 1;
      faults_.add( 1 + static_cast<std::size_t>( std::count( before.begin(), before.end(), '\n' ) ),
                   "column " + std::to_string( before.size() - lineStart + 1 ) +
                      ": this is no JSON: " + escaped( what ) );
      return false;
   }

private:
   /// Of the last character of what was read last; behind a number that is the one after it.
   std::size_t line() {
      char const* const end = reached_ != text_.data() ? reached_ - 1 : reached_;
      if ( end > counted_ ) {
         line_ += static_cast<std::size_t>( std::count( counted_, end, '\n' ) );
         counted_ = end;
      }
      return line_;
   }

   JsonNode* place() {
      if ( open_.empty() ) {
         return &root_;
      }
      JsonNode& made = open_.back()->parts.emplace_back();
      made.name = std::exchange( name_, {} );
      return &made;
   }
   bool add( Kind kind, std::string text ) {
      JsonNode* const node = place();
      node->kind = kind;
      node->text = std::move( text );
      node->line = line();
      return true;
   }
   bool number( std::string text ) { return add( Kind::number, std::move( text ) ); }
   bool open( Kind kind ) {
      if ( open_.size() == deepestJson ) {
         faults_.add( line(), "nested deeper than " + std::to_string( deepestJson ) + " levels" );
         return false;
      }
      JsonNode* const node = place();
      node->kind = kind;
      node->line = line();
      // The pointer stays valid: an open node is the last part of its owner until it is closed.
      open_.push_back( node );
      names_.emplace_back();
      return true;
   }
   bool close() {
      open_.pop_back();
      names_.pop_back();
      return true;
   }
   std::string path( JsonNode const& member ) const {
      std::vector<JsonPlace> places;
      places.reserve( open_.size() + 1 );
      for ( JsonNode const* const one : open_ ) {
         places.push_back( { *one, places.empty() ? nullptr : &places.back() } );
      }
      places.push_back( { member, &places.back() } );
      return places.back().path();
   }

   std::string_view const text_;
   char const* reached_;
   char const* counted_;
   std::size_t line_ = 1;
   JsonNode& root_;
   Faults& faults_;
   std::vector<JsonNode*> open_;
   std::vector<std::unordered_set<std::string>> names_;
   std::string name_;
};

bool isPlain( std::string const& name ) {
   return !name.empty() && std::all_of( name.begin(), name.end(), []( unsigned char c ) {
      return std::isalnum( c ) != 0 || c == '_';
   } );
}

} // namespace

std::string JsonPlace::path() const {
   if ( !within ) {
      return "$";
   }
   JsonNode const& owner = within->node;
   if ( owner.kind == Kind::array ) {
      return within->path() + "[" + std::to_string( &node - owner.parts.data() ) + "]";
   }
   return within->path() +
          ( isPlain( node.name ) ? "." + node.name : "[" + quoted( node.name ) + "]" );
}

std::string found( JsonNode const& node ) {
   constexpr std::size_t longest = 40;
   switch ( node.kind ) {
   case Kind::null:
      return "null";
   case Kind::array:
      return node.parts.empty() ? "an empty array" : "an array";
   case Kind::object:
      return node.parts.empty() ? "an empty object" : "an object";
   default:
      break;
   }
   std::string const text =
      node.text.size() > longest ? node.text.substr( 0, longest ) + "..." : node.text;
   return node.kind == Kind::text ? quoted( text ) : text;
}

bool parseJson( std::string_view text, JsonNode& root, Faults& faults ) {
   return Builder( text, root, faults ).run();
}

} // namespace Config
