#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <thread>
#include <unordered_map>
#include <vector>

#include "ky/random.h"

namespace {

// MT_create_rand(5489) is the reference generator's default sequence, which
// std::mt19937 also produces.
std::vector<uint32_t> Reference(size_t n, uint32_t seed = 5489) {
  std::mt19937 mt(seed);
  std::vector<uint32_t> out(n);
  for (auto& v : out) v = mt();
  return out;
}

TEST(MtEngine, MatchesReferenceSequences) {
  MtState* s = MT_create_rand(5489);
  ASSERT_NE(s, nullptr);
  const auto ref = Reference(5000);
  EXPECT_EQ(ref[0], 3499211612u);
  for (size_t i = 0; i < ref.size(); ++i) ASSERT_EQ(MT_genrand_int32(s), ref[i]) << i;
  MT_destroy_rand(&s);
  EXPECT_EQ(s, nullptr);
  MT_destroy_rand(&s);  // already null: nothing happens

  const uint32_t key[] = {0x123, 0x234, 0x345, 0x456};
  s = MT_create_rand2(key, 4);
  for (uint32_t want : {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u}) {
    EXPECT_EQ(MT_genrand_int32(s), want);
  }
  // Reseeding restarts the sequence.
  MT_init_state(s, 5489);
  EXPECT_EQ(MT_genrand_int32_unlocking(s), 3499211612u);
  MT_destroy_rand(&s);
}

TEST(MtEngine, DerivedDrawsFollowTheirFormulas) {
  MtState* s = MT_create_rand(5489);
  const auto ref = Reference(6);
  EXPECT_EQ(MT_genrand_int31(s), ref[0] >> 1);
  EXPECT_EQ(MT_genrand_real1(s), ref[1] * (1.0 / 4294967295.0));
  EXPECT_EQ(MT_genrand_real2(s), ref[2] * (1.0 / 4294967296.0));
  EXPECT_EQ(MT_genrand_real3(s), (ref[3] + 0.5) * (1.0 / 4294967296.0));
  EXPECT_EQ(MT_genrand_res53(s),
            ((ref[4] >> 5) * 67108864.0 + (ref[5] >> 6)) * (1.0 / 9007199254740992.0));
  MT_destroy_rand(&s);
}

TEST(MtEngine, RangeBoundsAndDrawCounts) {
  MtState* s = MT_create_rand(5489);
  const auto ref = Reference(8);
  EXPECT_EQ(MT_genrand_range(s, 5, 5), 5);  // no draw
  EXPECT_EQ(MT_genrand_range(s, INT32_MIN, INT32_MAX),
            static_cast<int32_t>(static_cast<uint32_t>(INT32_MIN) + ref[0]));
  EXPECT_EQ(MT_genrand_range(s, 0, 7), static_cast<int32_t>(ref[1] % 8));
  EXPECT_EQ(MT_genrand_range(s, 10, 1), static_cast<int32_t>(1 + ref[2] % 10));
  EXPECT_EQ(MT_genrand_int32(s), ref[3]);
  MT_destroy_rand(&s);
}

// Independent model of the bounded draw on the reference stream: plain
// rejection of draws at or above the largest multiple of n in 2^w, with w
// the draw width, computed in 128 bits.
template <typename T>
T ModelBounded(const std::vector<uint32_t>& ref, size_t& pos, T lo, T hi) {
  using U = typename std::make_unsigned<T>::type;
  const bool wide = sizeof(T) > 4;
  if (hi < lo) std::swap(lo, hi);
  if (lo == hi) return lo;
  auto draw = [&]() -> unsigned __int128 {
    uint64_t r = ref[pos++];
    return wide ? (r << 32 | ref[pos++]) : r;
  };
  const unsigned __int128 n =
      static_cast<unsigned __int128>(static_cast<U>(static_cast<U>(hi) - static_cast<U>(lo))) + 1;
  const unsigned __int128 range = static_cast<unsigned __int128>(1) << (wide ? 64 : 32);
  unsigned __int128 r = draw();
  while (r >= range / n * n) r = draw();
  return static_cast<T>(static_cast<U>(static_cast<U>(lo) + static_cast<U>(r % n)));
}

template <typename T>
void CheckBounded(T lo, T hi) {
  const auto ref = Reference(4000);
  ky::random r(5489);
  size_t pos = 0;
  for (int i = 0; i < 500; ++i) {
    T want = ModelBounded<T>(ref, pos, lo, hi);
    T got = r.get<T>(lo, hi);
    ASSERT_EQ(got, want) << "draw " << i << " lo " << +lo << " hi " << +hi;
    ASSERT_GE(got, std::min(lo, hi));
    ASSERT_LE(got, std::max(lo, hi));
  }
  // Both followed the stream to the same place.
  EXPECT_EQ(r.get<unsigned int>(), ref[pos]);
}

TEST(RandomBounded, AgreesWithModelOnEveryType) {
  // The model and the draw must leave the stream at the same place, so these
  // also pin the draw counts: none for equal bounds, one for a power of two.
  CheckBounded<int>(4, 4);
  CheckBounded<unsigned int>(0, 7);
  CheckBounded<int>(7, 3);
  CheckBounded<int>(INT32_MIN, INT32_MAX);
  CheckBounded<unsigned int>(0, 0x80000000u);  // rejects about half the draws
  CheckBounded<unsigned int>(0, 0xFFFFFFFFu);
  CheckBounded<char>(-5, 100);
  CheckBounded<signed char>(127, -128);
  CheckBounded<unsigned char>(0, 255);
  CheckBounded<short>(-300, 300);
  CheckBounded<unsigned short>(1, 65535);
  CheckBounded<long>(-1000, 1000);
  CheckBounded<long long>(INT64_MIN, INT64_MAX);
  CheckBounded<unsigned long>(0, 0x8000000000000000ull);
  CheckBounded<unsigned long long>(5, 1ull << 40);
}

template <typename T>
double ChiSquare(T lo, T hi, int draws) {
  ky::random r(20240229);
  const int cells = static_cast<int>(hi - lo) + 1;
  std::vector<int> count(cells);
  for (int i = 0; i < draws; ++i) ++count[static_cast<int>(r.get<T>(lo, hi) - lo)];
  const double expected = static_cast<double>(draws) / cells;
  double chi = 0;
  for (int c : count) chi += (c - expected) * (c - expected) / expected;
  return chi;
}

TEST(RandomBounded, UniformByChiSquare) {
  // Limits at p = 0.001 for 9, 10 and 6 degrees of freedom.
  EXPECT_LT(ChiSquare<int>(0, 9, 100000), 27.88);
  EXPECT_LT(ChiSquare<unsigned char>(10, 20, 110000), 29.59);
  EXPECT_LT(ChiSquare<long long>(-3, 3, 70000), 22.46);
}

TEST(RandomGet, TypedDrawsFromTheStream) {
  ky::random r(5489);
  const auto ref = Reference(16);
  EXPECT_EQ(r.get<unsigned int>(), ref[0]);
  EXPECT_EQ(r.get<int>(), static_cast<int>(ref[1] >> 1));
  EXPECT_EQ(r.get<short>(), static_cast<short>(ref[2] >> 17));
  EXPECT_EQ(r.get<signed char>(), static_cast<signed char>(ref[3] >> 24));
  EXPECT_EQ(r.get<unsigned long long>(), (uint64_t{ref[4]} << 32) | ref[5]);
  EXPECT_EQ(r.get<long>(), static_cast<long>((uint64_t{ref[6] >> 1} << 32) | ref[7]));
  EXPECT_EQ(r._get<unsigned long>(), (uint64_t{ref[8]} << 32) | ref[9]);
  EXPECT_EQ(r.get<float>(), static_cast<float>(ref[10] * (1.0 / 4294967296.0)));
}

TEST(RandomFill, TailBytesAndBounds) {
  const auto ref = Reference(4);
  struct Case {
    size_t size;
    std::vector<unsigned char> want;
  };
  auto word = [](uint32_t v) {
    unsigned char b[4];
    std::memcpy(b, &v, 4);
    return std::vector<unsigned char>(b, b + 4);
  };
  auto half = [](uint32_t v) {
    uint16_t h = static_cast<uint16_t>(v >> 16);
    unsigned char b[2];
    std::memcpy(b, &h, 2);
    return std::vector<unsigned char>(b, b + 2);
  };
  std::vector<unsigned char> six = word(ref[0]), three = half(ref[0]);
  for (unsigned char c : half(ref[1])) six.push_back(c);
  three.push_back(static_cast<unsigned char>(ref[0] >> 8));
  const Case cases[] = {{0, {}},
                        {1, {static_cast<unsigned char>(ref[0] >> 24)}},
                        {3, three},
                        {4, word(ref[0])},
                        {6, six}};
  for (const auto& c : cases) {
    ky::random r(5489);
    unsigned char buf[16];
    std::memset(buf, 0xA5, sizeof buf);
    r.fill(buf, c.size);
    EXPECT_TRUE(std::equal(c.want.begin(), c.want.end(), buf)) << c.size;
    for (size_t i = c.size; i < sizeof buf; ++i) ASSERT_EQ(buf[i], 0xA5) << c.size;
  }
}

TEST(RandomFill, ContendedFillsAreWholeRunsOfTheSequence) {
  constexpr int kThreads = 4, kFills = 50, kWords = 256;
  ky::random r(5489);
  std::vector<std::vector<uint32_t>> bufs(kThreads * kFills, std::vector<uint32_t>(kWords));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kFills; ++i) r.fill(bufs[t * kFills + i].data(), kWords * 4);
    });
  }
  for (auto& t : threads) t.join();
  const auto ref = Reference(kThreads * kFills * kWords);
  std::unordered_map<uint32_t, size_t> index;
  for (size_t i = 0; i < ref.size(); ++i) index.emplace(ref[i], i);
  std::vector<bool> seen(ref.size());
  for (const auto& b : bufs) {
    auto it = index.find(b[0]);
    ASSERT_NE(it, index.end());
    size_t start = it->second;
    ASSERT_EQ(start % kWords, 0u);
    for (size_t k = 0; k < kWords; ++k) {
      ASSERT_EQ(b[k], ref[start + k]);
      ASSERT_FALSE(seen[start + k]);
      seen[start + k] = true;
    }
  }
}

TEST(RandomSeeding, SameSeedSameSequenceEntropyDiffers) {
  ky::random a(42), b(42), c(42, true), d(42, true);
  const unsigned key[] = {1, 2, 3};
  ky::random e(key, 3), f(key, 3);
  bool cd_differ = false;
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(a.get<unsigned>(), b.get<unsigned>());
    EXPECT_EQ(e.get<unsigned>(), f.get<unsigned>());
    cd_differ |= c.get<unsigned>() != d.get<unsigned>();
  }
  EXPECT_TRUE(cd_differ);
  // Reseeding mixes in the current sequence, so equal states stay equal.
  a.randomize(7u);
  b.randomize(7u);
  e.randomize(key, 3);
  f.randomize(key, 3);
  EXPECT_EQ(a.get<unsigned>(), b.get<unsigned>());
  EXPECT_EQ(e.get<unsigned>(), f.get<unsigned>());
  a.init(5489);
  EXPECT_EQ(a.get<unsigned>(), 3499211612u);
}

TEST(RandRand, EveryCallMakesAFreshGenerator) {
  ky::random* first = ky::rand::_init_rand();
  ky::random* second = ky::rand::_init_rand();
  EXPECT_NE(first, second);
  EXPECT_EQ(ky::rand::prand_, second);
  delete first;
  delete second;
  ky::rand::prand_ = nullptr;
}

}  // namespace
