// Length, bounded copy and bounded printf against glibc on 16 B, 256 B and
// 64 KiB inputs.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ky/strings.h"

namespace {

// Copies at a few hundred bytes swing with the alignment of source and
// destination, so every benchmark walks the same 16 source and destination
// offsets and reports their average.
constexpr size_t kOffsets = 16;

struct Buffers {
  std::vector<char> src, dst;
  size_t len;
  explicit Buffers(size_t n) : src(n + 1 + kOffsets), dst(n + 1 + 2 * kOffsets), len(n) {
    for (size_t o = 0; o < kOffsets + n; ++o) src[o] = static_cast<char>('a' + o % 26);
    src[n + kOffsets] = '\0';
  }
  // The i-th source: len characters and a NUL, at offset i % 16.
  const char* Src(size_t i) {
    char* s = src.data() + i % kOffsets;
    s[len] = '\0';
    return s;
  }
  void Restore(size_t i) { src[i % kOffsets + len] = 'x'; }
  char* Dst(size_t i) { return dst.data() + (i * 7) % kOffsets; }
};

void Sizes(benchmark::internal::Benchmark* b) {
  for (int64_t n : {16, 256, 64 << 10}) b->Arg(n);
}

// Runs body(src, dst, len) over the 16 offset pairs per iteration.
template <class Body>
void Run(benchmark::State& state, Body body) {
  Buffers b(static_cast<size_t>(state.range(0)));
  for (auto _ : state) {
    for (size_t i = 0; i < kOffsets; ++i) {
      const char* src = b.Src(i);
      body(src, b.Dst(i), b.len);
      benchmark::ClobberMemory();
      b.Restore(i);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kOffsets));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kOffsets) * state.range(0));
}

void BM_ky_strnlen(benchmark::State& state) {
  Run(state,
      [](const char* s, char*, size_t n) { benchmark::DoNotOptimize(ky_strnlen(s, n + 1)); });
}

void BM_glibc_strnlen(benchmark::State& state) {
  Run(state, [](const char* s, char*, size_t n) { benchmark::DoNotOptimize(strnlen(s, n + 1)); });
}

void BM_ky_strxnzcpy(benchmark::State& state) {
  Run(state,
      [](const char* s, char* d, size_t n) { benchmark::DoNotOptimize(ky_strxnzcpy(d, s, n)); });
}

void BM_glibc_strncpy_nul(benchmark::State& state) {
  Run(state, [](const char* s, char* d, size_t n) {
    std::strncpy(d, s, n);
    d[n] = '\0';
    benchmark::DoNotOptimize(d);
  });
}

void BM_ky_snzprintf(benchmark::State& state) {
  Run(state, [](const char* s, char* d, size_t n) {
    benchmark::DoNotOptimize(ky_snzprintf(d, n + 1, "%s", s));
  });
}

void BM_glibc_snprintf(benchmark::State& state) {
  Run(state, [](const char* s, char* d, size_t n) {
    benchmark::DoNotOptimize(std::snprintf(d, n + 1, "%s", s));
  });
}

BENCHMARK(BM_ky_strnlen)->Apply(Sizes);
BENCHMARK(BM_glibc_strnlen)->Apply(Sizes);
BENCHMARK(BM_ky_strxnzcpy)->Apply(Sizes);
BENCHMARK(BM_glibc_strncpy_nul)->Apply(Sizes);
BENCHMARK(BM_ky_snzprintf)->Apply(Sizes);
BENCHMARK(BM_glibc_snprintf)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
