// host:port texts split and built, and the machine's IPv4 addresses.
#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>

#include "ky/codecs.h"
#include "ky/net.h"
#include "net_internal.h"

namespace ky {
namespace {

using detail::IsBlank;

bool PortAllowed(long value, int special_port) {
  return (value >= 1 && value <= 65535) || (special_port > 65535 && value == special_port);
}

// Reads a port text: blanks, leading zeros, 1 to 5 digits, blanks, end.
// Sets port (0 when rejected) and says whether it was accepted.
bool ParsePort(const char* text, int special_port, int& port) {
  const unsigned char* const digit = basic_char_to_numeric<char, encoding::native>::tonum_;
  port = 0;
  while (IsBlank(*text)) ++text;
  while (*text == '0') ++text;
  long value = 0;
  int digits = 0;
  // Reading stops after six digits: a sixth already rejects the text, and
  // the value must not grow without bound on a long run of digits.
  for (; digits < 6 && digit[static_cast<unsigned char>(*text)] < 10; ++text, ++digits) {
    value = value * 10 + digit[static_cast<unsigned char>(*text)];
  }
  while (IsBlank(*text)) ++text;
  if (*text != '\0' || digits < 1 || digits > 5 || !PortAllowed(value, special_port)) return false;
  port = static_cast<int>(value);
  return true;
}

void SetHost(std::string& host, const std::string& part, bool normalize) {
  if (normalize) {
    normalizeHostName(host, part.c_str(), false);
  } else {
    host = part;
  }
}

}  // namespace

void parseHostNamePort(std::string& host, int& port, const char* text, bool normalize,
                       int special_port) {
  while (IsBlank(*text)) ++text;
  port = 0;
  std::string part;
  const char* scan;  // where a ':' may introduce the port
  if (*text == '[') {
    const char* close = std::strchr(text + 1, ']');
    const char* end = close ? close : text + std::strlen(text);
    part.assign(text + 1, end);
    scan = close ? close + 1 : end;
    while (*scan && *scan != ':') ++scan;  // what stands between "]" and ":" is ignored
  } else if (const char* colon = std::strchr(text, ':')) {
    const std::string whole = detail::TrimBlanks(text);
    if (normalize ? normalizeIpv6Address(host, whole.c_str()) != nullptr
                  : isIpv6Address(whole.c_str())) {
      if (!normalize) host = whole;
      return;  // an unbracketed IPv6 address has no port
    }
    part.assign(text, colon);
    scan = colon;
  } else {
    // A bare number is a port, not a host.
    if (*text != '\0' && ParsePort(text, special_port, port)) {
      SetHost(host, std::string(), normalize);
      return;
    }
    part = text;
    scan = text + part.size();
  }
  SetHost(host, part, normalize);
  if (scan[0] == ':' && scan[1] != '\0') ParsePort(scan + 1, special_port, port);
}

std::string& formatHostNamePort(std::string& out, const char* host, int port, bool raw,
                                bool bare_port, int special_port) {
  if (!raw) {
    normalizeHostName(out, host, true);
  } else if (host[0] != '[' && std::strchr(host, ':')) {
    out = std::string("[") + host + "]";
  } else {
    out = host;
  }
  if (PortAllowed(port, special_port)) {
    if (!(bare_port && out.empty())) out += ':';
    std::string digits;
    out += to_basic_string(digits, port);
  }
  return out;
}

std::vector<unsigned int>& get_ipv4_addresses(std::vector<unsigned int>& out) {
  out.clear();
  // getifaddrs has no fixed limit on the number of interfaces, unlike a
  // buffer handed to SIOCGIFCONF.
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) return out;
  for (const ifaddrs* i = list; i; i = i->ifa_next) {
    if (!i->ifa_addr || i->ifa_addr->sa_family != AF_INET) continue;
    const unsigned int a =
        ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr);
    if ((a >> 24) != 127) out.push_back(a);
  }
  freeifaddrs(list);
  return out;
}

}  // namespace ky
