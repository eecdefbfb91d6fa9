#include <algorithm>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Completion.h"
#include "Varek/ModuleInspectData.h"
#include "dot1xctl/commands/CommandLine.h"

/// Makes the manual page and the bash completion of dot1xctl from its own command line, so that
/// both agree with "dot1xctl --help".
namespace {

using Apps = std::vector<CLI::App const*>;
using Options = std::vector<CLI::Option const*>;
using Words = std::vector<std::string>;

Apps commandsOf( CLI::App const& app ) {
   return app.get_subcommands( []( CLI::App const* ) { return true; } );
}

Options optionsOf( CLI::App const& app, bool positional ) {
   return app.get_options(
      [positional]( CLI::Option const* one ) { return one->get_positional() == positional; } );
}

std::string join( Words const& words, std::string_view between ) {
   std::string result;
   for ( std::string const& one : words ) {
      result += ( result.empty() ? "" : std::string( between ) ) + one;
   }
   return result;
}

/// The permitted values, from CLI11's texts: "TEXT:{all,ports}" and "UINT:INT in [1 - 9]".
struct Value {
   std::string name;  ///< Empty if the option is a flag.
   std::string range; ///< "1 - 9".
   Words words;       ///< All permitted words; empty if others are permitted.

   explicit Value( CLI::Option const& option ) {
      if ( option.get_items_expected_max() == 0 ) {
         return;
      }
      std::string const type = option.get_type_name();
      auto const colon = type.find( ':' );
      std::string const base = type.substr( 0, colon );
      std::string const check = colon == type.npos ? "" : type.substr( colon + 1 );
      auto const opens = check.find( '[' );
      if ( check.starts_with( '{' ) ) {
         std::istringstream all( check.substr( 1, check.size() - 2 ) );
         for ( std::string one; std::getline( all, one, ',' ); ) {
            words.push_back( one );
         }
         name = join( words, "|" );
      } else if ( opens != check.npos ) {
         range = check.substr( opens + 1, check.find( ']' ) - opens - 1 );
         name = "NUMBER";
      } else {
         name = check.empty() ? base : check;
      }
      if ( option.get_positional() ) {
         name = option.get_name( true );
      }
   }
};

// The manual page

/// Text for roff, escaped so that no part of it is a request or an escape.
std::string roff( std::string_view text ) {
   std::string result;
   for ( char const one : text ) {
      if ( ( one == '.' || one == '\'' ) && ( result.empty() || result.back() == '\n' ) ) {
         result += "\\&";
      }
      result += one == '\\' ? "\\e" : one == '-' ? "\\-" : std::string( 1, one );
   }
   return result;
}

/// Paragraphs are filled; indented lines stay as they are, but at the left margin for room.
void printProse( std::ostream& to, std::string const& text ) {
   std::istringstream lines( text );
   bool asIs = false;
   bool gap = true;
   for ( std::string line; std::getline( lines, line ); ) {
      if ( line.empty() ) {
         gap = true;
         continue;
      }
      bool const indented = line.front() == ' ';
      if ( indented != asIs ) {
         to << ( indented ? ".nf\n.in 0\n" : ".in\n.fi\n" );
      }
      if ( gap ) {
         to << ( indented ? ".sp\n" : ".PP\n" );
      }
      asIs = indented;
      gap = false;
      to << roff( line ) << '\n';
   }
   to << ( asIs ? ".in\n.fi\n" : "" );
}

std::string nameOf( CLI::Option const& option ) { return option.get_name( false, true ); }

void printOption( std::ostream& to, CLI::Option const& option ) {
   Value const value( option );
   std::string const names = option.get_positional() ? value.name : nameOf( option );
   bool const hasValue = !option.get_positional() && !value.name.empty();
   to << ".TP\n.B " << roff( names ) << ( hasValue ? " " + roff( value.name ) : "" ) << '\n';
   Words notes;
   if ( option.get_positional() && !value.words.empty() ) {
      notes.push_back( "one of " + join( value.words, ", " ) );
   }
   if ( !value.range.empty() ) {
      notes.push_back( value.range );
   }
   if ( !option.get_default_str().empty() ) {
      notes.push_back( option.get_default_str() + " if it is not given" );
   }
   for ( CLI::Option const* other : option.get_excludes() ) {
      notes.push_back( "not with " + nameOf( *other ) );
   }
   to << roff( option.get_description() );
   to << ( notes.empty() ? "" : roff( " (" + join( notes, "; " ) + ")" ) ) << '\n';
}

std::string synopsis( CLI::App const& app, std::string const& path ) {
   std::string result = "\\fB" + roff( path ) + "\\fR";
   for ( CLI::Option const* one : optionsOf( app, false ) ) {
      if ( one->get_required() ) {
         result += " " + roff( nameOf( *one ) + " " + Value( *one ).name );
      }
   }
   result += " [\\fIOPTIONS\\fR]";
   for ( CLI::Option const* one : optionsOf( app, true ) ) {
      std::string const name = "\\fI" + Value( *one ).name + "\\fR";
      std::string const more = one->get_expected_max() > 1 ? "..." : "";
      result += one->get_required() ? " " + name + more : " [" + name + more + "]";
   }
   return result + ( commandsOf( app ).empty() ? "" : " \\fICOMMAND\\fR" );
}

void printCommand( std::ostream& to, CLI::App const& app, std::string const& path,
                   std::string const& inherited ) {
   to << ".SS " << roff( path ) << '\n' << roff( app.get_description() ) << ".\n";
   to << ".PP\n" << synopsis( app, "dot1xctl " + path ) << '\n';
   for ( bool const positional : { true, false } ) {
      for ( CLI::Option const* one : optionsOf( app, positional ) ) {
         if ( one != app.get_help_ptr() ) {
            printOption( to, *one );
         }
      }
   }
   // A command without a text of its own has that of the one above.
   std::string const footer = app.get_footer();
   printProse( to, footer == inherited ? "" : footer );
   for ( CLI::App const* one : commandsOf( app ) ) {
      printCommand( to, *one, path + " " + one->get_name(), footer );
   }
}

void printManual( std::ostream& to, CLI::App const& app ) {
   to << ".\\\" Made by generate_docs of dot1xctl's own command line.\n"
      << ".TH DOT1XCTL 1 \"\" \"dot1xctl " DOT1XCTL_VERSION "\" \"User Commands\"\n"
      << ".SH NAME\ndot1xctl \\- state of an IEEE 802.1X authenticator\n"
      << ".SH SYNOPSIS\n"
      << synopsis( app, "dot1xctl" ) << "\n.SH DESCRIPTION\n"
      << roff( app.get_description() ) << "\n.SH OPTIONS\n";
   for ( CLI::Option const* one : optionsOf( app, false ) ) {
      printOption( to, *one );
   }
   to << ".SH COMMANDS\n";
   for ( CLI::App const* one : commandsOf( app ) ) {
      printCommand( to, *one, one->get_name(), {} );
   }
   to << ".SH EXIT STATUS\n.TP\n.B 0\nDone.\n.TP\n.B 1\nFailed, or, of diff, different; the reason "
         "is on standard error.\n.TP\n.B 2\nWrong usage, or, of diff, no answer.\n";
   to << ".SH EXAMPLES\n.nf\ndot1xctl replay \\-\\-listen unix:state capture.pcap &\n"
         "dot1xctl show supplicants \\-\\-connect unix:state\n.fi\n";
}

// The completion

/// How the completion script is to complete a value: words, or one of its own ways.
std::string wayOf( CLI::Option const& option ) {
   Value const value( option );
   bool const positional = option.get_positional();
   if ( !value.words.empty() ) {
      return join( value.words, " " );
   }
   if ( value.name == "TYPE" ) {
      Words types;
      for ( auto const* module : Varek::ModuleInspectData::all() ) {
         for ( auto const* type : module->types ) {
            types.emplace_back( type->unqualifiedName() );
         }
      }
      return join( types, " " );
   }
   bool const isFile =
      positional ? value.name != "MAC" && value.name != "INTERFACE" : value.name == "FILE";
   return isFile ? "@file" : value.name == "ADDRESS" ? "@address" : "@none";
}

void printArm( std::ostream& to, CLI::App const& app, std::string const& path ) {
   Words names, ways, commands;
   for ( CLI::Option const* one : optionsOf( app, false ) ) {
      for ( std::string const& name : one->get_lnames() ) {
         names.push_back( "--" + name );
         if ( !Value( *one ).name.empty() ) {
            ways.push_back( "[--" + name + "]='" + wayOf( *one ) + "'" );
         }
      }
   }
   Words positionals;
   std::string further;
   for ( CLI::Option const* one : optionsOf( app, true ) ) {
      positionals.push_back( "'" + wayOf( *one ) + "'" );
      further = one->get_expected_max() > 1 ? wayOf( *one ) : "";
   }
   for ( CLI::App const* one : commandsOf( app ) ) {
      commands.push_back( one->get_name() );
   }
   to << "      '" << path << "')\n         options='" << join( names, " " )
      << "'\n         values=(" << join( ways, " " ) << ")\n         positionals=("
      << join( positionals, " " ) << ")\n         further='" << further << "'\n         commands='"
      << join( commands, " " ) << "'\n         ;;\n";
   for ( CLI::App const* one : commandsOf( app ) ) {
      printArm( to, *one, path + ( path.empty() ? "" : " " ) + one->get_name() );
   }
}

void printCompletion( std::ostream& to, CLI::App const& app ) {
   to << Dot1xCtl::completionHead;
   printArm( to, app, {} );
   to << Dot1xCtl::completionTail;
}

} // namespace

/// usage: generate_docs MANUAL COMPLETION
int main( int argc, char** argv ) try {
   std::function<int()> action;
   auto const app = Dot1xCtl::commandLine( action );
   void ( *const prints[] )( std::ostream&, CLI::App const& ) = { printManual, printCompletion };
   for ( int i = 0; i < 2; ++i ) {
      std::ofstream file( i + 1 < argc ? argv[i + 1] : "" );
      prints[i]( file, *app );
      if ( !file.flush() ) {
         std::cerr << "generate_docs: cannot write its output; usage: MANUAL COMPLETION\n";
         return 1;
      }
   }
} catch ( std::exception const& error ) {
   std::cerr << "generate_docs: " << error.what() << '\n';
   return 1;
}
