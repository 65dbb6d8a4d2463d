#include <string.h>

#include <new>

#include "mt_internal.h"

namespace {

constexpr int kN = MtState::kN;
constexpr int kM = 397;

// One step of the recurrence. The matrix constant is picked by the low bit
// of y as the reference's two-entry table {0, 0x9908B0DF} does, but with a
// mask, so that the refill loops have no loads that depend on the data and
// the compiler can run them in vector lanes.
inline uint32_t Twist(uint32_t cur, uint32_t next, uint32_t far) {
  uint32_t y = (cur & 0x80000000u) | (next & 0x7FFFFFFFu);
  return far ^ (y >> 1) ^ ((0u - (y & 1u)) & 0x9908B0DFu);
}

void SeedWord(MtState* s, uint32_t seed) {
  s->mt[0] = seed;
  for (int i = 1; i < kN; ++i) {
    uint32_t prev = s->mt[i - 1];
    s->mt[i] = 1812433253u * (prev ^ (prev >> 30)) + static_cast<uint32_t>(i);
  }
  s->mti = kN;
}

MtState* Create() {
  MtState* s = new (std::nothrow) MtState;
  if (!s) return nullptr;
  s->mti = MtState::kUnseeded;
  memset(&s->lock, 0, sizeof s->lock);
  // If the attribute cannot be made recursive the zeroed storage stays a
  // default mutex: the record still works for single draws.
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) == 0) {
    if (pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0) {
      pthread_mutex_init(&s->lock, &attr);
    }
    pthread_mutexattr_destroy(&attr);
  }
  return s;
}

}  // namespace

namespace ky {
namespace detail {

void MtRegenerate(MtState* s) {
  if (s->mti == MtState::kUnseeded) SeedWord(s, 5489u);
  uint32_t* mt = s->mt;
  int k = 0;
  for (; k < kN - kM; ++k) mt[k] = Twist(mt[k], mt[k + 1], mt[k + kM]);
  for (; k < kN - 1; ++k) mt[k] = Twist(mt[k], mt[k + 1], mt[k + kM - kN]);
  mt[kN - 1] = Twist(mt[kN - 1], mt[0], mt[kM - 1]);
  s->mti = 0;
}

}  // namespace detail
}  // namespace ky

using ky::detail::MtDraw;
using ky::detail::MtLockedDraw;

MtState* MT_create_rand(uint32_t seed) {
  MtState* s = Create();
  if (s) MT_init_state(s, seed);
  return s;
}

MtState* MT_create_rand2(const uint32_t* key, int32_t key_length) {
  MtState* s = Create();
  if (s) MT_init_state2(s, key, key_length);
  return s;
}

void MT_destroy_rand(MtState** state) {
  MtState* s = *state;
  if (!s) return;
  // Lets a draw in progress on another thread finish first.
  pthread_mutex_lock(&s->lock);
  pthread_mutex_unlock(&s->lock);
  pthread_mutex_destroy(&s->lock);
  delete s;
  *state = nullptr;
}

void MT_init_state(MtState* s, uint32_t seed) {
  pthread_mutex_lock(&s->lock);
  SeedWord(s, seed);
  pthread_mutex_unlock(&s->lock);
}

void MT_init_state2(MtState* s, const uint32_t* key, int32_t key_length) {
  pthread_mutex_lock(&s->lock);
  MT_init_state(s, 19650218u);  // relocks: the mutex is recursive
  uint32_t* mt = s->mt;
  int i = 1;
  int32_t j = 0;
  for (int k = kN > key_length ? kN : key_length; k; --k) {
    uint32_t prev = mt[i - 1];
    mt[i] = (mt[i] ^ ((prev ^ (prev >> 30)) * 1664525u)) + key[j] + static_cast<uint32_t>(j);
    if (++i >= kN) {
      mt[0] = mt[kN - 1];
      i = 1;
    }
    // key[0] is read even for an empty key: callers pass at least one word.
    j = j + 1 < key_length ? j + 1 : 0;
  }
  for (int k = kN - 1; k; --k) {
    uint32_t prev = mt[i - 1];
    mt[i] = (mt[i] ^ ((prev ^ (prev >> 30)) * 1566083941u)) - static_cast<uint32_t>(i);
    if (++i >= kN) {
      mt[0] = mt[kN - 1];
      i = 1;
    }
  }
  mt[0] = 0x80000000u;  // the initial vector is never all zero
  pthread_mutex_unlock(&s->lock);
}

int MT_lock_rand(MtState* s) { return pthread_mutex_lock(&s->lock); }

int MT_unlock_rand(MtState* s) { return pthread_mutex_unlock(&s->lock); }

uint32_t MT_genrand_int32_unlocking(MtState* s) { return MtDraw(s); }

uint32_t MT_genrand_int32(MtState* s) { return MtLockedDraw(s); }

uint32_t MT_genrand_int31(MtState* s) { return MtLockedDraw(s) >> 1; }

double MT_genrand_real1(MtState* s) { return MtLockedDraw(s) * (1.0 / 4294967295.0); }

double MT_genrand_real2(MtState* s) { return MtLockedDraw(s) * (1.0 / 4294967296.0); }

double MT_genrand_real3(MtState* s) {
  return (static_cast<double>(MtLockedDraw(s)) + 0.5) * (1.0 / 4294967296.0);
}

double MT_genrand_res53(MtState* s) {
  // Two lock holds, not one: another thread's draw may fall between them.
  uint32_t a = MtLockedDraw(s) >> 5;
  uint32_t b = MtLockedDraw(s) >> 6;
  return (a * 67108864.0 + b) * (1.0 / 9007199254740992.0);
}

int32_t MT_genrand_range(MtState* s, int32_t lo, int32_t hi) {
  if (lo > hi) {
    int32_t t = lo;
    lo = hi;
    hi = t;
  }
  if (lo == hi) return lo;
  const uint32_t base = static_cast<uint32_t>(lo);
  const uint32_t span = static_cast<uint32_t>(hi) - base;
  if (span == 0xFFFFFFFFu) return static_cast<int32_t>(base + MtLockedDraw(s));
  const uint32_t n = span + 1;
  const uint32_t limit = 0xFFFFFFFFu - 0xFFFFFFFFu % n;
  uint32_t y = MtLockedDraw(s);
  if (limit + n != 0) {
    while (y >= limit) y = MtLockedDraw(s);
  }
  return static_cast<int32_t>(base + y % n);
}
