#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// A command line, as much of CLI11 as the commands need. CLI11 is compiled for Command.cpp alone:
/// it takes eight seconds, which every file that includes it would take as well.
namespace Dot1xCtl {

/// An option, a flag or a positional. It is the command's, and names it for as long as that is
/// there. What says what is wrong with a value returns an empty text where nothing is.
class Option {
public:
   using Check = std::function<std::string( std::string const& )>;
   using Transform = std::function<std::string( std::string& )>;

   explicit Option( CLI::Option& option ) : option_( &option ) {}

   Option required() const;
   /// What a value is called in the help.
   Option typeName( char const* name ) const;
   Option check( Check const& ) const;
   /// May change the value; \p name is what that is called in the help.
   Option transform( Transform const&, char const* name = "" ) const;
   Option range( int least, int most ) const;
   Option range( double least, double most ) const;
   Option oneOf( std::initializer_list<std::string> words ) const;
   Option excludes( Option other ) const;
   Option needs( Option other ) const;
   /// The help says what is taken if it is not given: what the target holds now, or \p text.
   Option defaultShown() const;
   Option defaultShown( char const* text ) const;

   bool given() const;

private:
   CLI::Option* option_;
};

/// A command with what can be said after it. It is the application's, as an Option is its own.
/// Targets must be there when the command line is parsed; a name that begins with "-" is that of an
/// option, any other that of a positional.
class Command {
public:
   explicit Command( CLI::App& app ) : app_( &app ) {}

   /// A command below this one.
   Command command( char const* name, char const* description ) const;
   /// One of those below must be named.
   Command commandRequired() const;
   /// What the help says at its end.
   Command help( std::string const& text ) const;
   /// Called once the command has been named and all is as it must be; may throw what wrongUsage
   /// does.
   Command parsed( std::function<void()> const& ) const;
   /// Called before that, once its options are known.
   Command checked( std::function<void()> const& ) const;

   Option option( char const* name, std::string& to, char const* description ) const;
   Option option( char const* name, std::vector<std::string>& to, char const* description ) const;
   Option option( char const* name, std::uint32_t& to, char const* description ) const;
   Option option( char const* name, std::optional<std::uint32_t>& to,
                  char const* description ) const;
   Option option( char const* name, double& to, char const* description ) const;
   Option option( char const* name, std::function<void( std::string const& )> const& to,
                  char const* description ) const;
   /// One that may be given again and again, with one value each.
   Option eachOption( char const* name,
                      std::function<void( std::vector<std::string> const& )> const& to,
                      char const* description ) const;
   Option flag( char const* name, bool& to, char const* description ) const;
   /// One that has been added.
   Option option( char const* name ) const;

private:
   CLI::App* app_;
};

/// Ends the parsing with what is wrong with what was given for \p name.
[[noreturn]] void wrongUsage( std::string const& name, std::string const& fault );
/// Ends the parsing since \p name was not given.
[[noreturn]] void missing( std::string const& name );

/// What there is of a command, for the manual page and the completion.
struct OptionFacts {
   std::string name;     ///< "--connect", or the name of a positional.
   std::string typeName; ///< "ADDRESS", "UINT:INT in [1 - 9]", "TEXT:{all,ports}".
   std::string description;
   std::string defaultText;
   std::vector<std::string> longNames; ///< Without "--".
   std::vector<std::string> excludes;
   bool positional = false;
   bool required = false;
   bool takesValue = false;
   bool several = false;
   bool isHelp = false;
};
struct CommandFacts {
   std::string name;
   std::string description;
   std::string help;
   std::vector<OptionFacts> options;
   std::vector<CommandFacts> commands;
};

/// The command line of a program.
class CommandLine {
public:
   CommandLine( char const* name, char const* description, char const* version );
   ~CommandLine();
   /// The program itself: what the others are below.
   Command program() const { return Command( *app_ ); }
   CommandFacts facts() const;
   /// The exit code where that is all that is left to do: help or version were asked for, or the
   /// usage was wrong, and this has been answered.
   std::optional<int> parse( int argc, char** argv ) const;

private:
   std::unique_ptr<CLI::App> app_;
};

} // namespace Dot1xCtl
