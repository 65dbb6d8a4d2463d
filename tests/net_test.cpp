// Addresses, host names and host:port texts, table-driven, and the integer
// formatter the port text is made with.
#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "ky/codecs.h"
#include "ky/net.h"

namespace {

TEST(Address, ValidateAndNormalize) {
  struct Case {
    const char* text;
    const char* v4;  // canonical IPv4, or null when rejected
    const char* v6;  // canonical IPv6, or null when rejected
  };
  const Case cases[] = {
      {"10.0.0.1", "10.0.0.1", nullptr},
      {"10.1", nullptr, nullptr},  // shortened forms are not rewritten
      {"010.0.0.1", nullptr, nullptr},
      {"256.0.0.1", nullptr, nullptr},
      {" 10.0.0.1", nullptr, nullptr},
      {"2001:DB8:0:0:0:0:0:1", nullptr, "2001:db8::1"},
      {"::ffff:1.2.3.4", nullptr, "::ffff:1.2.3.4"},
      {"1:0:0:2:0:0:0:3", nullptr, "1:0:0:2::3"},
      {"[::1]", nullptr, nullptr},
      {"", nullptr, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    std::string out = "kept";
    EXPECT_EQ(ky::isIpv4Address(c.text), c.v4 != nullptr);
    EXPECT_EQ(ky::isIpv6Address(c.text), c.v6 != nullptr);
    const char* r = ky::normalizeIpv4Address(out, c.text);
    EXPECT_EQ(r ? std::string(r) : "kept", c.v4 ? c.v4 : "kept");
    EXPECT_EQ(out, c.v4 ? c.v4 : "kept");
    out = "kept";
    r = ky::normalizeIpv6Address(out, c.text);
    EXPECT_EQ(out, c.v6 ? c.v6 : "kept");
    EXPECT_EQ(r != nullptr, c.v6 != nullptr);
  }
}

TEST(Address, NormalizeHostName) {
  struct Case {
    const char* text;
    bool bracket;
    const char* out;
  };
  const Case cases[] = {
      {" \t10.0.0.1 ", false, "10.0.0.1"},
      {"2001:DB8:0:0:0:0:0:1", true, "[2001:db8::1]"},
      {"2001:DB8:0:0:0:0:0:1", false, "2001:db8::1"},
      {"Example.Host", true, "Example.Host"},
      {" foo:bar ", true, "[foo:bar]"},  // not an address, still a literal with a colon
      {" \t ", true, ""},
      {nullptr, false, ""},
      {"host\n", false, "host\n"},  // only blanks and tabs are trimmed
  };
  for (const auto& c : cases) {
    std::string out = "old";
    EXPECT_EQ(ky::normalizeHostName(out, c.text, c.bracket), c.out) << (c.text ? c.text : "null");
  }
}

TEST(HostPort, Parse) {
  struct Case {
    const char* text;
    bool normalize;
    int special;
    const char* host;
    int port;
  };
  const Case cases[] = {
      {"[::1]:8080", false, 0, "::1", 8080},
      {"[0:0::1]:8080", true, 0, "::1", 8080},
      {"[::1]", false, 0, "::1", 0},
      {"[::1]x:80", false, 0, "::1", 80},  // junk between "]" and ":" is ignored
      {"[::1", false, 0, "::1", 0},
      {"::1", false, 0, "::1", 0},
      {"fe80::1:80", false, 0, "fe80::1:80", 0},  // a whole IPv6 address has no port
      {" 0:0::1 \t", true, 0, "::1", 0},
      {"8080", false, 0, "", 8080},  // a bare number is a port
      {" 00080 ", false, 0, "", 80},
      {"0", false, 0, "0", 0},
      {"65536", false, 0, "65536", 0},
      {"host", false, 0, "host", 0},
      {"host:", false, 0, "host", 0},
      {"host:0", false, 0, "host", 0},
      {"host:65535", false, 0, "host", 65535},
      {"host:0000065535", false, 0, "host", 65535},  // leading zeros do not count
      {"host:123456", false, 0, "host", 0},
      {"host:80x", false, 0, "host", 0},
      {"host: 80 \t", false, 0, "host", 80},
      {"host:70000", false, 70000, "host", 70000},
      {"host:70000", false, 0, "host", 0},
      {"host:65536", false, 70000, "host", 0},
      {"\t Host.Name :81", false, 0, "Host.Name ", 81},
      {"\t Host.Name :81", true, 0, "Host.Name", 81},
      {" 10.000.0.1:9", false, 0, "10.000.0.1", 9},
      {"", false, 0, "", 0},
      {"   ", true, 0, "", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("'") + c.text + "' normalize=" + std::to_string(c.normalize));
    std::string host = "old";
    int port = -1;
    ky::parseHostNamePort(host, port, c.text, c.normalize, c.special);
    EXPECT_EQ(host, c.host);
    EXPECT_EQ(port, c.port);
  }
}

TEST(HostPort, Format) {
  struct Case {
    const char* host;
    int port;
    bool raw, bare;
    int special;
    const char* out;
  };
  const Case cases[] = {
      {"::1", 443, false, false, 0, "[::1]:443"},
      {"::1", 443, true, false, 0, "[::1]:443"},
      {"[::1]", 443, true, false, 0, "[::1]:443"},
      {"0:0::1", 443, true, false, 0, "[0:0::1]:443"},
      {" Host ", 80, false, false, 0, "Host:80"},
      {" Host ", 80, true, false, 0, " Host :80"},
      {"", 80, true, true, 0, "80"},
      {"", 80, true, false, 0, ":80"},
      {"h", 80, true, true, 0, "h:80"},
      {"h", 0, false, false, 0, "h"},
      {"h", 70000, false, false, 0, "h"},
      {"h", 70000, false, false, 70000, "h:70000"},
      {"h", -1, false, false, 0, "h"},
  };
  for (const auto& c : cases) {
    std::string out = "old";
    EXPECT_EQ(ky::formatHostNamePort(out, c.host, c.port, c.raw, c.bare, c.special), c.out)
        << c.host << " " << c.port;
  }
}

TEST(HostPort, LocalAddressesLeaveLoopbackOut) {
  std::vector<unsigned int> out{1, 2, 3};
  ky::get_ipv4_addresses(out);
  for (unsigned int a : out) EXPECT_NE(a >> 24, 127u);
}

TEST(ToBasicString, ReplacesWithDecimalText) {
  const std::pair<int, const char*> cases[] = {
      {0, "0"}, {-1, "-1"}, {2147483647, "2147483647"}, {INT_MIN, "-2147483648"}};
  for (const auto& c : cases) {
    std::string out = "previous text";
    EXPECT_EQ(&ky::to_basic_string(out, c.first), &out);
    EXPECT_EQ(out, c.second);
  }
}

}  // namespace
