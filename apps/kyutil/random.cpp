// kyutil uuid and kyutil random, and the random and exceptions parts of the
// demo.
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "commands.h"
#include "ky/exceptions.h"
#include "ky/random.h"
#include "ky/uuid.h"

namespace kyutil {
namespace {

// A whole decimal number within [min, max], or false.
bool ParseNumber(const char* text, long long min, long long max, long long* out) {
  errno = 0;
  char* end = nullptr;
  const long long v = std::strtoll(text, &end, 10);
  if (errno || end == text || *end != '\0' || v < min || v > max) return false;
  *out = v;
  return true;
}

}  // namespace

int RunUuid(int argc, char** argv) {
  long long count = 1;
  bool lower = false, hex = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--lower") == 0) {
      lower = true;
    } else if (std::strcmp(argv[i], "--hex") == 0) {
      hex = true;
    } else if (std::strcmp(argv[i], "-n") == 0) {
      if (++i >= argc || !ParseNumber(argv[i], 0, INT64_MAX, &count)) {
        return UsageError("uuid", "-n wants a count");
      }
    } else {
      return UsageError("uuid", "unknown argument");
    }
  }
  std::string text;
  for (long long k = 0; k < count; ++k) {
    const ky::uuid u(lower);
    if (hex) {
      u.hexstr(text);
    } else {
      u.str(text);
    }
    text += '\n';
    if (std::fputs(text.c_str(), stdout) == EOF) return kExitFailure;
  }
  return kExitOk;
}

int RunRandom(int argc, char** argv) {
  long long count = 1, seed = 0, lo = 0, hi = 0;
  bool seeded = false, ranged = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--seed") == 0) {
      if (++i >= argc || !ParseNumber(argv[i], 0, UINT32_MAX, &seed)) {
        return UsageError("random", "--seed wants a number from 0 to 4294967295");
      }
      seeded = true;
    } else if (std::strcmp(argv[i], "-n") == 0) {
      if (++i >= argc || !ParseNumber(argv[i], 0, INT64_MAX, &count)) {
        return UsageError("random", "-n wants a count");
      }
    } else if (std::strcmp(argv[i], "--range") == 0) {
      if (i + 2 >= argc || !ParseNumber(argv[i + 1], INT32_MIN, INT32_MAX, &lo) ||
          !ParseNumber(argv[i + 2], INT32_MIN, INT32_MAX, &hi)) {
        return UsageError("random", "--range wants two numbers from -2147483648 to 2147483647");
      }
      i += 2;
      ranged = true;
    } else {
      return UsageError("random", "unknown argument");
    }
  }
  // Without a seed the engine starts from process entropy, as ky::random()
  // does; with one the output is the same on every run.
  const ky::random fresh;
  const unsigned int start = seeded ? static_cast<unsigned int>(seed) : fresh.get<unsigned int>();
  MtState* s = MT_create_rand(start);
  if (!s) return kExitFailure;
  for (long long k = 0; k < count; ++k) {
    if (ranged) {
      std::printf("%" PRId32 "\n",
                  MT_genrand_range(s, static_cast<int32_t>(lo), static_cast<int32_t>(hi)));
    } else {
      std::printf("%" PRIu32 "\n", MT_genrand_int32(s));
    }
  }
  MT_destroy_rand(&s);
  return std::ferror(stdout) ? kExitFailure : kExitOk;
}

void DemoRandom() {
  std::puts("== random: engine, typed draws, UUIDs");
  MtState* s = MT_create_rand(5489);
  std::printf("MT_create_rand(5489), first draw -> %" PRIu32 "\n", MT_genrand_int32(s));
  std::printf("MT_genrand_range(s, 10, 1) -> %" PRId32 "\n", MT_genrand_range(s, 10, 1));
  std::printf("MT_genrand_res53(s) -> %.17f\n", MT_genrand_res53(s));
  MT_destroy_rand(&s);
  const ky::random r(42);
  std::printf("ky::random(42): get<int>(3, 7) -> %d, get<short>() -> %d, get<double>() -> %.6f\n",
              r.get<int>(3, 7), r.get<short>(), r.get<double>());
  std::string text;
  std::printf("ky::uuid().str -> %s\n", ky::uuid().str(text).c_str());
  char hex[33];
  std::printf("ky_uuid_get_hex(buf, 33, 1) -> %s\n", ky_uuid_get_hex(hex, sizeof hex, 1));
}

void DemoExceptions() {
  std::puts("== exceptions: an assertion thrown across the library boundary");
  try {
    KyThrowAssertException("demo.cpp", 12, "DemoExceptions", "queue length below zero");
  } catch (const ky::Exception& e) {
    std::printf("caught %s from %s:%d in %s: \"%s\"\n", e.TypeName(), e.File(), e.Line(),
                e.Function(), e.what());
  }
}

}  // namespace kyutil
