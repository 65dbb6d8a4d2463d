// Test helpers: a scratch directory, file contents, and a wall clock that
// tests can stop or break. Include it from one source file per executable:
// it defines gettimeofday, which then answers the library's calls.
#ifndef KY_TESTS_SCRATCH_H
#define KY_TESTS_SCRATCH_H

#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace ky::test {

constexpr long long kInstant = 1709647629;  // 2024-03-05 14:07:09 UTC

inline std::atomic<int> g_clock{0};  // 0 real, 1 fixed at g_fixed, 2 failing
inline timeval g_fixed{};
inline void SetClock(long long seconds, long micros) {
  g_fixed = {static_cast<time_t>(seconds), micros};
  g_clock = 1;
}
struct ClockScope {
  ~ClockScope() { g_clock = 0; }
};

// Each test executable owns its environment, so settings are not restored.
inline void SetEnv(const char* name, const char* value) {
  value ? ::setenv(name, value, 1) : ::unsetenv(name);
  ::tzset();
}

// A new empty directory, removed with its contents at the end of the scope.
struct ScratchDir {
  std::string path = std::string(std::getenv("TMPDIR") ?: "/tmp") + "/kytest.XXXXXX";
  const char* made = ::mkdtemp(path.data());
  ~ScratchDir() {
    std::error_code ec;
    if (made) std::filesystem::remove_all(path, ec);
  }
  std::string operator/(const std::string& name) const { return path + "/" + name; }
};

inline std::string ReadFile(const std::string& path) {
  std::ostringstream out;
  out << std::ifstream(path, std::ios::binary).rdbuf();
  return out.str();
}

}  // namespace ky::test

extern "C" int gettimeofday(timeval* tv, void*) noexcept {
  if (ky::test::g_clock == 2) return errno = EFAULT, -1;
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  *tv = ky::test::g_clock == 1 ? ky::test::g_fixed : timeval{now.tv_sec, now.tv_nsec / 1000};
  return 0;
}

#endif  // KY_TESTS_SCRATCH_H
