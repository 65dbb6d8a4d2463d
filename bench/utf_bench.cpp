// Transcoding between UTF-8, UTF-16 and UTF-32 under ReplaceInvalid, beside
// ICU and glibc iconv on the same buffers. Throughput counts source bytes.
//
// Directions: 8to16, 16to8, 8to32, 32to8, 16to32, 32to16 and 8to8 (validate
// and copy). ICU converts 8<->16 and 16<->32 with its u_str*WithSub functions
// and the other pairs with ucnv_convertEx through its UTF-16 pivot. Measuring:
// len8to16, len16to8 and len8to32 (_conversion_length), beside ICU's
// preflighting (null destination, capacity 0) for the first two.
//
// Corpora, about 4 MiB of UTF-8 each, deterministic:
// - ascii, latin, cjk, emoji: long runs of one kind of character (pure ASCII;
//   European words with an accented letter in eight; CJK ideographs and kana;
//   ASCII words with an emoji after one word in four). Best cases for blocks.
// - cjk-mixed, cyrillic-greek, emoji-mixed, markup: scripts alternate every few
//   characters, as in real documents, so a block rarely holds one kind only:
//   CJK with Latin names, digits and punctuation between; Cyrillic or Greek
//   words with digits and ASCII punctuation; emoji inside ASCII words; tags
//   and attributes around text in Latin, CJK and Cyrillic with some emoji.
// - fields: the four mixed corpora cut in turn into fields of 8..120 bytes,
//   one call per field, as a server converts many short strings.
// Each peer's output length is checked against the corpus's own encoding.
// The context line utf_kernel names the kernel level in use (KY_UTF_KERNEL
// lowers it); bench/utf_table.py runs every level and tabulates the ratios.
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "kernels.h"
#include "ky/utf.h"

namespace {

using U8 = std::basic_string<unsigned char>;
using U16 = std::basic_string<unsigned short>;
using U32 = std::basic_string<unsigned int>;

constexpr size_t kCorpusBytes = 4 << 20;
constexpr size_t kFailed = static_cast<size_t>(-1);

enum Corpus {
  kAscii,
  kLatin,
  kCjk,
  kEmoji,
  kCjkMixed,
  kCyrillicGreek,
  kEmojiMixed,
  kMarkup,
  kFields,
  kCorpusCount
};
const char* const kCorpusNames[] = {"ascii",          "latin",       "cjk",    "emoji", "cjk-mixed",
                                    "cyrillic-greek", "emoji-mixed", "markup", "fields"};

// One text in the three encodings, with the end of each field in units of
// each; a whole corpus is one field.
struct Text {
  std::tuple<U8, U16, U32> units;
  std::vector<size_t> ends[3];

  const U8& u8() const { return std::get<U8>(units); }
  bool Full() const { return u8().size() >= kCorpusBytes; }

  void Put(uint32_t cp) {
    U8& s = std::get<U8>(units);
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
    U16& w = std::get<U16>(units);
    if (cp < 0x10000) {
      w += static_cast<unsigned short>(cp);
    } else {
      w += static_cast<unsigned short>(0xD7C0 + (cp >> 10));
      w += static_cast<unsigned short>(0xDC00 | (cp & 0x3FF));
    }
    std::get<U32>(units) += cp;
  }
  void Put(const char* ascii) {
    while (*ascii) Put(static_cast<unsigned char>(*ascii++));
  }
  void EndField() {
    ends[0].push_back(std::get<U8>(units).size());
    ends[1].push_back(std::get<U16>(units).size());
    ends[2].push_back(std::get<U32>(units).size());
  }
};

template <typename T>
const std::basic_string<T>& Units(const Text& t) {
  return std::get<std::basic_string<T>>(t.units);
}
template <typename T>
const std::vector<size_t>& Ends(const Text& t) {
  return t.ends[sizeof(T) / 2];
}

// xorshift64: Rng(bound) draws from 0..bound-1.
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed) {}
  uint32_t operator()(uint32_t bound) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<uint32_t>(state_ % bound);
  }

 private:
  uint64_t state_;
};

const uint32_t kAccented[] = {0xE9,  0xE8,  0xEA,  0xE0,  0xE7,  0xF4,  0xFC,  0xF6,  0xE4,
                              0xDF,  0xF1,  0xE1,  0xED,  0xF3,  0xFA,  0x105, 0x119, 0x142,
                              0x144, 0x15B, 0x17A, 0x17C, 0x107, 0x161, 0x10D, 0x17E, 0x159};
constexpr uint32_t kAccentedCount = sizeof kAccented / sizeof *kAccented;

uint32_t Ideograph(Rng& next) { return 0x4E00 + next(0x5200); }
uint32_t Kana(Rng& next) { return next(2) ? 0x3041 + next(86) : 0x30A1 + next(90); }
uint32_t Emoji(Rng& next) { return 0x1F300 + next(0xB00); }

// A word of 2..9 letters, capitalised when asked; one letter in eight
// accented when `accents`.
void LatinWord(Text& t, Rng& next, bool capital, bool accents) {
  const uint32_t len = 2 + next(8);
  for (uint32_t i = 0; i < len; ++i) {
    const uint32_t base = i == 0 && capital ? 'A' : 'a';
    t.Put(accents && next(8) == 0 ? kAccented[next(kAccentedCount)] : base + next(26));
  }
}

// A word of 2..9 Cyrillic or Greek letters (Greek with its tonos vowels).
void CyrillicGreekWord(Text& t, Rng& next, bool greek, bool capital) {
  static const uint32_t kTonos[] = {0x3AC, 0x3AD, 0x3AE, 0x3AF, 0x3CC, 0x3CD, 0x3CE};
  const uint32_t len = 2 + next(8);
  for (uint32_t i = 0; i < len; ++i) {
    if (i == 0 && capital) {
      t.Put(greek ? 0x391 + next(17) : 0x410 + next(32));
    } else if (greek) {
      t.Put(next(6) == 0 ? kTonos[next(7)] : 0x3B1 + next(25));
    } else {
      t.Put(next(40) == 0 ? 0x451 : 0x430 + next(32));
    }
  }
}

void Number(Text& t, Rng& next) {
  for (uint32_t n = 1 + next(4); n > 0; --n) t.Put('0' + next(10));
}

// ascii, latin, cjk, emoji: words of 2..9 letters separated by spaces and,
// now and then, punctuation and line ends. CJK text has an ASCII space or an
// ideographic full stop now and then; emoji text has an emoji after about one
// word in four.
void LongRuns(Text& t, Rng& next, Corpus kind) {
  while (!t.Full()) {
    const uint32_t len = 2 + next(8);
    for (uint32_t i = 0; i < len; ++i) {
      switch (kind) {
        case kLatin:
          t.Put(next(8) == 0 ? kAccented[next(kAccentedCount)] : 'a' + next(26));
          break;
        case kCjk:
          t.Put(next(5) == 0 ? 0x3041 + next(86) : Ideograph(next));
          break;
        default:
          t.Put('a' + next(26));
      }
    }
    if (kind == kEmoji && next(4) == 0) t.Put(0x1F600 + next(80));
    const uint32_t sep = next(16);
    if (kind == kCjk) {
      if (sep < 2) t.Put(sep == 0 ? 0x3002 : ' ');
    } else {
      t.Put(sep == 0 ? '\n' : sep == 1 ? ',' : ' ');
    }
  }
}

// 1..6 ideographs or kana, then ASCII: a Latin name, a number, punctuation or
// a space, or CJK punctuation.
void CjkMixed(Text& t, Rng& next) {
  while (!t.Full()) {
    for (uint32_t n = 1 + next(6); n > 0; --n) t.Put(next(4) == 0 ? Kana(next) : Ideograph(next));
    switch (next(8)) {
      case 0:
        t.Put(next(2) ? 0x3001 : 0x3002);
        break;
      case 1:
      case 2:
        t.Put(' ');
        LatinWord(t, next, true, false);
        t.Put(' ');
        break;
      case 3:
        Number(t, next);
        break;
      case 4:
        t.Put("(");
        Number(t, next);
        t.Put(next(2) ? "km)" : "%)");
        break;
      case 5:
        t.Put(next(2) ? ", " : ": ");
        break;
      default:
        t.Put(' ');
    }
  }
}

// Sentences of 3..14 words, each sentence Cyrillic (two in three) or Greek;
// spaces, commas, dashes and numbers between the words.
void CyrillicGreek(Text& t, Rng& next) {
  while (!t.Full()) {
    const bool greek = next(3) == 0;
    for (uint32_t n = 3 + next(12), i = 0; i < n; ++i) {
      CyrillicGreekWord(t, next, greek, i == 0 || next(10) == 0);
      if (i + 1 == n) break;
      switch (next(10)) {
        case 0:
          t.Put(", ");
          break;
        case 1:
          t.Put(' ');
          Number(t, next);
          t.Put(' ');
          break;
        case 2:
          t.Put(" - ");
          break;
        default:
          t.Put(' ');
      }
    }
    static const char* const kEnds[] = {". ", ". ", "? ", "! ", ".\n", "; "};
    t.Put(kEnds[next(6)]);
  }
}

// ASCII words with an emoji in place of one letter in ten, and after one
// word in six.
void EmojiMixed(Text& t, Rng& next) {
  while (!t.Full()) {
    for (uint32_t n = 2 + next(8); n > 0; --n) t.Put(next(10) == 0 ? Emoji(next) : 'a' + next(26));
    if (next(6) == 0) t.Put(Emoji(next));
    const uint32_t sep = next(16);
    t.Put(sep == 0 ? '\n' : sep == 1 ? ',' : ' ');
  }
}

// Elements with 0..2 attributes around 1..12 words: Latin with accents, a run
// of ideographs, a Cyrillic word, now and then an emoji.
void Markup(Text& t, Rng& next) {
  static const char* const kTags[] = {"p", "span", "a", "li", "td", "div", "em", "h2"};
  static const char* const kAttrs[] = {"class", "id", "lang", "title", "href", "data-k"};
  while (!t.Full()) {
    const char* tag = kTags[next(8)];
    t.Put("<");
    t.Put(tag);
    for (uint32_t n = next(3); n > 0; --n) {
      t.Put(" ");
      t.Put(kAttrs[next(6)]);
      t.Put("=\"");
      LatinWord(t, next, false, false);
      if (next(2)) Number(t, next);
      t.Put("\"");
    }
    t.Put(">");
    for (uint32_t n = 1 + next(12), i = 0; i < n; ++i) {
      if (i > 0) t.Put(' ');
      const uint32_t kind = next(10);
      if (kind < 5) {
        LatinWord(t, next, next(6) == 0, true);
      } else if (kind < 7) {
        for (uint32_t k = 2 + next(5); k > 0; --k)
          t.Put(next(4) == 0 ? Kana(next) : Ideograph(next));
      } else if (kind < 9) {
        CyrillicGreekWord(t, next, false, next(6) == 0);
      } else {
        t.Put(Emoji(next));
      }
    }
    t.Put("</");
    t.Put(tag);
    t.Put(next(4) == 0 ? ">\n" : ">");
  }
}

const Text& Get(Corpus kind);

// Fields of 8..120 bytes, cut at character boundaries, taken in turn from
// the four mixed corpora.
void Fields(Text& t, Rng& next) {
  const U32* from[] = {&Units<unsigned int>(Get(kCjkMixed)),
                       &Units<unsigned int>(Get(kCyrillicGreek)),
                       &Units<unsigned int>(Get(kEmojiMixed)), &Units<unsigned int>(Get(kMarkup))};
  size_t at[4] = {};
  for (int k = 0; !t.Full(); k = (k + 1) % 4) {
    const size_t start = t.u8().size();
    const size_t limit = 8 + next(113);
    for (; at[k] < from[k]->size(); ++at[k]) {
      const uint32_t cp = (*from[k])[at[k]];
      const size_t bytes = cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
      if (t.u8().size() - start + bytes > limit) break;
      t.Put(cp);
    }
    t.EndField();
  }
}

const Text& Get(Corpus kind) {
  static Text texts[kCorpusCount];
  Text& t = texts[kind];
  if (t.u8().empty()) {
    Rng next(0x9E3779B97F4A7C15ull + kind);
    std::get<U8>(t.units).reserve(kCorpusBytes + 256);
    switch (kind) {
      case kCjkMixed:
        CjkMixed(t, next);
        break;
      case kCyrillicGreek:
        CyrillicGreek(t, next);
        break;
      case kEmojiMixed:
        EmojiMixed(t, next);
        break;
      case kMarkup:
        Markup(t, next);
        break;
      case kFields:
        Fields(t, next);
        return t;
      default:
        LongRuns(t, next, kind);
    }
    t.EndField();
  }
  return t;
}

// Peers: each converts (or measures) n units at s into at most `room` units
// at d and returns the units written (or measured), or kFailed.

template <typename T>
constexpr const char* kEncoding = sizeof(T) == 1   ? "UTF-8"
                                  : sizeof(T) == 2 ? "UTF-16LE"
                                                   : "UTF-32LE";

template <typename To_, typename From_>
struct KyConvert {
  using To = To_;
  using From = From_;
  size_t operator()(To* d, size_t room, const From* s, size_t n) {
    To* const start = d;
    const auto r = ky::utf::_basic_convert<To, From, ky::utf::ReplaceInvalid>(d, room, s, n);
    return r == ky::utf::ConvertOk ? static_cast<size_t>(d - start) : kFailed;
  }
};

template <typename To_, typename From_>
struct KyMeasure {
  using To = To_;
  using From = From_;
  size_t operator()(To*, size_t, const From* s, size_t n) {
    size_t consumed = 0;
    const size_t len =
        ky::utf::_conversion_length<To, From, ky::utf::ReplaceInvalid>(s, n, consumed);
    return consumed == n ? len : kFailed;
  }
};

// ICU's string functions, for 8<->16 and 16<->32.
void IcuCall(unsigned short* d, int32_t cap, int32_t* len, const unsigned char* s, int32_t n,
             UErrorCode* err) {
  u_strFromUTF8WithSub(reinterpret_cast<UChar*>(d), cap, len, reinterpret_cast<const char*>(s), n,
                       0xFFFD, nullptr, err);
}
void IcuCall(unsigned char* d, int32_t cap, int32_t* len, const unsigned short* s, int32_t n,
             UErrorCode* err) {
  u_strToUTF8WithSub(reinterpret_cast<char*>(d), cap, len, reinterpret_cast<const UChar*>(s), n,
                     0xFFFD, nullptr, err);
}
void IcuCall(unsigned short* d, int32_t cap, int32_t* len, const unsigned int* s, int32_t n,
             UErrorCode* err) {
  u_strFromUTF32WithSub(reinterpret_cast<UChar*>(d), cap, len, reinterpret_cast<const UChar32*>(s),
                        n, 0xFFFD, nullptr, err);
}
void IcuCall(unsigned int* d, int32_t cap, int32_t* len, const unsigned short* s, int32_t n,
             UErrorCode* err) {
  u_strToUTF32WithSub(reinterpret_cast<UChar32*>(d), cap, len, reinterpret_cast<const UChar*>(s), n,
                      0xFFFD, nullptr, err);
}
template <typename To, typename From>
constexpr bool kIcuString = (sizeof(To) == 2) != (sizeof(From) == 2);

// With Preflight, a null destination and capacity 0: ICU's measuring.
template <typename To_, typename From_, bool Preflight = false>
struct IcuString {
  using To = To_;
  using From = From_;
  size_t operator()(To* d, size_t room, const From* s, size_t n) {
    UErrorCode err = U_ZERO_ERROR;
    int32_t len = 0;
    IcuCall(Preflight ? nullptr : d, Preflight ? 0 : static_cast<int32_t>(room), &len, s,
            static_cast<int32_t>(n), &err);
    if (Preflight && err == U_BUFFER_OVERFLOW_ERROR) err = U_ZERO_ERROR;
    return U_FAILURE(err) ? kFailed : static_cast<size_t>(len);
  }
};

// ICU's converters, through the UTF-16 pivot, for the other pairs.
template <typename To_, typename From_>
struct IcuConverter {
  using To = To_;
  using From = From_;
  IcuConverter() {
    UErrorCode err = U_ZERO_ERROR;
    to_ = ucnv_open(kEncoding<To>, &err);
    from_ = ucnv_open(kEncoding<From>, &err);
  }
  ~IcuConverter() {
    ucnv_close(to_);
    ucnv_close(from_);
  }
  size_t operator()(To* d, size_t room, const From* s, size_t n) {
    UErrorCode err = U_ZERO_ERROR;
    char* const out0 = reinterpret_cast<char*>(d);
    char* out = out0;
    const char* in = reinterpret_cast<const char*>(s);
    UChar* ps = pivot_;
    UChar* pt = pivot_;
    ucnv_convertEx(to_, from_, &out, out + room * sizeof(To), &in, in + n * sizeof(From), pivot_,
                   &ps, &pt, pivot_ + kPivot, true, true, &err);
    return U_FAILURE(err) ? kFailed : static_cast<size_t>(out - out0) / sizeof(To);
  }

  static constexpr size_t kPivot = 4096;
  UConverter* to_ = nullptr;
  UConverter* from_ = nullptr;
  UChar pivot_[kPivot];
};

template <typename To_, typename From_>
struct Iconv {
  using To = To_;
  using From = From_;
  Iconv() : cd_(iconv_open(kEncoding<To>, kEncoding<From>)) {}
  ~Iconv() { iconv_close(cd_); }
  size_t operator()(To* d, size_t room, const From* s, size_t n) {
    iconv(cd_, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(reinterpret_cast<const char*>(s));
    size_t in_left = n * sizeof(From);
    char* out = reinterpret_cast<char*>(d);
    size_t out_left = room * sizeof(To);
    if (iconv(cd_, &in, &in_left, &out, &out_left) == static_cast<size_t>(-1)) return kFailed;
    return (room * sizeof(To) - out_left) / sizeof(To);
  }

  iconv_t cd_;
};

// Converts (or measures) the corpus field by field, each field's output
// following the last, and checks the total against the corpus's own encoding.
template <typename Peer>
void Run(benchmark::State& state) {
  using To = typename Peer::To;
  using From = typename Peer::From;
  const auto kind = static_cast<Corpus>(state.range(0));
  const Text& text = Get(kind);
  const std::basic_string<From>& src = Units<From>(text);
  const std::vector<size_t>& ends = Ends<From>(text);
  const size_t want = Units<To>(text).size();
  std::vector<To> dst(want + 16);
  Peer peer;
  for (auto _ : state) {
    size_t got = 0;
    size_t begin = 0;
    for (const size_t end : ends) {
      const size_t n = peer(dst.data() + got, dst.size() - got, src.data() + begin, end - begin);
      if (n == kFailed) break;
      got += n;
      begin = end;
    }
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
    if (got != want) {
      const std::string msg = "produced " + std::to_string(got) + " units of " +
                              std::to_string(want) + " (failed or wrong length)";
      state.SkipWithError(msg.c_str());
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * src.size() * sizeof(From)));
  state.SetLabel(kCorpusNames[kind]);
}

void Corpora(benchmark::internal::Benchmark* b) {
  for (int k = 0; k < kCorpusCount; ++k) b->Arg(k);
  b->Unit(benchmark::kMicrosecond);
}

void Add(const std::string& name, void (*fn)(benchmark::State&)) {
  benchmark::RegisterBenchmark(name.c_str(), fn)->Apply(Corpora);
}

template <typename To, typename From>
void Direction(const std::string& name) {
  using Icu = std::conditional_t<kIcuString<To, From>, IcuString<To, From>, IcuConverter<To, From>>;
  Add(name + "/ky", Run<KyConvert<To, From>>);
  Add(name + "/icu", Run<Icu>);
  Add(name + "/iconv", Run<Iconv<To, From>>);
}

template <typename To, typename From>
void Measuring(const std::string& name) {
  Add(name + "/ky", Run<KyMeasure<To, From>>);
  if constexpr (kIcuString<To, From>) Add(name + "/icu", Run<IcuString<To, From, true>>);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::AddCustomContext("utf_kernel",
                              ky::detail::UtfKernelLevelName(ky::detail::DetectUtfKernelLevel()));
  using C8 = unsigned char;
  using C16 = unsigned short;
  using C32 = unsigned int;
  Direction<C16, C8>("8to16");
  Direction<C8, C16>("16to8");
  Direction<C32, C8>("8to32");
  Direction<C8, C32>("32to8");
  Direction<C32, C16>("16to32");
  Direction<C16, C32>("32to16");
  Direction<C8, C8>("8to8");
  Measuring<C16, C8>("len8to16");
  Measuring<C8, C16>("len16to8");
  Measuring<C32, C8>("len8to32");
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
