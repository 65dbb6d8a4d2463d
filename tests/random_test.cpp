#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <type_traits>
#include <vector>

#include "ky/random.h"

namespace {

// MT_create_rand(5489) is the reference generator's default sequence, which
// std::mt19937 also produces.
std::vector<uint32_t> Reference(size_t n) {
  std::mt19937 mt(5489);
  std::vector<uint32_t> out(n);
  for (auto& v : out) v = mt();
  return out;
}

TEST(MtEngine, ReferenceSequencesAndDerivedDraws) {
  MtState* s = MT_create_rand(5489);
  ASSERT_NE(s, nullptr);
  const auto ref = Reference(5000);
  for (size_t i = 0; i < ref.size(); ++i) ASSERT_EQ(MT_genrand_int32(s), ref[i]) << i;
  MT_destroy_rand(&s);
  EXPECT_EQ(s, nullptr);
  MT_destroy_rand(&s);  // already null: nothing happens

  const uint32_t key[] = {0x123, 0x234, 0x345, 0x456};
  s = MT_create_rand2(key, 4);
  for (uint32_t want : {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u}) {
    EXPECT_EQ(MT_genrand_int32(s), want);
  }
  MT_init_state(s, 5489);  // reseeding restarts the sequence
  EXPECT_EQ(MT_genrand_int32_unlocking(s), 3499211612u);
  // Each derived draw applies its formula to the next words of the stream.
  EXPECT_EQ(MT_genrand_int31(s), ref[1] >> 1);
  EXPECT_EQ(MT_genrand_real1(s), ref[2] * (1.0 / 4294967295.0));
  EXPECT_EQ(MT_genrand_real2(s), ref[3] * (1.0 / 4294967296.0));
  EXPECT_EQ(MT_genrand_real3(s), (ref[4] + 0.5) * (1.0 / 4294967296.0));
  EXPECT_EQ(MT_genrand_res53(s),
            ((ref[5] >> 5) * 67108864.0 + (ref[6] >> 6)) * (1.0 / 9007199254740992.0));
  MT_destroy_rand(&s);
}

// Independent model of the bounded draw on the reference stream: plain
// rejection of draws at or above the largest multiple of n in 2^w, with w
// the draw width, computed in 128 bits.
template <typename T>
T ModelBounded(const std::vector<uint32_t>& ref, size_t& pos, T lo, T hi) {
  using U = std::make_unsigned_t<T>;
  using W = unsigned __int128;
  const int bits = sizeof(T) > 4 ? 64 : 32;
  if (hi < lo) std::swap(lo, hi);
  if (lo == hi) return lo;
  auto draw = [&] {
    const W r = ref[pos++];
    return bits == 64 ? r << 32 | ref[pos++] : r;
  };
  const W n = W{static_cast<U>(static_cast<U>(hi) - static_cast<U>(lo))} + 1;
  W r = draw();
  while (r >= (W{1} << bits) / n * n) r = draw();
  return static_cast<T>(static_cast<U>(static_cast<U>(lo) + static_cast<U>(r % n)));
}

// ky::random::get<T>(lo, hi), and for int also MT_genrand_range, against the
// model. Both must end at the model's stream position, which pins the draw
// counts: none for equal bounds, one for a power of two.
template <typename T>
void CheckBounded(T lo, T hi) {
  constexpr bool kFlat = std::is_same<T, int>::value;
  const auto ref = Reference(4000);
  ky::random r(5489);
  MtState* s = MT_create_rand(5489);
  size_t pos = 0;
  for (int i = 0; i < 500; ++i) {
    const T want = ModelBounded<T>(ref, pos, lo, hi);
    ASSERT_EQ(r.get<T>(lo, hi), want) << "draw " << i << " lo " << +lo << " hi " << +hi;
    ASSERT_EQ(kFlat ? static_cast<T>(MT_genrand_range(s, lo, hi)) : want, want) << "draw " << i;
  }
  EXPECT_EQ(r.get<unsigned int>(), ref[pos]);
  EXPECT_EQ(kFlat ? MT_genrand_int32(s) : ref[pos], ref[pos]);
  MT_destroy_rand(&s);
}

TEST(RandomBounded, AgreesWithModelOnEveryType) {
  CheckBounded<int>(4, 4);
  CheckBounded<int>(0, 7);
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

TEST(RandomGet, TypedDrawsFromTheStream) {
  const auto ref = Reference(16);
  ky::random r(5489);
  EXPECT_EQ(r.get<unsigned int>(), ref[0]);
  EXPECT_EQ(r.get<int>(), static_cast<int>(ref[1] >> 1));
  EXPECT_EQ(r.get<short>(), static_cast<short>(ref[2] >> 17));
  EXPECT_EQ(r.get<signed char>(), static_cast<signed char>(ref[3] >> 24));
  EXPECT_EQ(r.get<unsigned long long>(), (uint64_t{ref[4]} << 32) | ref[5]);
  EXPECT_EQ(r.get<long>(), static_cast<long>((uint64_t{ref[6] >> 1} << 32) | ref[7]));
  EXPECT_EQ(r._get<unsigned long>(), (uint64_t{ref[8]} << 32) | ref[9]);
  EXPECT_EQ(r.get<float>(), static_cast<float>(ref[10] * (1.0 / 4294967296.0)));
}

// fill writes whole words in native order, then the high bytes of one more
// draw (the high half first), and nothing past size.
TEST(RandomFill, TailBytesAndBounds) {
  const auto ref = Reference(4);
  for (size_t size = 0; size <= 9; ++size) {
    std::vector<unsigned char> want(16, 0xA5), got = want;
    std::memcpy(want.data(), ref.data(), size / 4 * 4);
    const uint32_t v = ref[size / 4];
    const uint16_t high = static_cast<uint16_t>(v >> 16);
    unsigned char tail[3] = {0, 0, static_cast<unsigned char>(v >> 8)};
    std::memcpy(tail, &high, 2);
    if (size % 4 == 1) tail[0] = static_cast<unsigned char>(v >> 24);
    std::memcpy(want.data() + size / 4 * 4, tail, size % 4);
    ky::random(5489).fill(got.data(), size);
    EXPECT_EQ(got, want) << size;
  }
}

TEST(RandomFill, ContendedFillsAreWholeRunsOfTheSequence) {
  constexpr int kThreads = 4, kFills = 50, kWords = 256;
  ky::random r(5489);
  std::vector<std::vector<uint32_t>> got(kThreads * kFills, std::vector<uint32_t>(kWords)), want;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kFills; ++i) r.fill(got[t * kFills + i].data(), kWords * 4);
    });
  }
  for (auto& t : threads) t.join();
  // Each fill is one aligned run of the sequence, and every run appears once.
  const auto ref = Reference(kThreads * kFills * kWords);
  for (auto i = ref.begin(); i != ref.end(); i += kWords) want.emplace_back(i, i + kWords);
  std::sort(got.begin(), got.end());
  std::sort(want.begin(), want.end());
  EXPECT_TRUE(got == want);
}

TEST(RandomSeeding, SeedsKeysAndEntropy) {
  const unsigned key[] = {0x123, 0x234, 0x345, 0x456};
  ky::random a(5489), b(key, 4), c(42, true), d(42, true);
  EXPECT_EQ(b.get<unsigned>(), 1067595299u);
  a.init(key, 4);
  EXPECT_EQ(a.get<unsigned>(), 1067595299u);
  // Reseeding from a seed or key mixes in the current sequence but no
  // entropy, so equal states stay equal.
  a.randomize(7u);
  b.randomize(7u);
  a.randomize(key, 4);
  b.randomize(key, 4);
  EXPECT_EQ(a.get<unsigned>(), b.get<unsigned>());
  a.init(5489);
  EXPECT_EQ(a.get<unsigned>(), 3499211612u);
  bool differ = false;
  for (int i = 0; i < 8; ++i) differ |= c.get<unsigned>() != d.get<unsigned>();
  EXPECT_TRUE(differ);
}

// Deliberate: every call makes a new generator, and the old one stays alive.
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
