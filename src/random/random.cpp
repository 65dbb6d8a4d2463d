#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

#include "mt_internal.h"

namespace ky {
namespace {

using detail::MtLockedDraw;

MtState* Checked(MtState* s) {
  if (!s) throw std::bad_alloc();
  return s;
}

// Appends four draws of the current sequence, taken under one lock hold, to
// a reseed key: the new seed then depends on everything drawn so far.
void AppendFourDraws(MtState* s, uint32_t* out) {
  MT_lock_rand(s);
  for (int i = 0; i < 4; ++i) out[i] = MT_genrand_int32_unlocking(s);
  MT_unlock_rand(s);
}

uint64_t Draw64(MtState* s) {
  uint64_t hi = MtLockedDraw(s);
  return hi << 32 | MtLockedDraw(s);
}

// The draw width of a bounded draw: 32 bits up to int, 64 above.
template <typename T>
using DrawWord = typename std::conditional<(sizeof(T) > 4), uint64_t, uint32_t>::type;

template <typename W>
W DrawOf(MtState* s);
template <>
uint32_t DrawOf<uint32_t>(MtState* s) {
  return MtLockedDraw(s);
}
template <>
uint64_t DrawOf<uint64_t>(MtState* s) {
  return Draw64(s);
}

template <typename T>
T Bounded(MtState* s, T lo, T hi) {
  using W = DrawWord<T>;
  using U = typename std::make_unsigned<T>::type;
  if (lo > hi) {
    T t = lo;
    lo = hi;
    hi = t;
  }
  if (lo == hi) return lo;
  const W base = static_cast<W>(static_cast<U>(lo));
  // Narrow types subtract in int and keep only their own width of the span.
  const W span = static_cast<U>(static_cast<U>(hi) - static_cast<U>(lo));
  const W max = static_cast<W>(~W(0));
  if (span == max) return static_cast<T>(base + DrawOf<W>(s));
  const W n = span + 1;
  const W limit = max - max % n;
  W r = DrawOf<W>(s);
  if (static_cast<W>(limit + n) != 0) {
    // Each draw is its own lock hold: the loop may interleave with others.
    while (r >= limit) r = DrawOf<W>(s);
  }
  return static_cast<T>(base + r % n);
}

}  // namespace

MtState* detail::random_access::State(const random& r) { return r.state_; }

random::random() : state_(Checked(MT_create_rand(314159264u))) { randomize(); }

random::random(unsigned int seed) : state_(Checked(MT_create_rand(seed))) {}

random::random(unsigned int seed, bool randomize) : random(seed) {
  if (randomize) this->randomize();
}

random::random(const unsigned int* key, int length)
    : state_(Checked(MT_create_rand2(key, length))) {}

random::random(const unsigned int* key, int length, bool randomize) : random(key, length) {
  if (randomize) this->randomize();
}

random::~random() { MT_destroy_rand(&state_); }

void random::init(unsigned int seed) const { MT_init_state(state_, seed); }

void random::init(const unsigned int* key, int length) const {
  MT_init_state2(state_, key, length);
}

void random::randomize() const {
  uint32_t key[9];
  int n = 0;
  key[n++] = static_cast<uint32_t>(getpid());
  struct timeval tv;
  if (gettimeofday(&tv, nullptr) == 0) {
    key[n++] = static_cast<uint32_t>(tv.tv_sec);
    key[n++] = static_cast<uint32_t>(tv.tv_usec);
  } else {
    key[n++] = static_cast<uint32_t>(time(nullptr));
  }
  // Addresses differ between objects and, with address-space randomisation,
  // between processes.
  key[n++] = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(this));
  key[n++] = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(key));
  AppendFourDraws(state_, key + n);
  MT_init_state2(state_, key, n + 4);
}

void random::randomize(unsigned int seed) const {
  uint32_t key[5] = {seed};
  AppendFourDraws(state_, key + 1);
  MT_init_state2(state_, key, 5);
}

void random::randomize(const unsigned int* key, int length) const {
  const size_t copied = length > 0 ? static_cast<size_t>(length) : 0;
  std::vector<uint32_t> words(copied + 4);
  if (copied) std::memcpy(words.data(), key, copied * sizeof(uint32_t));
  AppendFourDraws(state_, words.data() + copied);
  MT_init_state2(state_, words.data(), length > INT_MAX - 4 ? INT_MAX : length + 4);
}

void random::fill(void* buffer, size_t size) const {
  unsigned char* p = static_cast<unsigned char*>(buffer);
  const size_t words = size / 4;
  const size_t tail = size % 4;
  MT_lock_rand(state_);
  for (size_t i = 0; i < words; ++i, p += 4) {
    uint32_t r = MT_genrand_int32_unlocking(state_);
    std::memcpy(p, &r, 4);
  }
  if (tail) {
    uint32_t r = MT_genrand_int32_unlocking(state_);
    if (tail == 1) {
      p[0] = static_cast<unsigned char>(r >> 24);
    } else {
      uint16_t h = static_cast<uint16_t>(r >> 16);
      std::memcpy(p, &h, 2);
      if (tail == 3) p[2] = static_cast<unsigned char>(r >> 8);
    }
  }
  MT_unlock_rand(state_);
}

// The unbounded draws, one overload per type, picked by a tag.
namespace {

template <typename T>
struct Tag {};

unsigned int Draw(MtState* s, Tag<unsigned int>) { return MtLockedDraw(s); }
int Draw(MtState* s, Tag<int>) { return static_cast<int>(MtLockedDraw(s) >> 1); }
unsigned short Draw(MtState* s, Tag<unsigned short>) {
  return static_cast<unsigned short>(MtLockedDraw(s) >> 16);
}
short Draw(MtState* s, Tag<short>) { return static_cast<short>(MtLockedDraw(s) >> 17); }
unsigned char Draw(MtState* s, Tag<unsigned char>) {
  return static_cast<unsigned char>(MtLockedDraw(s) >> 24);
}
// Unlike short and int, the 8-bit signed draws cover negative values too.
signed char Draw(MtState* s, Tag<signed char>) {
  return static_cast<signed char>(MtLockedDraw(s) >> 24);
}
char Draw(MtState* s, Tag<char>) { return static_cast<char>(MtLockedDraw(s) >> 24); }
unsigned long Draw(MtState* s, Tag<unsigned long>) { return Draw64(s); }
unsigned long long Draw(MtState* s, Tag<unsigned long long>) { return Draw64(s); }
uint64_t DrawNonNegative64(MtState* s) {
  uint64_t hi = MtLockedDraw(s) >> 1;
  return hi << 32 | MtLockedDraw(s);
}
long Draw(MtState* s, Tag<long>) { return static_cast<long>(DrawNonNegative64(s)); }
long long Draw(MtState* s, Tag<long long>) { return static_cast<long long>(DrawNonNegative64(s)); }
double Draw(MtState* s, Tag<double>) { return MT_genrand_res53(s); }
float Draw(MtState* s, Tag<float>) { return static_cast<float>(MT_genrand_real2(s)); }

}  // namespace

template <typename T>
T random::get() const {
  return Draw(state_, Tag<T>());
}

template <typename T>
T random::_get() const {
  return Draw(state_, Tag<T>());
}

template KY_API unsigned int random::get<unsigned int>() const;
template KY_API int random::get<int>() const;
template KY_API unsigned short random::get<unsigned short>() const;
template KY_API short random::get<short>() const;
template KY_API unsigned char random::get<unsigned char>() const;
template KY_API signed char random::get<signed char>() const;
template KY_API char random::get<char>() const;
template KY_API unsigned long random::get<unsigned long>() const;
template KY_API unsigned long long random::get<unsigned long long>() const;
template KY_API long random::get<long>() const;
template KY_API long long random::get<long long>() const;
template KY_API double random::get<double>() const;
template KY_API float random::get<float>() const;
template KY_API unsigned long random::_get<unsigned long>() const;

template <typename T>
T random::get(T lo, T hi) const {
  return Bounded<T>(state_, lo, hi);
}

template KY_API char random::get<char>(char, char) const;
template KY_API signed char random::get<signed char>(signed char, signed char) const;
template KY_API unsigned char random::get<unsigned char>(unsigned char, unsigned char) const;
template KY_API short random::get<short>(short, short) const;
template KY_API unsigned short random::get<unsigned short>(unsigned short, unsigned short) const;
template KY_API int random::get<int>(int, int) const;
template KY_API unsigned int random::get<unsigned int>(unsigned int, unsigned int) const;
template KY_API long random::get<long>(long, long) const;
template KY_API unsigned long random::get<unsigned long>(unsigned long, unsigned long) const;
template KY_API long long random::get<long long>(long long, long long) const;
template KY_API unsigned long long random::get<unsigned long long>(unsigned long long,
                                                                   unsigned long long) const;

random* rand::prand_ = nullptr;

void rand::_init_rand_unsafe() { prand_ = new random(); }

// The once-control is local and so starts fresh on every call: each call
// makes and returns a newly seeded generator. Callers keep the pointer they
// were given; earlier generators stay alive for whoever still holds them.
random* rand::_init_rand() {
  pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, &rand::_init_rand_unsafe);
  return prand_;
}

}  // namespace ky
