// host:port parsing and IPv6 normalisation on a mixed list, beside the
// platform's inet_pton + inet_ntop doing the address part of the same work.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ky/net.h"

namespace {

const std::vector<std::string>& HostPorts() {
  static const std::vector<std::string> list = {"[2001:db8::1]:8443",
                                                "10.20.30.40:8080",
                                                "backend-07.example.internal:443",
                                                "8080",
                                                "[fe80::1:2:3:4]",
                                                "  cache.local:6379 ",
                                                "192.168.1.1",
                                                "[::1]:9000",
                                                "db:5432",
                                                "2001:db8:0:0:0:0:2:1"};
  return list;
}

const std::vector<std::string>& V6() {
  static const std::vector<std::string> list = {"2001:DB8:0:0:0:0:0:1",
                                                "fe80::1:2:3:4",
                                                "::1",
                                                "2001:0db8:85a3:0000:0000:8a2e:0370:7334",
                                                "::ffff:10.0.0.1",
                                                "1:0:0:2:0:0:0:3",
                                                "ff02::1",
                                                "2001:db8::abcd:ef01"};
  return list;
}

void BM_KyParseHostNamePort(benchmark::State& state) {
  std::string host;
  int port;
  for (auto _ : state) {
    for (const auto& t : HostPorts()) {
      ky::parseHostNamePort(host, port, t.c_str(), true, 0);
      benchmark::DoNotOptimize(port);
    }
  }
  state.SetItemsProcessed(state.iterations() * HostPorts().size());
}

// The peer: the address part of each text through inet_pton and inet_ntop,
// the port through strtol; the least a hand-written parser would do.
void BM_InetPtonNtopHostPort(benchmark::State& state) {
  std::string host;
  int port;
  char buf[INET6_ADDRSTRLEN];
  unsigned char bin[16];
  for (auto _ : state) {
    for (const auto& t : HostPorts()) {
      const char* s = t.c_str();
      while (*s == ' ') ++s;
      const char* colon = std::strrchr(s, ':');
      std::string addr = colon && s[0] != '[' && std::strchr(s, ':') == colon
                             ? std::string(s, colon)
                             : std::string(s);
      if (addr[0] == '[') addr = addr.substr(1, addr.find(']') - 1);
      if (inet_pton(AF_INET6, addr.c_str(), bin) == 1) {
        inet_ntop(AF_INET6, bin, buf, sizeof buf);
      } else if (inet_pton(AF_INET, addr.c_str(), bin) == 1) {
        inet_ntop(AF_INET, bin, buf, sizeof buf);
      }
      host = addr;
      port = colon ? static_cast<int>(std::strtol(colon + 1, nullptr, 10)) : 0;
      benchmark::DoNotOptimize(port);
    }
  }
  state.SetItemsProcessed(state.iterations() * HostPorts().size());
}

void BM_KyNormalizeIpv6Address(benchmark::State& state) {
  std::string out;
  for (auto _ : state) {
    for (const auto& t : V6()) benchmark::DoNotOptimize(ky::normalizeIpv6Address(out, t.c_str()));
  }
  state.SetItemsProcessed(state.iterations() * V6().size());
}

void BM_InetPtonNtopV6(benchmark::State& state) {
  std::string out;
  char buf[INET6_ADDRSTRLEN];
  unsigned char bin[16];
  for (auto _ : state) {
    for (const auto& t : V6()) {
      if (inet_pton(AF_INET6, t.c_str(), bin) == 1) out = inet_ntop(AF_INET6, bin, buf, sizeof buf);
      benchmark::DoNotOptimize(out.data());
    }
  }
  state.SetItemsProcessed(state.iterations() * V6().size());
}

}  // namespace

BENCHMARK(BM_KyParseHostNamePort);
BENCHMARK(BM_InetPtonNtopHostPort);
BENCHMARK(BM_KyNormalizeIpv6Address);
BENCHMARK(BM_InetPtonNtopV6);
BENCHMARK_MAIN();
