// The bounded draws and the seedings on fuzzed keys and bounds. The input is
// read as 32-bit words: the first picks the seeding and the draw type, the
// next two are the bounds, the rest is the key (at least one word, as the
// array seeding needs). Checked: every draw lies in the closed range between
// the bounds whatever their order; equal bounds give the bound; the engine's
// array seeding and the class's agree on the stream; reseeding with the same
// entropy-free inputs from equal states stays in step.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ky/random.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

template <typename T>
void Bounded(const ky::random& r, T a, T b) {
  const T lo = a < b ? a : b, hi = a < b ? b : a;
  for (int i = 0; i < 16; ++i) {
    T v = r.get<T>(a, b);
    Check(lo <= v && v <= hi);
    if (a == b) Check(v == a);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Three header words and at least one key word, zero when the input is short.
  std::vector<uint32_t> words((size + 3) / 4 + 4);
  if (size) std::memcpy(words.data(), data, size);
  const uint32_t pick = words[0];
  const uint32_t a = words[1], b = words[2];
  // An exact-size key block so ASan sees a read past the key.
  const size_t key_len = words.size() - 3;
  std::vector<uint32_t> key(words.begin() + 3, words.begin() + 3 + key_len);
  const int32_t len = static_cast<int32_t>(key_len);

  const ky::random r(key.data(), len);
  MtState* s = MT_create_rand2(key.data(), len);
  Check(s != nullptr);
  for (int i = 0; i < 8; ++i) Check(MT_genrand_int32(s) == r.get<unsigned>());

  const int32_t lo32 = static_cast<int32_t>(a), hi32 = static_cast<int32_t>(b);
  for (int i = 0; i < 16; ++i) {
    int32_t v = MT_genrand_range(s, lo32, hi32);
    Check((lo32 <= hi32) ? (lo32 <= v && v <= hi32) : (hi32 <= v && v <= lo32));
  }
  const uint64_t wide_a = uint64_t{a} << 32 | b, wide_b = uint64_t{b} << 32 | pick;
  switch (pick % 8) {
    case 0:
      Bounded<char>(r, static_cast<char>(a), static_cast<char>(b));
      break;
    case 1:
      Bounded<unsigned char>(r, static_cast<unsigned char>(a), static_cast<unsigned char>(b));
      break;
    case 2:
      Bounded<short>(r, static_cast<short>(a), static_cast<short>(b));
      break;
    case 3:
      Bounded<unsigned short>(r, static_cast<unsigned short>(a), static_cast<unsigned short>(b));
      break;
    case 4:
      Bounded<int>(r, lo32, hi32);
      break;
    case 5:
      Bounded<unsigned>(r, a, b);
      break;
    case 6:
      Bounded<long long>(r, static_cast<long long>(wide_a), static_cast<long long>(wide_b));
      break;
    default:
      Bounded<unsigned long>(r, wide_a, wide_b);
      break;
  }

  // Same state, same reseed: the two stay in step.
  const ky::random t(key.data(), len);
  MT_init_state2(s, key.data(), len);
  r.init(key.data(), len);
  r.randomize(key.data(), len);
  t.randomize(key.data(), len);
  r.randomize(pick);
  t.randomize(pick);
  Check(r.get<unsigned long long>() == t.get<unsigned long long>());
  MT_destroy_rand(&s);
  return 0;
}
