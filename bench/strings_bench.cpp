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

// ---------------------------------------------------------------------------
// Trimming copies against a std::string find_first_not_of/find_last_not_of
// pair over the same text, and ky_strcasestr against glibc's strcasestr.

// Text of n letters framed by a few white bytes at each end.
std::string Framed(size_t n) {
  std::string s = " \t  ";
  for (size_t i = 0; i < n; ++i) s += static_cast<char>(i % 7 == 6 ? ' ' : 'a' + i % 26);
  return s + "  \n";
}

void BM_ky_strtrimnzcpy(benchmark::State& state) {
  const std::string s = Framed(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ky_strtrimnzcpy(dst.data(), dst.size(), s.c_str()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.size()));
}

void BM_ky_strtrimspcnzcpy(benchmark::State& state) {
  const std::string s = Framed(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ky_strtrimspcnzcpy(dst.data(), dst.size(), s.c_str()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.size()));
}

void BM_std_find_not_of_trim(benchmark::State& state) {
  const std::string s = Framed(static_cast<size_t>(state.range(0)));
  std::vector<char> dst(s.size() + 1);
  const char* white = " \t\n\v\f\r";
  for (auto _ : state) {
    const size_t first = s.find_first_not_of(white);
    const size_t len = first == std::string::npos ? 0 : s.find_last_not_of(white) - first + 1;
    s.copy(dst.data(), len, first == std::string::npos ? 0 : first);
    dst[len] = '\0';
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.size()));
}

// 64 KiB of mixed-case words with the needle 100 bytes before the end.
struct Haystack {
  std::string text;
  Haystack() {
    const char* words[] = {"Lorem ", "IPSUM ", "dolor ", "Sit ", "amet, ", "neEdly ", "needs "};
    for (size_t i = 0; text.size() < (64u << 10) - 100; ++i) text += words[(i * 5 + i / 7) % 7];
    text += "The NEEDLE in the Haystack";
    text.append(100 - 26, 'z');
  }
};
constexpr const char* kNeedle = "needle IN THE haystack";

void BM_ky_strcasestr(benchmark::State& state) {
  const Haystack h;
  for (auto _ : state) benchmark::DoNotOptimize(ky_strcasestr(h.text.c_str(), kNeedle));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * h.text.size()));
}

void BM_glibc_strcasestr(benchmark::State& state) {
  const Haystack h;
  for (auto _ : state) benchmark::DoNotOptimize(::strcasestr(h.text.c_str(), kNeedle));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * h.text.size()));
}

BENCHMARK(BM_ky_strtrimnzcpy)->Apply(Sizes);
BENCHMARK(BM_ky_strtrimspcnzcpy)->Apply(Sizes);
BENCHMARK(BM_std_find_not_of_trim)->Apply(Sizes);
BENCHMARK(BM_ky_strcasestr);
BENCHMARK(BM_glibc_strcasestr);

}  // namespace

BENCHMARK_MAIN();
