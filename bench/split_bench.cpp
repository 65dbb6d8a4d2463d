// Splitting beside abseil's StrSplit, producing the same fields: a 1 MiB
// comma list, and 10,000 "key = value" lines split once and trimmed.
#include <absl/strings/ascii.h>
#include <absl/strings/str_split.h>
#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"

namespace {

const std::string& CommaList() {
  static const std::string list = [] {
    std::string s;
    for (unsigned i = 0; s.size() < (1u << 20); ++i) {
      s += "field";
      s += std::to_string(i * 7919u % 100000u);
      s += i % 5 ? "," : ",,";
    }
    s.resize(1u << 20);
    return s;
  }();
  return list;
}

const std::vector<std::string>& PairLines() {
  static const std::vector<std::string> lines = [] {
    std::vector<std::string> v;
    for (int i = 0; i < 10000; ++i) {
      v.push_back("  setting." + std::to_string(i) + " = value " + std::to_string(i * 31) + " ");
    }
    return v;
  }();
  return lines;
}

void BM_KySplitString(benchmark::State& state) {
  const std::string& list = CommaList();
  for (auto _ : state) {
    char** fields;
    size_t count;
    char* text = ky_SplitString(list.c_str(), ',', &fields, &count);
    benchmark::DoNotOptimize(fields[count - 1]);
    ky_free(fields);
    ky_free(text);
  }
  state.SetBytesProcessed(state.iterations() * list.size());
}

void BM_AbslStrSplit(benchmark::State& state) {
  const std::string& list = CommaList();
  for (auto _ : state) {
    std::vector<absl::string_view> fields = absl::StrSplit(list, ',');
    benchmark::DoNotOptimize(fields.back());
  }
  state.SetBytesProcessed(state.iterations() * list.size());
}

void BM_KySplitNameValue(benchmark::State& state) {
  const auto& lines = PairLines();
  for (auto _ : state) {
    for (const std::string& line : lines) {
      const char *name, *value;
      size_t nameLen, valueLen;
      ky_SplitNameValue(line.c_str(), '=', &name, &nameLen, &value, &valueLen);
      benchmark::DoNotOptimize(name);
      benchmark::DoNotOptimize(valueLen);
    }
  }
  state.SetItemsProcessed(state.iterations() * lines.size());
}

void BM_AbslStrSplitNameValue(benchmark::State& state) {
  const auto& lines = PairLines();
  for (auto _ : state) {
    for (const std::string& line : lines) {
      std::pair<absl::string_view, absl::string_view> kv =
          absl::StrSplit(line, absl::MaxSplits('=', 1));
      absl::string_view name = absl::StripAsciiWhitespace(kv.first);
      absl::string_view value = absl::StripAsciiWhitespace(kv.second);
      benchmark::DoNotOptimize(name);
      benchmark::DoNotOptimize(value);
    }
  }
  state.SetItemsProcessed(state.iterations() * lines.size());
}

}  // namespace

BENCHMARK(BM_KySplitString);
BENCHMARK(BM_AbslStrSplit);
BENCHMARK(BM_KySplitNameValue);
BENCHMARK(BM_AbslStrSplitNameValue);
BENCHMARK_MAIN();
