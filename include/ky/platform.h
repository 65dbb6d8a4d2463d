// File: ky/platform.h
//
// Platform services with C linkage: path text, file tests, the temporary
// directory, date and time stamps, the execution timer, sleeping, process and
// thread ids, and loading shared libraries at run time.
//
// Paths use '/' as the only separator; no other character is special. The
// path helpers never allocate: results go into the caller's buffer or point
// into the caller's string. Truth values are int 1 or 0.
#ifndef KY_PLATFORM_H
#define KY_PLATFORM_H

#include <stddef.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "ky/export.h"

KY_BEGIN_C

// ---------------------------------------------------------------------------
// Path text

// Collapses runs of '/' in place, keeping a leading "//" as exactly two
// separators ("a//b///c" -> "a/b/c", "///a" -> "//a"). Examines at most size
// characters; the NUL is stored after what was kept, so a text without a NUL
// or doubled separator within size characters gets its NUL at path[size]: the
// buffer must then hold size + 1 bytes. Returns path; null path or size 0
// change nothing.
KY_API char* ky_FixPath(char* path, size_t size);

// Cuts path in place right after its last '/' ("a/b/c" -> "a/b/", "abc" ->
// ""). With ignoreTrailingSeparators non-zero, trailing separators do not
// count as the cut point ("a/b/c/" -> "a/b/", "/a" -> "/", "/" -> "").
// Returns path, which must be a valid string.
KY_API char* ky_PathStripFileNameEx(char* path, int ignoreTrailingSeparators);

// ky_PathStripFileNameEx(path, 0).
KY_API char* ky_PathStripFileName(char* path);

// Returns the address of the character after the last '/' of path (its NUL
// when path ends in '/'), or path itself when it holds no separator.
KY_API const char* ky_PathFileName(const char* path);

// Copies into out the directory part that ky_PathStripFileNameEx would keep
// (final '/' included), cut to outSize - 1 characters and always terminated.
// path is not changed; outSize must be at least 1. Returns out.
KY_API char* ky_PathDirectoryEx(char* out, size_t outSize, const char* path,
                                int ignoreTrailingSeparators);

// ky_PathDirectoryEx(out, outSize, path, 0).
KY_API char* ky_PathDirectory(char* out, size_t outSize, const char* path);

// Appends one component to the path in buffer (capacity size bytes) with
// exactly one '/' between them: trailing separators of buffer and leading
// ones of more collapse, trailing ones of more stay ("dir" + "sub/" ->
// "dir/sub/"). An empty buffer takes more as it stands, so absolute paths and
// a leading "//" survive. A null or empty more leaves the buffer ending in
// '/'. The result holds at most size - 1 characters and is always
// terminated. buffer need not be terminated within size bytes. Returns
// buffer.
KY_API char* ky_AppendPath(char* buffer, size_t size, const char* more);

// Copies first into buffer (null first means "") and appends second as
// ky_AppendPath does: ("/tmp/", "/x.log") -> "/tmp/x.log". Returns buffer.
KY_API char* ky_JoinPath(char* buffer, size_t size, const char* first, const char* second);

// ---------------------------------------------------------------------------
// Files

// 1 when path names a directory (symbolic links followed), else 0.
KY_API int ky_DirExists(const char* path);

// 1 when path exists, whatever its type, else 0.
KY_API int ky_FileExists(const char* path);

// Removes the name path (not a directory). True on success.
KY_API bool ky_DeleteFile(const char* path);

// The value of TEMP if set (even if empty), else of TMP if set, else "/tmp".
// Points into the environment or at a constant: do not free or change it, and
// do not call it while another thread changes the environment.
KY_API const char* ky_TempDir(void);

// Placeholder kept for callers of the interface: resolves nothing and always
// returns null.
KY_API char* ky_FullPath(void);

// ---------------------------------------------------------------------------
// Stamps. Each formats local time into buffer, at most size - 1 characters,
// always terminated (nothing is stored for a null buffer or size 0), and
// returns buffer. When local time cannot be computed the buffer becomes "".
// Reentrant.

// "YYYY-MM-DD hh:mm:ss.ffff", ffff in units of 100 microseconds, rounded:
// from 999950 microseconds on the fraction reads "10000" (five digits, no
// carry into the seconds). Without a microsecond clock "YYYY-MM-DD hh:mm:ss".
KY_API char* ky_DateTimeStamp(char* buffer, size_t size);

// "hh:mm:ss.ffff", the fraction truncated (999999 microseconds read "9999");
// without a microsecond clock "hh:mm:ss".
KY_API char* ky_TimeStamp(char* buffer, size_t size);

// "YYYY-MM-DD".
KY_API char* ky_DateStamp(char* buffer, size_t size);

// ---------------------------------------------------------------------------
// Execution timer: one process-wide stopwatch on the wall clock, started by
// the first use of any entry below (or by the first log record). Readings
// taken while another thread starts or resets it are unspecified.

// Starts the timer unless it already runs. Returns the state: 1 running, -1
// failed for good (the clock could not be read when starting).
KY_API int ky_ExecutionTimerStart(void);

// Restarts a running timer from zero; returns the new state (a failed timer
// stays failed and returns -1).
KY_API int ky_ExecutionTimerReset(void);

// Seconds since the start; 0.0 on the first use and when the timer failed.
KY_API double ky_ExecutionTimerElapsed(void);

// As ky_ExecutionTimerElapsed; also stores in *lap (when lap is not null) the
// seconds since the previous lap mark, and moves the mark to now either way.
KY_API double ky_ExecutionTimerElapsedEx(double* lap);

// ky_ExecutionTimerElapsed().
KY_API double ky_ExecutionTimerCount(void);

// ---------------------------------------------------------------------------
// Sleeping and ids

// Sleeps the calling thread. The microsecond count is formed in 32-bit
// unsigned arithmetic, so values above 4294967 ms wrap. Returns 0, or -1 when
// interrupted.
KY_API int ky_Sleep(unsigned int milliseconds);

// The kernel id of the calling thread (not its pthread_t).
KY_API long ky_CurrentThreadId(void);

// The process id.
KY_API long ky_CurrentProcessId(void);

// ---------------------------------------------------------------------------
// Dynamic libraries: thin wrappers over the dynamic loader, keeping no state
// (the loader's own locking applies). On failure the loader's message is left
// for dlerror().

// Loads the shared object fileName with lazy binding and local symbol scope; a
// name without '/' is searched as the loader searches. A null fileName gives
// the handle of the main program. Returns the handle, or null on failure.
KY_API void* ky_LoadLibrary(const char* fileName);

// The address of symbol in the library behind handle, or null when it is not
// found.
KY_API void* ky_GetLibraryFunction(void* handle, const char* symbol);

// Unloads *handle and sets *handle to null whatever the outcome. handle must
// not be null. Returns 0 on success, non-zero on failure.
KY_API int ky_FreeLibrary(void** handle);

KY_END_C

#endif  // KY_PLATFORM_H
