// Line reading: LoadFile plus ReadLine over a generated 100 MiB file of lines
// of 0 to 200 bytes, beside std::getline on a std::ifstream and POSIX getline
// on the same file. The file lives in the temporary directory for this run
// only and is deleted at the end. Throughput counts file bytes. A second
// measurement of ours rescans a block loaded once, to tell loading from
// scanning.
//
// UTF-32 case mapping: a mixed-script buffer (ASCII, Latin, Greek, Cyrillic,
// Armenian, Georgian, CJK, Hangul, Deseret, emoji) mapped to upper case one
// code point at a time, ours beside ICU's u_toupper, and ours in place over
// the buffer. Throughput counts code points.
#include <benchmark/benchmark.h>
#include <unicode/uchar.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "ky/platform.h"
#include "ky/text_buffer.h"
#include "ky/utf.h"

namespace {

constexpr size_t kFileBytes = size_t{100} << 20;

// Deterministic, so every run reads the same file.
struct Lcg {
  uint64_t state = 0x9E3779B97F4A7C15u;
  uint32_t Next() {
    state = state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<uint32_t>(state >> 33);
  }
};

std::string g_path;  // set once the file exists

const std::string& FilePath() {
  if (g_path.empty()) {
    const std::string p =
        std::string(ky_TempDir()) + "/text_buffer_bench." + std::to_string(getpid());
    std::string text;
    text.reserve(kFileBytes + 256);
    Lcg rng;
    while (text.size() < kFileBytes) {
      const uint32_t len = rng.Next() % 201;
      for (uint32_t i = 0; i < len; ++i) text += static_cast<char>(' ' + rng.Next() % 95);
      text += '\n';
    }
    std::ofstream(p, std::ios::binary)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
    g_path = p;
  }
  return g_path;
}

void Report(benchmark::State& state, size_t lines) {
  state.counters["lines"] = static_cast<double>(lines);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(kFileBytes));
}

// Reads every line, keeping the longest as kyutil lines does; returns the count.
size_t CountLines(ky::TextBuffer& text) {
  size_t lines = 0, n, longest = 0;
  for (const char* line; (line = text.ReadLine(&n, '\n'));) {
    ++lines;
    longest = n > longest ? n : longest;
  }
  benchmark::DoNotOptimize(longest);
  return lines;
}

void BM_TextBuffer_LoadFileReadLine(benchmark::State& state) {
  const char* path = FilePath().c_str();
  size_t lines = 0;
  for (auto _ : state) {
    ky::TextBuffer text(0);
    if (!text.LoadFile(path)) state.SkipWithError("LoadFile failed");
    lines = CountLines(text);
  }
  Report(state, lines);
}

// The scanning alone, over a block loaded once: what the load costs is the
// difference to the benchmark above.
void BM_TextBuffer_ReadLineOnly(benchmark::State& state) {
  ky::TextBuffer text(0);
  if (!text.LoadFile(FilePath().c_str())) state.SkipWithError("LoadFile failed");
  size_t lines = 0;
  for (auto _ : state) {
    const size_t length = text.GetLength();
    size_t capacity;
    char* block = text.ReleaseBuffer(&capacity);
    text.SetBuffer(block, capacity, length);  // rewinds without touching the text
    lines = CountLines(text);
  }
  Report(state, lines);
}

void BM_ifstream_getline(benchmark::State& state) {
  size_t lines = 0;
  for (auto _ : state) {
    std::ifstream in(FilePath(), std::ios::binary);
    std::string line;
    lines = 0;
    size_t longest = 0;
    while (std::getline(in, line)) {
      ++lines;
      longest = line.size() > longest ? line.size() : longest;
    }
    benchmark::DoNotOptimize(longest);
  }
  Report(state, lines);
}

void BM_posix_getline(benchmark::State& state) {
  size_t lines = 0;
  for (auto _ : state) {
    FILE* f = std::fopen(FilePath().c_str(), "rb");
    if (!f) state.SkipWithError("fopen failed");
    char* buf = nullptr;
    size_t cap = 0, longest = 0;
    lines = 0;
    for (ssize_t n; (n = ::getline(&buf, &cap, f)) > 0;) {
      ++lines;
      longest = static_cast<size_t>(n) > longest ? static_cast<size_t>(n) : longest;
    }
    std::free(buf);
    std::fclose(f);
    benchmark::DoNotOptimize(longest);
  }
  Report(state, lines);
}

const std::vector<unsigned int>& MixedScript() {
  static const std::vector<unsigned int> text = [] {
    // [first, last] ranges, drawn from with equal weight.
    const unsigned int ranges[][2] = {
        {0x41, 0x7A},     {0xC0, 0xFF},       {0x100, 0x17F},     {0x391, 0x3C9},
        {0x410, 0x44F},   {0x531, 0x586},     {0x10A0, 0x10FA},   {0x4E00, 0x9FFF},
        {0xAC00, 0xD7A3}, {0x10400, 0x1044F}, {0x1F600, 0x1F64F}, {0x20, 0x40},
    };
    std::vector<unsigned int> v(1 << 16);
    Lcg rng;
    for (auto& cp : v) {
      const auto& r = ranges[rng.Next() % (sizeof ranges / sizeof ranges[0])];
      cp = r[0] + rng.Next() % (r[1] - r[0] + 1);
    }
    return v;
  }();
  return text;
}

void BM_ky_case_convert_PerCodePoint(benchmark::State& state) {
  const std::vector<unsigned int>& src = MixedScript();
  std::vector<unsigned int> out(src.size());
  for (auto _ : state) {
    for (size_t i = 0; i < src.size(); ++i) {
      out[i] = ky::utf::case_convert<ky::utf::ToUpper>(src[i]);
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * src.size()));
}

void BM_ky_case_convert_Buffer(benchmark::State& state) {
  const std::vector<unsigned int>& src = MixedScript();
  std::vector<unsigned int> out(src.size());
  for (auto _ : state) {
    std::memcpy(out.data(), src.data(), src.size() * sizeof src[0]);
    ky::utf::case_convert<ky::utf::ToUpper>(out.data(), out.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * src.size()));
}

void BM_icu_u_toupper(benchmark::State& state) {
  const std::vector<unsigned int>& src = MixedScript();
  std::vector<unsigned int> out(src.size());
  for (auto _ : state) {
    for (size_t i = 0; i < src.size(); ++i) {
      out[i] = static_cast<unsigned int>(u_toupper(static_cast<UChar32>(src[i])));
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * src.size()));
}

}  // namespace

BENCHMARK(BM_TextBuffer_LoadFileReadLine)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_TextBuffer_ReadLineOnly)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ifstream_getline)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_posix_getline)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ky_case_convert_PerCodePoint);
BENCHMARK(BM_ky_case_convert_Buffer);
BENCHMARK(BM_icu_u_toupper);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (!g_path.empty()) std::remove(g_path.c_str());
  return 0;
}
