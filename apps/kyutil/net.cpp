// kyutil hostport: host:port texts split and built as the library does it,
// and its part of the demo.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "ky/net.h"

namespace kyutil {

int RunHostport(int argc, char** argv) {
  bool normalize = false, raw = false, bare = false, format = false;
  int special = 0;
  std::vector<const char*> words;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--normalize") == 0) {
      normalize = true;
    } else if (std::strcmp(argv[i], "--format") == 0) {
      format = true;
    } else if (std::strcmp(argv[i], "--raw") == 0) {
      raw = true;
    } else if (std::strcmp(argv[i], "--bare") == 0) {
      bare = true;
    } else if (std::strcmp(argv[i], "--special") == 0 && i + 1 < argc) {
      special = std::atoi(argv[++i]);
    } else if (argv[i][0] == '-' && argv[i][1] == '-') {
      return UsageError("hostport", "unknown option");
    } else {
      words.push_back(argv[i]);
    }
  }
  if (format) {
    if (words.size() != 2) return UsageError("hostport", "--format takes HOST and PORT");
    std::string out;
    std::puts(
        ky::formatHostNamePort(out, words[0], std::atoi(words[1]), raw, bare, special).c_str());
    return kExitOk;
  }
  if (words.size() != 1) return UsageError("hostport", "takes one TEXT");
  std::string host;
  int port = 0;
  ky::parseHostNamePort(host, port, words[0], normalize, special);
  std::printf("host: %s\nport: %d\n", host.c_str(), port);
  return kExitOk;
}

void DemoNet() {
  std::puts("== hosts and addresses");
  const char* texts[] = {"[2001:DB8::1]:8443", "fe80::1:80", "8080", " Web.Example :081"};
  for (const char* t : texts) {
    std::string host;
    int port;
    ky::parseHostNamePort(host, port, t, true, 0);
    std::printf("parseHostNamePort(\"%s\") -> host \"%s\", port %d\n", t, host.c_str(), port);
  }
  std::string out;
  std::printf("formatHostNamePort(\"::1\", 443) -> \"%s\"\n",
              ky::formatHostNamePort(out, "::1", 443, false, false, 0).c_str());
  std::printf("normalizeHostName(\" 2001:DB8:0:0:0:0:0:1 \", bracket) -> \"%s\"\n",
              ky::normalizeHostName(out, " 2001:DB8:0:0:0:0:0:1 ", true).c_str());
  std::vector<unsigned int> addresses;
  ky::get_ipv4_addresses(addresses);
  std::printf("get_ipv4_addresses -> %zu address(es) besides loopback\n", addresses.size());
}

}  // namespace kyutil
