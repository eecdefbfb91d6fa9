#include "Problems.h"

#include <ostream>

#include <fmt/core.h>

#include "Varek/Text.h"

namespace Dot1xCtl {

using namespace Capture;

using Varek::escaped;

namespace {

constexpr char const* manyOf[] = { "unreadable files", "packets cut at capture", "fragments",
                                   "malformed packets", "malformed RADIUS packets" };

std::string text( Offset offset ) {
   return offset.in == OffsetIn::file ? fmt::format( "file offset {}", offset.octets )
          : offset.in == OffsetIn::packet
             ? fmt::format( "offset {}", offset.octets )
             : fmt::format( "offset {} of the {}", offset.octets, nameOf( offset.in ) );
}

} // namespace

void Problems::aboutToTell() const {
   if ( beforeOutput ) {
      beforeOutput();
   }
}

void Problems::file( std::string const& name ) {
   file_ = escaped( name );
   ofKind_ = {};
}

void Problems::add( Problem const& problem ) {
   ++count_;
   if ( ++ofKind_[static_cast<std::size_t>( problem.kind )] > shownPerKind ) {
      return;
   }
   aboutToTell();
   out_ << "dot1xctl: " << file_ << ": ";
   if ( problem.packet != 0 ) {
      out_ << "packet " << problem.packet << ( problem.offset ? ", " : ": " );
   }
   if ( problem.offset ) {
      out_ << text( *problem.offset ) << ": ";
   }
   out_ << problem.what << '\n';
}

void Problems::done() {
   for ( std::size_t kind = 0; kind < kinds; ++kind ) {
      if ( ofKind_[kind] > shownPerKind ) {
         aboutToTell();
         out_ << "dot1xctl: " << file_ << ": " << ofKind_[kind] - shownPerKind << " more "
              << manyOf[kind] << " like these (" << ofKind_[kind] << " in all)\n";
      }
   }
}

} // namespace Dot1xCtl
