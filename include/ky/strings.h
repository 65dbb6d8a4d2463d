// File: ky/strings.h
//
// Bounded, null-tolerant byte-string functions with C linkage.
//
// Conventions shared by every entry here:
// - A null string argument is tolerated: an entry that returns a destination
//   returns it untouched and stores nothing, one that returns a length returns
//   0, one that returns a new block returns null.
// - A destination bound n gives room only if dst < dst + n: a size of 0, or
//   one so large that the end address wraps, means no room.
// - No entry pads a destination with NULs beyond what it documents.
// - Blocks returned by the allocating entries come from ky_malloc and belong
//   to the caller, who frees them with ky_free. Exhaustion is told only by a
//   null result.
// - Names: `n` bounds the input by a count, `xncpy` copies into a capacity of
//   n, `xnzcpy` copies at most n characters and always adds a NUL (so the
//   destination holds n + 1 bytes), `_ep` returns the end pointer, `_ex` and
//   `_ex2` advance a cursor, `dup` allocates.
// - Every allocating entry has a `_dbg` twin taking three leading word-sized
//   debug-context values, which it ignores.
//
// All entries are reentrant and keep no state.
#ifndef KY_STRINGS_H
#define KY_STRINGS_H

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "ky/export.h"

KY_BEGIN_C

// ---------------------------------------------------------------------------
// Length and copy primitives

// Returns strlen(s), or 0 for null s.
KY_API size_t ky_strlen(const char* s);

// Returns the number of bytes before the first NUL of s, at most n; 0 for
// null s. Never reads s[n], so s need not be terminated within n bytes.
KY_API size_t ky_strnlen(const char* s, size_t n);

// Unbounded copy of src with its NUL; returns dst. Stores nothing for a null
// argument.
KY_API char* ky_strcpy(char* dst, const char* src);

// As ky_strcpy, but returns the address of the NUL stored in dst (dst for a
// null argument).
KY_API char* ky_strcpy_ep(char* dst, const char* src);

// Copies src into a destination of capacity n without padding: a NUL is stored
// only if src ends before n bytes were stored, so a src of n or more
// characters leaves exactly n bytes and no NUL. Stores nothing when n gives no
// room. Returns dst.
KY_API char* ky_strxncpy(char* dst, const char* src, size_t n);

// As ky_strxncpy; returns the address of the stored NUL, or dst + n when the
// copy filled the capacity without a NUL, or dst when nothing was stored.
// The next chained copy starts there.
KY_API char* ky_strxncpy_ep(char* dst, const char* src, size_t n);

// Copies at most n characters of src and always stores a NUL after them, so
// dst must hold n + 1 bytes. When n gives no room, stores only a NUL at dst[0].
// Returns dst; stores nothing for a null argument.
KY_API char* ky_strxnzcpy(char* dst, const char* src, size_t n);

// As ky_strxnzcpy; returns the address of the NUL it stored (dst for a null
// argument).
KY_API char* ky_strxnzcpy_ep(char* dst, const char* src, size_t n);

// Returns a copy of s in a new block of strlen(s) + 1 bytes; null for null s
// or when ky_malloc fails.
KY_API char* ky_strdup(const char* s);

// Returns a new block of exactly n + 1 bytes holding at most n characters of s
// and a NUL, even when s is much shorter: callers pass the size they want
// reserved. Null for null s, for n = SIZE_MAX, or when ky_malloc fails.
KY_API char* ky_strndup(const char* s, size_t n);

KY_API char* ky_strdup_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s);
KY_API char* ky_strndup_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s, size_t n);

// ---------------------------------------------------------------------------
// Bounded printf forms. `size` counts the terminating NUL; whenever the call
// stores anything the buffer ends with a NUL.

// Formats into buf. Returns the number of characters stored, or -1 when the
// output was cut (buf then holds the first size - 1 characters) or the C
// library failed. Returns 0 and stores nothing for a null buf or fmt or a size
// that gives no room.
KY_API int ky_vsnprintf(char* buf, size_t size, const char* fmt, va_list args);
KY_API int ky_snprintf(char* buf, size_t size, const char* fmt, ...) KY_PRINTF_LIKE(3, 4);

// As ky_vsnprintf, but a cut output returns size - 1, the number of characters
// that stand in buf.
KY_API int ky_vsnzprintf(char* buf, size_t size, const char* fmt, va_list args);
KY_API int ky_snzprintf(char* buf, size_t size, const char* fmt, ...) KY_PRINTF_LIKE(3, 4);

// Cursor form: formats at *cursor within *remaining bytes. When the piece
// fits, advances *cursor onto the NUL just written (the next piece overwrites
// it), reduces *remaining by the characters written and returns where the
// piece began. When it does not fit, leaves the cursor on the buffer's last
// byte (which holds a NUL), sets *remaining to 0 and returns null. A call with
// *remaining already 0 steps the cursor back one byte and stores a NUL there:
// stop at the first null result. If raw is not null it receives
// ky_vsnprintf's result. Null cursor or remaining pointers return null.
KY_API char* ky_vsnprintf_ex2(char** cursor, size_t* remaining, int* raw, const char* fmt,
                              va_list args);
KY_API char* ky_vsnprintf_ex(char** cursor, size_t* remaining, const char* fmt, va_list args);
KY_API char* ky_snprintf_ex(char** cursor, size_t* remaining, const char* fmt, ...)
    KY_PRINTF_LIKE(3, 4);
KY_API char* ky_snprintf_ex2(char** cursor, size_t* remaining, int* raw, const char* fmt, ...)
    KY_PRINTF_LIKE(4, 5);

// ---------------------------------------------------------------------------
// Message templates
//
// Builds a new string from fmt, replacing each placeholder {i} (0 <= i <
// count) with args[i] (nothing when args or args[i] is null). A brace that
// does not open a valid placeholder stands as written. Single quotes toggle
// quoting, in which braces are literal; two single quotes give one. A
// backslash escapes: \a \b \t \n \v \f \r \" \' \? \\, one to three octal
// digits, or x and exactly two characters read as a hexadecimal number (as
// strtol reads them); any other backslash stands as written. A template may
// name an argument any number of times.
//
// Returns a new block from ky_malloc, or null for a null fmt or when ky_malloc
// fails.
KY_API char* ky_FormatMessage(const char* fmt, int count, const char** args);

// As ky_FormatMessage with count string pointers taken from args. The pointer
// array is borrowed from ky_malloc first, even for count 0 and before fmt is
// looked at, so an allocator that answers 0 bytes with null, or a negative
// count, yields null.
KY_API char* ky_FormatMessageVa(const char* fmt, int count, va_list args);

// As ky_FormatMessageVa with count string pointers as variadic arguments.
KY_API char* ky_FormatMessageWithArgs(const char* fmt, int count, ...);

KY_API char* ky_FormatMessage_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* fmt,
                                  int count, const char** args);
KY_API char* ky_FormatMessageVa_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* fmt,
                                    int count, va_list args);
KY_API char* ky_FormatMessageWithArgs_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* fmt,
                                          int count, ...);

KY_END_C

#endif  // KY_STRINGS_H
