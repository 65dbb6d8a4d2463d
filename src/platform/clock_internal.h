// Internal to libvokyutil: not installed, not to be included outside src/.
#ifndef KY_SRC_PLATFORM_CLOCK_INTERNAL_H
#define KY_SRC_PLATFORM_CLOCK_INTERNAL_H

#include <sys/time.h>

#include <cstddef>
#include <cstdint>

namespace ky::detail {

// Room for any date-time stamp text and its NUL.
constexpr size_t kDateTimeText = 48;

// The text of ky_DateTimeStamp for the instant tv, or for the whole second of
// time() when tv is null. Returns its length; 0 (and "") when local time
// cannot be computed.
size_t FormatDateTime(char (&out)[kDateTimeText], const timeval* tv);

// Microseconds from the execution timer's start to now (microseconds since
// the epoch), starting the timer on first use. False when the timer failed,
// whose readings are 0.
bool ElapsedMicros(int64_t now, int64_t* elapsed);

// Room for any seconds text and its NUL.
constexpr size_t kSecondsText = 352;

// Elapsed microseconds as "%0.4lf" prints the seconds that
// ky_ExecutionTimerElapsed would return for them. Returns the length.
size_t FormatSeconds(char (&out)[kSecondsText], int64_t micros);

}  // namespace ky::detail

#endif  // KY_SRC_PLATFORM_CLOCK_INTERNAL_H
