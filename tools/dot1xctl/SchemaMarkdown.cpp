#include <cctype>
#include <ostream>
#include <set>
#include <string>

#include "Schema.h"

namespace Dot1xCtl {

namespace {

using Json = nlohmann::ordered_json;

constexpr char const* head = R"(# Registered types

Each type has the number of its place in its module, and each attribute an id, by which it is known
on the wire and to inspection. *Default* is what an attribute is at first, and of a constant its
value; where it is empty, the attribute is what its type is at first. What is held by key says so,
with the salt of the hash. A constructor parameter of an entity travels once, when the entity is
announced; constants and derived readings never do.

)";

std::string stringOf( Json const& value ) { return value.get<std::string>(); }

/// \p text as code in a cell of a table.
std::string code( std::string const& given ) {
   std::string result = "`";
   for ( char const c : given ) {
      result += c == '|' ? "\\|" : std::string( 1, c );
   }
   return result + "`";
}

/// GitHub's name of a heading: in lower case, without punctuation, with a hyphen for a space.
std::string anchorOf( std::string const& heading ) {
   std::string result = "#";
   for ( char const c : heading ) {
      auto const octet = static_cast<unsigned char>( c );
      if ( std::isalnum( octet ) != 0 || c == '_' || c == '-' ) {
         result += static_cast<char>( std::tolower( octet ) );
      } else if ( c == ' ' ) {
         result += '-';
      }
   }
   return result;
}

std::string unqualified( std::string const& name ) { return name.substr( name.rfind( ':' ) + 1 ); }

class Document {
public:
   Document( std::ostream& out, Json const& schema )
      : out_( out ), modules_( schema.at( "modules" ) ) {
      for ( Json const& module : modules_ ) {
         for ( Json const& type : module.at( "types" ) ) {
            headings_.insert( stringOf( type.at( "name" ) ) );
         }
      }
   }
   void print() {
      out_ << head;
      for ( Json const& module : modules_ ) {
         printContents( module );
      }
      for ( Json const& module : modules_ ) {
         out_ << "\n## Module " << stringOf( module.at( "name" ) ) << '\n';
         for ( Json const& type : module.at( "types" ) ) {
            printType( type );
         }
      }
      out_.flush();
   }

private:
   void printContents( Json const& module ) {
      std::string const name = stringOf( module.at( "name" ) );
      out_ << "- [" << name << "](" << anchorOf( "Module " + name ) << "):";
      char const* separator = "\n  ";
      for ( Json const& type : module.at( "types" ) ) {
         std::string const of = stringOf( type.at( "name" ) );
         out_ << separator << '[' << unqualified( of ) << "](" << anchorOf( of ) << ')';
         separator = ",\n  ";
      }
      out_ << '\n';
   }
   void printType( Json const& type ) {
      std::string kind = stringOf( type.at( "kind" ) );
      if ( kind.starts_with( "enum" ) ) {
         kind = "enumeration of " + kind.substr( 4 ) + " bits";
      }
      out_ << "\n### " << stringOf( type.at( "name" ) ) << "\n\nSlot " << type.at( "slot" ) << ": "
           << kind << ( type.at( "hashable" ).get<bool>() ? ", hashable" : "" ) << ".\n\n";
      if ( type.contains( "values" ) ) {
         out_ << "| Value | Name |\n|---:|---|\n";
         for ( Json const& value : type.at( "values" ) ) {
            out_ << "| " << value.at( "value" ) << " | " << code( stringOf( value.at( "name" ) ) )
                 << " |\n";
         }
      } else {
         out_ << "| Id | Name | Kind | Type | Default |\n|---:|---|---|---|---|\n";
         for ( Json const& attribute : type.value( "attributes", Json::array() ) ) {
            printAttribute( attribute );
         }
      }
   }
   void printAttribute( Json const& attribute ) {
      std::string const type = stringOf( attribute.at( "type" ) ), start = startText( attribute ),
                        salt = saltText( attribute );
      out_ << "| " << attribute.at( "id" ) << " | " << code( stringOf( attribute.at( "name" ) ) )
           << " | " << stringOf( attribute.at( "kind" ) ) << " | " << typeCell( type );
      if ( attribute.contains( "key" ) && attribute.at( "key" ) != attribute.at( "type" ) ) {
         out_ << " by " << typeCell( stringOf( attribute.at( "key" ) ) );
      }
      out_ << ( salt.empty() ? "" : ", salt " + code( salt ) ) << " | "
           << ( start.empty() ? "" : code( start ) + " " ) << "|\n";
   }
   std::string typeCell( std::string const& type ) const {
      return headings_.contains( type ) ? "[" + code( type ) + "](" + anchorOf( type ) + ")"
                                        : code( type );
   }

   std::ostream& out_;
   Json const& modules_;
   std::set<std::string> headings_;
};

} // namespace

void printMarkdown( std::ostream& out, Json const& schema ) { Document( out, schema ).print(); }

} // namespace Dot1xCtl
