#include "ky/uuid.h"

#include <pthread.h>

#include "ky/codecs.h"
#include "mt_internal.h"

namespace ky {
namespace {

// The digit alphabets of the hexadecimal data encoders.
const char* HexDigits(bool lower) { return lower ? "0123456789abcdef" : "0123456789ABCDEF"; }

// Writes the 32 digits, with a dash after digits 8, 12, 16 and 20 when
// dashed; returns the end.
char* Render(const unsigned char* value, bool lower, bool dashed, char* out) {
  const char* digits = HexDigits(lower);
  for (int i = 0; i < 16; ++i) {
    if (dashed && (i == 4 || i == 6 || i == 8 || i == 10)) *out++ = '-';
    *out++ = digits[value[i] >> 4];
    *out++ = digits[value[i] & 0x0F];
  }
  return out;
}

std::string& Assign(std::string& out, const unsigned char* value, bool lower, bool dashed) {
  char text[36];
  out.reserve(dashed ? 36 : 32);
  out.assign(text, Render(value, lower, dashed, text));
  return out;
}

// The shared generator must not hand a forked child the sequence its parent
// and siblings go on drawing. The lock is held across fork so the child gets
// a consistent record; the child cannot release a lock owned by the parent's
// thread, so it makes the mutex afresh and then reseeds from its own process
// id, time and the draws so far.
void LockBeforeFork() { MT_lock_rand(detail::random_access::State(*uuid::prand_)); }

void UnlockInParent() { MT_unlock_rand(detail::random_access::State(*uuid::prand_)); }

void ReseedInChild() {
  MtState* s = detail::random_access::State(*uuid::prand_);
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&s->lock, &attr);
  pthread_mutexattr_destroy(&attr);
  uuid::prand_->randomize();
}

}  // namespace

random* uuid::prand_ = nullptr;
pthread_once_t uuid::_once = PTHREAD_ONCE_INIT;

void uuid::_init_rand_unsafe() {
  uint32_t key[2] = {0x5644072Au, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(key))};
  prand_ = new random(key, 2, true);
  pthread_atfork(LockBeforeFork, UnlockInParent, ReseedInChild);
}

random* uuid::_init_rand() {
  pthread_once(&_once, &uuid::_init_rand_unsafe);
  return prand_;
}

uuid::uuid() : uuid(false) {}

uuid::uuid(bool lower) : lower_(lower) {
  // Once made, the generator is only read here; fill holds its lock for all
  // 16 bytes.
  if (!prand_) _init_rand();
  prand_->fill(value_, sizeof value_);
  value_[6] = static_cast<unsigned char>((value_[6] & 0x0F) | 0x40);
  value_[8] = static_cast<unsigned char>((value_[8] & 0x3F) | 0x80);
}

char* uuid::hexstr(char* buffer, unsigned long size, bool lower) const {
  if (!buffer) return nullptr;
  if (size < 33) {
    if (size) buffer[0] = '\0';
    return nullptr;
  }
  *Render(value_, lower, false, buffer) = '\0';
  return buffer;
}

char* uuid::hexstr(char* buffer, unsigned long size) const { return hexstr(buffer, size, lower_); }

std::string& uuid::hexstr(std::string& out, bool lower) const {
  return Assign(out, value_, lower, false);
}

std::string& uuid::hexstr(std::string& out) const { return hexstr(out, lower_); }

std::string& uuid::str(std::string& out, bool lower) const {
  return Assign(out, value_, lower, true);
}

std::string& uuid::str(std::string& out) const { return str(out, lower_); }

}  // namespace ky

char* ky_uuid_get_hex(char* buffer, size_t size, int lower) {
  try {
    return ky::uuid().hexstr(buffer, size, lower != 0);
  } catch (...) {
    // A flat entry never throws: no memory for the generator reads as no UUID.
    return nullptr;
  }
}
