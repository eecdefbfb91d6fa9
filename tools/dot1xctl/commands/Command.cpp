#include "dot1xctl/commands/Command.h"

#include <algorithm>
#include <iostream>
#include <span>
#include <sstream>

#include <CLI/CLI.hpp>

#include "Varek/Text.h"

namespace Dot1xCtl {

Option Option::required() const { return Option( *option_->required() ); }

Option Option::typeName( char const* name ) const { return Option( *option_->type_name( name ) ); }

Option Option::check( Check const& check ) const { return Option( *option_->check( check ) ); }

Option Option::transform( Transform const& transform, char const* name ) const {
   return Option( *option_->transform( CLI::Validator( transform, name ) ) );
}

Option Option::range( int least, int most ) const {
   return Option( *option_->check( CLI::Range( least, most ) ) );
}

Option Option::range( double least, double most ) const {
   return Option( *option_->check( CLI::Range( least, most ) ) );
}

Option Option::oneOf( std::initializer_list<std::string> words ) const {
   return Option( *option_->check( CLI::IsMember( std::vector<std::string>( words ) ) ) );
}

Option Option::excludes( Option other ) const {
   return Option( *option_->excludes( other.option_ ) );
}

Option Option::needs( Option other ) const { return Option( *option_->needs( other.option_ ) ); }

Option Option::defaultShown() const { return Option( *option_->capture_default_str() ); }

Option Option::defaultShown( char const* text ) const {
   return Option( *option_->default_str( text ) );
}

bool Option::given() const { return !option_->empty(); }

Command Command::command( char const* name, char const* description ) const {
   return Command( *app_->add_subcommand( name, description ) );
}

Command Command::commandRequired() const { return Command( *app_->require_subcommand( 1 ) ); }

Command Command::help( std::string const& text ) const { return Command( *app_->footer( text ) ); }

Command Command::parsed( std::function<void()> const& call ) const {
   return Command( *app_->callback( call ) );
}

Command Command::checked( std::function<void()> const& call ) const {
   return Command( *app_->parse_complete_callback( call ) );
}

Option Command::option( char const* name, std::string& to, char const* description ) const {
   return Option( *app_->add_option( name, to, description ) );
}

Option Command::option( char const* name, std::vector<std::string>& to,
                        char const* description ) const {
   return Option( *app_->add_option( name, to, description ) );
}

Option Command::option( char const* name, std::uint32_t& to, char const* description ) const {
   return Option( *app_->add_option( name, to, description ) );
}

Option Command::option( char const* name, std::optional<std::uint32_t>& to,
                        char const* description ) const {
   return Option( *app_->add_option( name, to, description ) );
}

Option Command::option( char const* name, double& to, char const* description ) const {
   return Option( *app_->add_option( name, to, description ) );
}

Option Command::option( char const* name, std::function<void( std::string const& )> const& to,
                        char const* description ) const {
   return Option( *app_->add_option_function<std::string>( name, to, description ) );
}

Option Command::eachOption( char const* name,
                            std::function<void( std::vector<std::string> const& )> const& to,
                            char const* description ) const {
   return Option( *app_->add_option_function<std::vector<std::string>>( name, to, description )
                      ->expected( 1 )
                      ->take_all() );
}

Option Command::flag( char const* name, bool& to, char const* description ) const {
   return Option( *app_->add_flag( name, to, description ) );
}

Option Command::option( char const* name ) const { return Option( *app_->get_option( name ) ); }

void wrongUsage( std::string const& name, std::string const& fault ) {
   throw CLI::ValidationError( name, fault );
}

void missing( std::string const& name ) { throw CLI::RequiredError( name ); }

namespace {

/// Otherwise all that is told of a mistyped one is that one is required.
void expectCommands( CLI::App const& app, std::span<char* const> arguments ) {
   std::string const first = arguments.empty() ? "" : arguments.front();
   if ( app.get_require_subcommand_min() == 0 || first.empty() || first.front() == '-' ) {
      return;
   }
   auto const named =
      app.get_subcommands( [&]( CLI::App const* one ) { return one->check_name( first ); } );
   if ( named.empty() ) {
      throw CLI::ValidationError( app.get_name(), "there is no command \"" + first + "\"" );
   }
   expectCommands( *named.front(), arguments.subspan( 1 ) );
}

std::string nameOf( CLI::Option const& option ) { return option.get_name( false, true ); }

OptionFacts factsOf( CLI::Option const& option ) {
   OptionFacts facts;
   facts.positional = option.get_positional();
   facts.name = facts.positional ? option.get_name( true ) : nameOf( option );
   facts.typeName = option.get_type_name();
   facts.description = option.get_description();
   facts.defaultText = option.get_default_str();
   facts.longNames = option.get_lnames();
   for ( CLI::Option const* other : option.get_excludes() ) {
      facts.excludes.push_back( nameOf( *other ) );
   }
   facts.required = option.get_required();
   facts.takesValue = option.get_items_expected_max() != 0;
   facts.several = option.get_expected_max() > 1;
   return facts;
}

CommandFacts factsOf( CLI::App const& app ) {
   CommandFacts facts{ app.get_name(), app.get_description(), app.get_footer(), {}, {} };
   for ( CLI::Option const* one : app.get_options( nullptr ) ) {
      facts.options.push_back( factsOf( *one ) );
      facts.options.back().isHelp = one == app.get_help_ptr();
   }
   for ( CLI::App const* one : app.get_subcommands( []( CLI::App const* ) { return true; } ) ) {
      facts.commands.push_back( factsOf( *one ) );
   }
   return facts;
}

} // namespace

CommandLine::CommandLine( char const* name, char const* description, char const* version )
   : app_( std::make_unique<CLI::App>( description ) ) {
   app_->name( name );
   app_->set_version_flag( "--version", version );
}

CommandLine::~CommandLine() = default;

CommandFacts CommandLine::facts() const { return factsOf( *app_ ); }

std::optional<int> CommandLine::parse( int argc, char** argv ) const {
   constexpr int exitWrongUsage = 2;
   try {
      expectCommands( *app_, { argv + std::min( argc, 1 ), argv + argc } );
      app_->parse( argc, argv );
      return std::nullopt;
   } catch ( CLI::ParseError const& error ) {
      // Help and version are ends of this kind, too.
      std::ostringstream out, fault;
      int const exitCode = app_->exit( error, out, fault ) == 0 ? 0 : exitWrongUsage;
      std::cout << out.str();
      std::cerr << Varek::printableLines( fault.str() );
      return exitCode;
   }
}

} // namespace Dot1xCtl
