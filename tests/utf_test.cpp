// Transcoding: random adversarial text against the model, well-formed text
// against ICU, pieces across the vector blocks, a table of ill-formed classes.
#include <gtest/gtest.h>
#include <unicode/ustring.h>

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
  const auto each = [](auto tuple, auto g) { std::apply([&](auto... x) { (g(x), ...); }, tuple); };
  const std::tuple<U8, U16, U32> units;
  const std::tuple<Policy<ReplaceInvalid>, Policy<SkipInvalid>, Policy<StopOnInvalid>,
                   Policy<RejectInvalid>>
      policies;
  each(units, [&](auto to) {
    each(units, [&](auto from) { each(policies, [&](auto p) { f(to, from, p); }); });
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
  EXPECT_EQ(o.out.size(), room - r);
  EXPECT_EQ(n, terminated ? src.size() : src.size() - o.consumed);
  // Measuring agrees with converting; nothing to measure leaves consumed.
  const auto all = RefConvert<To, From>(src.data(), src.size(), Opt);
  size_t consumed = 12345;
  EXPECT_EQ((terminated ? _conversion_length<To, From, Opt>(start, consumed)
                        : _conversion_length<To, From, Opt>(start, src.size(), consumed)),
            all.out.size());
  EXPECT_EQ(consumed, src.empty() && !terminated ? 12345 : all.consumed);
  const bool withdrawn = Opt == RejectInvalid && result == ConvertInvalidSequence;
  for (size_t i = withdrawn ? room : o.out.size(); i < dst.size(); ++i) {  // withdrawn units stay
    EXPECT_EQ(dst[i], kSentinel) << "stored past the output at " << i;
  }
  return o;
}

template <typename To>
Units<To> Encode(const Units<U32>& cps) {
  return RefConvert<To, U32>(cps.data(), cps.size(), StopOnInvalid).out;
}

// Random text: runs half ASCII, half of one script (long stretches for the
// block paths), between odd and ill-formed units.
std::mt19937 rng;
uint32_t Below(size_t n) {
  return std::uniform_int_distribution<uint32_t>(0, static_cast<uint32_t>(n - 1))(rng);
}

Units<U32> ScriptRun(size_t chars) {
  static const uint32_t kEdges[] = {0x7F,   0x80,   0x7FF,  0x800,   0xD7FF,
                                    0xE000, 0xFFFD, 0xFFFF, 0x10000, 0x10FFFF};
  static const uint32_t kTops[] = {0x80, 0x800, 0x10000, 0x110000};
  const uint32_t script = Below(4);
  Units<U32> cps;
  while (cps.size() < chars) {
    uint32_t v = ' ' + Below(0x5F);
    if (Below(2) == 0) {
      const uint32_t any = Below(8) ? Below(kTops[Below(4)]) : kEdges[Below(10)];
      v = script == 0 ? 0xC0 + Below(0x240) : script == 1 ? 0x4E00 + Below(0x5000) : any;
      if (script == 2) v = 0x1F300 + Below(0x300);
    }
    if (v < 0xD800 || v > 0xDFFF) cps.push_back(v);
  }
  return cps;
}

template <typename T>
Units<T> Text(size_t pieces) {
  // Odd units by form, each drawn from [first, first + second).
  using Odd = std::vector<std::pair<uint32_t, uint32_t>>;
  // clang-format off
  static const std::vector<Odd> kOdd[] = {
      {{{0x80, 0x40}},                                      // stray continuation
       {{0xC2, 0x1E}}, {{0xE0, 0x10}, {0x80, 0x40}},         // cut short
       {{0xF0, 0x05}, {0x80, 0x40}, {0x80, 0x40}},
       {{0xED, 1}, {0xA0, 0x20}, {0x80, 0x40}},              // an encoded surrogate
       {{0xF4, 1}, {0x80, 0x40}, {0x80, 0x40}, {0x80, 0x40}},  // 0xF4 past the bound or not
       {{0xC0, 2}, {0x80, 0x40}}, {{0xE0, 1}, {0x80, 0x20}, {0x80, 0x40}},  // overlong
       {{0xF0, 1}, {0x80, 0x10}, {0x80, 0x40}, {0x80, 0x40}},
       {{0xF5, 11}}, {{0, 1}}},                             // never a lead; 0
      {{{0xD800, 0x400}}, {{0xDC00, 0x400}}, {{0xDC00, 0x400}, {0xD800, 0x400}}, {{0, 1}}},
      {{{0xD800, 0x800}}, {{0x110000, 0x1000}}, {{0xFFFFF000, 0x1000}}, {{0, 1}}}};
  // clang-format on
  Units<T> s;
  for (size_t i = 0; i < pieces; ++i) {
    const auto& odds = kOdd[sizeof(T) / 2];
    if (Below(3) == 0) {
      for (const auto& unit : odds[Below(odds.size())]) {
        s.push_back(static_cast<T>(unit.first + Below(unit.second)));
      }
    } else {
      const Units<T> run = Encode<T>(ScriptRun(1 + Below(30)));
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
        EXPECT_TRUE(std::all_of(one + k, one + 4, [](To x) { return x == 0; }));
      }
      EXPECT_EQ((_char_convert<To, From, kOpt>(nullptr, 4, From{'a'})), 0u);

      // NUL-terminated: as counted up to the first 0 unit.
      Units<From> term = src;
      if (iter % 2) std::replace(term.begin(), term.end(), From{0}, From{'z'});
      term.erase(std::find(term.begin(), term.end(), From{0}), term.end());
      const auto tref = RefConvert<To, From>(term.data(), term.size(), kOpt);
      Check<To, From, kOpt>(term, iter % 3 ? tref.out.size() : term.size() * 3 + 1, true);
      term.push_back(0);

      // The one-call helpers.
      Str<To> text;
      EXPECT_EQ(convert<kOpt>(Str<From>(src.begin(), src.end()), text), ref.result);
      EXPECT_EQ(Units<To>(text.begin(), text.end()), ref.out);
      EXPECT_EQ(convert<kOpt>(term.data(), text), tref.result);
      EXPECT_EQ(Units<To>(text.begin(), text.end()), tref.out);

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

// Well-formed text (the code points, their UTF-8, and ICU's UTF-16 of that)
// converts from each form to each other one as it should.
TEST(UtfProperty, WellFormedTextAgreesWithIcu) {
  rng.seed(2);
  for (int iter = 0; iter < 40; ++iter) {
    const Units<U32> cps = ScriptRun(1 + Below(200));
    const Units<U8> u8 = Encode<U8>(cps);
    std::vector<UChar> u16(u8.size());
    int32_t len16 = 0;
    UErrorCode err = U_ZERO_ERROR;
    u_strFromUTF8(u16.data(), static_cast<int32_t>(u16.size()), &len16,
                  reinterpret_cast<const char*>(u8.data()), static_cast<int32_t>(u8.size()), &err);
    ASSERT_TRUE(U_SUCCESS(err));
    const std::tuple<Str<U8>, Str<U16>, Str<U32>> forms(Str<U8>(u8.begin(), u8.end()),
                                                        Str<U16>(u16.begin(), u16.begin() + len16),
                                                        Str<U32>(cps.begin(), cps.end()));
    ForEachCombination([&](auto to, auto from, auto policy) {
      Str<decltype(to)> out;
      EXPECT_EQ(convert<decltype(policy)::value>(std::get<Str<decltype(from)>>(forms), out),
                ConvertOk);
      EXPECT_EQ(out, std::get<Str<decltype(to)>>(forms)) << sizeof(to) << " " << sizeof(from);
    });
  }
}

// A piece at every offset after ASCII and before a vector of it, so each block
// boundary meets every kind of unit and the end of the source; into exactly
// the room needed (the bug of a read one past a room of 16) and shorter ones.
TEST(UtfProperty, PiecesAtEveryOffsetAcrossBlocks) {
  // clang-format off
  const Units<U8> pieces8[] = {
      {0xC3, 0xA9}, {0xFF}, {0x80}, {0xC3, 0xA9, 0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x98, 0x80},
      {0xF2, 0xBF, 0x86, 0xF0, 0x81, 0x9A, 0x9A},  // truncated four-byte form, then a lead
      {0xE3, 0x81, 0xC3, 0xA9},                    // truncated three-byte form
      {0xC3, 0xF0, 0x9F, 0x98, 0x80},              // truncated two-byte form
      {0xED, 0xA0, 0x80, 0xED, 0x9F, 0xBF},        // surrogate, then its neighbour
      {0xF4, 0x90, 0x80, 0x80, 0xF4, 0x8F, 0xBF, 0xBF},
      {0xC3, 0xA9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 0xC3, 0xA9, 0xFF}};  // ends mid-block
  const Units<U16> pieces16[] = {{0xE9}, {0xD800}, {0xDC00, 'x'}, {0xD83D, 0xDE00}, {0x4E00, 0x4E01},
                                 {0xE9, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 0xDC00}};  // eight, then a stop
  // clang-format on
  auto check = [](auto to, const auto& piece, size_t at) {
    using To = decltype(to);
    using From = typename std::decay_t<decltype(piece)>::value_type;
    Units<From> src(at, 'k');
    src.insert(src.end(), piece.begin(), piece.end());
    src.insert(src.end(), 16, 'm');
    SCOPED_TRACE(testing::Message() << "To " << sizeof(To) << " at " << at);
    const auto stop = RefConvert<To, From>(src.data(), src.size(), StopOnInvalid);
    Check<To, From, StopOnInvalid>(src, stop.out.size());
    const size_t need = RefConvert<To, From>(src.data(), src.size(), ReplaceInvalid).out.size();
    for (size_t room = at % 5; room < need; room += 5) Check<To, From, ReplaceInvalid>(src, room);
    Check<To, From, ReplaceInvalid>(src, need);
  };
  for (size_t at = 0; at < 40; ++at) {
    for (const auto& piece : pieces8)
      check(U8{}, piece, at), check(U16{}, piece, at), check(U32{}, piece, at);
    for (const auto& piece : pieces16) check(U8{}, piece, at);
  }
}

// One row per case (forms by unit size, units widened), pinning the rules.
TEST(UtfConvert, IllFormedClassesAndResults) {
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
      {"truncated at end, each byte",      2, 1, Rep,  9, {'x', 0xE2, 0x82}, {'x', R, R}, 3, Ok},
      {"truncated at end",                 2, 1, Stop, 9, {'x', 0xE2, 0x82}, {'x'}, 1, Bad},
      {"withdrawn output, source kept",    1, 1, Rej,  9, {'a', 'b', 0xFF, 'c'}, {}, 2, Bad},
      {"kept output",                      1, 1, Stop, 9, {'a', 'b', 0xFF, 'c'}, {'a', 'b'}, 2, Bad},
      {"encoded surrogate",                4, 1, Rep,  9, {0xED, 0xA0, 0x80}, {R, R, R}, 3, Ok},
      {"0xED below the surrogates",        2, 1, Stop, 9, {0xED, 0x9F, 0xBF}, {0xD7FF}, 3, Ok},
      {"0xF4 above 0x10FFFF",              2, 1, Skip, 9, {0xF4, 0x90, 0x80, 0x80}, {}, 4, Ok},
      {"0x10FFFF",                         2, 1, Stop, 9, {0xF4, 0x8F, 0xBF, 0xBF}, {0xDBFF, 0xDFFF}, 4, Ok},
      {"0xF5 never leads, nor continues",  4, 1, Rep,  9, {0xF5, 0x80, 0x80, 0x80}, {R, R, R, R}, 4, Ok},
      {"overlong two bytes decoded",       2, 1, Stop, 9, {0xC0, 0x80, 0xC1, 0xBF}, {0, 0x7F}, 4, Ok},
      {"overlong two bytes copied",        1, 1, Stop, 9, {0xC0, 0x80}, {0xC0, 0x80}, 2, Ok},
      {"overlong four bytes, pair wraps",  2, 1, Stop, 9, {0xF0, 0x80, 0x80, 0x80}, {0xFFC0, 0xDC00}, 4, Ok},
      {"overlong four bytes",              4, 1, Stop, 9, {0xF0, 0x80, 0x80, 0x80}, {0}, 4, Ok},
      {"pair into room 1",                 2, 1, Stop, 1, {0xF0, 0x9F, 0x98, 0x80}, {}, 0, Full},
      {"a 0 unit is a character",          2, 1, Stop, 9, {'a', 0, 'b'}, {'a', 0, 'b'}, 3, Ok},
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
      using From = decltype(from);
      if (sizeof(to) != c.to || sizeof(from) != c.from || decltype(policy)::value != c.opt) return;
      const auto o = Check<decltype(to), From, decltype(policy)::value>(
          Units<From>(c.src.begin(), c.src.end()), c.room);
      EXPECT_EQ(std::make_tuple(Units<U32>(o.out.begin(), o.out.end()), o.consumed, o.result),
                std::tie(c.out, c.consumed, c.result));
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
  EXPECT_TRUE(d == buf && room == 1 && n == 1 && buf[0] == 7);
  EXPECT_EQ((_conversion_length<U16, U8, ReplaceInvalid>(nullptr, 3, consumed) +
             _conversion_length<U16, U8, ReplaceInvalid>(nullptr, consumed)),
            0u);
  EXPECT_EQ(consumed, 5u);
  Str<U32> out(3, 'x');
  EXPECT_EQ(convert(static_cast<const U8*>(nullptr), 3, out), ConvertNullPointer);
  EXPECT_TRUE(out.empty());
}

}  // namespace
