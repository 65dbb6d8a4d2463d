// File: ky/uuid.h
//
// Random (version 4) UUIDs and their text forms.
//
// The bytes come from one process-wide ky::random, made on the first UUID
// and never freed. In a child process after fork() that generator is
// reseeded from the child's own entropy before its next draw, so the
// children of a pre-forking server never repeat each other's UUIDs.
// Constructing UUIDs is safe from any number of threads.
#ifndef KY_UUID_H
#define KY_UUID_H

#include <stddef.h>

#include "ky/export.h"

#ifdef __cplusplus
#include <pthread.h>

#include <string>

#include "ky/random.h"

namespace ky {

// A random (version 4) UUID: 16 bytes drawn from one process-wide generator
// shared by all threads and reseeded in forked children, with hex and
// hyphenated renderers.
class KY_API uuid {
 public:
  // A new random UUID (version 4, variant 10). lower chooses the digit case
  // of the renderers that take no case argument; the default is uppercase.
  // Throws std::bad_alloc if the shared generator cannot be made.
  uuid();
  explicit uuid(bool lower);

  // Writes the 32 hex digits and a NUL to buffer and returns it. Returns null
  // and writes nothing for a null buffer; returns null and stores an empty
  // string (when size > 0) if size is below 33.
  char* hexstr(char* buffer, unsigned long size, bool lower) const;
  char* hexstr(char* buffer, unsigned long size) const;
  // Replaces out's content with the 32 hex digits; returns out.
  std::string& hexstr(std::string& out, bool lower) const;
  std::string& hexstr(std::string& out) const;
  // Replaces out's content with the 36-character 8-4-4-4-12 form; returns out.
  std::string& str(std::string& out, bool lower) const;
  std::string& str(std::string& out) const;

  // The 16 bytes, byte 0 first as written out.
  const unsigned char* value() const { return value_; }

  // The shared generator, null until the first UUID is made.
  static random* prand_;
  static pthread_once_t _once;
  // Makes the shared generator once (under _once) and returns it.
  static random* _init_rand();
  // Makes the shared generator and stores it in prand_; _init_rand runs it
  // once per process.
  static void _init_rand_unsafe();

 private:
  unsigned char value_[16];
  std::string text_;  // kept for layout; the renderers never touch it
  bool lower_;
};

}  // namespace ky
#endif

KY_BEGIN_C

// Writes the 32 hex digits of a fresh UUID (lowercase when lower is non-zero)
// and a NUL to buffer; returns buffer. Returns null for a null buffer, and
// for a size below 33, when it stores an empty string (if size > 0).
// Safe from any thread.
KY_API char* ky_uuid_get_hex(char* buffer, size_t size, int lower);

KY_END_C

#endif  // KY_UUID_H
