#include "store/Store.h"

#include "store/StateFile.h"

namespace Store {

void save( Views::Roots const& roots, std::string const& path ) {
   writeStream( path, streamOf( roots ) );
}

Views::Roots load( std::string const& path, LeftOut* leftOut, HowFar const& howFar ) {
   Mirror::Follower follower;
   LeftOut const notKnown = apply( readStream( path ), follower, path, howFar );
   if ( leftOut ) {
      *leftOut = notKnown;
   }
   return rootsOf( follower );
}

} // namespace Store
