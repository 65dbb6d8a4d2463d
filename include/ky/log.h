// File: ky/log.h
//
// Levelled, time-stamped log records appended to a file shared by processes,
// and hex dumps.
//
// A record is one header line, the message (line breaks normalised to the
// chosen line end) and, when the file is closed after it, a blank line:
//
//   {svc:er} [ 2024-03-05 14:07:09.0316 1.2500 ] (pid=server:4711,tid=4712) < Run @ worker.cpp:42 >
//   started
//
// Every record is appended under an advisory whole-file fcntl write lock, so
// processes sharing a file never interleave records. Such locks belong to the
// process, not to a descriptor: they do not order threads of one process, and
// closing any descriptor of the file in the process drops them (a per-call
// writer closing the file ends a held logger's lock early). Each record is
// handed to the kernel in one appending write where its line breaks allow,
// which keeps it whole even then. Writers keep all their buffers on the
// stack (about 32 KiB of it), allocate nothing (except the handle of
// OpenAndHold), report nothing and write nothing when the file cannot be
// opened.
//
// Levels are plain ints: negative is ALWAYS, 0 EMERG ... 7 DEBUG, above 7
// debug-plus. Lower is more severe. The writers do not filter by level:
// callers ask ky::log::Wants (or use the KY_LOG_* macros) first.
#ifndef KY_LOG_H
#define KY_LOG_H

#include <pthread.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "ky/export.h"

#ifdef __cplusplus
#include <atomic>
#include <string>
#endif

KY_BEGIN_C

// A held log-file descriptor in a cell from ky_malloc. Created by a writer in
// mode OpenAndHold and freed by one in mode UseHeldAndRelease.
typedef struct LogFileHandle {
  int fd;  // the open, locked log file
} LogFileHandle;

// How an _ex_ writer gets its descriptor (the `mode` argument).
enum LogHandleMode {
  // Open the path, lock, append, unlock, close.
  OpenPerCall = 0,
  // Open the path and lock; with a slot, store a new LogFileHandle in it and
  // leave descriptor and lock held (without a slot: as OpenPerCall). The slot
  // must be empty: a handle already in it is overwritten, not closed.
  OpenAndHold = 1,
  // Append through the descriptor held in the slot; take no lock (the holder
  // has it) and keep it open.
  UseHeld = 2,
  // As UseHeld, then unlock, close, free the handle and null the slot.
  UseHeldAndRelease = 3
};

// Appends one record to the file at path, created with mode 0660 if missing:
// header with the component name (null name: none, "" gives "{:er}"), the
// level's abbreviation, date and time, execution timer seconds, process name,
// process id, thread id, function, file and line; then the message formatted
// from format (omitted when it formats to ""), then the blank separator line.
// Line ends are CR LF. Parts are cut at 1023 (up to the timer), 8191 (the
// origin) and 16383 (the message) characters. A null or empty path, or one
// that cannot be opened, writes nothing.
KY_API void ky_log(const char* path, const char* name, int level, const char* file, int line,
                   const char* function, const char* format, ...) KY_PRINTF_LIKE(7, 8);

// As ky_log with the handle mode and slot of LogHandleMode, and crlf choosing
// "\r\n" (non-zero) or "\n" (0). The blank separator line is written only by
// the modes that close the file (OpenPerCall, UseHeldAndRelease, and
// OpenAndHold without a slot). An unknown mode, or modes 2 and 3 with a null
// slot or an empty one, write nothing.
KY_API void ky_log_ex_va(const char* path, LogFileHandle** slot, int mode, int crlf,
                         const char* name, int level, const char* file, int line,
                         const char* function, const char* format, va_list args);

// Appends text formatted from format (at most 16383 characters), line breaks
// normalised to CR LF, and no line end of its own.
KY_API void ky_log_print(const char* path, const char* format, ...) KY_PRINTF_LIKE(2, 3);

// As ky_log_print with the handle mode, slot and line-end choice.
KY_API void ky_log_ex_print_va(const char* path, LogFileHandle** slot, int mode, int crlf,
                               const char* format, va_list args);

// As ky_log_ex_print_va with text taken as it stands, of any length.
KY_API void ky_log_ex_writetext(const char* path, LogFileHandle** slot, int mode, int crlf,
                                const char* text);

// Appends length bytes of data unchanged, in one write. With length 0 it only
// opens and locks (OpenAndHold) or unlocks and closes (UseHeldAndRelease):
// that is how a caller holds a file across several records.
KY_API void ky_log_ex_writedata(const char* path, LogFileHandle** slot, int mode, const void* data,
                                size_t length);

// The default log path, "quorvel.log" in ky_TempDir(), in a process-wide
// buffer filled on the first call (just "quorvel.log" when the temporary
// directory's name is too long). Later calls return the same text even if the
// environment changed. Do not free it.
KY_API const char* ky_log_default_logfile(void);

// Renders length bytes of data as a hex dump, perLine bytes a line:
//   00000000  41 42 0a     AB. \n
// 8 hex digits of offset (low 32 bits), two spaces, "xx " per byte, a space,
// the bytes printable in the C locale or '.', then the line end. A full line
// equal to the one before it (the last line excepted) is folded: one marker
// line with '*' in the offset's last column stands for the whole run.
// Returns a new text from ky_malloc that the caller frees with
// ky_log_hexdump_free (or ky_free); "" for length 0. Null when ky_malloc
// fails, perLine is 0, data is null with a non-zero length, or the size
// overflows.
KY_API char* ky_log_hexdump(const void* data, size_t length, size_t perLine);

// As ky_log_hexdump with prefix written before every line (null: "") and
// lineEnd after it (null: "\n").
KY_API char* ky_log_hexdump_ex(const char* prefix, const char* lineEnd, const void* data,
                               size_t length, size_t perLine);

// Frees a dump; null is ignored.
KY_API void ky_log_hexdump_free(char* dump);

KY_END_C

#ifdef __cplusplus

namespace ky {

// A logger: a component name, a log file, a level threshold and an enabled
// flag, and a recursive mutex that orders the threads of one process around
// Lock/Unlock, copying and assignment. Records go to the file through the
// flat writers above; processes are kept apart by the file lock.
//
// The member writers take no mutex: records written from several threads are
// kept whole when each writer brackets its records with Lock/Unlock (or
// log_lock). Copies never share a held file.
class KY_API log {
 public:
  enum {
    LevelAlways = -1,
    LevelEmerg = 0,
    LevelAlert = 1,
    LevelCrit = 2,
    LevelError = 3,
    LevelWarn = 4,
    LevelNotice = 5,
    LevelInfo = 6,
    LevelDebug = 7
  };

  // No name, the default file ("quorvel.log" in ky_TempDir()), level 3,
  // disabled.
  log();
  explicit log(bool enabled);
  // name null or "" gives no name.
  explicit log(const char* name);
  // file null or "" gives the default file.
  log(const char* name, const char* file, int level, bool enabled);
  // Copies name, file, level, enabled and the line-end choice, under other's
  // mutex. The copy starts unlocked with a count of 0.
  log(const log& other);
  // Copies the same fields, locking this object's mutex, then other's. Keeps
  // this object's count and held file. Self-assignment does nothing.
  log& operator=(const log& other);
  // Disables the logger and releases a held file; never deletes the file.
  virtual ~log();

  // Locks the mutex (held until the matching Unlock, even when this fails)
  // and, on the outermost call, opens and locks the file for the records
  // that follow. Returns 1 when the outermost call opened the file, 0 when
  // that open failed, and 0 (the mutex result) for a nested call. The
  // location arguments are for the caller's diagnostics and are not used.
  virtual int Lock(const char* file = nullptr, int line = 0, const char* function = nullptr) const;
  // Ends one Lock: the last one unlocks and closes the file. Returns the
  // mutex unlock's result.
  virtual int Unlock(const char* file = nullptr, int line = 0,
                     const char* function = nullptr) const;

  // "ALWAYS" (negative), "EMERG" ... "DEBUG", "DEBUG+" (above 7). Constant.
  static const char* LevelName(int level);
  // "a+", "em", "al", "cr", "er", "wa", "no", "in", "de", "d+". Constant.
  static const char* LevelAbbreviation(int level);
  // Parses a level: null or "" gives 3; names and abbreviations (any case)
  // give their level; "DEBUG<n>" and "de<n>" give 7 + n; otherwise a number
  // (negative gives -1). So an unknown word gives 0, "d+" gives 0 and
  // "DEBUG+" gives 7: these do not round-trip, on purpose.
  static int LevelOf(const char* text);

  // Sets the file to fileName (null or "": "quorvel.log") in ky_TempDir(),
  // at most 4095 characters.
  void _setTempFileName(const char* fileName);
  // Removes the log file. False when it is unnamed or cannot be removed.
  bool _Delete() const;

  // Record writers: each appends through the held file when locked, else
  // opens the file for this record, and counts the call.
  void _X_LogVa(int level, const char* file, int line, const char* function, const char* format,
                va_list args) const;
  void _X_PrintVa(const char* format, va_list args) const;
  void _X_WriteText(const char* text) const;
  void _X_WriteData(const void* data, size_t length) const;

  // Convenience forms of the writers above.
  void Log(int level, const char* file, int line, const char* function, const char* format,
           ...) const KY_PRINTF_LIKE(6, 7) {
    va_list args;
    va_start(args, format);
    _X_LogVa(level, file, line, function, format, args);
    va_end(args);
  }
  void Print(const char* format, ...) const KY_PRINTF_LIKE(2, 3) {
    va_list args;
    va_start(args, format);
    _X_PrintVa(format, args);
    va_end(args);
  }

  // Settings. The setters are not synchronised with writers on other
  // threads.
  const std::string& Name() const { return _name; }
  const std::string& File() const { return _file; }
  int Level() const { return _level; }
  void SetLevel(int level) { _level = level; }
  bool Enabled() const { return _enabled; }
  void SetEnabled(bool enabled) { _enabled = enabled; }
  bool Crlf() const { return _crlf; }
  void SetCrlf(bool crlf) { _crlf = crlf; }
  // Member-writer calls made on this object, written or not.
  uint64_t Count() const { return _count.load(std::memory_order_relaxed); }

  // Whether a record of this level is wanted: always for a negative level,
  // otherwise when enabled and the level is at or below the threshold.
  bool Wants(int level) const { return level < 0 || (_enabled && level <= _level); }

 private:
  std::string _name;
  std::string _file;
  int32_t _level;
  bool _enabled;
  bool _crlf;
  mutable std::atomic<uint64_t> _count;
  mutable LogFileHandle* _handle;
  mutable uint32_t _lockDepth;
  mutable pthread_mutex_t _mutex;
};

// Holds a logger's Lock for a scope.
class log_lock {
 public:
  // Locks logger (see log::Lock); the destructor unlocks it.
  explicit log_lock(const log& logger, const char* file = nullptr, int line = 0,
                    const char* function = nullptr)
      : _log(logger), _file(file), _line(line), _function(function) {
    _log.Lock(_file, _line, _function);
  }
  ~log_lock() { _log.Unlock(_file, _line, _function); }
  log_lock(const log_lock&) = delete;
  log_lock& operator=(const log_lock&) = delete;

 private:
  const log& _log;
  const char* _file;
  int _line;
  const char* _function;
};

}  // namespace ky

// Writes a record through `logger` when it wants `level`, with the call
// site's file, line and function; the arguments are not evaluated otherwise.
#define KY_LOG(logger, level, ...)                                               \
  do {                                                                           \
    const ::ky::log& ky_log_ref_ = (logger);                                     \
    const int ky_log_level_ = (level);                                           \
    if (ky_log_ref_.Wants(ky_log_level_))                                        \
      ky_log_ref_.Log(ky_log_level_, __FILE__, __LINE__, __func__, __VA_ARGS__); \
  } while (0)

// KY_LOG at the level in the macro's name.
#define KY_LOG_ALWAYS(logger, ...) KY_LOG(logger, ::ky::log::LevelAlways, __VA_ARGS__)
#define KY_LOG_EMERG(logger, ...) KY_LOG(logger, ::ky::log::LevelEmerg, __VA_ARGS__)
#define KY_LOG_ALERT(logger, ...) KY_LOG(logger, ::ky::log::LevelAlert, __VA_ARGS__)
#define KY_LOG_CRIT(logger, ...) KY_LOG(logger, ::ky::log::LevelCrit, __VA_ARGS__)
#define KY_LOG_ERROR(logger, ...) KY_LOG(logger, ::ky::log::LevelError, __VA_ARGS__)
#define KY_LOG_WARN(logger, ...) KY_LOG(logger, ::ky::log::LevelWarn, __VA_ARGS__)
#define KY_LOG_NOTICE(logger, ...) KY_LOG(logger, ::ky::log::LevelNotice, __VA_ARGS__)
#define KY_LOG_INFO(logger, ...) KY_LOG(logger, ::ky::log::LevelInfo, __VA_ARGS__)
#define KY_LOG_DEBUG(logger, ...) KY_LOG(logger, ::ky::log::LevelDebug, __VA_ARGS__)

#endif  // __cplusplus

#endif  // KY_LOG_H
