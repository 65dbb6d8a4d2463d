// UTF-8 to UTF-16, UTF-16 to UTF-8, UTF-8 to UTF-32 and UTF-8 to UTF-8
// (validate and copy) under ReplaceInvalid, beside ICU and glibc iconv on the
// same buffers: four generated corpora of 4 MiB of UTF-8 each (pure ASCII,
// Latin-heavy European text, CJK, emoji mixed into ASCII). Throughput counts
// source bytes. ICU has no direct UTF-8 to UTF-32 or UTF-8 to UTF-8 call; its
// converter API (ucnv_convertEx) stands in there.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ky/utf.h"

namespace {

using U8 = std::basic_string<unsigned char>;
using U16 = std::basic_string<unsigned short>;

constexpr size_t kCorpusBytes = 4 << 20;

void Append(U8& s, uint32_t cp) {
  if (cp < 0x80) {
    s += static_cast<unsigned char>(cp);
  } else if (cp < 0x800) {
    s += static_cast<unsigned char>(0xC0 | (cp >> 6));
    s += static_cast<unsigned char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    s += static_cast<unsigned char>(0xE0 | (cp >> 12));
    s += static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    s += static_cast<unsigned char>(0x80 | (cp & 0x3F));
  } else {
    s += static_cast<unsigned char>(0xF0 | (cp >> 18));
    s += static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
    s += static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
    s += static_cast<unsigned char>(0x80 | (cp & 0x3F));
  }
}

enum Corpus { kAscii, kLatin, kCjk, kEmoji };
const char* const kCorpusNames[] = {"ascii", "latin", "cjk", "emoji"};

// Words of 2..9 letters separated by spaces and, now and then, punctuation
// and line ends. Latin text draws about one letter in eight from the accented
// letters of the European languages; CJK text is ideographs and kana with an
// ASCII space or full stop now and then; emoji text is ASCII words with an
// emoji after about one word in four.
U8 Generate(Corpus kind) {
  uint64_t state = 0x9E3779B97F4A7C15ull + kind;
  auto next = [&state](uint32_t bound) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return static_cast<uint32_t>(state % bound);
  };
  static const uint32_t kAccented[] = {
      0xE9, 0xE8,  0xEA,  0xE0,  0xE7,  0xF4,  0xFC,  0xF6,  0xE4,  0xDF,  0xF1,  0xE1,  0xED, 0xF3,
      0xFA, 0x105, 0x119, 0x142, 0x144, 0x15B, 0x17A, 0x17C, 0x107, 0x161, 0x10D, 0x17E, 0x159};
  U8 s;
  s.reserve(kCorpusBytes + 64);
  while (s.size() < kCorpusBytes) {
    const uint32_t len = 2 + next(8);
    for (uint32_t i = 0; i < len; ++i) {
      switch (kind) {
        case kAscii:
        case kEmoji:
          Append(s, 'a' + next(26));
          break;
        case kLatin:
          Append(s, next(8) == 0 ? kAccented[next(sizeof kAccented / sizeof *kAccented)]
                                 : 'a' + next(26));
          break;
        case kCjk:
          Append(s, next(5) == 0 ? 0x3041 + next(86) : 0x4E00 + next(0x5200));
          break;
      }
    }
    if (kind == kEmoji && next(4) == 0) Append(s, 0x1F600 + next(80));
    const uint32_t sep = next(16);
    if (kind == kCjk) {
      if (sep < 2) Append(s, sep == 0 ? 0x3002 : ' ');
    } else {
      Append(s, sep == 0 ? '\n' : sep == 1 ? ',' : ' ');
    }
  }
  return s;
}

const U8& Utf8(Corpus kind) {
  static U8 corpora[4];
  if (corpora[kind].empty()) corpora[kind] = Generate(kind);
  return corpora[kind];
}

const U16& Utf16(Corpus kind) {
  static U16 corpora[4];
  if (corpora[kind].empty()) ky::utf::convert(Utf8(kind), corpora[kind]);
  return corpora[kind];
}

template <typename T>
void Count(benchmark::State& state, const std::basic_string<T>& src) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * src.size() * sizeof(T)));
  state.SetLabel(kCorpusNames[state.range(0)]);
}

template <typename To, typename From>
void Ky(benchmark::State& state, const std::basic_string<From>& src) {
  std::vector<To> dst(src.size() * (sizeof(To) < sizeof(From) ? 3 : 1) + 16);
  for (auto _ : state) {
    To* d = dst.data();
    size_t room = dst.size();
    const From* s = src.data();
    size_t left = src.size();
    auto r = ky::utf::_basic_convert<To, From, ky::utf::ReplaceInvalid>(d, room, s, left);
    if (r != ky::utf::ConvertOk) state.SkipWithError("conversion failed");
    benchmark::DoNotOptimize(d);
    benchmark::ClobberMemory();
  }
  Count(state, src);
}

// Converts with iconv in one call; the corpora are well-formed.
template <typename To, typename From>
void Iconv(benchmark::State& state, const std::basic_string<From>& src, const char* to,
           const char* from) {
  std::vector<To> dst(src.size() + 16);
  iconv_t cd = iconv_open(to, from);
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(reinterpret_cast<const char*>(src.data()));
    size_t in_left = src.size() * sizeof(From);
    char* out = reinterpret_cast<char*>(dst.data());
    size_t out_left = dst.size() * sizeof(To);
    if (iconv(cd, &in, &in_left, &out, &out_left) == static_cast<size_t>(-1)) {
      state.SkipWithError("iconv failed");
    }
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  iconv_close(cd);
  Count(state, src);
}

// ICU's converter API for the pairs its string functions do not cover.
template <typename To>
void IcuConverter(benchmark::State& state, const U8& src, const char* to) {
  std::vector<To> dst(src.size() + 16);
  UErrorCode err = U_ZERO_ERROR;
  UConverter* out_cnv = ucnv_open(to, &err);
  UConverter* in_cnv = ucnv_open("UTF-8", &err);
  std::vector<UChar> pivot(4096);
  for (auto _ : state) {
    char* out = reinterpret_cast<char*>(dst.data());
    const char* in = reinterpret_cast<const char*>(src.data());
    UChar* ps = pivot.data();
    UChar* pt = pivot.data();
    ucnv_convertEx(out_cnv, in_cnv, &out, out + dst.size() * sizeof(To), &in, in + src.size(),
                   pivot.data(), &ps, &pt, pivot.data() + pivot.size(), true, true, &err);
    if (U_FAILURE(err)) state.SkipWithError("ucnv_convertEx failed");
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  ucnv_close(out_cnv);
  ucnv_close(in_cnv);
  Count(state, src);
}

Corpus Kind(const benchmark::State& state) { return static_cast<Corpus>(state.range(0)); }

void BM_Utf8To16_ky(benchmark::State& state) { Ky<unsigned short>(state, Utf8(Kind(state))); }
void BM_Utf8To16_icu(benchmark::State& state) {
  const U8& src = Utf8(Kind(state));
  std::vector<UChar> dst(src.size() + 16);
  for (auto _ : state) {
    UErrorCode err = U_ZERO_ERROR;
    int32_t len = 0;
    u_strFromUTF8WithSub(dst.data(), static_cast<int32_t>(dst.size()), &len,
                         reinterpret_cast<const char*>(src.data()),
                         static_cast<int32_t>(src.size()), 0xFFFD, nullptr, &err);
    if (U_FAILURE(err)) state.SkipWithError("u_strFromUTF8WithSub failed");
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
  }
  Count(state, src);
}
void BM_Utf8To16_iconv(benchmark::State& state) {
  Iconv<unsigned short>(state, Utf8(Kind(state)), "UTF-16LE", "UTF-8");
}

void BM_Utf16To8_ky(benchmark::State& state) { Ky<unsigned char>(state, Utf16(Kind(state))); }
void BM_Utf16To8_icu(benchmark::State& state) {
  const U16& src = Utf16(Kind(state));
  std::vector<char> dst(src.size() * 3 + 16);
  for (auto _ : state) {
    UErrorCode err = U_ZERO_ERROR;
    int32_t len = 0;
    u_strToUTF8WithSub(dst.data(), static_cast<int32_t>(dst.size()), &len,
                       reinterpret_cast<const UChar*>(src.data()), static_cast<int32_t>(src.size()),
                       0xFFFD, nullptr, &err);
    if (U_FAILURE(err)) state.SkipWithError("u_strToUTF8WithSub failed");
    benchmark::DoNotOptimize(len);
    benchmark::ClobberMemory();
  }
  Count(state, src);
}
void BM_Utf16To8_iconv(benchmark::State& state) {
  const U16& src = Utf16(Kind(state));
  std::vector<unsigned char> dst(src.size() * 3 + 16);
  iconv_t cd = iconv_open("UTF-8", "UTF-16LE");
  for (auto _ : state) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(reinterpret_cast<const char*>(src.data()));
    size_t in_left = src.size() * 2;
    char* out = reinterpret_cast<char*>(dst.data());
    size_t out_left = dst.size();
    if (iconv(cd, &in, &in_left, &out, &out_left) == static_cast<size_t>(-1)) {
      state.SkipWithError("iconv failed");
    }
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  iconv_close(cd);
  Count(state, src);
}

void BM_Utf8To32_ky(benchmark::State& state) { Ky<unsigned int>(state, Utf8(Kind(state))); }
void BM_Utf8To32_icu(benchmark::State& state) {
  IcuConverter<unsigned int>(state, Utf8(Kind(state)), "UTF-32LE");
}
void BM_Utf8To32_iconv(benchmark::State& state) {
  Iconv<unsigned int>(state, Utf8(Kind(state)), "UTF-32LE", "UTF-8");
}

void BM_Utf8To8_ky(benchmark::State& state) { Ky<unsigned char>(state, Utf8(Kind(state))); }
void BM_Utf8To8_icu(benchmark::State& state) {
  IcuConverter<unsigned char>(state, Utf8(Kind(state)), "UTF-8");
}
void BM_Utf8To8_iconv(benchmark::State& state) {
  Iconv<unsigned char>(state, Utf8(Kind(state)), "UTF-8", "UTF-8");
}

void Corpora(benchmark::internal::Benchmark* b) {
  for (int k = kAscii; k <= kEmoji; ++k) b->Arg(k);
  b->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_Utf8To16_ky)->Apply(Corpora);
BENCHMARK(BM_Utf8To16_icu)->Apply(Corpora);
BENCHMARK(BM_Utf8To16_iconv)->Apply(Corpora);
BENCHMARK(BM_Utf16To8_ky)->Apply(Corpora);
BENCHMARK(BM_Utf16To8_icu)->Apply(Corpora);
BENCHMARK(BM_Utf16To8_iconv)->Apply(Corpora);
BENCHMARK(BM_Utf8To32_ky)->Apply(Corpora);
BENCHMARK(BM_Utf8To32_icu)->Apply(Corpora);
BENCHMARK(BM_Utf8To32_iconv)->Apply(Corpora);
BENCHMARK(BM_Utf8To8_ky)->Apply(Corpora);
BENCHMARK(BM_Utf8To8_icu)->Apply(Corpora);
BENCHMARK(BM_Utf8To8_iconv)->Apply(Corpora);

}  // namespace

BENCHMARK_MAIN();
