// Internal to libvokyutil: not installed, not to be included outside src/.
//
// The Mersenne Twister record and its unlocked core draw, shared by the flat
// engine entries, ky::random and ky::uuid so that their hot paths inline the
// draw instead of calling back through the exported entries.
#ifndef KY_SRC_RANDOM_MT_INTERNAL_H
#define KY_SRC_RANDOM_MT_INTERNAL_H

#include <pthread.h>
#include <stdint.h>

#include "ky/random.h"

struct MtState {
  static constexpr int kN = 624;
  // 625 means never seeded: the next draw seeds with 5489 first.
  static constexpr int kUnseeded = kN + 1;

  uint32_t mt[kN];
  int32_t mti;
  pthread_mutex_t lock;
};

namespace ky {

class random;

namespace detail {

// Refills the whole state vector (seeding it with 5489 first if it was never
// seeded) and rewinds the index.
void MtRegenerate(MtState* s);

inline uint32_t MtDraw(MtState* s) {
  if (__builtin_expect(s->mti >= MtState::kN, 0)) MtRegenerate(s);
  uint32_t y = s->mt[s->mti++];
  y ^= y >> 11;
  y ^= (y << 7) & 0x9D2C5680u;
  y ^= (y << 15) & 0xEFC60000u;
  y ^= y >> 18;
  return y;
}

inline uint32_t MtLockedDraw(MtState* s) {
  pthread_mutex_lock(&s->lock);
  uint32_t y = MtDraw(s);
  pthread_mutex_unlock(&s->lock);
  return y;
}

// Gives the library's own code (the UUID generator's fork handlers) the
// engine record behind a ky::random.
struct random_access {
  static MtState* State(const random& r);
};

}  // namespace detail
}  // namespace ky

#endif  // KY_SRC_RANDOM_MT_INTERNAL_H
