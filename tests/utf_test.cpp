// Transcoding: table-driven cases for each ill-formed class, policy and result
// code, and properties over random adversarial input for every pair, policy
// and overload, checked against tests/reference/utf_reference.h and ICU.
#include <gtest/gtest.h>
#include <unicode/ustring.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "ky/utf.h"
#include "reference/utf_reference.h"
#include "support/test_allocator.h"

namespace {

using namespace ky::utf;
using ky::test::RefConvert;
using U8 = unsigned char;
using U16 = unsigned short;
using U32 = unsigned int;
template <typename T>
using Units = std::vector<T>;

constexpr InvalidSequenceOption kPolicies[] = {ReplaceInvalid, SkipInvalid, StopOnInvalid,
                                               RejectInvalid};

template <InvalidSequenceOption Opt>
using PolicyTag = std::integral_constant<InvalidSequenceOption, Opt>;

// Calls f(To{}, From{}, PolicyTag<Opt>{}) for all 36 combinations.
template <typename F>
void ForEachCombination(F&& f) {
  auto per_policy = [&](auto to, auto from) {
    f(to, from, PolicyTag<ReplaceInvalid>{});
    f(to, from, PolicyTag<SkipInvalid>{});
    f(to, from, PolicyTag<StopOnInvalid>{});
    f(to, from, PolicyTag<RejectInvalid>{});
  };
  auto per_from = [&](auto to) {
    per_policy(to, U8{});
    per_policy(to, U16{});
    per_policy(to, U32{});
  };
  per_from(U8{});
  per_from(U16{});
  per_from(U32{});
}

constexpr U16 kSentinel16 = 0xA5A5;

// A destination of `size` units filled with a sentinel, followed by 8 more
// that AddressSanitizer is told not to let anyone touch, so stores past the
// output show and any access past the room fails.
template <typename T>
struct Dest {
  explicit Dest(size_t size) : units(size + 8, static_cast<T>(kSentinel16)), room(size) {
    ASAN_POISON_MEMORY_REGION(units.data() + size, 8 * sizeof(T));
  }
  ~Dest() { ASAN_UNPOISON_MEMORY_REGION(units.data() + room, 8 * sizeof(T)); }
  Dest(const Dest&) = delete;
  Dest& operator=(const Dest&) = delete;
  Units<T> units;
  size_t room;
  T* begin() { return units.data(); }
};

template <typename To>
struct Outcome {
  Units<To> out;
  ConvertResult result;
  size_t consumed;
  size_t room_left;
};

// One counted call into a room of `room` units; checks that nothing past the
// reported output was stored.
template <typename To, typename From, InvalidSequenceOption Opt>
Outcome<To> Counted(const Units<From>& src, size_t room) {
  Dest<To> dest(room);
  To* d = dest.begin();
  size_t r = room;
  static const From kNothing = 0;  // an empty vector's data() may be null
  const From* const start = src.empty() ? &kNothing : src.data();
  const From* s = start;
  size_t n = src.size();
  const ConvertResult result = _basic_convert<To, From, Opt>(d, r, s, n);
  EXPECT_EQ(static_cast<size_t>(s - start), src.size() - n);
  EXPECT_EQ(static_cast<size_t>(d - dest.begin()), room - r);
  const size_t written = static_cast<size_t>(d - dest.begin());
  // RejectInvalid withdraws its output but leaves it in memory, so past the
  // reported output only those units may differ from the sentinel.
  size_t touched = written;
  if (Opt == RejectInvalid && result == ConvertInvalidSequence) {
    touched = room;
  }
  ASAN_UNPOISON_MEMORY_REGION(dest.units.data() + room, 8 * sizeof(To));
  for (size_t i = touched; i < dest.units.size(); ++i) {
    EXPECT_EQ(dest.units[i], static_cast<To>(kSentinel16)) << "stored past the output at " << i;
  }
  return {Units<To>(dest.begin(), d), result, static_cast<size_t>(s - start), r};
}

// ---------------------------------------------------------------------------
// Random adversarial input

class Gen {
 public:
  explicit Gen(uint32_t seed) : rng_(seed) {}
  uint32_t Below(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(rng_); }
  uint32_t Scalar() {
    switch (Below(5)) {
      case 0:
        return Below(0x80);
      case 1:
        return 0x80 + Below(0x800 - 0x80);
      case 2: {
        const uint32_t v = 0x800 + Below(0x10000 - 0x800 - 0x800);
        return v < 0xD800 ? v : v + 0x800;
      }
      case 3:
        return 0x10000 + Below(0x100000);
      default: {
        static const uint32_t kEdges[] = {0,      0x7F,   0x80,   0x7FF,  0x800,   0xD7FF,
                                          0xE000, 0xFFFD, 0xFFFE, 0xFFFF, 0x10000, 0x10FFFF};
        return kEdges[Below(sizeof kEdges / sizeof *kEdges)];
      }
    }
  }

  void Piece(Units<U8>& s) {
    auto add = [&s](std::initializer_list<uint32_t> bytes) {
      for (uint32_t b : bytes) s.push_back(static_cast<U8>(b));
    };
    const uint32_t cont = 0x80 + Below(0x40);
    switch (Below(12)) {
      case 0:
      case 1:
      case 2: {  // valid, any length
        const uint32_t cp = Scalar();
        Units<U8> one = RefConvert<U8, U32>(&cp, 1, ReplaceInvalid).out;
        s.insert(s.end(), one.begin(), one.end());
        break;
      }
      case 3: {  // a valid multi-byte sequence cut short
        uint32_t cp = 0x80 + Below(0x10FF80);
        if (cp >= 0xD800 && cp <= 0xDFFF) cp += 0x800;
        Units<U8> one = RefConvert<U8, U32>(&cp, 1, ReplaceInvalid).out;
        s.insert(s.end(), one.begin(),
                 one.begin() + 1 + Below(static_cast<uint32_t>(one.size() - 1)));
        break;
      }
      case 4:  // stray continuation bytes
        add({cont});
        break;
      case 5:  // an encoded surrogate
        add({0xED, 0xA0 + Below(0x20), cont});
        break;
      case 6:  // 0xF4 above 0x10FFFF, and its valid neighbour
        add({0xF4, Below(2) ? 0x90 + Below(0x30) : 0x80 + Below(0x10), cont, cont});
        break;
      case 7:  // overlong forms
        switch (Below(3)) {
          case 0:
            add({0xC0 + Below(2), cont});
            break;
          case 1:
            add({0xE0, 0x80 + Below(0x20), cont});
            break;
          default:
            add({0xF0, 0x80 + Below(0x10), cont, cont});
            break;
        }
        break;
      case 8:  // bytes that never lead
        add({0xF5 + Below(11)});
        break;
      case 9:
        add({0});
        break;
      default:  // plain ASCII words
        for (uint32_t i = Below(20); i > 0; --i) add({'a' + Below(26)});
        break;
    }
  }

  void Piece(Units<U16>& s) {
    switch (Below(9)) {
      case 0:
      case 1: {
        uint32_t cp = Scalar();
        Units<U16> one = RefConvert<U16, U32>(&cp, 1, ReplaceInvalid).out;
        s.insert(s.end(), one.begin(), one.end());
        break;
      }
      case 2:  // lone high
        s.push_back(static_cast<U16>(0xD800 + Below(0x400)));
        break;
      case 3:  // lone low
        s.push_back(static_cast<U16>(0xDC00 + Below(0x400)));
        break;
      case 4:  // swapped pair
        s.push_back(static_cast<U16>(0xDC00 + Below(0x400)));
        s.push_back(static_cast<U16>(0xD800 + Below(0x400)));
        break;
      case 5:
        s.push_back(0);
        break;
      case 6:
        s.push_back(static_cast<U16>(0xFFFE + Below(2)));
        break;
      default:
        for (uint32_t i = Below(24); i > 0; --i) s.push_back(static_cast<U16>('a' + Below(26)));
        break;
    }
  }

  void Piece(Units<U32>& s) {
    switch (Below(6)) {
      case 0:
        s.push_back(0xD800 + Below(0x800));
        break;
      case 1:
        s.push_back(Below(2) ? 0x110000 + Below(0x1000) : 0xFFFFFFFF - Below(4));
        break;
      case 2:
        s.push_back(0);
        break;
      default:
        s.push_back(Scalar());
        break;
    }
  }

  template <typename T>
  Units<T> Text(size_t pieces) {
    Units<T> s;
    for (size_t i = 0; i < pieces; ++i) Piece(s);
    return s;
  }

  template <typename T>
  Units<T> ValidText(size_t chars) {
    Units<U32> cps;
    for (size_t i = 0; i < chars; ++i) cps.push_back(Scalar());
    return RefConvert<T, U32>(cps.data(), cps.size(), StopOnInvalid).out;
  }

 private:
  std::mt19937 rng_;
};

template <typename T>
Units<T> WithoutZeros(Units<T> s) {
  for (auto& u : s) {
    if (u == 0) u = 'z';
  }
  return s;
}

// ---------------------------------------------------------------------------
// Properties, for every pair, policy and overload

TEST(UtfProperty, ConvertMatchesReferenceInAnyRoom) {
  Gen gen(1);
  ForEachCombination([&](auto to, auto from, auto policy) {
    using To = decltype(to);
    using From = decltype(from);
    constexpr InvalidSequenceOption kOpt = decltype(policy)::value;
    for (int iter = 0; iter < 250; ++iter) {
      const Units<From> src = gen.Text<From>(1 + gen.Below(iter < 200 ? 12 : 80));
      const auto ref = RefConvert<To, From>(src.data(), src.size(), kOpt);
      SCOPED_TRACE(testing::Message() << "To " << sizeof(To) << " From " << sizeof(From)
                                      << " policy " << kOpt << " iter " << iter);

      // Ample room: exactly the reference.
      const auto big = Counted<To, From, kOpt>(src, ref.out.size() + src.size() * 4 + 4);
      ASSERT_EQ(big.out, ref.out);
      ASSERT_EQ(big.result, ref.result);
      ASSERT_EQ(big.consumed, ref.consumed);

      // Measuring agrees with converting.
      size_t consumed = 12345;
      const size_t count = _conversion_length<To, From, kOpt>(src.data(), src.size(), consumed);
      ASSERT_EQ(count, ref.out.size());
      ASSERT_EQ(consumed, src.empty() ? 12345 : ref.consumed);

      // A room of exactly the measured count: the same output, and the same
      // result unless the room ran out while only units that write nothing
      // (or the offending unit) were left.
      const auto exact = Counted<To, From, kOpt>(src, count);
      ASSERT_EQ(exact.out, ref.out);
      if (exact.result == ConvertDestinationFull) {
        ASSERT_EQ(exact.room_left, 0u);
        ASSERT_NE(kOpt, ReplaceInvalid);
      } else {
        ASSERT_EQ(exact.result, ref.result);
        ASSERT_EQ(exact.consumed, ref.consumed);
      }

      // Small rooms again and again, draining between calls: the same output
      // as one large call. RejectInvalid keeps what earlier calls drained.
      Units<To> drained;
      size_t pos = 0;
      ConvertResult last = ConvertOk;
      for (int calls = 0;; ++calls) {
        ASSERT_LT(calls, 10000);
        const Units<From> rest(src.begin() + static_cast<ptrdiff_t>(pos), src.end());
        const size_t room = gen.Below(6);
        const auto part = Counted<To, From, kOpt>(rest, room);
        pos += part.consumed;
        drained.insert(drained.end(), part.out.begin(), part.out.end());
        last = part.result;
        if (last != ConvertDestinationFull) break;
        // Any room of 4 or more makes progress; a smaller one may not.
        if (room >= 4) {
          ASSERT_TRUE(part.consumed > 0 || !part.out.empty());
        }
      }
      ASSERT_EQ(last, ref.result);
      ASSERT_EQ(pos, ref.consumed);
      if (kOpt == RejectInvalid && ref.result == ConvertInvalidSequence) {
        const auto stop = RefConvert<To, From>(src.data(), src.size(), StopOnInvalid);
        ASSERT_LE(drained.size(), stop.out.size());
        ASSERT_TRUE(std::equal(drained.begin(), drained.end(), stop.out.begin()));
      } else {
        ASSERT_EQ(drained, ref.out);
      }

      // NUL-terminated: the same as the counted form up to the first 0 unit,
      // which is neither consumed nor written; nothing after it is read.
      Units<From> terminated = iter % 2 ? WithoutZeros(src) : src;
      size_t len = 0;
      while (len < terminated.size() && terminated[len] != 0) ++len;
      const auto tref = RefConvert<To, From>(terminated.data(), len, kOpt);
      terminated.resize(len + 1);
      terminated[len] = 0;
      Dest<To> dest(len * 4 + 8);
      To* d = dest.begin();
      size_t room = dest.room;
      const From* s = terminated.data();
      const ConvertResult tr = _basic_convert<To, From, kOpt>(d, room, s);
      ASSERT_EQ(tr, tref.result);
      ASSERT_EQ(static_cast<size_t>(s - terminated.data()), tref.consumed);
      ASSERT_EQ(Units<To>(dest.begin(), d), tref.out);
      size_t tconsumed = 999;
      ASSERT_EQ((_conversion_length<To, From, kOpt>(terminated.data(), tconsumed)),
                tref.out.size());
      ASSERT_EQ(tconsumed, tref.consumed);

      // The one-call helper.
      if (src.empty()) continue;
      std::basic_string<To> text;
      ASSERT_EQ(convert<kOpt>(src.data(), src.size(), text), ref.result);
      ASSERT_EQ(Units<To>(text.begin(), text.end()), ref.out);
    }
  });
}

TEST(UtfProperty, ValidTextRoundTripsThroughEveryPair) {
  Gen gen(2);
  for (int iter = 0; iter < 40; ++iter) {
    const Units<U8> u8 = gen.ValidText<U8>(1 + gen.Below(100));
    std::basic_string<U16> u16, u16b;
    std::basic_string<U32> u32, u32b;
    std::basic_string<U8> u8a, u8b, u8c;
    ASSERT_EQ(convert<StopOnInvalid>(u8.data(), u8.size(), u16), ConvertOk);
    ASSERT_EQ(convert<StopOnInvalid>(u16, u32), ConvertOk);
    ASSERT_EQ(convert<StopOnInvalid>(u32, u8a), ConvertOk);
    ASSERT_EQ(convert<StopOnInvalid>(u8a, u32b), ConvertOk);
    ASSERT_EQ(convert<StopOnInvalid>(u32b, u16b), ConvertOk);
    ASSERT_EQ(convert<StopOnInvalid>(u16b, u8b), ConvertOk);
    ASSERT_EQ(convert<StopOnInvalid>(u8b, u8c), ConvertOk);
    EXPECT_EQ(Units<U8>(u8c.begin(), u8c.end()), u8);
    EXPECT_EQ(u16, u16b);
    EXPECT_EQ(u32, u32b);
    // Same-form conversions copy well-formed text unchanged.
    std::basic_string<U16> u16c;
    std::basic_string<U32> u32c;
    ASSERT_EQ(convert<RejectInvalid>(u16, u16c), ConvertOk);
    ASSERT_EQ(convert<RejectInvalid>(u32, u32c), ConvertOk);
    EXPECT_EQ(u16c, u16);
    EXPECT_EQ(u32c, u32);
  }
}

TEST(UtfProperty, WellFormedTextMatchesIcu) {
  Gen gen(3);
  for (int iter = 0; iter < 40; ++iter) {
    const Units<U8> u8 = gen.ValidText<U8>(1 + gen.Below(200));
    UErrorCode err = U_ZERO_ERROR;
    std::vector<UChar> icu16(u8.size() + 1);
    int32_t len16 = 0;
    u_strFromUTF8(icu16.data(), static_cast<int32_t>(icu16.size()), &len16,
                  reinterpret_cast<const char*>(u8.data()), static_cast<int32_t>(u8.size()), &err);
    ASSERT_TRUE(U_SUCCESS(err));
    icu16.resize(static_cast<size_t>(len16));
    std::vector<UChar32> icu32(icu16.size() + 1);
    int32_t len32 = 0;
    u_strToUTF32(icu32.data(), static_cast<int32_t>(icu32.size()), &len32, icu16.data(), len16,
                 &err);
    ASSERT_TRUE(U_SUCCESS(err));
    icu32.resize(static_cast<size_t>(len32));

    std::basic_string<U16> u16;
    std::basic_string<U32> u32, u32_from16;
    std::basic_string<U8> u8_from16, u8_from32;
    ASSERT_EQ(convert(u8.data(), u8.size(), u16), ConvertOk);
    ASSERT_EQ(convert(u8.data(), u8.size(), u32), ConvertOk);
    ASSERT_EQ(convert(u16, u32_from16), ConvertOk);
    ASSERT_EQ(convert(u16, u8_from16), ConvertOk);
    ASSERT_EQ(convert(u32, u8_from32), ConvertOk);
    ASSERT_EQ(Units<U16>(u16.begin(), u16.end()), Units<U16>(icu16.begin(), icu16.end()));
    ASSERT_EQ(Units<U32>(u32.begin(), u32.end()), Units<U32>(icu32.begin(), icu32.end()));
    ASSERT_EQ(u32_from16, u32);
    ASSERT_EQ(Units<U8>(u8_from16.begin(), u8_from16.end()), u8);
    ASSERT_EQ(Units<U8>(u8_from32.begin(), u8_from32.end()), u8);
  }
}

// Long text in one script at a time (European, CJK, emoji among ASCII), with
// now and then a broken unit, so the block and pair paths meet every kind of
// boundary: converted whole and in rooms of up to 70 units, drained between
// calls, for every pair under ReplaceInvalid and StopOnInvalid.
TEST(UtfProperty, ScriptTextInRoomsOfAnySize) {
  Gen gen(5);
  auto script_text = [&](int script, size_t chars) {
    Units<U32> cps;
    for (size_t i = 0; i < chars; ++i) {
      const uint32_t pick = gen.Below(10);
      if (pick < 2) {
        cps.push_back(' ');
      } else if (pick < 7) {
        cps.push_back('a' + gen.Below(26));
      } else if (script == 0) {
        cps.push_back(0xC0 + gen.Below(0x240));
      } else if (script == 1) {
        cps.push_back(0x4E00 + gen.Below(0x5000));
      } else {
        cps.push_back(0x1F300 + gen.Below(0x300));
      }
    }
    return cps;
  };
  auto check = [&](auto to, auto from, auto policy, const Units<U32>& cps) {
    using To = decltype(to);
    using From = decltype(from);
    constexpr InvalidSequenceOption kOpt = decltype(policy)::value;
    Units<From> src = RefConvert<From, U32>(cps.data(), cps.size(), StopOnInvalid).out;
    for (int breaks = gen.Below(3); breaks > 0 && !src.empty(); --breaks) {
      src[gen.Below(static_cast<uint32_t>(src.size()))] =
          static_cast<From>(sizeof(From) == 1 ? 0x80 + gen.Below(0x80) : 0xD800 + gen.Below(0x800));
    }
    const auto ref = RefConvert<To, From>(src.data(), src.size(), kOpt);
    const auto whole = Counted<To, From, kOpt>(src, ref.out.size() + 8);
    ASSERT_EQ(whole.out, ref.out);
    ASSERT_EQ(whole.consumed, ref.consumed);
    size_t consumed = 0;
    ASSERT_EQ((_conversion_length<To, From, kOpt>(src.data(), src.size(), consumed)),
              ref.out.size());
    ASSERT_EQ(consumed, ref.consumed);
    Units<To> drained;
    size_t pos = 0;
    for (;;) {
      const Units<From> rest(src.begin() + static_cast<ptrdiff_t>(pos), src.end());
      const auto part = Counted<To, From, kOpt>(rest, 4 + gen.Below(67));
      pos += part.consumed;
      drained.insert(drained.end(), part.out.begin(), part.out.end());
      if (part.result != ConvertDestinationFull) {
        ASSERT_EQ(part.result, ref.result);
        break;
      }
    }
    ASSERT_EQ(drained, ref.out);
    ASSERT_EQ(pos, ref.consumed);
  };
  for (int script = 0; script < 3; ++script) {
    for (int iter = 0; iter < 8; ++iter) {
      const Units<U32> cps = script_text(script, 300 + gen.Below(300));
      ForEachCombination([&](auto to, auto from, auto policy) {
        if constexpr (decltype(policy)::value == ReplaceInvalid ||
                      decltype(policy)::value == StopOnInvalid) {
          check(to, from, policy, cps);
        }
      });
    }
  }
}

// A piece placed at every offset after a run of ASCII, so each vector and
// block boundary meets ASCII ending, sequences cut by the block end, broken
// units and the end of the source; converted with ample room and in a room
// cut short at every length of the run.
TEST(UtfProperty, PiecesAtEveryOffset) {
  const Units<U8> pieces8[] = {
      {0xC3, 0xA9},
      {0xFF},
      {0x80},
      {0xF2, 0xBF, 0x86, 0xF0, 0x81, 0x9A, 0x9A},  // truncated four-byte form, then a lead
      {0xE3, 0x81, 0xC3, 0xA9},                    // truncated three-byte form
      {0xC3, 0xF0, 0x9F, 0x98, 0x80},              // truncated two-byte form
      {0xED, 0xA0, 0x80, 0xED, 0x9F, 0xBF},        // surrogate, then its neighbour
      {0xF4, 0x90, 0x80, 0x80, 0xF4, 0x8F, 0xBF, 0xBF},
      {0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80},
      // a block ending in a continuation byte, then a stop
      {0xC3, 0xA9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 0xC3, 0xA9, 0xFF},
  };
  const Units<U16> pieces16[] = {{0xE9},
                                 {0xD800},
                                 {0xDC00, 'x'},
                                 {0xD83D, 0xDE00},
                                 {0x4E00, 0x4E01},
                                 // a block of eight ending in ASCII, then a stop
                                 {0xE9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 0xDC00}};
  auto check = [](auto to, const auto& piece, size_t at) {
    using To = decltype(to);
    using From = typename std::decay_t<decltype(piece)>::value_type;
    Units<From> src(at, 'k');
    src.insert(src.end(), piece.begin(), piece.end());
    src.insert(src.end(), 16, 'm');  // a whole vector after the piece, then the end
    const auto replace = RefConvert<To, From>(src.data(), src.size(), ReplaceInvalid);
    const auto stop = RefConvert<To, From>(src.data(), src.size(), StopOnInvalid);
    // Exactly the room needed: nothing past it may be read or written.
    const auto r = Counted<To, From, ReplaceInvalid>(src, replace.out.size());
    EXPECT_EQ(r.out, replace.out) << at;
    const auto t = Counted<To, From, StopOnInvalid>(src, stop.out.size() + 40);
    EXPECT_EQ(t.out, stop.out) << at;
    EXPECT_EQ(t.consumed, stop.consumed) << at;
    for (size_t room = 0; room <= at; room += 5) {
      const auto cut = Counted<To, From, ReplaceInvalid>(src, room);
      EXPECT_EQ(cut.result, ConvertDestinationFull);
      EXPECT_EQ(cut.out, Units<To>(replace.out.begin(), replace.out.begin() + room));
    }
  };
  for (size_t at = 0; at < 40; ++at) {
    for (const auto& piece : pieces8) {
      check(U8{}, piece, at);
      check(U16{}, piece, at);
      check(U32{}, piece, at);
    }
    for (const auto& piece : pieces16) check(U8{}, piece, at);
  }
}

TEST(UtfProperty, EnumeratorYieldsTheReplaceConversion) {
  Gen gen(4);
  auto check = [&](auto unit) {
    using T = decltype(unit);
    for (int iter = 0; iter < 60; ++iter) {
      const Units<T> src = gen.Text<T>(1 + gen.Below(30));
      const auto ref = RefConvert<U32, T>(src.data(), src.size(), ReplaceInvalid);
      ky::utf_enumerator<T> e(src.data(), src.data() + src.size());
      Units<U32> got;
      for (unsigned cp; e.next(cp);) got.push_back(cp);
      EXPECT_EQ(got, ref.out);
      EXPECT_EQ(e.index, ref.out.size());
      EXPECT_EQ(e.current, e.end);
    }
  };
  check(U8{});
  check(U16{});
  check(U32{});
}

// ---------------------------------------------------------------------------
// Table-driven cases

struct Case8 {
  const char* what;
  Units<U8> src;
  InvalidSequenceOption opt;
  size_t room;
  ConvertResult result;
  Units<U16> out;
  size_t consumed;
};

TEST(UtfConvert, Utf8ToUtf16Cases) {
  const U16 R = 0xFFFD;
  const Case8 cases[] = {
      {"empty, room 0", {}, ReplaceInvalid, 0, ConvertOk, {}, 0},
      {"room 0 with source", {'a'}, ReplaceInvalid, 0, ConvertDestinationFull, {}, 0},
      {"room and source end together", {'a', 'b'}, StopOnInvalid, 2, ConvertOk, {'a', 'b'}, 2},
      {"truncated at end, replace",
       {'x', 0xE2, 0x82},
       ReplaceInvalid,
       9,
       ConvertOk,
       {'x', R, R},
       3},
      {"truncated at end, skip", {0xE2, 0x82}, SkipInvalid, 9, ConvertOk, {}, 2},
      {"truncated at end, stop",
       {'x', 0xE2, 0x82},
       StopOnInvalid,
       9,
       ConvertInvalidSequence,
       {'x'},
       1},
      {"stray continuation", {0x80, 'a'}, ReplaceInvalid, 9, ConvertOk, {R, 'a'}, 2},
      {"encoded surrogate", {0xED, 0xA0, 0x80}, ReplaceInvalid, 9, ConvertOk, {R, R, R}, 3},
      {"0xED below the surrogates", {0xED, 0x9F, 0xBF}, StopOnInvalid, 9, ConvertOk, {0xD7FF}, 3},
      {"0xF4 above 0x10FFFF", {0xF4, 0x90, 0x80, 0x80}, SkipInvalid, 9, ConvertOk, {}, 4},
      {"0x10FFFF", {0xF4, 0x8F, 0xBF, 0xBF}, StopOnInvalid, 9, ConvertOk, {0xDBFF, 0xDFFF}, 4},
      {"0xF5 never leads", {0xF5, 0x80, 0x80, 0x80}, ReplaceInvalid, 9, ConvertOk, {R, R, R, R}, 4},
      // Overlong forms are accepted and decoded as written.
      {"overlong two bytes", {0xC0, 0x80, 0xC1, 0xBF}, StopOnInvalid, 9, ConvertOk, {0, 0x7F}, 4},
      {"overlong three bytes", {0xE0, 0x80, 0x80}, StopOnInvalid, 9, ConvertOk, {0}, 3},
      // The pair formula wraps in 16 bits for an overlong four-byte form.
      {"overlong four bytes",
       {0xF0, 0x80, 0x80, 0x80},
       StopOnInvalid,
       9,
       ConvertOk,
       {0xFFC0, 0xDC00},
       4},
      {"four bytes, room 1",
       {0xF0, 0x9F, 0x98, 0x80},
       StopOnInvalid,
       1,
       ConvertDestinationFull,
       {},
       0},
      {"four bytes, room 2",
       {0xF0, 0x9F, 0x98, 0x80},
       StopOnInvalid,
       2,
       ConvertOk,
       {0xD83D, 0xDE00},
       4},
      {"a 0 unit is a character", {'a', 0, 'b'}, StopOnInvalid, 9, ConvertOk, {'a', 0, 'b'}, 3},
      {"room 0 before skipped units",
       {'a', 0xFF},
       SkipInvalid,
       1,
       ConvertDestinationFull,
       {'a'},
       1},
      {"room 0 before the offending unit",
       {'a', 0xFF},
       StopOnInvalid,
       1,
       ConvertDestinationFull,
       {'a'},
       1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Outcome<U16> run =
        c.opt == ReplaceInvalid ? Counted<U16, U8, ReplaceInvalid>(c.src, c.room)
        : c.opt == SkipInvalid  ? Counted<U16, U8, SkipInvalid>(c.src, c.room)
                                : Counted<U16, U8, StopOnInvalid>(c.src, c.room);
    EXPECT_EQ(run.result, c.result);
    EXPECT_EQ(run.out, c.out);
    EXPECT_EQ(run.consumed, c.consumed);
  }
}

TEST(UtfConvert, NullPointersTouchNothing) {
  U16 buf[4] = {1, 2, 3, 4};
  U16* d = nullptr;
  size_t room = 4;
  const U8 text[] = {'a', 0};
  const U8* s = text;
  size_t n = 1;
  EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(d, room, s, n)), ConvertNullPointer);
  EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(d, room, s)), ConvertNullPointer);
  d = buf;
  s = nullptr;
  EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(d, room, s, n)), ConvertNullPointer);
  EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(d, room, s)), ConvertNullPointer);
  EXPECT_EQ(d, buf);
  EXPECT_EQ(room, 4u);
  EXPECT_EQ(n, 1u);
  EXPECT_EQ(buf[0], 1);
}

TEST(UtfConvert, RejectWithdrawsTheDestinationButNotTheSource) {
  const U8 src[] = {'a', 'b', 0xFF, 'c'};
  U8 buf[8] = {};
  U8* d = buf;
  size_t room = sizeof buf;
  const U8* s = src;
  size_t n = sizeof src;
  EXPECT_EQ((_basic_convert<U8, U8, RejectInvalid>(d, room, s, n)), ConvertInvalidSequence);
  EXPECT_EQ(d, buf);
  EXPECT_EQ(room, sizeof buf);
  EXPECT_EQ(s, src + 2);
  EXPECT_EQ(n, 2u);
  EXPECT_EQ(buf[0], 'a');  // written, then withdrawn: still in memory
  // The same under StopOnInvalid keeps the output.
  d = buf;
  s = src;
  n = sizeof src;
  EXPECT_EQ((_basic_convert<U8, U8, StopOnInvalid>(d, room, s, n)), ConvertInvalidSequence);
  EXPECT_EQ(d, buf + 2);
  EXPECT_EQ(room, sizeof buf - 2);
}

TEST(UtfConvert, TerminatedSourceStopsAtItsTerminator) {
  // Exactly the room for three letters: the terminator is not written.
  const U8 abc[] = {'a', 'b', 'c', 0, 'x'};
  U32 buf[4] = {7, 7, 7, 7};
  U32* d = buf;
  size_t room = 3;
  const U8* s = abc;
  EXPECT_EQ((_basic_convert<U32, U8, StopOnInvalid>(d, room, s)), ConvertOk);
  EXPECT_EQ(s, abc + 3);
  EXPECT_EQ(room, 0u);
  EXPECT_EQ(buf[3], 7u);
  // A sequence cut by the terminator is ill-formed at its lead.
  const U8 cut[] = {0xE2, 0x82, 0};
  U16 out[4];
  U16* o = out;
  room = 4;
  s = cut;
  EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(o, room, s)), ConvertOk);
  EXPECT_EQ(o - out, 2);
  EXPECT_EQ(out[0], 0xFFFD);
  // A high surrogate before the terminator.
  const U16 high[] = {0xD83D, 0};
  U8 bytes[8];
  U8* b = bytes;
  room = 8;
  const U16* h = high;
  EXPECT_EQ((_basic_convert<U8, U16, ReplaceInvalid>(b, room, h)), ConvertOk);
  EXPECT_EQ(Units<U8>(bytes, b), (Units<U8>{0xEF, 0xBF, 0xBD}));
  // Room 0 is full unless the source is at its terminator.
  b = bytes;
  room = 0;
  h = high;
  EXPECT_EQ((_basic_convert<U8, U16, ReplaceInvalid>(b, room, h)), ConvertDestinationFull);
  h = high + 1;
  EXPECT_EQ((_basic_convert<U8, U16, ReplaceInvalid>(b, room, h)), ConvertOk);
}

TEST(UtfConvert, ReplacementIntoUtf8NeedsThreeBytes) {
  const U16 lone[] = {0xDC00};
  U8 buf[4];
  U8* d = buf;
  size_t room = 2;
  const U16* s = lone;
  size_t n = 1;
  EXPECT_EQ((_basic_convert<U8, U16, ReplaceInvalid>(d, room, s, n)), ConvertDestinationFull);
  EXPECT_EQ(s, lone);
  room = 3;
  EXPECT_EQ((_basic_convert<U8, U16, ReplaceInvalid>(d, room, s, n)), ConvertOk);
  EXPECT_EQ(d - buf, 3);
}

TEST(UtfMeasure, CasesAndUnchangedConsumed) {
  size_t consumed = 77;
  const U8 e_acute[] = {0xC3, 0xA9};
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(e_acute, 2, consumed)), 1u);
  EXPECT_EQ(consumed, 2u);
  const U8 grin[] = {0xF0, 0x9F, 0x98, 0x80};
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(grin, 4, consumed)), 2u);
  EXPECT_EQ((_conversion_length<U32, U8, ReplaceInvalid>(grin, 4, consumed)), 1u);
  const U16 high[] = {0xD800};
  EXPECT_EQ((_conversion_length<U8, U16, ReplaceInvalid>(high, 1, consumed)), 3u);
  EXPECT_EQ(consumed, 1u);
  const U8 bad[] = {0x41, 0xFF, 0x42};
  EXPECT_EQ((_conversion_length<U8, U8, ReplaceInvalid>(bad, 3, consumed)), 5u);
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(bad, 3, consumed)), 3u);
  EXPECT_EQ((_conversion_length<U16, U8, SkipInvalid>(bad, 3, consumed)), 2u);
  EXPECT_EQ(consumed, 3u);
  EXPECT_EQ((_conversion_length<U16, U8, StopOnInvalid>(bad, 3, consumed)), 1u);
  EXPECT_EQ(consumed, 1u);
  consumed = 9;
  EXPECT_EQ((_conversion_length<U16, U8, RejectInvalid>(bad, 3, consumed)), 0u);
  EXPECT_EQ(consumed, 1u);
  // Nothing to measure leaves consumed alone; an empty terminated string does not.
  consumed = 77;
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(bad, 0, consumed)), 0u);
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(nullptr, 3, consumed)), 0u);
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(nullptr, consumed)), 0u);
  EXPECT_EQ(consumed, 77u);
  const U8 empty[] = {0};
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(empty, consumed)), 0u);
  EXPECT_EQ(consumed, 0u);
}

// ---------------------------------------------------------------------------
// One value

TEST(UtfCharConvert, EveryPairAndPolicy) {
  struct Case {
    uint32_t value;
    size_t room;
    Units<U32> utf8, utf16, utf32;  // expected output per destination; empty: 0 returned
  };
  // For a source of unsigned int.
  const Case cases[] = {
      {0, 4, {0}, {0}, {0}},
      {0x10000, 1, {}, {}, {0x10000}},
      {0x10000, 4, {0xF0, 0x90, 0x80, 0x80}, {0xD800, 0xDC00}, {0x10000}},
      {0x10FFFF, 4, {0xF4, 0x8F, 0xBF, 0xBF}, {0xDBFF, 0xDFFF}, {0x10FFFF}},
      {0x7FF, 2, {0xDF, 0xBF}, {0x7FF}, {0x7FF}},
      {0x800, 2, {}, {0x800}, {0x800}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    U8 b[4] = {};
    U16 w[4] = {};
    U32 q[4] = {};
    size_t n = _char_convert<U8, U32, SkipInvalid>(b, c.room, c.value);
    EXPECT_EQ(Units<U32>(b, b + n), c.utf8);
    n = _char_convert<U16, U32, SkipInvalid>(w, c.room, c.value);
    EXPECT_EQ(Units<U32>(w, w + n), c.utf16);
    n = _char_convert<U32, U32, SkipInvalid>(q, c.room, c.value);
    EXPECT_EQ(Units<U32>(q, q + n), c.utf32);
  }

  // Invalid values: U+FFFD under ReplaceInvalid if it fits, else nothing.
  ForEachCombination([](auto to, auto from, auto policy) {
    using To = decltype(to);
    using From = decltype(from);
    constexpr InvalidSequenceOption kOpt = decltype(policy)::value;
    const uint32_t invalid[] = {0x80, 0xC3, 0xFF, 0xD800, 0xDFFF, 0x110000, 0xFFFFFFFF};
    for (uint32_t v : invalid) {
      if (v > static_cast<From>(~From{0})) continue;
      const bool bad = sizeof(From) == 1 || (v >= 0xD800 && v <= 0xDFFF) || v > 0x10FFFF;
      if (!bad) continue;
      To out[4] = {};
      const size_t need = sizeof(To) == 1 ? 3 : 1;
      EXPECT_EQ((_char_convert<To, From, kOpt>(out, need - 1, static_cast<From>(v))), 0u);
      const size_t n = _char_convert<To, From, kOpt>(out, 4, static_cast<From>(v));
      EXPECT_EQ(n, kOpt == ReplaceInvalid ? need : 0u) << v;
      if (n != 0) {
        EXPECT_EQ(out[0], n == 1 ? 0xFFFD : 0xEF);
      }
      EXPECT_EQ((_char_convert<To, From, kOpt>(nullptr, 4, static_cast<From>('a'))), 0u);
    }
  });

  U16 w[2];
  EXPECT_EQ((_char_convert<U16, U16, StopOnInvalid>(w, 1, 0xFFFF)), 1u);
  EXPECT_EQ(w[0], 0xFFFF);
  U32 q[1];
  EXPECT_EQ((_char_convert<U32, U16, ReplaceInvalid>(q, 1, 0xDC00)), 1u);
  EXPECT_EQ(q[0], 0xFFFDu);
  EXPECT_EQ((_char_convert<U32, U8, StopOnInvalid>(q, 1, 'A')), 1u);
  EXPECT_EQ(q[0], 0x41u);
}

// ---------------------------------------------------------------------------
// Enumerator

TEST(UtfEnumerator, Cases) {
  unsigned cp = 1;
  ky::utf_enumerator<U8> empty(static_cast<const U8*>(nullptr), 0);
  EXPECT_FALSE(empty.next(cp));
  EXPECT_EQ(cp, 0xFFFDu);
  EXPECT_EQ(empty.index, 0u);

  const U8 euro[] = {0xE2, 0x82, 0xAC};
  ky::utf_enumerator<U8> e(euro, 3);
  EXPECT_TRUE(e.next(cp));
  EXPECT_EQ(cp, 0x20ACu);
  EXPECT_EQ(e.index, 1u);
  EXPECT_FALSE(e.next(cp));
  EXPECT_FALSE(e.next(cp));
  EXPECT_EQ(e.index, 1u);

  // Cut to two bytes: the end is never read past, each byte is replaced.
  ky::utf_enumerator<U8> cut(euro, euro + 2);
  std::vector<unsigned> got;
  while (cut.next(cp)) got.push_back(cp);
  EXPECT_EQ(got, (std::vector<unsigned>{0xFFFD, 0xFFFD}));
  cut.reset();
  EXPECT_EQ(cut.index, 0u);
  EXPECT_TRUE(cut.next(cp));

  const U16 pair[] = {0xD83D, 0xDE00};
  ky::utf_enumerator<U16> p(pair, 2);
  EXPECT_TRUE(p.next(cp));
  EXPECT_EQ(cp, 0x1F600u);
  ky::utf_enumerator<U16> lone(pair, 1);
  EXPECT_TRUE(lone.next(cp));
  EXPECT_EQ(cp, 0xFFFDu);
  EXPECT_FALSE(lone.next(cp));

  const U32 big[] = {0x110000, 'a'};
  ky::utf_enumerator<U32> q(big, 2);
  EXPECT_TRUE(q.next(cp));
  EXPECT_EQ(cp, 0xFFFDu);
  EXPECT_TRUE(q.next(cp));
  EXPECT_EQ(cp, 'a');
}

// ---------------------------------------------------------------------------
// The one-call helper

TEST(UtfHelper, ResultsAndOutput) {
  std::basic_string<U16> out(3, 'x');
  EXPECT_EQ(convert(static_cast<const U8*>(nullptr), 3, out), ConvertNullPointer);
  EXPECT_TRUE(out.empty());
  const U8 text[] = {'a', 0xFF, 'b', 0};
  EXPECT_EQ(convert(text, 3, out), ConvertOk);
  EXPECT_EQ(out, (std::basic_string<U16>{'a', 0xFFFD, 'b'}));
  EXPECT_EQ(convert<SkipInvalid>(text, 3, out), ConvertOk);
  EXPECT_EQ(out, (std::basic_string<U16>{'a', 'b'}));
  EXPECT_EQ(convert<StopOnInvalid>(text, 3, out), ConvertInvalidSequence);
  EXPECT_EQ(out, (std::basic_string<U16>{'a'}));
  EXPECT_EQ(convert<RejectInvalid>(text, 3, out), ConvertInvalidSequence);
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(convert<StopOnInvalid>(text, out), ConvertInvalidSequence);
  EXPECT_EQ(convert(text, out), ConvertOk);
  EXPECT_EQ(out.size(), 3u);
  // The library allocates nothing for any of this.
  ky::test::AllocScope scope;
  std::basic_string<U32> wide;
  EXPECT_EQ(convert(text, wide), ConvertOk);
  EXPECT_EQ(scope.Taken(), 0u);
}

}  // namespace
