#include "ReplayRun.h"

#include <iostream>
#include <memory>

#include <unistd.h>

#include "Config.h"
#include "Dump.h"
#include "Follow.h"
#include "LeaderLoop.h"
#include "Output.h"
#include "Problems.h"
#include "Progress.h"
#include "Replay.h"
#include "ShowState.h"

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
   return options.tree || options.show ? std::make_unique<NoOutput>()
          : options.json               ? jsonOutput( std::cout )
                                       : textOutput( std::cout );
}

/// Whose trees are published and shown.
Roots rootsOf( Replay const& replay, Agent const& agent ) {
   return { { rootName, replay.status() },
            { Agent::authNName, agent.authNStatus() },
            { Agent::authZName, agent.authZStatus() },
            { Agent::acctName, agent.acctStatus() } };
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
   Roots roots;
   if ( !options.config.empty() ) {
      auto const config = loadConfig( options.config, std::cerr );
      if ( !config ) {
         return 1;
      }
      roots[statusName] = config;
   }
   std::unique_ptr<LeaderLoop> loop;
   if ( options.listen ) {
      loop = std::make_unique<LeaderLoop>( *options.listen );
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
   roots.merge( rootsOf( replay, agent ) );
   if ( options.tree || options.show ) {
      print( roots, options );
   }
   std::cout.flush();
   if ( !options.dump.empty() && !interrupted() ) {
      writeDump( options.dump, streamOf( roots ) );
   }

   if ( !interrupted() && loop != nullptr ) {
      for ( auto const& [name, root] : roots ) {
         loop->leader().rootIs( name, root );
      }
      std::cerr << "listening on " << stringValue( loop->address() ) << std::endl;
      loop->run();
   }
   return problems.count() == 0 ? 0 : 1;
}

} // namespace Dot1xCtl
