// Addresses, host names and host:port texts, table-driven, and the integer
// formatter the port text is made with.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ky/codecs.h"
#include "ky/net.h"

namespace {

// Each text against both families: the canonical form, or null when rejected.
// A rejected text leaves out as it was.
TEST(Address, ValidateAndNormalize) {
  // text, canonical IPv4, canonical IPv6
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"10.0.0.1", "10.0.0.1", nullptr},
      {"10.1", nullptr, nullptr},  // shortened forms are not rewritten
      {"010.0.0.1", nullptr, nullptr},
      {" 10.0.0.1", nullptr, nullptr},
      {"2001:DB8:0:0:0:0:0:1", nullptr, "2001:db8::1"},
      {"::ffff:1.2.3.4", nullptr, "::ffff:1.2.3.4"},
      {"1:0:0:2:0:0:0:3", nullptr, "1:0:0:2::3"},
      {"[::1]", nullptr, nullptr},
      {"", nullptr, nullptr},
  };
  for (const auto& [text, v4, v6] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(ky::isIpv4Address(text), v4 != nullptr);
    EXPECT_EQ(ky::isIpv6Address(text), v6 != nullptr);
    for (const auto& [normalize, want] : {std::make_pair(ky::normalizeIpv4Address, v4),
                                          std::make_pair(ky::normalizeIpv6Address, v6)}) {
      std::string out = "kept";
      const char* r = normalize(out, text);
      EXPECT_EQ(r, want ? out.c_str() : nullptr);  // out's own characters, or null
      EXPECT_EQ(out, want ? want : "kept");
    }
  }
}

TEST(HostPort, Parse) {
  // text, host, port, special port, normalize
  const std::tuple<const char*, const char*, int, int, bool> cases[] = {
      {"[::1]:8080", "::1", 8080, 0, false},
      {"[0:0::1]:8080", "::1", 8080, 0, true},
      {"[::1]", "::1", 0, 0, false},
      {"[::1]x:80", "::1", 80, 0, false},  // junk between "]" and ":" is ignored
      {"[::1", "::1", 0, 0, false},
      {"fe80::1:80", "fe80::1:80", 0, 0, false},  // a whole IPv6 address has no port
      {" 0:0::1 \t", "::1", 0, 0, true},
      {" 00080 ", "", 80, 0, false},  // a bare number is a port
      {"0", "0", 0, 0, false},
      {"65536", "65536", 0, 0, false},
      {"host:", "host", 0, 0, false},
      {"host:0", "host", 0, 0, false},
      {"host:0000065535", "host", 65535, 0, false},  // leading zeros do not count
      {"host:123456", "host", 0, 0, false},
      {"host:80x", "host", 0, 0, false},
      {"host: 80 \t", "host", 80, 0, false},
      {"host:70000", "host", 70000, 70000, false},
      {"host:70000", "host", 0, 0, false},
      {"host:65536", "host", 0, 70000, false},
      {"\t Host.Name :81", "Host.Name ", 81, 0, false},
      {"\t Host.Name :81", "Host.Name", 81, 0, true},
      {"", "", 0, 0, false},
      {"   ", "", 0, 0, true},
  };
  for (const auto& [text, want_host, want_port, special, normalize] : cases) {
    std::string host = "old";
    int port = -1;
    ky::parseHostNamePort(host, port, text, normalize, special);
    EXPECT_EQ(host + " " + std::to_string(port), want_host + (" " + std::to_string(want_port)))
        << "'" << text << "' normalize=" << normalize;
  }
}

// Without raw, the host is normalised as by normalizeHostName, IPv6 bracketed.
TEST(HostPort, FormatAndNormalizeHostName) {
  // host, port, special port, raw, bare port
  const std::tuple<const char*, int, int, bool, bool, const char*> cases[] = {
      {"::1", 443, 0, false, false, "[::1]:443"},
      {"[::1]", 443, 0, true, false, "[::1]:443"},
      {"0:0::1", 443, 0, true, false, "[0:0::1]:443"},
      {" Host ", 80, 0, false, false, "Host:80"},
      {" Host ", 80, 0, true, false, " Host :80"},
      {"", 80, 0, true, true, "80"},
      {"", 80, 0, true, false, ":80"},
      {"h", 80, 0, true, true, "h:80"},
      {"h", 0, 0, false, false, "h"},
      {"h", 70000, 70000, false, false, "h:70000"},
      {"h", -1, 0, false, false, "h"},
      {" \t10.0.0.1 ", 0, 0, false, false, "10.0.0.1"},
      {"2001:DB8:0:0:0:0:0:1", 0, 0, false, false, "[2001:db8::1]"},
      {"Example.Host", 0, 0, false, false, "Example.Host"},
      {" foo:bar ", 0, 0, false, false, "[foo:bar]"},  // not an address, still a literal
      {" \t ", 0, 0, false, false, ""},
      {"host\n", 0, 0, false, false, "host\n"},  // only blanks and tabs are trimmed
  };
  for (const auto& [host, port, special, raw, bare, want] : cases) {
    std::string out = "old";
    EXPECT_EQ(ky::formatHostNamePort(out, host, port, raw, bare, special), want) << host << port;
  }
  std::string out = "old";
  EXPECT_EQ(ky::normalizeHostName(out, nullptr, true), "");
}

// A loopback address placed in out beforehand must go: out is replaced.
TEST(HostPort, LocalAddressesLeaveLoopbackOut) {
  std::vector<unsigned int> out{0x7F000001u};
  for (unsigned int a : ky::get_ipv4_addresses(out)) EXPECT_NE(a >> 24, 127u);
}

TEST(ToBasicString, ReplacesWithDecimalText) {
  std::string out = "previous text";
  EXPECT_EQ(&ky::to_basic_string(out, INT_MIN), &out);
  EXPECT_EQ(out, "-2147483648");
  EXPECT_EQ(ky::to_basic_string(out, INT_MAX), "2147483647");
  EXPECT_EQ(ky::to_basic_string(out, 0), "0");
}

}  // namespace
