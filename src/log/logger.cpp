// ky::log: a named log file with a threshold, held open across Lock/Unlock.
#include <cstring>
#include <string>

#include "ky/log.h"
#include "ky/platform.h"

namespace {

const char* OrEmpty(const char* s) { return s ? s : ""; }

void InitRecursiveMutex(pthread_mutex_t* mutex) {
  // A failed set-up leaves a zero-filled mutex, which works as a default,
  // non-recursive one: logging goes on, only nested Lock calls would block.
  std::memset(mutex, 0, sizeof *mutex);
  pthread_mutexattr_t attr;
  if (pthread_mutexattr_init(&attr) != 0) return;
  if (pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0) {
    pthread_mutex_init(mutex, &attr);
  }
  pthread_mutexattr_destroy(&attr);
}

}  // namespace

namespace ky {

log::log() : log(nullptr, nullptr, LevelError, false) {}

log::log(bool enabled) : log(nullptr, nullptr, LevelError, enabled) {}

log::log(const char* name) : log(name, nullptr, LevelError, false) {}

log::log(const char* name, const char* file, int level, bool enabled)
    : _name(OrEmpty(name)),
      _file(OrEmpty(file)),
      _level(level),
      _enabled(enabled),
      _crlf(true),
      _count(0),
      _handle(nullptr),
      _lockDepth(0) {
  // The strings are settled before the mutex exists, so a throwing
  // allocation leaves nothing to tear down by hand.
  if (_file.empty()) _setTempFileName(nullptr);
  InitRecursiveMutex(&_mutex);
}

log::log(const log& other)
    : _level(0), _enabled(false), _crlf(true), _count(0), _handle(nullptr), _lockDepth(0) {
  InitRecursiveMutex(&_mutex);
  // Copying is assigning to a fresh object: the same settings under the same
  // locks, with nothing held to keep.
  try {
    *this = other;
  } catch (...) {
    pthread_mutex_destroy(&_mutex);
    throw;
  }
}

log& log::operator=(const log& other) {
  if (this == &other) return *this;
  // Destination before source, always: the order is part of the contract so
  // that callers can reason about lock ordering against their own mutexes.
  pthread_mutex_lock(&_mutex);
  pthread_mutex_lock(&other._mutex);
  try {
    _name = other._name;
    _file = other._file;
  } catch (...) {
    pthread_mutex_unlock(&other._mutex);
    pthread_mutex_unlock(&_mutex);
    throw;
  }
  _level = other._level;
  _enabled = other._enabled;
  _crlf = other._crlf;
  pthread_mutex_unlock(&other._mutex);
  pthread_mutex_unlock(&_mutex);
  return *this;
}

log::~log() {
  pthread_mutex_lock(&_mutex);
  _enabled = false;
  // A logger destroyed while held still holds the mutex once for each Lock
  // that opened or nested on the file, all of them on this thread (another
  // holder would have kept the lock above waiting). Give those back too: a
  // mutex must not be destroyed while locked.
  uint32_t outstanding = 0;
  if (_handle) {
    ky_log_ex_writedata(_file.c_str(), &_handle, UseHeldAndRelease, "", 0);
    outstanding = _lockDepth;
    _lockDepth = 0;
  }
  for (uint32_t i = 0; i <= outstanding; ++i) pthread_mutex_unlock(&_mutex);
  pthread_mutex_destroy(&_mutex);
}

int log::Lock(const char*, int, const char*) const {
  const int r = pthread_mutex_lock(&_mutex);
  if (_handle) {
    ++_lockDepth;
    return r;
  }
  ky_log_ex_writedata(_file.c_str(), &_handle, OpenAndHold, "", 0);
  _lockDepth = _handle ? 1 : 0;
  return static_cast<int>(_lockDepth);
}

int log::Unlock(const char*, int, const char*) const {
  if (_handle && --_lockDepth == 0) {
    ky_log_ex_writedata(_file.c_str(), &_handle, UseHeldAndRelease, "", 0);
  }
  return pthread_mutex_unlock(&_mutex);
}

void log::_setTempFileName(const char* fileName) {
  if (!fileName || !*fileName) fileName = "quorvel.log";
  _file.assign(4096, '\0');
  ky_JoinPath(&_file[0], _file.size(), ky_TempDir(), fileName);
  _file.resize(std::strlen(_file.c_str()));
}

bool log::_Delete() const { return !_file.empty() && ky_DeleteFile(_file.c_str()); }

void log::_X_LogVa(int level, const char* file, int line, const char* function, const char* format,
                   va_list args) const {
  ky_log_ex_va(_file.c_str(), &_handle, _handle ? UseHeld : OpenPerCall, _crlf, _name.c_str(),
               level, file, line, function, format, args);
  _count.fetch_add(1, std::memory_order_relaxed);
}

void log::_X_PrintVa(const char* format, va_list args) const {
  ky_log_ex_print_va(_file.c_str(), &_handle, _handle ? UseHeld : OpenPerCall, _crlf, format, args);
  _count.fetch_add(1, std::memory_order_relaxed);
}

void log::_X_WriteText(const char* text) const {
  ky_log_ex_writetext(_file.c_str(), &_handle, _handle ? UseHeld : OpenPerCall, _crlf, text);
  _count.fetch_add(1, std::memory_order_relaxed);
}

void log::_X_WriteData(const void* data, size_t length) const {
  ky_log_ex_writedata(_file.c_str(), &_handle, _handle ? UseHeld : OpenPerCall, data, length);
  _count.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace ky
