// File: ky/random.h
//
// The Mersenne Twister engine (MT_*) and the typed random generator ky::random.
//
// The engine is MT19937: its one-word and array seedings and its draws match
// the published reference generator word for word. Each engine record is made
// on the heap and carries its own recursive mutex. Every locked draw holds
// that mutex for one draw; a caller that needs several consecutive draws of
// one uninterrupted stretch takes the lock with MT_lock_rand, draws with
// MT_genrand_int32_unlocking and releases it with MT_unlock_rand. Records are
// independent: different records share no state. A null record is not
// checked, except by MT_destroy_rand.
//
// Not for cryptographic use: the sequence is predictable from its output.
#ifndef KY_RANDOM_H
#define KY_RANDOM_H

#include <stddef.h>
#include <stdint.h>

#include "ky/export.h"

KY_BEGIN_C

// An engine record: the 624-word state, the index of the next word and the
// record's recursive lock. Opaque to callers.
typedef struct MtState MtState;

// A new record seeded by MT_init_state(seed), or null when memory is
// exhausted. Free it with MT_destroy_rand.
KY_API MtState* MT_create_rand(uint32_t seed);
// A new record seeded by MT_init_state2(key, key_length), or null when memory
// is exhausted. key must hold at least one word, even for key_length <= 0.
KY_API MtState* MT_create_rand2(const uint32_t* key, int32_t key_length);
// Waits for a draw in progress on another thread, frees *state and nulls it.
// Does nothing when *state is null.
KY_API void MT_destroy_rand(MtState** state);

// Reseeds with one word, under the lock.
KY_API void MT_init_state(MtState* state, uint32_t seed);
// Reseeds with an array of words, under the lock. key must hold at least one
// word: key[0] is read even when key_length is 0 or negative.
KY_API void MT_init_state2(MtState* state, const uint32_t* key, int32_t key_length);

// Take and release the record's recursive lock; 0 on success, else the error
// number of the mutex operation.
KY_API int MT_lock_rand(MtState* state);
KY_API int MT_unlock_rand(MtState* state);

// A draw on [0, 2^32-1] without locking: the caller holds the lock.
KY_API uint32_t MT_genrand_int32_unlocking(MtState* state);
// Draws, each under one hold of the lock.
KY_API uint32_t MT_genrand_int32(MtState* state);  // [0, 2^32-1]
KY_API uint32_t MT_genrand_int31(MtState* state);  // [0, 2^31-1]
KY_API double MT_genrand_real1(MtState* state);    // [0, 1]
KY_API double MT_genrand_real2(MtState* state);    // [0, 1)
KY_API double MT_genrand_real3(MtState* state);    // (0, 1)
// [0, 1) with 53-bit resolution from two draws taken in two separate lock
// holds: another thread's draw may fall between them.
KY_API double MT_genrand_res53(MtState* state);
// Uniform on the closed range between lo and hi (either order), without
// modulo bias: draws are rejected above the largest multiple of the span.
// Equal bounds return lo without drawing; a power-of-two span takes exactly
// one draw. Each draw is its own lock hold.
KY_API int32_t MT_genrand_range(MtState* state, int32_t lo, int32_t hi);

KY_END_C

#ifdef __cplusplus
namespace ky {

namespace detail {
struct random_access;
}

// Owns one engine record. Every member may be called from several threads on
// one object: the record's lock serialises each draw, fill and the four-draw
// block of a reseed; a bounded draw's rejection loop and the two halves of a
// 64-bit draw are not atomic as a whole. Members that draw are const: the
// state lives behind the owned pointer. Not copyable.
class KY_API random {
 public:
  // Constructors throw std::bad_alloc when the engine record cannot be made.
  // The default one seeds with 314159264 and then reseeds from process
  // entropy (see randomize()).
  random();
  explicit random(unsigned int seed);
  random(unsigned int seed, bool randomize);
  // key must hold at least one word (see MT_init_state2).
  random(const unsigned int* key, int length);
  random(const unsigned int* key, int length, bool randomize);
  ~random();
  random(const random&) = delete;
  random& operator=(const random&) = delete;

  // Reseed: MT_init_state / MT_init_state2.
  void init(unsigned int seed) const;
  void init(const unsigned int* key, int length) const;
  // Reseed from process entropy: process id, time of day, this object's and a
  // stack address, and four draws of the current sequence.
  void randomize() const;
  // Reseed from seed (or key) followed by four draws of the current sequence.
  void randomize(unsigned int seed) const;
  void randomize(const unsigned int* key, int length) const;

  // A draw of T: unsigned types cover their whole range; int, short, long
  // and long long are never negative; signed char and char cover -128..127;
  // double is on [0, 1) with 53-bit resolution; float on [0, 1] (rounding
  // may give 1.0f).
  template <typename T>
  T get() const;
  // Uniform on the closed range between lo and hi (either order), without
  // modulo bias. Equal bounds return lo without drawing.
  template <typename T>
  T get(T lo, T hi) const;
  // Fills size bytes with draws, 32-bit words in native byte order then the
  // high bytes of one more draw, all under one hold of the lock.
  void fill(void* buffer, size_t size) const;

  // The raw 64-bit draw behind the bounded 64-bit draws: two 32-bit draws,
  // the first in the high half.
  template <typename T>
  T _get() const;

 private:
  friend struct detail::random_access;
  MtState* state_;
};

// A process-wide generator.
class KY_API rand {
 public:
  // The process-wide generator, null until _init_rand is first called.
  static random* prand_;
  // Makes a new default-constructed generator, stores it in prand_ and
  // returns it, on every call: each caller gets a freshly seeded generator of
  // its own to keep. The previous one stays alive for whoever holds it.
  // Throws std::bad_alloc when memory is exhausted (prand_ is then unchanged).
  static random* _init_rand();
  static void _init_rand_unsafe();
};

extern template KY_API unsigned int random::get<unsigned int>() const;
extern template KY_API int random::get<int>() const;
extern template KY_API unsigned short random::get<unsigned short>() const;
extern template KY_API short random::get<short>() const;
extern template KY_API unsigned char random::get<unsigned char>() const;
extern template KY_API signed char random::get<signed char>() const;
extern template KY_API char random::get<char>() const;
extern template KY_API unsigned long random::get<unsigned long>() const;
extern template KY_API unsigned long long random::get<unsigned long long>() const;
extern template KY_API long random::get<long>() const;
extern template KY_API long long random::get<long long>() const;
extern template KY_API double random::get<double>() const;
extern template KY_API float random::get<float>() const;

extern template KY_API char random::get<char>(char, char) const;
extern template KY_API signed char random::get<signed char>(signed char, signed char) const;
extern template KY_API unsigned char random::get<unsigned char>(unsigned char, unsigned char) const;
extern template KY_API short random::get<short>(short, short) const;
extern template KY_API unsigned short random::get<unsigned short>(unsigned short,
                                                                  unsigned short) const;
extern template KY_API int random::get<int>(int, int) const;
extern template KY_API unsigned int random::get<unsigned int>(unsigned int, unsigned int) const;
extern template KY_API long random::get<long>(long, long) const;
extern template KY_API unsigned long random::get<unsigned long>(unsigned long, unsigned long) const;
extern template KY_API long long random::get<long long>(long long, long long) const;
extern template KY_API unsigned long long random::get<unsigned long long>(unsigned long long,
                                                                          unsigned long long) const;

extern template KY_API unsigned long random::_get<unsigned long>() const;

}  // namespace ky
#endif

#endif  // KY_RANDOM_H
