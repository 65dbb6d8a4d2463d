// host:port parsing and the address normalisers on arbitrary text: no crash,
// and the invariants callers rely on.
#include <arpa/inet.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ky/net.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const int special = data[0] & 1 ? 70000 : 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  const char* t = text.c_str();  // stops at an embedded NUL, as a C caller's text does

  for (bool normalize : {false, true}) {
    std::string host;
    int port = -1;
    ky::parseHostNamePort(host, port, t, normalize, special);
    if (!(port == 0 || (port >= 1 && port <= 65535) || port == special)) std::abort();
    // A parsed host and port format back into a text that parses to the same
    // port, when the host is an address or plain name.
    if (normalize && port != 0 && host.find_first_of("[]: \t") == std::string::npos &&
        !host.empty()) {
      std::string formatted, again;
      int port2 = -1;
      ky::formatHostNamePort(formatted, host.c_str(), port, true, false, special);
      ky::parseHostNamePort(again, port2, formatted.c_str(), true, special);
      if (port2 != port || again != host) std::abort();
    }
  }

  // The normalisers agree with inet_pton, and their output is a fixed point.
  std::string out;
  unsigned char bin[16];
  if ((ky::normalizeIpv6Address(out, t) != nullptr) != (inet_pton(AF_INET6, t, bin) == 1))
    std::abort();
  if (!out.empty()) {
    std::string again;
    if (!ky::normalizeIpv6Address(again, out.c_str()) || again != out) std::abort();
  }
  out.clear();
  if ((ky::normalizeIpv4Address(out, t) != nullptr) != ky::isIpv4Address(t)) std::abort();
  ky::normalizeHostName(out, t, true);
  return 0;
}
