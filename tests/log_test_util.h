// Helpers shared by the log tests.
#ifndef KY_TESTS_LOG_TEST_UTIL_H
#define KY_TESTS_LOG_TEST_UTIL_H

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <string>

#include "ky/log.h"

namespace ky::test {

// 2024-03-05 14:07:09 UTC.
constexpr long long kInstant = 1709647629;

// Stands in an expected text for the execution timer's reading, which the
// fake clock cannot pin: an optional '-', digits, '.', four digits.
constexpr char kSeconds = '\x01';

inline bool MatchesWithSeconds(const std::string& text, const std::string& pattern) {
  size_t t = 0;
  for (char want : pattern) {
    if (want != kSeconds) {
      if (t >= text.size() || text[t] != want) return false;
      ++t;
      continue;
    }
    auto digits = [&] {
      const size_t from = t;
      while (t < text.size() && text[t] >= '0' && text[t] <= '9') ++t;
      return t - from;
    };
    if (t < text.size() && text[t] == '-') ++t;
    if (digits() == 0 || t >= text.size() || text[t++] != '.' || digits() != 4) return false;
  }
  return t == text.size();
}

// Variadic fronts for the va_list writers. Deliberately without a format
// attribute, so tests can pass a null format.
inline void LogEx(const char* path, LogFileHandle** slot, int mode, int crlf, const char* name,
                  int level, const char* file, int line, const char* function, const char* format,
                  ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_va(path, slot, mode, crlf, name, level, file, line, function, format, args);
  va_end(args);
}

inline void PrintEx(const char* path, LogFileHandle** slot, int mode, int crlf, const char* format,
                    ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_print_va(path, slot, mode, crlf, format, args);
  va_end(args);
}

// Whether another process holds a write lock on any part of the file: a
// child asks for the whole file without waiting. Call only while this
// process runs a single thread.
inline bool LockedByAnotherProcess(const std::string& path) {
  const pid_t child = ::fork();
  if (child == 0) {
    const int fd = ::open(path.c_str(), O_WRONLY);
    if (fd < 0) ::_exit(2);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    ::_exit(::fcntl(fd, F_SETLK, &lock) == 0 ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

}  // namespace ky::test

#endif  // KY_TESTS_LOG_TEST_UTIL_H
