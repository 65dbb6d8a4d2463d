// Address validation and canonical spellings, all through inet_pton and
// inet_ntop so that the library agrees with the platform's resolver.
#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

#include "ky/net.h"
#include "net_internal.h"

namespace ky {
namespace {

template <int Family>
const char* Normalize(std::string& out, const char* text) {
  unsigned char binary[sizeof(in6_addr)];
  if (inet_pton(Family, text, binary) < 1) return nullptr;
  char canonical[256];
  if (!inet_ntop(Family, binary, canonical, sizeof canonical)) return nullptr;
  out = canonical;
  return out.c_str();
}

}  // namespace

bool isIpv4Address(const char* text) {
  in_addr a;
  return inet_pton(AF_INET, text, &a) == 1;
}

bool isIpv6Address(const char* text) {
  in6_addr a;
  return inet_pton(AF_INET6, text, &a) == 1;
}

const char* normalizeIpv4Address(std::string& out, const char* text) {
  return Normalize<AF_INET>(out, text);
}

const char* normalizeIpv6Address(std::string& out, const char* text) {
  return Normalize<AF_INET6>(out, text);
}

std::string& normalizeHostName(std::string& out, const char* text, bool bracket) {
  const std::string t = detail::TrimBlanks(text ? text : "");
  if (t.find(':') != std::string::npos) {
    std::string canonical;
    const char* v6 = normalizeIpv6Address(canonical, t.c_str());
    out = bracket ? "[" : "";
    out += v6 ? canonical : t;
    if (bracket) out += ']';
  } else if (!normalizeIpv4Address(out, t.c_str())) {
    out = t;
  }
  return out;
}

}  // namespace ky
