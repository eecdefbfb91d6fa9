#include <string>

#include <gtest/gtest.h>

#include "Varek/Failures.h"
#include "loop/Address.h"

namespace {

using Loop::Address;

TEST( Address, IsWhatItsTextSaysAndPrintsAsThat ) {
   struct {
      char const* text;
      char const* path;
      char const* host;
      unsigned port;
      char const* printed;
   } const cases[] = { { "unix:/run/x:1", "/run/x:1", "", 0, "unix:/run/x:1" },
                       { "tcp:80", "", "127.0.0.1", 80, "tcp:127.0.0.1:80" },
                       { "tcp:switch1:65535", "", "switch1", 65535, "tcp:switch1:65535" },
                       { "tcp:[2001:db8::1]:0", "", "2001:db8::1", 0, "tcp:[2001:db8::1]:0" } };
   for ( auto const& one : cases ) {
      Address const address( one.text );
      EXPECT_EQ( address.path, one.path );
      EXPECT_EQ( address.host, one.host );
      EXPECT_EQ( address.port, one.port );
      EXPECT_EQ( stringValue( address ), one.printed );
   }
   for ( char const* const bad : { "", "unix:", "udp:1", "tcp:", "tcp:x", "tcp::80", "tcp:a:65536",
                                   "tcp:a:-1", "tcp:a:1 ", "tcp:2001:db8::1:80", "tcp:[]:80" } ) {
      EXPECT_THROW( Address{ bad }, Varek::TextError ) << bad;
   }
}

} // namespace
