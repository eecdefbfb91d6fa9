#include "Problems.h"

#include <ostream>

#include "Varek/Text.h"

namespace Dot1xCtl {

using Varek::escaped;

namespace {

/// By kind.
constexpr struct {
   char const* name;
   char const* many;
} kindNames[] = { { "file", "unreadable files" },
                  { "cut", "packets cut at capture" },
                  { "fragment", "fragments" },
                  { "malformed", "malformed packets" },
                  { "radius", "malformed RADIUS packets" } };

std::string text( Offset offset ) {
   std::string const octets = "offset " + std::to_string( offset.octets );
   return offset.in == OffsetIn::file ? "file " + octets
          : offset.in == OffsetIn::packet
             ? octets
             : octets + " of the " + std::string( nameOf( offset.in ) );
}

} // namespace

std::string_view nameOf( ProblemKind kind ) {
   return kindNames[static_cast<std::size_t>( kind )].name;
}

std::string_view nameOf( OffsetIn in ) {
   return in == OffsetIn::file ? "file" : in == OffsetIn::packet ? "packet" : "RADIUS packet";
}

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
              << kindNames[kind].many << " like these (" << ofKind_[kind] << " in all)\n";
      }
   }
}

} // namespace Dot1xCtl
