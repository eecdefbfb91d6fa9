#include "dot1xctl/commands/Commands.h"

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "dot1xctl/Schema.h"

namespace Dot1xCtl {

namespace {

constexpr char const* schemaHelp = R"(
Prints, module by module, each type with its slot, its kind and whether its
values can be hashed, its attributes (id, name, kind, type, default or constant,
key, salt of the hash) and, of an enumeration, its values. A TYPE is a name with
or without its namespace.

--json prints one object:
  {"modules":[{"name","types":[{"name","kind","slot","hashable",
    "attributes":[{"id","name","type","kind","key","default","value","salt",
    "onWire"}],"values":[{"value","name"}]}]}]}
"kind" of a type is entity, value, enum8 or enum32. Types are in slot order,
attributes in id order; what does not apply is left out. "value" is that of a
constant.

--markdown prints a document with a table of contents, of the library's types
and not of "Replay".)";

struct SchemaGiven {
   std::vector<std::string> types;
   bool json = false;
   bool markdown = false;
};

int print( SchemaGiven const& given ) {
   auto const made = schema(
      given.markdown && given.types.empty() ? Modules::library : Modules::all, given.types );
   if ( given.json ) {
      std::cout << made.dump() << '\n';
   } else if ( given.markdown ) {
      printMarkdown( std::cout, made );
   } else {
      printSchema( std::cout, made );
   }
   return 0;
}

} // namespace

void addSchema( Command const& program, Action& action ) {
   auto const given = std::make_shared<SchemaGiven>();
   Command const command =
      program.command( "schema", "Show the registered types and their attributes" );
   command.option( "TYPE", given->types, "Types to show; all, if none is given" )
      .check( []( std::string const& type ) -> std::string {
         try {
            (void)schema( Modules::all, { type } );
            return {};
         } catch ( std::runtime_error const& error ) {
            return error.what();
         }
      } );
   command.flag( "--markdown", given->markdown, "Print Markdown instead of tables" )
      .excludes( command.flag( "--json", given->json, "Print JSON instead of tables" ) );
   command.help( schemaHelp );
   command.parsed( [given, &action] { action = [given] { return print( *given ); }; } );
}

} // namespace Dot1xCtl
