#include "ReplayRun.h"

#include <iostream>
#include <memory>

#include <unistd.h>

#include "AttributeText.h"
#include "Config.h"
#include "Dump.h"
#include "Follow.h"
#include "LeaderLoop.h"
#include "Output.h"
#include "Problems.h"
#include "Progress.h"
#include "Replay.h"
#include "ShowState.h"
#include "Varek/Failures.h"

namespace Dot1xCtl {

namespace {

constexpr char const* rootName = "replay";

class NoOutput final : public Output {
public:
   void capture( std::string const& ) override {}
   void answer( Answer const& ) override {}
   void broken( Answer const&, std::string const& ) override {}
   void unanswered( Request const& ) override {}
   void summary( Summary const& ) override {}
};

std::unique_ptr<Output> outputOf( ReplayOptions const& options ) {
   return options.tree || options.show || options.silent ? std::make_unique<NoOutput>()
          : options.json                                 ? jsonOutput( std::cout )
                                                         : textOutput( std::cout );
}

/// Whose trees are published and shown.
Roots rootsOf( Replay const& replay, Agent const& agent ) {
   return { { rootName, replay.status() },
            { Agent::authNName, agent.authNStatus() },
            { Agent::authZName, agent.authZStatus() },
            { Agent::acctName, agent.acctStatus() } };
}

/// Makes \p status what its file says now, if that has no faults.
void readAgain( std::string const& file, Dot1xV2::Status& status ) {
   try {
      Faults faults;
      bool const good = reloadConfig( contentsOf( file ), status, faults );
      printFaults( std::cerr, file, faults );
      std::cerr << "dot1xctl: " << escaped( file )
                << ( good ? ": read again" : ": the configuration stays as it was" ) << std::endl;
   } catch ( Varek::Failure const& failure ) {
      std::cerr << "dot1xctl: " << failure.what() << "; the configuration stays as it was"
                << std::endl;
   }
}

void print( Roots const& roots, ReplayOptions const& options ) {
   ShowRequest request = options.show.value_or( ShowRequest() );
   request.json = options.json;
   request.colour = coloured( options.colour );
   if ( options.tree ) {
      request.what = ShowRequest::What::tree;
   }
   printState( std::cout, roots, request );
}

} // namespace

int replay( ReplayOptions const& options ) {
   Varek::Ptr<Dot1xV2::Status> config;
   Roots roots;
   if ( !options.config.empty() ) {
      config = loadConfig( options.config, std::cerr );
      if ( !config ) {
         return 1;
      }
      roots[statusName] = config;
   }
   std::unique_ptr<LeaderLoop> loop;
   if ( options.listen ) {
      loop = std::make_unique<LeaderLoop>( *options.listen );
      if ( config ) {
         loop->onHangupIs( [&] { readAgain( options.config, *config ); } );
      }
   }
   auto const interrupted = [&] { return loop != nullptr && loop->interrupted(); };

   Problems problems( std::cerr );
   std::unique_ptr<Output> const output = outputOf( options );
   bool const keep = options.tree || loop != nullptr || !options.dump.empty();
   Replay replay( *output, problems, keep ? Replay::Answers::keep : Replay::Answers::pass );
   replay.interrupted = interrupted;
   // Beside what is printed on the same terminal, a bar has no place.
   bool const quiet = options.tree || options.show || ::isatty( STDOUT_FILENO ) == 0;
   Progress bar( "reading", quiet && !options.json );
   replay.progress = [&bar]( std::uint64_t at, std::uint64_t of ) { bar.at( at, of ); };
   problems.beforeOutput = [&bar] { bar.hide(); };
   Agent agent( options.agent );
   Copies copies;
   if ( options.sizing ) {
      replay.agent = &copies;
   } else if ( keep || options.show ) {
      replay.agent = &agent;
   }
   for ( std::string const& capture : options.captures ) {
      if ( !interrupted() ) {
         replay.file( capture );
      }
   }
   bar.hide();
   output->summary( replay.summary() );
   if ( options.sizing && !interrupted() ) {
      playSized( copies, agent, options.sizing, interrupted, !options.json, std::cerr );
   }
   if ( !options.captures.empty() ) {
      roots.merge( rootsOf( replay, agent ) );
   }
   if ( !options.load.empty() ) {
      roots.merge( loadDump( options.load, std::cerr ) );
   }
   if ( options.tree || options.show ) {
      print( roots, options );
   }
   std::cout.flush();
   auto const dump = [&] {
      if ( !options.dump.empty() ) {
         writeDump( options.dump, streamOf( roots ) );
      }
   };
   if ( !interrupted() ) {
      dump();
   }
   if ( !interrupted() && loop != nullptr ) {
      for ( auto const& [name, root] : roots ) {
         loop->leader().rootIs( name, root );
      }
      std::cerr << "listening on " << stringValue( loop->address() ) << std::endl;
      loop->run();
      dump();
   }
   return problems.count() == 0 ? 0 : 1;
}

} // namespace Dot1xCtl
