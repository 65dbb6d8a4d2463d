// Date and time stamps, the execution timer, sleeping, process and thread ids.
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>

#include "../string/string_internal.h"
#include "ky/platform.h"
#include "ky/strings.h"

namespace {

enum class StampKind { kDateTime, kTime, kDate };

char* Stamp(char* buffer, size_t size, StampKind kind) {
  if (!buffer || !ky::detail::HasRoom(buffer, size)) return buffer;
  timeval tv{};
  const bool fine = kind != StampKind::kDate && ::gettimeofday(&tv, nullptr) == 0;
  const time_t secs = fine ? tv.tv_sec : std::time(nullptr);
  tm t{};
  if (!::localtime_r(&secs, &t)) {
    buffer[0] = '\0';
    return buffer;
  }
  const int year = t.tm_year + 1900;
  const int month = t.tm_mon + 1;
  switch (kind) {
    case StampKind::kDateTime:
      if (fine) {
        // Rounded on purpose, without carrying into the seconds: from 999950
        // microseconds on the fraction reads 10000. Tools that read the log
        // files match this exact form, while ky_TimeStamp truncates.
        const int frac = static_cast<int>((tv.tv_usec + 50) / 100);
        ky_snzprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d.%04d", year, month, t.tm_mday,
                     t.tm_hour, t.tm_min, t.tm_sec, frac);
      } else {
        ky_snzprintf(buffer, size, "%04d-%02d-%02d %02d:%02d:%02d", year, month, t.tm_mday,
                     t.tm_hour, t.tm_min, t.tm_sec);
      }
      break;
    case StampKind::kTime:
      if (fine) {
        ky_snzprintf(buffer, size, "%02d:%02d:%02d.%04d", t.tm_hour, t.tm_min, t.tm_sec,
                     static_cast<int>(tv.tv_usec / 100));
      } else {
        ky_snzprintf(buffer, size, "%02d:%02d:%02d", t.tm_hour, t.tm_min, t.tm_sec);
      }
      break;
    case StampKind::kDate:
      ky_snzprintf(buffer, size, "%04d-%02d-%02d", year, month, t.tm_mday);
      break;
  }
  return buffer;
}

// The execution timer. Its readings may be taken from any thread while the
// log writers run, so the fields are atomics; instants are packed as
// microseconds since the epoch so that each is read and written whole.
constexpr int64_t kMicros = 1000000;
std::atomic<int> g_state{0};  // 0 not started, 1 running, -1 failed
std::atomic<int64_t> g_start{0};
std::atomic<int64_t> g_lap{0};

bool Now(int64_t* micros) {
  timeval tv{};
  if (::gettimeofday(&tv, nullptr) != 0) return false;
  *micros = static_cast<int64_t>(tv.tv_sec) * kMicros + tv.tv_usec;
  return true;
}

double Seconds(int64_t now, int64_t then) {
  int64_t secs = now / kMicros - then / kMicros;
  int64_t micros = now % kMicros - then % kMicros;
  if (micros < 0) {
    secs -= 1;
    micros += kMicros;
  }
  return static_cast<double>(secs) + static_cast<double>(micros) / 1000000.0;
}

}  // namespace

extern "C" {

char* ky_DateTimeStamp(char* buffer, size_t size) {
  return Stamp(buffer, size, StampKind::kDateTime);
}

char* ky_TimeStamp(char* buffer, size_t size) { return Stamp(buffer, size, StampKind::kTime); }

char* ky_DateStamp(char* buffer, size_t size) { return Stamp(buffer, size, StampKind::kDate); }

int ky_ExecutionTimerStart(void) {
  int state = 0;
  // Only the caller that moves the state off 0 reads the clock; a racing
  // first reader sees -1 until the start is published, and reads 0.0.
  if (!g_state.compare_exchange_strong(state, -1, std::memory_order_acq_rel)) return state;
  int64_t now = 0;
  if (!Now(&now)) return -1;  // failed for good
  g_start.store(now, std::memory_order_relaxed);
  g_lap.store(now, std::memory_order_relaxed);
  g_state.store(1, std::memory_order_release);
  return 1;
}

int ky_ExecutionTimerReset(void) {
  const int state = g_state.load(std::memory_order_acquire);
  if (state < 0) return state;
  g_state.store(0, std::memory_order_release);
  return ky_ExecutionTimerStart();
}

double ky_ExecutionTimerElapsedEx(double* lap) {
  int64_t now = 0;
  if (ky_ExecutionTimerStart() < 1 || !Now(&now)) return 0.0;
  const int64_t previous = g_lap.exchange(now, std::memory_order_relaxed);
  if (lap) *lap = Seconds(now, previous);
  return Seconds(now, g_start.load(std::memory_order_relaxed));
}

double ky_ExecutionTimerElapsed(void) {
  int64_t now = 0;
  if (ky_ExecutionTimerStart() < 1 || !Now(&now)) return 0.0;
  return Seconds(now, g_start.load(std::memory_order_relaxed));
}

double ky_ExecutionTimerCount(void) { return ky_ExecutionTimerElapsed(); }

int ky_Sleep(unsigned int milliseconds) {
  // The product stays 32-bit unsigned as documented: values above 4294967 ms
  // wrap rather than sleep for hours.
  const unsigned int micros = milliseconds * 1000u;
  return ::usleep(micros);
}

long ky_CurrentThreadId(void) { return static_cast<long>(::syscall(SYS_gettid)); }

long ky_CurrentProcessId(void) { return static_cast<long>(::getpid()); }

}  // extern "C"
