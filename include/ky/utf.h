// File: ky/utf.h
//
// Unicode transcoding between UTF-8, UTF-16 and UTF-32 code units (namespace
// ky::utf), a code-point enumerator (ky::utf_enumerator), and at the end the
// character-type and UTF-32 case-mapping tables with their inline lookups.
//
// Code units are native-endian unsigned integers: unsigned char for UTF-8,
// unsigned short for UTF-16, unsigned int for UTF-32. Lengths and rooms count
// units of the buffer's own type. There is no byte-order mark handling.
//
// The engine is a set of function templates over a destination unit type To,
// a source unit type From and a policy Opt for ill-formed input. Every
// combination of the three unit types and four policies is instantiated and
// exported by the library; callers link against those instances and never
// compile the engine. All of it is pure: no state, no locks, no allocation,
// safe on any thread for distinct destination buffers. Counted sources run on
// vector kernels picked once per process from the CPU (KY_UTF_KERNEL=scalar,
// sse2, avx2 or avx512 lowers the pick, for diagnosis); every kernel gives the
// scalar engine's results exactly.
//
// The decoder is deliberately lenient where stored data relies on it: it checks
// bit patterns, the surrogate range and the 0x10FFFF bound (a 0xF4 lead needs a
// second byte 0x80..0x8F), but accepts overlong forms (0xC0 0x80 is U+0000).
// A four-byte UTF-8 form always becomes a surrogate pair in UTF-16, computed
// in 32-bit arithmetic and truncated to 16 bits, even when overlong
// (0xF0 0x80 0x80 0x80 becomes 0xFFC0 0xDC00).
#ifndef KY_UTF_H
#define KY_UTF_H

#include <stddef.h>

#include <string>
#include <type_traits>

#include "ky/export.h"

namespace ky {
namespace utf {

// What to do with a unit that does not start a well-formed character.
enum InvalidSequenceOption {
  // Write U+FFFD (EF BF BD in UTF-8) for it, drop that one unit, go on. Every
  // byte of a broken or truncated UTF-8 sequence gets its own U+FFFD.
  ReplaceInvalid = 0,
  // Drop that one unit, write nothing, go on.
  SkipInvalid = 1,
  // Stop at it with ConvertInvalidSequence, keeping the output written so far.
  StopOnInvalid = 2,
  // Stop at it with ConvertInvalidSequence and withdraw the call's output: the
  // destination pointer and room are set back to their values on entry (the
  // units stay in memory), while the source stays at the offending unit.
  RejectInvalid = 3
};

// Result of a buffer conversion.
enum ConvertResult {
  // The source is exhausted (count 0, or at the terminating 0 unit); also when
  // the room ran out at the same moment.
  ConvertOk = 0,
  // Never produced; treat as a failure if met.
  ConvertReserved = 1,
  // The destination or source pointer was null; nothing was touched.
  ConvertNullPointer = 2,
  // Ill-formed input under StopOnInvalid or RejectInvalid; src points at it.
  ConvertInvalidSequence = 3,
  // The room is too small for the next whole character (U+FFFD into UTF-8
  // needs 3 bytes) while source remains. Nothing of that character was
  // written or consumed, so a call with more room resumes exactly there.
  ConvertDestinationFull = 4
};

// Encodes one source unit `value` at dst, whole or not at all, and returns the
// number of To units written (0..4). A UTF-8 value must be ASCII, a UTF-16
// value must not be a surrogate, a UTF-32 value must be a scalar value
// (0..0xD7FF, 0xE000..0x10FFFF); anything else is invalid: ReplaceInvalid
// writes U+FFFD, the other policies write nothing and return 0. Returns 0 with
// nothing written for a null dst or a room too small for the whole encoding.
template <typename To, typename From, InvalidSequenceOption Opt>
KY_API size_t _char_convert(To* dst, size_t room, From value);

// Converts the srclen units at src into dst, validating as it goes. On return
// dst and room are advanced past every unit written and src and srclen past
// every unit consumed, so a caller can drain or grow its buffer and call again
// (see ConvertResult). A 0 unit in the source is an ordinary character.
// Room 0 with source left is ConvertDestinationFull even when the rest would
// produce nothing. Null dst or src: ConvertNullPointer, nothing changed.
template <typename To, typename From, InvalidSequenceOption Opt>
KY_API ConvertResult _basic_convert(To*& dst, size_t& room, const From*& src, size_t& srclen);

// As above for a source that ends at its first 0 unit. The terminator is
// neither consumed nor written: on ConvertOk src points at it and the caller
// appends its own. No unit after the terminator is read.
template <typename To, typename From, InvalidSequenceOption Opt>
KY_API ConvertResult _basic_convert(To*& dst, size_t& room, const From*& src);

// Returns how many To units _basic_convert would write for the srclen units at
// src with unlimited room (never counting a terminator), and sets consumed to
// the units it would consume: srclen, or the offset of the offending unit when
// StopOnInvalid or RejectInvalid stops (RejectInvalid then returns 0). A null
// src or srclen 0 returns 0 and leaves consumed unchanged.
template <typename To, typename From, InvalidSequenceOption Opt>
KY_API size_t _conversion_length(const From* src, size_t srclen, size_t& consumed);

// As above for a NUL-terminated source: at its end consumed is the offset of
// the terminator. A null src returns 0 and leaves consumed unchanged.
template <typename To, typename From, InvalidSequenceOption Opt>
KY_API size_t _conversion_length(const From* src, size_t& consumed);

// The exported instances, for every pair of unit types and every policy.
#define KY_UTF_EXTERN_POLICY(To, From, Opt)                                                        \
  extern template KY_API size_t _char_convert<To, From, Opt>(To*, size_t, From);                   \
  extern template KY_API ConvertResult _basic_convert<To, From, Opt>(To*&, size_t&, const From*&,  \
                                                                     size_t&);                     \
  extern template KY_API ConvertResult _basic_convert<To, From, Opt>(To*&, size_t&, const From*&); \
  extern template KY_API size_t _conversion_length<To, From, Opt>(const From*, size_t, size_t&);   \
  extern template KY_API size_t _conversion_length<To, From, Opt>(const From*, size_t&);
#define KY_UTF_EXTERN_PAIR(To, From)             \
  KY_UTF_EXTERN_POLICY(To, From, ReplaceInvalid) \
  KY_UTF_EXTERN_POLICY(To, From, SkipInvalid)    \
  KY_UTF_EXTERN_POLICY(To, From, StopOnInvalid)  \
  KY_UTF_EXTERN_POLICY(To, From, RejectInvalid)
#define KY_UTF_EXTERN_TO(To)             \
  KY_UTF_EXTERN_PAIR(To, unsigned char)  \
  KY_UTF_EXTERN_PAIR(To, unsigned short) \
  KY_UTF_EXTERN_PAIR(To, unsigned int)
KY_UTF_EXTERN_TO(unsigned char)
KY_UTF_EXTERN_TO(unsigned short)
KY_UTF_EXTERN_TO(unsigned int)
#undef KY_UTF_EXTERN_TO
#undef KY_UTF_EXTERN_PAIR
#undef KY_UTF_EXTERN_POLICY

// Converts a whole buffer into `out` in one call: measures, sizes `out`
// exactly, converts. `out` receives what _basic_convert would write with
// ample room: everything (ConvertOk), the output before the offending unit
// (StopOnInvalid, ConvertInvalidSequence) or nothing (RejectInvalid,
// ConvertInvalidSequence). A null src gives ConvertNullPointer and an empty
// `out`. Throws what std::basic_string throws when memory runs out.
//   std::basic_string<unsigned short> u16;
//   ky::utf::convert(bytes, n, u16);                      // U+FFFD for bad input
//   ky::utf::convert<ky::utf::RejectInvalid>(bytes, n, u16);
template <InvalidSequenceOption Opt = ReplaceInvalid, typename To, typename From>
inline ConvertResult convert(const From* src, size_t srclen, std::basic_string<To>& out) {
  out.clear();
  if (!src) return ConvertNullPointer;
  size_t consumed = 0;
  const size_t n = _conversion_length<To, From, Opt>(src, srclen, consumed);
  if (n != 0) {
    out.resize(n);
    To* d = &out[0];
    size_t room = n;
    const From* s = src;
    size_t left = consumed;  // stop where the measure stopped
    _basic_convert<To, From, Opt>(d, room, s, left);
  }
  return consumed == srclen ? ConvertOk : ConvertInvalidSequence;
}

// As above for a source that ends at its first 0 unit.
template <InvalidSequenceOption Opt = ReplaceInvalid, typename To, typename From>
inline ConvertResult convert(const From* src, std::basic_string<To>& out) {
  out.clear();
  if (!src) return ConvertNullPointer;
  size_t consumed = 0;
  const size_t n = _conversion_length<To, From, Opt>(src, consumed);
  if (n != 0) {
    out.resize(n);
    To* d = &out[0];
    size_t room = n;
    const From* s = src;
    size_t left = consumed;
    _basic_convert<To, From, Opt>(d, room, s, left);
  }
  return src[consumed] == 0 ? ConvertOk : ConvertInvalidSequence;
}

// As above for a whole string; 0 units inside it are converted like others.
template <InvalidSequenceOption Opt = ReplaceInvalid, typename To, typename From>
inline ConvertResult convert(const std::basic_string<From>& src, std::basic_string<To>& out) {
  return convert<Opt>(src.data(), src.size(), out);
}

}  // namespace utf

// Walks a buffer of code units of type T (unsigned char, unsigned short or
// unsigned int) one code point at a time. Never fails: each ill-formed unit
// yields U+FFFD and is stepped over alone, as under ReplaceInvalid. Never
// reads at or beyond `end`. The caller keeps the buffer alive; one enumerator
// serves one thread at a time.
//   ky::utf_enumerator<unsigned char> e(text, len);
//   for (unsigned int cp; e.next(cp);) use(cp);
template <typename T>
class utf_enumerator {
 public:
  // Over the len units at p.
  template <typename N>
  utf_enumerator(const T* p, N len,
                 typename std::enable_if<std::is_integral<N>::value, int>::type = 0)
      : start(p), end(p + static_cast<size_t>(len)), current(p), index(0) {}
  // Over [first, last).
  utf_enumerator(const T* first, const T* last)
      : start(first), end(last), current(first), index(0) {}

  // Stores the next code point in cp and returns true; at the end stores
  // 0xFFFD and returns false, changing nothing (further calls do the same).
  KY_API bool next(unsigned int& cp);

  // Starts the walk again from `start`.
  void reset() {
    current = start;
    index = 0;
  }

  const T* start;    // first unit of the buffer
  const T* end;      // one past the last unit
  const T* current;  // next unit to decode
  size_t index;      // code points delivered so far, replacements included
};

extern template KY_API bool utf_enumerator<unsigned char>::next(unsigned int&);
extern template KY_API bool utf_enumerator<unsigned short>::next(unsigned int&);
extern template KY_API bool utf_enumerator<unsigned int>::next(unsigned int&);

// ---------------------------------------------------------------------------
// Character types and UTF-32 case mapping: constant tables that the inline
// lookups below (and callers' own inline code) read. Immutable, so safe on any
// thread.

namespace utf {

// Flags of _char_types. Bytes 0x80..0xFF carry none: the table classifies
// ASCII only, whatever the locale.
enum CharTypeFlag {
  CharDigit = 0x01,        // 0-9
  CharHexDigit = 0x02,     // 0-9, A-F, a-f
  CharLetter = 0x04,       // A-Z, a-z
  CharLetterDigit = 0x08,  // 0-9, A-Z, a-z
  CharSpace = 0x10         // tab, line feed, vertical tab, form feed, return, space
};

// The CharTypeFlag set of each byte value; there is no case flag.
extern KY_API const unsigned char _char_types[256];

// Direction of a case mapping.
enum CaseConversionType { ToUpper = 0, ToLower = 1 };

// Two-level map from a code point to its simple (one-to-one) case counterpart:
// the block of cp is msw_lookup_[cp >> 8] (0xFF: no mapping in those 256 code
// points), the result lsb_lookup_[block][cp & 0xFF] (0xFFFFFFFF: no mapping).
// Covers the cased letters up to 0x104FF at the Unicode 6.1 level; titlecase
// letters map to nothing in either direction. Use case_convert() below rather
// than reading the members directly.
template <CaseConversionType C>
struct KY_API utf32_casing_lookup_table {
  static const size_t msw_upperbound_;  // highest valid index of msw_lookup_ (0x104)
  // Block number of each high part cp >> 8, or 0xFF when the block maps nothing.
  static const unsigned char* const msw_lookup_;
  // The mapped code point of each low byte, one row of 256 per block.
  static const unsigned int (*const lsb_lookup_)[256];
};

extern template struct utf32_casing_lookup_table<ToUpper>;
extern template struct utf32_casing_lookup_table<ToLower>;

// The counterpart of code point cp under C, or cp itself when it has none
// (values above 0x10FFFF included).
template <CaseConversionType C>
inline unsigned int case_convert(unsigned int cp) {
  typedef utf32_casing_lookup_table<C> table;
  const unsigned int hi = cp >> 8;
  if (hi > table::msw_upperbound_) return cp;
  const unsigned char block = table::msw_lookup_[hi];
  if (block == 0xFF) return cp;
  const unsigned int m = table::lsb_lookup_[block][cp & 0xFF];
  return m == 0xFFFFFFFFu ? cp : m;
}

// Maps the n code points at p in place. A null p with n 0 is fine.
template <CaseConversionType C>
inline void case_convert(unsigned int* p, size_t n) {
  // Every unit is stored, mapped or not: a conditional store would turn into a
  // branch that mixed-script text keeps mispredicting.
  for (size_t i = 0; i < n; ++i) p[i] = case_convert<C>(p[i]);
}

// Returns the UTF-8 text of the len bytes at src with every code point mapped
// under C. Ill-formed input becomes U+FFFD first (as ReplaceInvalid); a 0 byte
// is an ordinary character. A null src gives "". The mapped text may differ in
// length from the source (0x23A <-> 0x2C65 change between two and three bytes).
// Throws what std::basic_string throws when memory runs out.
template <CaseConversionType C>
inline std::string case_convert_utf8(const char* src, size_t len) {
  std::string out;
  std::basic_string<unsigned int> u32;
  if (convert<ReplaceInvalid>(reinterpret_cast<const unsigned char*>(src), len, u32) ==
      ConvertNullPointer) {
    return out;
  }
  case_convert<C>(&u32[0], u32.size());
  std::basic_string<unsigned char> u8;
  convert<ReplaceInvalid>(u32, u8);
  out.assign(reinterpret_cast<const char*>(u8.data()), u8.size());
  return out;
}

// As above for a whole string.
template <CaseConversionType C>
inline std::string case_convert_utf8(const std::string& src) {
  return case_convert_utf8<C>(src.data(), src.size());
}

}  // namespace utf
}  // namespace ky

#endif  // KY_UTF_H
