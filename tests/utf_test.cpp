// Transcoding: random adversarial text against the model, well-formed text
// against ICU, a table of ill-formed classes, each also across the vector blocks.
#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <sanitizer/asan_interface.h>  // no-op poisoning without AddressSanitizer

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <tuple>
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
template <typename T>
using Str = std::basic_string<T>;
template <InvalidSequenceOption Opt>
using Policy = std::integral_constant<InvalidSequenceOption, Opt>;

// Calls f(To{}, From{}, Policy<Opt>{}) for all 36 combinations.
template <typename F>
void ForEachCombination(F&& f) {
  const auto forms = [](auto g) { g(U8{}), g(U16{}), g(U32{}); };
  forms([&](auto to) {
    forms([&](auto from) {
      f(to, from, Policy<ReplaceInvalid>{}), f(to, from, Policy<SkipInvalid>{});
      f(to, from, Policy<StopOnInvalid>{}), f(to, from, Policy<RejectInvalid>{});
    });
  });
}

// Converts src (counted, or with a 0 unit appended) from a block of its own
// size into `room` units followed by 8 poisoned ones, so any access past
// either fails; checks outcome and measure against the model.
template <typename To, typename From, InvalidSequenceOption Opt>
ky::test::RefResult<To> Check(const Units<From>& src, size_t room, bool terminated = false) {
  const To kSentinel = static_cast<To>(0xA5A5);
  const std::unique_ptr<From[]> copy(new From[src.size() + terminated]());
  const From* const start = std::copy(src.begin(), src.end(), copy.get()) - src.size();
  Units<To> dst(room + 8, kSentinel);
  ASAN_POISON_MEMORY_REGION(dst.data() + room, 8 * sizeof(To));
  To* d = dst.data();
  const From* s = start;
  size_t r = room, n = src.size();
  const ConvertResult result = terminated ? _basic_convert<To, From, Opt>(d, r, s)
                                          : _basic_convert<To, From, Opt>(d, r, s, n);
  ASAN_UNPOISON_MEMORY_REGION(dst.data() + room, 8 * sizeof(To));
  const ky::test::RefResult<To> o{Units<To>(dst.data(), d), static_cast<size_t>(s - start), result};
  const auto ref = RefConvert<To, From>(src.data(), src.size(), Opt, room);
  EXPECT_EQ(std::tie(o.out, o.consumed, o.result), std::tie(ref.out, ref.consumed, ref.result));
  EXPECT_EQ(std::make_pair(room - r, n),
            std::make_pair(o.out.size(), src.size() - (terminated ? 0 : o.consumed)));
  // Measuring agrees with converting; nothing to measure leaves consumed.
  const auto all = RefConvert<To, From>(src.data(), src.size(), Opt);
  size_t consumed = 12345;
  EXPECT_EQ((terminated ? _conversion_length<To, From, Opt>(start, consumed)
                        : _conversion_length<To, From, Opt>(start, src.size(), consumed)),
            all.out.size());
  EXPECT_EQ(consumed, src.empty() && !terminated ? 12345 : all.consumed);
  // Nothing stored past the output (withdrawn units stay in memory).
  const size_t kept =
      Opt == RejectInvalid && result == ConvertInvalidSequence ? room : o.out.size();
  EXPECT_EQ(std::count(dst.begin() + kept, dst.end(), kSentinel), dst.size() - kept);
  return o;
}

std::mt19937 rng;
uint32_t Below(size_t n) {
  return std::uniform_int_distribution<uint32_t>(0, static_cast<uint32_t>(n - 1))(rng);
}

// Characters half ASCII, half of one script (Latin, CJK, emoji: long
// stretches for the block paths) or of any length, edges included.
Units<U32> ScriptRun(size_t chars) {
  static const uint32_t kEdges[] = {0x7F,   0x80,   0x7FF,  0x800,   0xD7FF,
                                    0xE000, 0xFFFD, 0xFFFF, 0x10000, 0x10FFFF};
  static const uint32_t kTops[] = {0x80, 0x800, 0x10000, 0x110000};
  static const uint32_t kScripts[][2] = {{0xC0, 0x240}, {0x4E00, 0x5000}, {0x1F300, 0x300}};
  const uint32_t script = Below(4);
  Units<U32> cps;
  while (cps.size() < chars) {
    const uint32_t v = Below(2)        ? ' ' + Below(0x5F)
                       : script < 3    ? kScripts[script][0] + Below(kScripts[script][1])
                       : Below(8) != 0 ? Below(kTops[Below(4)])
                                       : kEdges[Below(10)];
    if (v < 0xD800 || v > 0xDFFF) cps.push_back(v);
  }
  return cps;
}

// Appends one odd or ill-formed piece of form T.
template <typename T>
void AppendOdd(Units<T>& s) {
  // Odd units by form, each drawn from [first, first + second).
  using Odd = std::vector<std::pair<uint32_t, uint32_t>>;
  // clang-format off
  static const std::vector<Odd> kOdd[] = {
      {{{0x80, 0x40}}, {{0xC2, 0x33}},                       // stray continuation, lone lead
       {{0xE0, 0x10}, {0x80, 0x40}},                         // cut short
       {{0xF0, 0x05}, {0x80, 0x40}, {0x80, 0x40}},
       {{0xED, 1}, {0xA0, 0x20}, {0x80, 0x40}},              // an encoded surrogate
       {{0xF4, 1}, {0x80, 0x40}, {0x80, 0x40}, {0x80, 0x40}},  // 0xF4 past the bound or not
       {{0xC0, 2}, {0x80, 0x40}}, {{0xE0, 1}, {0x80, 0x20}, {0x80, 0x40}},  // overlong
       {{0xF0, 1}, {0x80, 0x10}, {0x80, 0x40}, {0x80, 0x40}},
       {{0xF5, 11}}, {{0, 1}}},                             // never a lead; 0
      {{{0xD800, 0x400}}, {{0xDC00, 0x400}}, {{0xDC00, 0x400}, {0xD800, 0x400}}, {{0, 1}}},
      {{{0xD800, 0x800}}, {{0x110000, 0x1000}}, {{0xFFFFF000, 0x1000}}, {{0, 1}}}};
  // clang-format on
  const auto& odds = kOdd[sizeof(T) / 2];
  for (const auto& u : odds[Below(odds.size())])
    s.push_back(static_cast<T>(u.first + Below(u.second)));
}

template <typename T>
Units<T> Encoded(const Units<U32>& cps) {
  return RefConvert<T, U32>(cps.data(), cps.size(), StopOnInvalid).out;
}

// Script runs between odd and ill-formed units.
template <typename T>
Units<T> Text(size_t pieces) {
  Units<T> s;
  for (size_t i = 0; i < pieces; ++i) {
    if (Below(3) == 0) {
      AppendOdd(s);
    } else {
      const Units<T> run = Encoded<T>(ScriptRun(1 + Below(30)));
      s.insert(s.end(), run.begin(), run.end());
    }
  }
  return s;
}

TEST(UtfProperty, MatchesModelForEveryPairPolicyOverloadAndRoom) {
  ky::test::AllocScope scope;  // the library allocates nothing
  rng.seed(1);
  ForEachCombination([&](auto to, auto from, auto policy) {
    using To = decltype(to);
    using From = decltype(from);
    constexpr InvalidSequenceOption kOpt = decltype(policy)::value;
    for (int iter = 0; iter < 200 && !testing::Test::HasFailure(); ++iter) {
      const Units<From> src = Text<From>(iter == 0 ? 0 : 1 + Below(iter % 4 ? 4 : 30));
      const auto ref = RefConvert<To, From>(src.data(), src.size(), kOpt);
      SCOPED_TRACE(testing::Message() << "To " << sizeof(To) << " From " << sizeof(From)
                                      << " policy " << kOpt << " iter " << iter);
      // Ample room, exactly the room needed, or small rooms, each call resuming
      // where the last stopped: together the output of one large call.
      for (size_t room : {ref.out.size() + 8, ref.out.size(), size_t{0}}) {
        Units<To> drained;
        size_t pos = 0;
        for (ConvertResult last = ConvertDestinationFull; last == ConvertDestinationFull;) {
          const auto part = Check<To, From, kOpt>(
              Units<From>(src.begin() + static_cast<ptrdiff_t>(pos), src.end()), room);
          pos += part.consumed;
          drained.insert(drained.end(), part.out.begin(), part.out.end());
          last = part.result;
          room = iter % 2 ? Below(6) : 4 + Below(67);
        }
        EXPECT_EQ(pos, ref.consumed);
        if (kOpt != RejectInvalid || ref.result == ConvertOk) {
          EXPECT_EQ(drained, ref.out);
        }
      }

      // One unit at a time: as that unit alone converts, whole or not at all.
      for (const From unit : src) {
        To one[4] = {};
        const size_t room = Below(5);
        const Units<To> want = RefConvert<To, From>(&unit, 1, kOpt).out;
        const size_t k = _char_convert<To, From, kOpt>(one, room, unit);
        EXPECT_EQ(Units<To>(one, one + k), want.size() <= room ? want : Units<To>()) << unit;
        EXPECT_EQ(std::count(one + k, one + 4, To{0}), 4 - k);
      }
      EXPECT_EQ((_char_convert<To, From, kOpt>(nullptr, 4, From{'a'})), 0u);

      // NUL-terminated: as counted up to the first 0 unit; the one-call helpers.
      Units<From> term = src;
      if (iter % 2) std::replace(term.begin(), term.end(), From{0}, From{'z'});
      term.erase(std::find(term.begin(), term.end(), From{0}), term.end());
      const auto tref = RefConvert<To, From>(term.data(), term.size(), kOpt);
      Check<To, From, kOpt>(term, iter % 3 ? tref.out.size() : term.size() * 3 + 1, true);
      term.push_back(0);
      Str<To> text, text0;
      EXPECT_EQ(convert<kOpt>(Str<From>(src.begin(), src.end()), text), ref.result);
      EXPECT_EQ(convert<kOpt>(term.data(), text0), tref.result);
      EXPECT_TRUE(Units<To>(text.begin(), text.end()) == ref.out &&
                  Units<To>(text0.begin(), text0.end()) == tref.out);

      // The enumerator walks as ReplaceInvalid converts into UTF-32.
      if constexpr (std::is_same_v<To, U32> && kOpt == ReplaceInvalid) {
        ky::utf_enumerator<From> e(src.data(), src.size());
        Units<U32> got(1), want = ref.out;
        while (e.next(got.back())) got.push_back(0);
        want.push_back(0xFFFD);  // stored at the end, which changes nothing
        EXPECT_TRUE(got == want && e.index == ref.out.size() && e.current == e.end &&
                    !e.next(got[0]));
        e.reset();
        EXPECT_TRUE(e.index == 0 && e.current == e.start && e.next(got[0]) == !src.empty());
      }
    }
  });
  EXPECT_EQ(scope.Taken(), 0u);
}

// The vector kernels take blocks of up to 64 units and leave what they do
// not take to the scalar steps. Text that changes script every few
// characters gets one odd piece at each offset of the first two blocks in
// turn, and converts in exactly the room it needs and in a room that ends at
// that offset, so each kernel stops at every position of a block, for an
// ill-formed unit and for room, and resumes there.
TEST(UtfProperty, OddPieceAtEveryBlockOffset) {
  rng.seed(3);
  ForEachCombination([&](auto to, auto from, auto policy) {
    using To = decltype(to);
    using From = decltype(from);
    constexpr InvalidSequenceOption kOpt = decltype(policy)::value;
    const Units<From> text = Encoded<From>(ScriptRun(200));
    for (size_t at = 0; at < 130 && !testing::Test::HasFailure(); ++at) {
      Units<From> src(text.begin(), text.begin() + static_cast<ptrdiff_t>(at));
      AppendOdd(src);
      src.insert(src.end(), text.begin() + static_cast<ptrdiff_t>(at), text.end());
      SCOPED_TRACE(testing::Message() << "To " << sizeof(To) << " From " << sizeof(From)
                                      << " policy " << kOpt << " at " << at);
      Check<To, From, kOpt>(src, RefConvert<To, From>(src.data(), src.size(), kOpt).out.size());
      Check<To, From, kOpt>(src, at);
    }
  });
}

// Well-formed text (the code points, their UTF-8, and ICU's UTF-16 of that)
// converts from each form to each other one as it should.
TEST(UtfProperty, WellFormedTextAgreesWithIcu) {
  rng.seed(2);
  for (int iter = 0; iter < 40; ++iter) {
    const Units<U32> cps = ScriptRun(1 + Below(200));
    const Units<U8> u8 = RefConvert<U8, U32>(cps.data(), cps.size(), StopOnInvalid).out;
    const icu::UnicodeString u16 = icu::UnicodeString::fromUTF8(icu::StringPiece(
        reinterpret_cast<const char*>(u8.data()), static_cast<int32_t>(u8.size())));
    const std::tuple<Str<U8>, Str<U16>, Str<U32>> forms(
        Str<U8>(u8.begin(), u8.end()), Str<U16>(u16.getBuffer(), u16.getBuffer() + u16.length()),
        Str<U32>(cps.begin(), cps.end()));
    ForEachCombination([&](auto to, auto from, auto policy) {
      Str<decltype(to)> out;
      EXPECT_EQ(convert<decltype(policy)::value>(std::get<Str<decltype(from)>>(forms), out),
                ConvertOk);
      EXPECT_EQ(out, std::get<Str<decltype(to)>>(forms)) << sizeof(to) << " " << sizeof(from);
    });
  }
}

// One row per case (forms by unit size, units widened), pinning the rules.
// Each source also sits at every offset after ASCII and before a vector of
// it, so each block boundary meets every kind of unit and the end of the
// source, and goes into every form in exactly the room needed (the bug of a
// read one past a room of 16), shorter rooms and ample ones (a stop after a
// block shows what the block stored past its output).
TEST(UtfConvert, IllFormedClassesAndResultsAtEveryOffset) {
  // clang-format off
  struct Case { const char* what; size_t to, from; InvalidSequenceOption opt; size_t room;
                Units<U32> src, out; size_t consumed; ConvertResult result; };
  const U32 R = 0xFFFD;
  constexpr auto Ok = ConvertOk, Bad = ConvertInvalidSequence, Full = ConvertDestinationFull;
  constexpr auto Rep = ReplaceInvalid, Skip = SkipInvalid, Stop = StopOnInvalid, Rej = RejectInvalid;
  const Case cases[] = {
      {"room 0 with source left",          2, 1, Rep,  0, {'a'}, {}, 0, Full},
      {"room and source end together",     2, 1, Stop, 2, {'a', 'b'}, {'a', 'b'}, 2, Ok},
      {"room out before what writes nothing", 2, 1, Skip, 1, {'a', 0xFF}, {'a'}, 1, Full},
      {"each length",                      4, 1, Stop, 9, {0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80}, {0xE9, 0x20AC, 0x1F600}, 9, Ok},
      {"truncated at end, each byte",      2, 1, Rep,  9, {'x', 0xE2, 0x82}, {'x', R, R}, 3, Ok},
      {"truncated at end, output kept",    2, 1, Stop, 9, {'x', 0xE2, 0x82}, {'x'}, 1, Bad},
      {"truncated, then a lead",           4, 1, Rep,  9, {0xE3, 0x81, 0xC3, 0xA9}, {R, R, 0xE9}, 4, Ok},
      {"truncated, then a four-byte form", 1, 1, Skip, 9, {0xC3, 0xF0, 0x9F, 0x98, 0x80}, {0xF0, 0x9F, 0x98, 0x80}, 5, Ok},
      {"withdrawn output, source kept",    1, 1, Rej,  9, {'a', 'b', 0xFF, 'c'}, {}, 2, Bad},
      {"stop after a block",               1, 1, Stop, 20, {0xC3, 0xA9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 0xC3, 0xA9, 0xFF}, {0xC3, 0xA9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 0xC3, 0xA9}, 16, Bad},
      {"encoded surrogate",                4, 1, Rep,  9, {0xED, 0xA0, 0x80}, {R, R, R}, 3, Ok},
      {"surrogate after three-byte forms", 4, 1, Rep, 20, {0xE4, 0xB8, 0x80, 0xE4, 0xB8, 0x81, 0xE4, 0xB8, 0x82, 0xE4, 0xB8, 0x83, 0xED, 0xA0, 0x80}, {0x4E00, 0x4E01, 0x4E02, 0x4E03, R, R, R}, 15, Ok},
      {"0xED below the surrogates",        2, 1, Stop, 9, {0xED, 0x9F, 0xBF}, {0xD7FF}, 3, Ok},
      {"0xF4 above 0x10FFFF",              2, 1, Skip, 9, {0xF4, 0x90, 0x80, 0x80}, {}, 4, Ok},
      {"0x10FFFF",                         2, 1, Stop, 9, {0xF4, 0x8F, 0xBF, 0xBF}, {0xDBFF, 0xDFFF}, 4, Ok},
      {"0xF5 never leads, nor continues",  4, 1, Rep,  9, {0xF5, 0x80, 0x80, 0x80}, {R, R, R, R}, 4, Ok},
      {"overlong two bytes decoded",       2, 1, Stop, 9, {0xC0, 0x80, 0xC1, 0xBF}, {0, 0x7F}, 4, Ok},
      {"overlong two bytes copied",        1, 1, Stop, 9, {0xC0, 0x80}, {0xC0, 0x80}, 2, Ok},
      {"overlong four bytes, pair wraps",  2, 1, Stop, 9, {0xF0, 0x80, 0x80, 0x80}, {0xFFC0, 0xDC00}, 4, Ok},
      {"truncated, then overlong four",    4, 1, Rep,  9, {0xF2, 0xBF, 0x86, 0xF0, 0x81, 0x9A, 0x9A}, {R, R, R, 0x169A}, 7, Ok},
      {"pair into room 1",                 2, 1, Stop, 1, {0xF0, 0x9F, 0x98, 0x80}, {}, 0, Full},
      {"a 0 unit is a character",          2, 1, Stop, 9, {'a', 0, 'b'}, {'a', 0, 'b'}, 3, Ok},
      {"BMP and pair",                     1, 2, Stop, 9, {0xE9, 0xD83D, 0xDE00}, {0xC3, 0xA9, 0xF0, 0x9F, 0x98, 0x80}, 3, Ok},
      {"eight three-byte units",           4, 2, Stop, 9, {'a', 0x4E00, 0x4E01, 0x4E02, 0x4E03, 0x4E04, 0x4E05, 0x4E06, 0x4E07}, {'a', 0x4E00, 0x4E01, 0x4E02, 0x4E03, 0x4E04, 0x4E05, 0x4E06, 0x4E07}, 9, Ok},
      {"eight, then a stop",               4, 2, Stop, 9, {0xE9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 0xDC00}, {0xE9, 'a', 'b', 'c', 'd', 'e', 'f', 'g'}, 8, Bad},
      {"U+FFFD into UTF-8 needs 3 bytes",  1, 2, Rep,  2, {0xDC00}, {}, 0, Full},
      {"swapped pair",                     4, 2, Rep,  9, {0xDC00, 0xD800}, {R, R}, 2, Ok},
      {"high surrogate at end",            1, 2, Stop, 9, {'a', 0xD83D}, {'a'}, 1, Bad},
      {"surrogate and above 0x10FFFF",     2, 4, Rep,  9, {0xD800, 0x110000, 0xFFFFFFFF, 'a'}, {R, R, R, 'a'}, 4, Ok},
      {"surrogate",                        4, 4, Rej,  9, {'a', 0xDFFF}, {}, 1, Bad},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.what << ", policy " << c.opt);
    ForEachCombination([&](auto to, auto from, auto policy) {
      using To = decltype(to);
      using From = decltype(from);
      constexpr InvalidSequenceOption kOpt = decltype(policy)::value;
      if (sizeof(From) != c.from) return;
      const Units<From> piece(c.src.begin(), c.src.end());
      // NUL-terminated too when it has no 0 unit: the decoder without a count.
      const bool has0 = std::count(c.src.begin(), c.src.end(), 0u) != 0;
      for (bool terminated : {false, !has0}) {
        if (sizeof(To) != c.to || kOpt != c.opt) break;
        const auto o = Check<To, From, kOpt>(piece, c.room, terminated);
        EXPECT_EQ(std::make_tuple(Units<U32>(o.out.begin(), o.out.end()), o.consumed, o.result),
                  std::tie(c.out, c.consumed, c.result));
      }
      for (size_t at = 0; at < 40 && (kOpt == ReplaceInvalid || kOpt == StopOnInvalid); ++at) {
        Units<From> src(at, 'k');
        src.insert(src.end(), piece.begin(), piece.end());
        src.insert(src.end(), 16, 'm');
        SCOPED_TRACE(testing::Message() << "To " << sizeof(To) << " at " << at);
        const size_t need = RefConvert<To, From>(src.data(), src.size(), kOpt).out.size();
        Check<To, From, kOpt>(src, need);
        for (size_t room = at % 5; room < need + 30; room += 5) Check<To, From, kOpt>(src, room);
      }
    });
  }
}

TEST(UtfConvert, NullPointersTouchNothing) {
  U16 buf[1] = {7}, *d = nullptr;
  const U8 text[] = {'a', 0}, *s = text;
  size_t room = 1, n = 1, consumed = 5;
  for (int i = 0; i < 2; ++i, d = buf, s = nullptr) {
    EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(d, room, s, n)), ConvertNullPointer);
    EXPECT_EQ((_basic_convert<U16, U8, ReplaceInvalid>(d, room, s)), ConvertNullPointer);
  }
  Str<U32> out(3, 'x');
  EXPECT_EQ(convert(static_cast<const U8*>(nullptr), 3, out), ConvertNullPointer);
  EXPECT_TRUE(d == buf && room == 1 && n == 1 && buf[0] == 7 && out.empty() &&
              (_conversion_length<U16, U8, ReplaceInvalid>(nullptr, 3, consumed)) == 0 &&
              (_conversion_length<U16, U8, ReplaceInvalid>(nullptr, consumed)) == 0 &&
              consumed == 5);
}

}  // namespace
