#include "Problems.h"

#include <ostream>

#include "AttributeText.h"

namespace Dot1xCtl {

namespace {

constexpr char const* kindNames[] = { "unreadable files", "packets cut at capture", "fragments",
                                      "malformed packets", "malformed RADIUS packets" };

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
      out_ << "packet " << problem.packet << ( problem.where.empty() ? ": " : ", " );
   }
   if ( !problem.where.empty() ) {
      out_ << problem.where << ": ";
   }
   out_ << problem.what << '\n';
}

void Problems::done() {
   for ( std::size_t kind = 0; kind < kinds; ++kind ) {
      if ( ofKind_[kind] > shownPerKind ) {
         aboutToTell();
         out_ << "dot1xctl: " << file_ << ": " << ofKind_[kind] - shownPerKind << " more "
              << kindNames[kind] << " like these (" << ofKind_[kind] << " in all)\n";
      }
   }
}

} // namespace Dot1xCtl
