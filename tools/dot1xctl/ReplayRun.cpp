#include "ReplayRun.h"

#include <iostream>
#include <memory>

#include <unistd.h>

#include "Output.h"
#include "Problems.h"
#include "Progress.h"
#include "Replay.h"
#include "ShowState.h"
#include "Telling.h"
#include "Varek/Failures.h"
#include "Varek/Text.h"
#include "config/Config.h"
#include "loop/LeaderLoop.h"
#include "store/Store.h"

namespace Dot1xCtl {

using namespace Agent;
using namespace Capture;
using namespace Config;
using namespace Loop;
using namespace Store;
using namespace Views;

using Varek::escaped;
using Varek::printableLines;

namespace {

constexpr char const* rootName = "replay";

class NoOutput final : public Output {
public:
   void capture( std::string const& ) override {}
   void answer( Answer const& ) override {}
   void broken( Answer const&, Problem const& ) override {}
   void unanswered( Request const& ) override {}
   void problem( Problem const& ) override {}
   void summary( Summary const& ) override {}
};

std::unique_ptr<Output> outputOf( ReplayOptions const& options ) {
   return options.tree || options.show || options.silent ? std::make_unique<NoOutput>()
          : options.json                                 ? jsonOutput( std::cout )
                                                         : textOutput( std::cout );
}

/// The trees that are published and shown.
Roots rootsOf( Replay const& replay, Authenticator const& agent ) {
   Roots roots = agent.roots();
   roots[rootName] = replay.status();
   return roots;
}

/// Reads the configuration file again into \p status; a file with faults changes nothing.
void readAgain( std::string const& file, Dot1xV2::Status& status ) {
   try {
      Faults faults;
      bool const good = reloadConfig( contentsOf( file ), status, faults );
      tellFaults( file, faults );
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

/// A run of replay or serve, step by step: no capture is read before it is certain that the result
/// can be published.
class Run {
public:
   explicit Run( ReplayOptions const& options )
      : options_( options ), bar_( "reading", barFits( options ) ), output_( outputOf( options ) ),
        replay_( *output_, problems_, keeps() ? Replay::Answers::keep : Replay::Answers::pass ),
        agent_( options.agent ) {}

   int go() {
      if ( !configure() ) {
         return 1;
      }
      listen();
      read();
      gather();
      if ( nothingRead() ) {
         return 1;
      }
      if ( !interrupted() ) {
         dump();
      }
      if ( !interrupted() && loop_ ) {
         publish();
         dump();
      }
      return problems_.count() == 0 ? 0 : 1;
   }

private:
   bool keeps() const {
      return options_.tree || options_.listen.has_value() || !options_.dump.empty();
   }
   /// A bar would mix with output on the same terminal.
   static bool barFits( ReplayOptions const& options ) {
      return !options.json && ( options.tree || options.show || ::isatty( STDOUT_FILENO ) == 0 );
   }
   /// Whether the captures had faults and no packet, most likely because of a mistyped name. The
   /// empty state must then neither replace a file nor be published.
   bool nothingRead() {
      return !options_.captures.empty() && replay_.summary().packets == 0 && problems_.count() != 0;
   }
   bool interrupted() const { return loop_ && loop_->interrupted(); }

   bool configure() {
      if ( !options_.config.empty() ) {
         Faults faults;
         config_ = loadConfig( options_.config, faults );
         tellFaults( options_.config, faults );
         roots_[statusName] = config_;
      }
      return options_.config.empty() || config_;
   }

   void listen() {
      if ( options_.listen ) {
         loop_ = std::make_unique<LeaderLoop>( *options_.listen );
         loop_->onTrouble = tell;
         if ( config_ ) {
            loop_->onHangupIs( [this] { readAgain( options_.config, *config_ ); } );
         }
      }
   }

   void read() {
      replay_.interrupted = [this] { return interrupted(); };
      replay_.progress = [this]( std::uint64_t at, std::uint64_t of ) { bar_.at( at, of ); };
      problems_.beforeOutput = [this] { bar_.hide(); };
      if ( options_.sizing ) {
         replay_.agent = &copies_;
      } else if ( keeps() || options_.show ) {
         replay_.agent = &agent_;
      }
      for ( std::string const& capture : options_.captures ) {
         if ( !interrupted() ) {
            replay_.file( capture );
         }
      }
      bar_.hide();
      output_->summary( replay_.summary() );
   }

   void gather() {
      if ( options_.sizing && !interrupted() ) {
         playSized(
            copies_, agent_, options_.sizing, [this] { return interrupted(); }, !options_.json,
            std::cerr );
      }
      if ( !options_.captures.empty() ) {
         roots_.merge( rootsOf( replay_, agent_ ) );
      }
      if ( !options_.load.empty() ) {
         roots_.merge( loadTold( options_.load ) );
      }
      if ( options_.tree || options_.show ) {
         print( roots_, options_ );
      }
      std::cout.flush();
   }

   void dump() const {
      if ( !options_.dump.empty() ) {
         save( roots_, options_.dump );
      }
   }

   void publish() {
      for ( auto const& [name, root] : roots_ ) {
         loop_->leader().rootIs( name, root );
      }
      std::cerr << "listening on " << printableLines( stringValue( loop_->address() ) )
                << std::endl;
      loop_->run();
   }

   ReplayOptions const& options_;
   Varek::Ptr<Dot1xV2::Status> config_;
   Roots roots_;
   std::unique_ptr<LeaderLoop> loop_;
   Progress bar_;
   Problems problems_{ std::cerr };
   std::unique_ptr<Output> const output_;
   Replay replay_;
   Authenticator agent_;
   Copies copies_;
};

} // namespace

int replay( ReplayOptions const& options ) { return Run( options ).go(); }

} // namespace Dot1xCtl
