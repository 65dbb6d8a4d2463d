// Date and time stamps, the execution timer, sleeping, process and thread ids.
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "../string/string_internal.h"
#include "clock_internal.h"
#include "ky/platform.h"
#include "ky/strings.h"

namespace {

enum class StampKind { kTime, kDate };

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

// Non-negative v in at least `width` digits, zero-filled, as "%0<width>d".
char* PutDigits(char* out, long v, int width) {
  char digits[24];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  while (n < width) digits[n++] = '0';
  while (n > 0) *out++ = digits[--n];
  return out;
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

// Both ids are asked for by every log record, and each question is a system
// call. They are kept once known: the process id for the process, the thread
// id per thread. A forked child forgets them before fork() returns in it, so
// it never reports its parent's ids.
std::atomic<long> g_pid{0};
thread_local long t_tid = 0;

void ForgetIdsInChild() {
  g_pid.store(0, std::memory_order_relaxed);
  t_tid = 0;
}

void WatchForks() {
  static const int registered = ::pthread_atfork(nullptr, nullptr, ForgetIdsInChild);
  static_cast<void>(registered);
}

}  // namespace

namespace ky::detail {

size_t FormatDateTime(char (&out)[kDateTimeText], const timeval* tv) {
  const time_t secs = tv ? tv->tv_sec : std::time(nullptr);
  // Rounded on purpose, without carrying into the seconds: from 999950
  // microseconds on the fraction reads 10000. Tools that read the log files
  // match this exact form, while ky_TimeStamp truncates.
  const long frac = tv && tv->tv_usec >= 0 ? (static_cast<long>(tv->tv_usec) + 50) / 100 : 0;
  // Every log record carries this stamp, and a busy log writes many records
  // a second: the date and time text is kept per thread for the second it
  // names, and only the fraction is formatted anew.
  thread_local struct {
    time_t secs;
    size_t length;  // 0: nothing kept
    char text[kDateTimeText];
  } kept{};
  if (kept.length == 0 || kept.secs != secs) {
    tm t{};
    if (!::localtime_r(&secs, &t)) {
      out[0] = '\0';
      return 0;
    }
    const long year = static_cast<long>(t.tm_year) + 1900;
    if (year < 0 || year > 99999) {
      kept.length = 0;
      const int n = std::snprintf(out, sizeof out, "%04ld-%02d-%02d %02d:%02d:%02d", year,
                                  t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
      size_t length = n < 0 ? 0 : std::min(static_cast<size_t>(n), sizeof out - 1);
      if (tv && frac >= 0 && length + 7 < sizeof out) {
        out[length++] = '.';
        length = static_cast<size_t>(PutDigits(out + length, frac, 4) - out);
        out[length] = '\0';
      }
      return length;
    }
    char* p = PutDigits(kept.text, year, 4);
    *p++ = '-';
    p = PutDigits(p, t.tm_mon + 1, 2);
    *p++ = '-';
    p = PutDigits(p, t.tm_mday, 2);
    *p++ = ' ';
    p = PutDigits(p, t.tm_hour, 2);
    *p++ = ':';
    p = PutDigits(p, t.tm_min, 2);
    *p++ = ':';
    p = PutDigits(p, t.tm_sec, 2);
    kept.secs = secs;
    kept.length = static_cast<size_t>(p - kept.text);
  }
  std::memcpy(out, kept.text, kept.length);
  char* p = out + kept.length;
  if (tv) {
    *p++ = '.';
    p = PutDigits(p, frac, 4);
  }
  *p = '\0';
  return static_cast<size_t>(p - out);
}

bool ElapsedMicros(int64_t now, int64_t* elapsed) {
  if (ky_ExecutionTimerStart() < 1) return false;
  *elapsed = now - g_start.load(std::memory_order_relaxed);
  return true;
}

size_t FormatSeconds(char (&out)[kSecondsText], int64_t micros) {
  const int64_t secs = micros / kMicros;
  const int64_t rest = micros % kMicros;
  // The digits come straight from the integer microseconds unless the
  // double could round differently: a last-two-digit tie (50), whose side
  // depends on the binary value, and readings too large or negative for the
  // margin of one microsecond to cover the double's error.
  if (micros >= 0 && secs < (int64_t{1} << 30) && rest % 100 != 50) {
    int64_t whole = secs;
    int64_t tenThousandths = rest / 100 + (rest % 100 > 50 ? 1 : 0);
    if (tenThousandths == 10000) {
      ++whole;
      tenThousandths = 0;
    }
    char* p = PutDigits(out, static_cast<long>(whole), 1);
    *p++ = '.';
    p = PutDigits(p, static_cast<long>(tenThousandths), 4);
    *p = '\0';
    return static_cast<size_t>(p - out);
  }
  // Seconds(micros, 0) splits the count exactly as a reading splits now and
  // start, so the double is the one ky_ExecutionTimerElapsed returns.
  const int n = std::snprintf(out, sizeof out, "%0.4lf", Seconds(micros, 0));
  return n < 0 ? 0 : std::min(static_cast<size_t>(n), sizeof out - 1);
}

}  // namespace ky::detail

extern "C" {

char* ky_DateTimeStamp(char* buffer, size_t size) {
  if (!buffer || !ky::detail::HasRoom(buffer, size)) return buffer;
  timeval tv{};
  const bool fine = ::gettimeofday(&tv, nullptr) == 0;
  char text[ky::detail::kDateTimeText];
  ky::detail::FormatDateTime(text, fine ? &tv : nullptr);
  return ky_strxnzcpy(buffer, text, size - 1);
}

char* ky_TimeStamp(char* buffer, size_t size) { return Stamp(buffer, size, StampKind::kTime); }

char* ky_DateStamp(char* buffer, size_t size) { return Stamp(buffer, size, StampKind::kDate); }

int ky_ExecutionTimerStart(void) {
  // Every reading starts here: a plain load keeps the common case from
  // writing the shared state.
  int state = g_state.load(std::memory_order_acquire);
  if (state != 0) return state;
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

long ky_CurrentThreadId(void) {
  long tid = t_tid;
  if (tid == 0) {
    WatchForks();
    tid = t_tid = static_cast<long>(::syscall(SYS_gettid));
  }
  return tid;
}

long ky_CurrentProcessId(void) {
  long pid = g_pid.load(std::memory_order_relaxed);
  if (pid == 0) {
    WatchForks();
    pid = static_cast<long>(::getpid());
    g_pid.store(pid, std::memory_order_relaxed);
  }
  return pid;
}

}  // extern "C"
