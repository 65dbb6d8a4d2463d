// A wall clock that tests can stop, move and break. The test executables that
// link fake_clock.c define gettimeofday themselves, so the library's calls go
// there; without a fixed time it answers with the real clock.
#ifndef KY_TESTS_FAKE_CLOCK_H
#define KY_TESTS_FAKE_CLOCK_H

#ifdef __cplusplus
extern "C" {
#endif

// Makes gettimeofday answer seconds and microseconds since the epoch.
void ky_test_SetClock(long long seconds, long microseconds);
// Makes gettimeofday fail with -1.
void ky_test_BreakClock(void);
// Back to the real clock.
void ky_test_RealClock(void);

#ifdef __cplusplus
}

#include <ctime>

#include "scratch.h"

namespace ky::test {

// Local time is UTC for the scope.
class UtcScope {
 public:
  UtcScope() { ::tzset(); }

 private:
  // Members go in reverse: TZ is restored before the time zone is re-read.
  struct Reread {
    ~Reread() { ::tzset(); }
  } reread_;
  EnvVar tz_{"TZ", "UTC0"};
};

// Puts the real clock back at the end of a scope.
struct ClockScope {
  ClockScope() = default;
  ~ClockScope() { ky_test_RealClock(); }
  ClockScope(const ClockScope&) = delete;
  ClockScope& operator=(const ClockScope&) = delete;
};

}  // namespace ky::test
#endif

#endif  // KY_TESTS_FAKE_CLOCK_H
