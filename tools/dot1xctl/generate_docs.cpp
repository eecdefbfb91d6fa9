#include <algorithm>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "Completion.h"
#include "Varek/ModuleInspectData.h"
#include "dot1xctl/commands/CommandLine.h"

/// Makes the manual page and the bash completion of dot1xctl from its own command line, so that
/// both agree with "dot1xctl --help".
namespace {

using Dot1xCtl::CommandFacts;
using Dot1xCtl::OptionFacts;
using Options = std::vector<OptionFacts const*>;
using Words = std::vector<std::string>;

Options optionsOf( CommandFacts const& command, bool positional ) {
   Options options;
   for ( OptionFacts const& one : command.options ) {
      if ( one.positional == positional ) {
         options.push_back( &one );
      }
   }
   return options;
}

std::string join( Words const& words, std::string_view between ) {
   return fmt::format( "{}", fmt::join( words, between ) );
}

/// The permitted values, from CLI11's texts: "TEXT:{all,ports}" and "UINT:INT in [1 - 9]".
struct Value {
   std::string name;  ///< Empty if the option is a flag.
   std::string range; ///< "1 - 9".
   Words words;       ///< All permitted words; empty if others are permitted.

   explicit Value( OptionFacts const& option ) {
      if ( !option.takesValue ) {
         return;
      }
      std::string const& type = option.typeName;
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
      if ( option.positional ) {
         name = option.name;
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

void printOption( std::ostream& to, OptionFacts const& option ) {
   Value const value( option );
   std::string const names = option.positional ? value.name : option.name;
   bool const hasValue = !option.positional && !value.name.empty();
   to << ".TP\n.B " << roff( names ) << ( hasValue ? " " + roff( value.name ) : "" ) << '\n';
   Words notes;
   if ( option.positional && !value.words.empty() ) {
      notes.push_back( fmt::format( "one of {}", fmt::join( value.words, ", " ) ) );
   }
   if ( !value.range.empty() ) {
      notes.push_back( value.range );
   }
   if ( !option.defaultText.empty() ) {
      notes.push_back( option.defaultText + " if it is not given" );
   }
   for ( std::string const& other : option.excludes ) {
      notes.push_back( fmt::format( "not with {}", other ) );
   }
   to << roff( option.description );
   to << ( notes.empty() ? "" : roff( fmt::format( " ({})", fmt::join( notes, "; " ) ) ) ) << '\n';
}

std::string synopsis( CommandFacts const& command, std::string const& path ) {
   std::string result = fmt::format( "\\fB{}\\fR", roff( path ) );
   for ( OptionFacts const* one : optionsOf( command, false ) ) {
      if ( one->required ) {
         result +=
            fmt::format( " {}", roff( fmt::format( "{} {}", one->name, Value( *one ).name ) ) );
      }
   }
   result += " [\\fIOPTIONS\\fR]";
   for ( OptionFacts const* one : optionsOf( command, true ) ) {
      std::string const name = fmt::format( "\\fI{}\\fR", Value( *one ).name );
      std::string const more = one->several ? "..." : "";
      result +=
         one->required ? fmt::format( " {}{}", name, more ) : fmt::format( " [{}{}]", name, more );
   }
   return result + ( command.commands.empty() ? "" : " \\fICOMMAND\\fR" );
}

void printCommand( std::ostream& to, CommandFacts const& command, std::string const& path,
                   std::string const& inherited ) {
   to << ".SS " << roff( path ) << '\n' << roff( command.description ) << ".\n";
   to << ".PP\n" << synopsis( command, "dot1xctl " + path ) << '\n';
   for ( bool const positional : { true, false } ) {
      for ( OptionFacts const* one : optionsOf( command, positional ) ) {
         if ( !one->isHelp ) {
            printOption( to, *one );
         }
      }
   }
   // A command without a text of its own has the text of the command above.
   std::string const& footer = command.help;
   printProse( to, footer == inherited ? "" : footer );
   for ( CommandFacts const& one : command.commands ) {
      printCommand( to, one, path + " " + one.name, footer );
   }
}

void printManual( std::ostream& to, CommandFacts const& command ) {
   to << ".\\\" Made by generate_docs of dot1xctl's own command line.\n"
      << ".TH DOT1XCTL 1 \"\" \"dot1xctl " DOT1XCTL_VERSION "\" \"User Commands\"\n"
      << ".SH NAME\ndot1xctl \\- state of an IEEE 802.1X authenticator\n"
      << ".SH SYNOPSIS\n"
      << synopsis( command, "dot1xctl" ) << "\n.SH DESCRIPTION\n"
      << roff( command.description ) << "\n.SH OPTIONS\n";
   for ( OptionFacts const* one : optionsOf( command, false ) ) {
      printOption( to, *one );
   }
   to << ".SH COMMANDS\n";
   for ( CommandFacts const& one : command.commands ) {
      printCommand( to, one, one.name, {} );
   }
   to << ".SH EXIT STATUS\n.TP\n.B 0\nDone.\n.TP\n.B 1\nFailed, or, of diff, different; the reason "
         "is on standard error.\n.TP\n.B 2\nWrong usage, or, of diff, no answer.\n";
   to << ".SH EXAMPLES\n.nf\ndot1xctl replay \\-\\-listen unix:state capture.pcap &\n"
         "dot1xctl show supplicants \\-\\-connect unix:state\n.fi\n";
}

// The completion

/// How the completion script is to complete a value: by words, or in a way of its own.
std::string wayOf( OptionFacts const& option ) {
   Value const value( option );
   bool const positional = option.positional;
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

void printArm( std::ostream& to, CommandFacts const& command, std::string const& path ) {
   Words names, ways, commands;
   for ( OptionFacts const* one : optionsOf( command, false ) ) {
      for ( std::string const& name : one->longNames ) {
         names.push_back( "--" + name );
         if ( !Value( *one ).name.empty() ) {
            ways.push_back( fmt::format( "[--{}]='{}'", name, wayOf( *one ) ) );
         }
      }
   }
   Words positionals;
   std::string further;
   for ( OptionFacts const* one : optionsOf( command, true ) ) {
      positionals.push_back( "'" + wayOf( *one ) + "'" );
      further = one->several ? wayOf( *one ) : "";
   }
   for ( CommandFacts const& one : command.commands ) {
      commands.push_back( one.name );
   }
   to << "      '" << path << "')\n         options='" << join( names, " " )
      << "'\n         values=(" << join( ways, " " ) << ")\n         positionals=("
      << join( positionals, " " ) << ")\n         further='" << further << "'\n         commands='"
      << join( commands, " " ) << "'\n         ;;\n";
   for ( CommandFacts const& one : command.commands ) {
      printArm( to, one, path + ( path.empty() ? "" : " " ) + one.name );
   }
}

void printCompletion( std::ostream& to, CommandFacts const& command ) {
   to << Dot1xCtl::completionHead;
   printArm( to, command, {} );
   to << Dot1xCtl::completionTail;
}

} // namespace

/// usage: generate_docs MANUAL COMPLETION
int main( int argc, char** argv ) try {
   std::function<int()> action;
   CommandFacts const facts = Dot1xCtl::commandLine( action )->facts();
   void ( *const prints[] )( std::ostream&, CommandFacts const& ) = { printManual,
                                                                      printCompletion };
   for ( int i = 0; i < 2; ++i ) {
      std::ofstream file( i + 1 < argc ? argv[i + 1] : "" );
      prints[i]( file, facts );
      if ( !file.flush() ) {
         std::cerr << "generate_docs: cannot write its output; usage: MANUAL COMPLETION\n";
         return 1;
      }
   }
} catch ( std::exception const& error ) {
   std::cerr << "generate_docs: " << error.what() << '\n';
   return 1;
}
