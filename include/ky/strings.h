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

// ---------------------------------------------------------------------------
// White-space trimming
//
// Two meanings of white space, chosen by the name: with `spc` only the blank
// and the horizontal tab are white (newline, carriage return, vertical tab and
// form feed are ordinary characters); without it, every byte that isspace
// accepts in the current locale, each byte passed as its char value widened to
// int. A trim is measured as a lead (white bytes skipped at the start) and a
// trimmed length (from the first non-white byte up to and including the last
// one). Inputs are NUL-terminated (no letter), at most n bytes and ending at an
// earlier NUL (`n`), or exactly n bytes in which a NUL is an ordinary,
// non-white byte (`xn`).

// Returns isspace(c) unchanged.
KY_API int ky_isspace(int c);

// Measure s: store the lead and the trimmed length through whichever of lead
// and len is not null. A null s measures as lead 0, length 0. A string with no
// non-white byte stores the count of white bytes as the lead and 0 as the
// length (for the `n` and `xn` forms the lead is then at most n).
KY_API void ky_strtrimlen(const char* s, size_t* lead, size_t* len);
KY_API void ky_strntrimlen(const char* s, size_t n, size_t* lead, size_t* len);
KY_API void ky_strxntrimlen(const char* s, size_t n, size_t* lead, size_t* len);
KY_API void ky_strtrimspclen(const char* s, size_t* lead, size_t* len);
KY_API void ky_strntrimspclen(const char* s, size_t n, size_t* lead, size_t* len);
KY_API void ky_strxntrimspclen(const char* s, size_t n, size_t* lead, size_t* len);

// The trimmed length alone, as the measuring entry of the same bound and rule
// gives it; 0 for null s.
KY_API size_t ky_strtlen(const char* s);
KY_API size_t ky_strntlen(const char* s, size_t n);
KY_API size_t ky_strxntlen(const char* s, size_t n);
KY_API size_t ky_strtspclen(const char* s);
KY_API size_t ky_strntspclen(const char* s, size_t n);
KY_API size_t ky_strxntspclen(const char* s, size_t n);

// In-place trims; each returns null for null s.
// ky_strltrim returns a pointer to the first non-white byte of s (to its NUL
// if there is none) and writes nothing. ky_strrtrim stores a NUL right after
// the last non-white byte (at s[0] if there is none), even when nothing was
// trimmed, and returns s. ky_strtrim is ky_strrtrim(ky_strltrim(s)): it
// returns a pointer into s.
KY_API char* ky_strltrim(char* s);
KY_API char* ky_strrtrim(char* s);
KY_API char* ky_strtrim(char* s);
KY_API char* ky_strltrimspc(char* s);
KY_API char* ky_strrtrimspc(char* s);
KY_API char* ky_strtrimspc(char* s);

// Trimming copies into dst of `size` bytes; all return dst, and a null dst is
// returned untouched. A null src copies as an empty string. The `n` forms read
// src for at most srcn bytes.
// - `trim` copies the text between the first and the last non-white byte;
//   `rtrim` keeps the leading white space and drops only the trailing. An
//   all-white or empty src gives an empty result in both, so an `rtrim` copy
//   of "   " is "" rather than its blanks.
// - `ncpy`: at most `size` bytes are stored, and a NUL only if it fits after
//   them; size 0 stores nothing.
// - `nzcpy`: at most size - 1 bytes and always a NUL after them. size must not
//   be 0: size - 1 then wraps, and the whole trimmed text is stored with no
//   bound and no NUL.
KY_API char* ky_strtrimncpy(char* dst, size_t size, const char* src);
KY_API char* ky_strtrimnzcpy(char* dst, size_t size, const char* src);
KY_API char* ky_strrtrimncpy(char* dst, size_t size, const char* src);
KY_API char* ky_strrtrimnzcpy(char* dst, size_t size, const char* src);
KY_API char* ky_strntrimncpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strntrimnzcpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strnrtrimncpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strnrtrimnzcpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strtrimspcncpy(char* dst, size_t size, const char* src);
KY_API char* ky_strtrimspcnzcpy(char* dst, size_t size, const char* src);
KY_API char* ky_strrtrimspcncpy(char* dst, size_t size, const char* src);
KY_API char* ky_strrtrimspcnzcpy(char* dst, size_t size, const char* src);
KY_API char* ky_strntrimspcncpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strntrimspcnzcpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strnrtrimspcncpy(char* dst, size_t size, const char* src, size_t srcn);
KY_API char* ky_strnrtrimspcnzcpy(char* dst, size_t size, const char* src, size_t srcn);

// ---------------------------------------------------------------------------
// Case conversion and case-insensitive search
//
// Byte by byte through tolower and toupper of the current locale, each byte
// passed as its char value widened to int and the low byte of the result
// stored; multi-byte characters are not recognised. The NUL that ends a
// source is never converted. Each `lwr` entry has an `upr` twin that differs
// only in the case function. The copies keep the contracts of the plain
// copies above (nulls, bounds, NULs, results); only each stored byte changes.

// Convert every byte of s in place; return s (null for null s).
KY_API char* ky_strlwr(char* s);
KY_API char* ky_strupr(char* s);

// In place, but only bytes that isupper (for ky_strtoupr, islower) accepts are
// written; every other byte is left as it is, not stored again, so read-only
// text with nothing to convert is safe. Return s (null for null s).
KY_API char* ky_strtolwr(char* s);
KY_API char* ky_strtoupr(char* s);

// ky_strcpy, ky_strcpy_ep, ky_strxncpy, ky_strxncpy_ep, ky_strxnzcpy and
// ky_strxnzcpy_ep with each copied byte converted.
KY_API char* ky_strcpylwr(char* dst, const char* src);
KY_API char* ky_strcpyupr(char* dst, const char* src);
KY_API char* ky_strcpylwr_ep(char* dst, const char* src);
KY_API char* ky_strcpyupr_ep(char* dst, const char* src);
KY_API char* ky_strxncpylwr(char* dst, const char* src, size_t n);
KY_API char* ky_strxncpyupr(char* dst, const char* src, size_t n);
KY_API char* ky_strxncpylwr_ep(char* dst, const char* src, size_t n);
KY_API char* ky_strxncpyupr_ep(char* dst, const char* src, size_t n);
KY_API char* ky_strxnzcpylwr(char* dst, const char* src, size_t n);
KY_API char* ky_strxnzcpyupr(char* dst, const char* src, size_t n);
KY_API char* ky_strxnzcpylwr_ep(char* dst, const char* src, size_t n);
KY_API char* ky_strxnzcpyupr_ep(char* dst, const char* src, size_t n);

// Converted duplicates, as ky_strdup and ky_strndup: a new block from
// ky_malloc that the caller frees with ky_free (strlen(s) + 1 bytes, or
// exactly n + 1 bytes holding at most n converted characters and a NUL).
// Null for null s, for n = SIZE_MAX, or when ky_malloc fails.
KY_API char* ky_strduplwr(const char* s);
KY_API char* ky_strdupupr(const char* s);
KY_API char* ky_strnduplwr(const char* s, size_t n);
KY_API char* ky_strndupupr(const char* s, size_t n);

KY_API char* ky_strduplwr_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s);
KY_API char* ky_strdupupr_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s);
KY_API char* ky_strnduplwr_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s, size_t n);
KY_API char* ky_strndupupr_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s, size_t n);

// Returns the first (leftmost) place in haystack where needle occurs when both
// are compared byte by byte through tolower, or null. An empty needle gives
// haystack; a null argument gives null. The result points into haystack, whose
// constness the caller keeps track of, as with strstr.
KY_API char* ky_strcasestr(const char* haystack, const char* needle);

// ---------------------------------------------------------------------------
// Joining lists of strings
//
// Each join stores its pieces one after another with no separator; the caller
// sizes dst from the matching measure (ky_stralen and kin) plus 1 for the NUL.
// Pieces come from an array (`a`: count entries of arr), from count variadic
// arguments (`va`), or from variadic arguments ended by a null string (`vl`).
// - Whole pieces (no `n`) are chained like ky_strcpy_ep: each starts on the NUL
//   of the one before; a null piece is skipped and stores nothing.
// - Counted pieces (`n`: each string with its own size_t length, from lens or
//   as the argument after the string) are chained like ky_strxncpy_ep: a piece
//   shorter than its length ends in a NUL the next piece overwrites, a longer
//   one is cut with no NUL, a null piece or a length of 0 stores nothing; a
//   NUL follows the last piece.
// A null dst, a null arr, a count of 0 or a first string that is null returns
// dst with nothing stored, not even a NUL. The plain forms return dst; `_ep`
// returns the end: the last NUL stored (dst when nothing was stored) for whole
// pieces, the address of the final NUL for counted pieces.
KY_API char* ky_stracpy(char* dst, size_t count, const char** arr);
KY_API char* ky_stracpy_ep(char* dst, size_t count, const char** arr);
KY_API char* ky_strvacpy(char* dst, size_t count, ...);
KY_API char* ky_strvacpy_ep(char* dst, size_t count, ...);
KY_API char* ky_strvlacpy(char* dst, ...);
KY_API char* ky_strvlacpy_ep(char* dst, ...);
KY_API char* ky_strvancpy(char* dst, size_t count, ...);
KY_API char* ky_strvancpy_ep(char* dst, size_t count, ...);
KY_API char* ky_strvlancpy(char* dst, ...);
KY_API char* ky_strvlancpy_ep(char* dst, ...);

// Counted pieces from arr with their lengths in lens. With count 0 (and arr
// and lens not null) a NUL is stored at dst[0]. A null lens joins the whole
// strings as ky_stracpy does, and then BOTH forms return dst: ky_strancpy_ep
// with a null lens does not return the end pointer.
KY_API char* ky_strancpy(char* dst, size_t count, const char** arr, const size_t* lens);
KY_API char* ky_strancpy_ep(char* dst, size_t count, const char** arr, const size_t* lens);

// The number of characters a join stores, without the NUL. A whole piece
// counts strlen, a counted piece ky_strnlen(piece, length); null pieces and a
// null arr count 0. ky_stranlen with a null lens is ky_stralen.
KY_API size_t ky_stralen(size_t count, const char** arr);
KY_API size_t ky_stranlen(size_t count, const char** arr, const size_t* lens);
KY_API size_t ky_strvalen(size_t count, ...);
KY_API size_t ky_strvanlen(size_t count, ...);
KY_API size_t ky_strvlalen(const char* first, ...);
KY_API size_t ky_strvlanlen(const char* first, ...);

// ---------------------------------------------------------------------------
// Fixed-width fields

// Writes a field of exactly n bytes at dst: at most n bytes of src, the rest
// filled with the byte fill (a null src gives n fill bytes). Stores no NUL.
// Returns dst; a null dst or n 0 stores nothing. The `b` forms fill with the
// blank.
KY_API char* ky_strnfcpy(char* dst, const char* src, size_t n, int fill);
KY_API char* ky_strnbcpy(char* dst, const char* src, size_t n);

// As ky_strnfcpy, then a NUL at dst[n]: dst holds n + 1 bytes. n 0 stores
// just the NUL at dst[0].
KY_API char* ky_strnfzcpy(char* dst, const char* src, size_t n, int fill);
KY_API char* ky_strnbzcpy(char* dst, const char* src, size_t n);

// Cursor form for records of fields laid side by side: writes a field of
// width bytes at *cursor, cut to *remaining, with no NUL, then advances
// *cursor and reduces *remaining by what was written. Returns the old cursor
// when the whole width fitted, null when the field was cut (it is still
// written) and for null cursor or remaining pointers.
KY_API char* ky_strnfcpy_ex(char** cursor, size_t* remaining, const char* src, size_t width,
                            int fill);
KY_API char* ky_strnbcpy_ex(char** cursor, size_t* remaining, const char* src, size_t width);

// ---------------------------------------------------------------------------
// Spans
//
// The count of leading bytes of s that are in set (`spn`) or not in it
// (`cspn`), or that pred accepts (`fspn`, non-zero) or rejects (`fcspn`). The
// count stops at the NUL of s and, when n is not 0, after n bytes; the byte at
// index n may still be read, so it must be readable (or a NUL must come
// earlier). setn 0 means set is NUL-terminated. pred receives each byte as an
// unsigned char value, as the <ctype.h> functions expect. A null s gives 0; a
// null set gives 0 for ky_strnspn, and for ky_strncspn a null or empty set
// counts every byte; a null pred gives 0.
KY_API size_t ky_strnspn(const char* s, size_t n, const char* set, size_t setn);
KY_API size_t ky_strncspn(const char* s, size_t n, const char* set, size_t setn);
KY_API size_t ky_strnfspn(const char* s, size_t n, int (*pred)(int));
KY_API size_t ky_strnfcspn(const char* s, size_t n, int (*pred)(int));

// ---------------------------------------------------------------------------
// Bounded append to a heap string

// Appends at most srcn bytes of src (up to its NUL) to the string in *buf, a
// block from ky_malloc whose text is taken to be at most bufn bytes long (bufn
// 0: the append replaces the text). The block is resized with ky_realloc to
// exactly fit text, addition and NUL; the new block is stored in *buf and
// returned. A null *buf gets ky_strndup(src, srcn). An empty, null or 0-byte
// src returns *buf unchanged. Returns null for a null buf and when memory is
// short, and then *buf and its block are as they were.
KY_API char* ky_strnnapp(char** buf, size_t bufn, const char* src, size_t srcn);
KY_API char* ky_strnnapp_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, char** buf, size_t bufn,
                             const char* src, size_t srcn);

// ---------------------------------------------------------------------------
// Splitting

// Cuts a copy of s into fields at every byte equal to sep (ky_SplitString) or
// to any byte of the NUL-terminated set seps (ky_SplitStringEx; an empty set,
// like a sep of NUL, splits nothing). The copy, with each separator replaced
// by a NUL, is returned; *fields receives a new array of *count pointers to the
// fields inside it, in order. There is one more field than separators: "" has
// one empty field, "a,,b," has four. Fields are not trimmed; no quoting.
// The caller frees both blocks with ky_free. Null s or exhausted memory
// returns null with *fields null and *count 0. fields, count and seps must not
// be null.
KY_API char* ky_SplitString(const char* s, char sep, char*** fields, size_t* count);
KY_API char* ky_SplitStringEx(const char* s, const char* seps, char*** fields, size_t* count);
KY_API char* ky_SplitString_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s, char sep,
                                char*** fields, size_t* count);
KY_API char* ky_SplitStringEx_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, const char* s,
                                  const char* seps, char*** fields, size_t* count);

// Finds the first separator (any byte of seps; nseps 0 means seps is
// NUL-terminated, a null seps means none) in one name-separator-value text and
// reports name and value as start and length inside s, without copying. n 0
// means s is NUL-terminated; otherwise s is n bytes, which must hold no NUL.
// With trimName/trimValue non-zero a part loses its surrounding white space
// (the isspace rule). An empty part is reported as a null start and length 0.
// Returns 1 when a separator was found (even if name or value is empty), else
// 0 with the name still reported and the value null. Further separators belong
// to the value. A null s reports nothing and returns 0. The four output
// pointers must not be null.
KY_API int ky_SplitNameValueMultiSepEx(const char* s, size_t n, const char* seps, size_t nseps,
                                       int trimName, int trimValue, const char** name,
                                       size_t* nameLen, const char** value, size_t* valueLen);
// One separator byte sep, counted input n.
KY_API int ky_SplitNameValueEx(const char* s, size_t n, char sep, int trimName, int trimValue,
                               const char** name, size_t* nameLen, const char** value,
                               size_t* valueLen);
// NUL-terminated s, both parts trimmed.
KY_API int ky_SplitNameValueMultiSep(const char* s, const char* seps, size_t nseps,
                                     const char** name, size_t* nameLen, const char** value,
                                     size_t* valueLen);
// NUL-terminated s, one separator byte, both parts trimmed.
KY_API int ky_SplitNameValue(const char* s, char sep, const char** name, size_t* nameLen,
                             const char** value, size_t* valueLen);

KY_END_C

#endif  // KY_STRINGS_H
