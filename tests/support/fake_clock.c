#include "fake_clock.h"

#include <errno.h>
#include <sys/time.h>
#include <time.h>

enum { kReal, kFixed, kBroken };
static volatile int g_mode = kReal;
static struct timeval g_fixed;

void ky_test_SetClock(long long seconds, long microseconds) {
  g_fixed.tv_sec = (time_t)seconds;
  g_fixed.tv_usec = microseconds;
  g_mode = kFixed;
}

void ky_test_BreakClock(void) { g_mode = kBroken; }

void ky_test_RealClock(void) { g_mode = kReal; }

int gettimeofday(struct timeval* restrict tv, void* restrict tz) {
  (void)tz;
  if (g_mode == kBroken) {
    errno = EFAULT;
    return -1;
  }
  if (g_mode == kFixed) {
    *tv = g_fixed;
    return 0;
  }
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tv->tv_sec = now.tv_sec;
  tv->tv_usec = now.tv_nsec / 1000;
  return 0;
}
