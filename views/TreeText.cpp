#include "views/TreeText.h"

#include <algorithm>
#include <ostream>

#include "Varek/Text.h"
#include "views/Columns.h"

namespace Views {

using Varek::escaped;
using Varek::quoted;

namespace {

constexpr std::size_t step = 3;
constexpr char const* nothing = "-";

/// "aaaAttribute[Filter-Id]".
std::string labelOf( std::string_view name, Part const& part ) {
   std::string result( name );
   return part.key.empty() ? result : result + "[" + lineOf( part.key.front() ) + "]";
}

/// Whether \p field repeats the key of the element that it is in.
bool repeats( Part const& element, Part const& field ) {
   return field.parameter && !element.key.empty() && element.key.front().text == field.text &&
          element.key.front().form == field.form;
}

std::string joined( Part const& part, char const* begin, char const* end ) {
   std::string result = begin;
   for ( Part const& one : part.parts ) {
      if ( repeats( part, one ) ) {
         continue;
      }
      result += result.size() == 1 ? " " : ", ";
      std::string const label = labelOf( one.name, one );
      result += label.empty() ? lineOf( one ) : label + " " + lineOf( one );
   }
   return result.size() == 1 ? result + end : result + " " + end;
}

class Printer {
public:
   explicit Printer( std::ostream& out ) : out_( out ) {}

   /// \p label is the name of the attribute with the key of the element.
   void print( std::size_t indent, std::string const& label, std::size_t width, Part const& part ) {
      std::string const first = std::string( indent, ' ' ) + padded( label, width + 2 );
      switch ( part.form ) {
      case Part::Form::entity:
         printWrapped( out_, first, part.type, indent + step );
         if ( part.unopened ) {
            Part whole;
            whole.key = part.key;
            whole.parts = opened( part );
            fields( indent + step, whole );
         } else {
            fields( indent + step, part );
         }
         break;
      case Part::Form::keyed:
         elements( indent, label, width, part );
         break;
      case Part::Form::list:
      case Part::Form::fields:
         if ( std::string const line = lineOf( part ); first.size() + line.size() <= columns ) {
            out_ << first << line << '\n';
         } else if ( part.form == Part::Form::list ) {
            elements( indent, label, width, part );
         } else {
            out_ << std::string( indent, ' ' ) << label << '\n';
            fields( indent + step, part );
         }
         break;
      default:
         printWrapped( out_, first, lineOf( part ), indent + step );
      }
   }

   /// Prints the elements of a list, each with its number.
   void elements( std::size_t indent, std::string const& label, std::size_t width,
                  Part const& part ) {
      if ( part.parts.empty() ) {
         out_ << std::string( indent, ' ' ) << padded( label, width + 2 ) << nothing << '\n';
      }
      std::size_t index = 0;
      for ( Part const& one : part.parts ) {
         std::string const key = one.key.empty() ? "[" + std::to_string( index ) + "]" : "";
         print( indent, labelOf( label + key, one ), 0, one );
         ++index;
      }
   }

   void fields( std::size_t indent, Part const& part ) {
      std::size_t width = 0;
      for ( Part const& one : part.parts ) {
         width = std::max( width, one.name.size() );
      }
      for ( Part const& one : part.parts ) {
         if ( !repeats( part, one ) ) {
            print( indent, std::string( one.name ), width, one );
         }
      }
   }

private:
   std::ostream& out_;
};

} // namespace

std::string lineOf( Part const& part ) {
   switch ( part.form ) {
   case Part::Form::none:
      return nothing;
   case Part::Form::text:
      return quoted( part.text );
   case Part::Form::list:
      return joined( part, "[", "]" );
   case Part::Form::fields:
   case Part::Form::keyed:
      return joined( part, "{", "}" );
   case Part::Form::entity:
      return std::string( part.type );
   default:
      // "No interface" has an empty name, which would be invisible in a line of fields.
      return part.text.empty() ? quoted( {} ) : part.text;
   }
}

void printText( std::ostream& out, Part const& roots ) {
   for ( Part const& root : roots.parts ) {
      Part unnamed = root;
      unnamed.key.clear();
      Printer( out ).print( 0, escaped( root.key.front().text ), 0, unnamed );
   }
   if ( roots.parts.empty() ) {
      out << "nothing is published\n";
   }
   out.flush();
}

void printAttributes( std::ostream& out, Part const& part ) {
   Printer( out ).fields( 0, part );
   out.flush();
}

void printText( std::ostream& out, std::string const& time, std::string const& root,
                ChangePart const& change ) {
   out << time << ' ';
   printText( out, root, change );
}

void printText( std::ostream& out, std::string const& root, ChangePart const& change ) {
   out << escaped( root );
   for ( Part const& one : change.path ) {
      out << '/' << labelOf( one.name, one );
   }
   if ( !change.attribute.name.empty() ) {
      out << '/' << labelOf( change.attribute.name, change.attribute );
   }
   out << ' ' << lineOf( change.before ) << " -> " << lineOf( change.after ) << '\n';
}

} // namespace Views
