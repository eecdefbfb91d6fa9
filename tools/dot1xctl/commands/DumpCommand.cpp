#include "dot1xctl/commands/Commands.h"

#include <cstdint>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <unistd.h>

#include "Varek/Failures.h"
#include "dot1xctl/Fetch.h"
#include "dot1xctl/ShowState.h"
#include "dot1xctl/Telling.h"
#include "dot1xctl/commands/Options.h"
#include "store/StateFile.h"
#include "store/Store.h"
#include "store/Stream.h"
#include "views/TreeJson.h"
#include "views/TreeText.h"

namespace Dot1xCtl {

using namespace Loop;
using namespace Store;
using namespace Views;

namespace {

constexpr char const* dumpHelp = R"(
Connects to a process that publishes trees, waits until they have come whole,
and writes them to FILE: what that process would tell a follower, with a
checksum. load prints them and serve --load publishes them again, also in
another version of this program.

FILE is for this user alone. One that is there is replaced at once, when all has
been written, and otherwise stays as it is. "-" is standard output, which must
be no terminal. What a dump that was killed has left in the folder of FILE is
removed.

Exit code 1, with the reason on standard error, if there is nobody to connect
to, who listens is not believed (see show), not everything has come in time, or
FILE cannot be written; also if its folder cannot be synced to the disk, when
FILE is new already.)";

constexpr char const* loadHelp = R"(
Reads FILE, which dump, replay --dump or serve --dump has written, and prints
the trees as "show tree" does; serve --load publishes them again. "-" is
standard input.

Exit code 1 if FILE is no state file, of another version, cut or changed: what
it says of itself and what it is, is told on standard error, and nothing is
printed. What is of types and attributes that are not known here is counted
there and left out.)";

constexpr char const* diffHelp = R"(
A and B are state files (see dump), or where a process publishes trees:
unix:PATH, tcp:HOST:PORT or tcp:PORT; write ./unix:x for a file of such a name.
One of them may be "-", standard input.
Prints what is different, one a line: path and attribute, what it is in A, what
it is in B; "-" is what is not there. Of a child or tree that only A has there
is one line; of one that only B has, one for each attribute that is not its
default, too.

--json prints an object a line, with members root, path (array of {"attribute",
"key"}), attribute, key, old (in A) and new (in B).

Exit code 0 if there is no difference, 1 if there is one, 2 if it cannot be told
(a file that is missing or damaged, nobody to connect to, wrong usage), with the
reason on standard error.)";

constexpr int same = 0;
constexpr int different = 1;
constexpr int trouble = 2;

struct DumpGiven {
   std::string file;
   std::string other;
   Address address;
   std::vector<uid_t> peerUsers;
   double wait = 5;
   bool json = false;
};

int dump( DumpGiven const& given ) {
   if ( given.file == "-" && ::isatty( STDOUT_FILENO ) != 0 ) {
      throw Varek::Failure( "a state file is not written to a terminal" );
   }
   std::optional<Roots> const roots = fetch( from( given.address, given.peerUsers ), given.wait );
   if ( !roots ) {
      return 1;
   }
   save( *roots, given.file );
   return 0;
}

int load( DumpGiven const& given ) {
   ShowRequest request;
   request.what = ShowRequest::What::tree;
   request.json = given.json;
   printState( std::cout, loadTold( given.file ), request );
   return 0;
}

bool isAddress( std::string const& source ) {
   return source.starts_with( "unix:" ) || source.starts_with( "tcp:" );
}

/// The stream of a file or an address; nothing if it failed, which is reported already.
std::optional<std::string> streamFrom( std::string const& source, DumpGiven const& given ) {
   if ( !isAddress( source ) ) {
      return readStream( source );
   }
   std::optional<Roots> const roots =
      fetch( from( Address( source ), given.peerUsers ), given.wait );
   return roots ? std::optional( streamOf( *roots ) ) : std::nullopt;
}

/// Prints the changes of a follower's trees.
class Differences {
public:
   Differences( Mirror::Follower& follower, bool json ) : json_( json ) {
      for ( auto const& [name, root] : rootsOf( follower ) ) {
         observe( name, *root );
      }
      follower.onRoot = [this]( Varek::String const& name, Qel::Entity& root ) {
         print( name, { {}, {}, {}, bareEntity( &root ) } );
         observe( name, root );
      };
      follower.onRootGone = [this]( Varek::String const& name, Qel::Entity& root ) {
         observed_.erase( name );
         print( name, { {}, {}, bareEntity( &root ), {} } );
      };
   }

   std::uint64_t count() const { return count_; }

private:
   void observe( std::string const& name, Qel::Entity& root ) {
      observed_[name] = root.subscribe(
         [this, name, &root]( Varek::Change const& change ) {
            print( name, changePart( root, change ) );
         },
         Varek::Scope::subtree );
   }

   void print( std::string const& root, ChangePart const& change ) {
      ++count_;
      if ( json_ ) {
         std::cout << jsonText( {}, root, change ) << '\n';
      } else {
         printText( std::cout, root, change );
      }
   }

   bool const json_;
   std::map<std::string, Varek::Subscription> observed_;
   std::uint64_t count_ = 0;
};

/// A follower that holds A and then receives B notifies only the differences.
int compare( DumpGiven const& given ) {
   auto const a = streamFrom( given.file, given );
   auto const b = a ? streamFrom( given.other, given ) : std::nullopt;
   if ( !b ) {
      return trouble;
   }
   Mirror::Follower follower;
   tellLeftOut( given.file, apply( *a, follower, given.file ) );
   Differences const differences( follower, given.json );
   tellLeftOut( given.other, apply( *b, follower, given.other ) );
   std::cout.flush();
   return !std::cout ? trouble : differences.count() == 0 ? same : different;
}

int diff( DumpGiven const& given ) {
   try {
      return compare( given );
   } catch ( std::exception const& error ) {
      tell( error.what() );
      return trouble;
   }
}

std::string addressFault( std::string const& source ) {
   return isAddress( source ) ? faultAs<Address>( source ) : std::string();
}

Command add( Command const& program, char const* name, char const* description, char const* help,
             std::function<void()> const& parsed ) {
   Command const command = program.command( name, description );
   command.help( help );
   command.parsed( parsed );
   return command;
}

} // namespace

void addDump( Command const& program, Action& action ) {
   auto const given = std::make_shared<DumpGiven>();
   auto const does = [&action, given]( int ( *what )( DumpGiven const& ) ) {
      return [&action, given, what] { action = [given, what] { return what( *given ); }; };
   };

   Command const dumpCommand = add(
      program, "dump", "Write a state file of what a process publishes", dumpHelp, does( dump ) );
   dumpCommand.option( "FILE", given->file, "Where to" ).required();
   addressOption( dumpCommand, "--connect", given->address, "Where it listens" ).required();
   peerUserOption( dumpCommand, given->peerUsers );
   waitOption( dumpCommand, given->wait );

   Command const loadCommand = add( program, "load", "Print a state file", loadHelp, does( load ) );
   loadCommand.option( "FILE", given->file, "What dump has written" ).required();
   loadCommand.flag( "--json", given->json, "Print JSON instead of text" );

   Command const diffCommand =
      add( program, "diff", "Show how two states differ, of files or processes", diffHelp,
           does( diff ) );
   diffCommand.option( "A", given->file, "A file or an address" ).required().check( addressFault );
   diffCommand.option( "B", given->other, "What to compare it with" )
      .required()
      .check( addressFault );
   diffCommand.flag( "--json", given->json, "Print JSON instead of text" );
   peerUserOption( diffCommand, given->peerUsers );
   waitOption( diffCommand, given->wait );
   diffCommand.checked( [given] {
      if ( given->file == "-" && given->other == "-" ) {
         wrongUsage( "B", "standard input can be one of the two only" );
      }
   } );
}

} // namespace Dot1xCtl
