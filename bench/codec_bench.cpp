// Base64 encoding and decoding of 1 MiB of random bytes: ours beside
// abseil's Base64Escape/Base64Unescape and GLib's g_base64_encode/decode.
#include <absl/strings/escaping.h>
#include <benchmark/benchmark.h>
#include <glib.h>

#include <random>
#include <string>

#include "ky/codecs.h"

namespace {

constexpr size_t kBytes = 1 << 20;

const std::string& Bytes() {
  static const std::string bytes = [] {
    std::string s(kBytes, '\0');
    std::mt19937 rng(42);
    for (char& c : s) c = static_cast<char>(rng());
    return s;
  }();
  return bytes;
}

const std::string& Text() {
  static const std::string text = [] {
    std::string t;
    ky::data_encode<ky::data_encoder_type::base64, ky::encoding::ascii>(Bytes().data(), kBytes, t);
    return t;
  }();
  return text;
}

void BM_KyBase64Encode(benchmark::State& state) {
  std::string out(
      ky::data_encode_length<ky::data_encoder_type::base64, ky::encoding::ascii>(kBytes), '\0');
  for (auto _ : state) {
    ky::data_encode<ky::data_encoder_type::base64, ky::encoding::ascii>(Bytes().data(), kBytes,
                                                                        &out[0]);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_AbslBase64Escape(benchmark::State& state) {
  std::string out;
  for (auto _ : state) {
    absl::Base64Escape(Bytes(), &out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_GlibBase64Encode(benchmark::State& state) {
  for (auto _ : state) {
    gchar* out = g_base64_encode(reinterpret_cast<const guchar*>(Bytes().data()), kBytes);
    benchmark::DoNotOptimize(out);
    g_free(out);
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_KyBase64Decode(benchmark::State& state) {
  const std::string& text = Text();
  std::string out(kBytes, '\0');
  for (auto _ : state) {
    auto r = ky::data_decode<ky::data_encoder_type::base64, ky::encoding::ascii>(
        text.data(), text.size(), &out[0]);
    benchmark::DoNotOptimize(r);
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_AbslBase64Unescape(benchmark::State& state) {
  std::string out;
  for (auto _ : state) {
    benchmark::DoNotOptimize(absl::Base64Unescape(Text(), &out));
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_GlibBase64Decode(benchmark::State& state) {
  // g_base64_decode needs a NUL-terminated copy; the copy is outside the loop.
  const std::string text = Text();
  for (auto _ : state) {
    gsize len = 0;
    guchar* out = g_base64_decode(text.c_str(), &len);
    benchmark::DoNotOptimize(out);
    g_free(out);
  }
  state.SetBytesProcessed(state.iterations() * kBytes);
}

}  // namespace

BENCHMARK(BM_KyBase64Encode);
BENCHMARK(BM_AbslBase64Escape);
BENCHMARK(BM_GlibBase64Encode);
BENCHMARK(BM_KyBase64Decode);
BENCHMARK(BM_AbslBase64Unescape);
BENCHMARK(BM_GlibBase64Decode);

BENCHMARK_MAIN();
