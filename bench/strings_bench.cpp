// Length, bounded copy and bounded printf against glibc on 16 B, 256 B and
// 64 KiB inputs.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ky/strings.h"

namespace {

std::string Input(size_t len) {
  std::string s(len, '\0');
  for (size_t i = 0; i < len; ++i) s[i] = static_cast<char>('a' + i % 26);
  return s;
}

void Sizes(benchmark::internal::Benchmark* b) {
  for (int64_t n : {16, 256, 64 << 10}) b->Arg(n);
}

void BM_ky_strnlen(benchmark::State& state) {
  const std::string s = Input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(ky_strnlen(s.c_str(), s.size() + 1));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_glibc_strnlen(benchmark::State& state) {
  const std::string s = Input(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(strnlen(s.c_str(), s.size() + 1));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_ky_strxnzcpy(benchmark::State& state) {
  const std::string s = Input(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ky_strxnzcpy(dst.data(), s.c_str(), s.size()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_glibc_strncpy_nul(benchmark::State& state) {
  const std::string s = Input(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 1);
  for (auto _ : state) {
    std::strncpy(dst.data(), s.c_str(), s.size());
    dst[s.size()] = '\0';
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_ky_snzprintf(benchmark::State& state) {
  const std::string s = Input(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 16);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ky_snzprintf(dst.data(), dst.size(), "[%s]%d", s.c_str(), 42));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_glibc_snprintf(benchmark::State& state) {
  const std::string s = Input(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 16);
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::snprintf(dst.data(), dst.size(), "[%s]%d", s.c_str(), 42));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(BM_ky_strnlen)->Apply(Sizes);
BENCHMARK(BM_glibc_strnlen)->Apply(Sizes);
BENCHMARK(BM_ky_strxnzcpy)->Apply(Sizes);
BENCHMARK(BM_glibc_strncpy_nul)->Apply(Sizes);
BENCHMARK(BM_ky_snzprintf)->Apply(Sizes);
BENCHMARK(BM_glibc_snprintf)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
