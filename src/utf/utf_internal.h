// Internal to libvokyutil: not installed, not to be included outside src/.
//
// The transcoding engine: one conversion loop that conversion and measuring
// both run, over the decoders and encoders of unit_codec.h that the
// enumerator and the vector kernels share, so that none of them can disagree
// about where a character ends or how long its output is. The policy is a
// template argument throughout: every `if constexpr` on it folds away in the
// instance.
#ifndef KY_SRC_UTF_INTERNAL_H
#define KY_SRC_UTF_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "kernels.h"
#include "ky/utf.h"
#include "unit_codec.h"

namespace ky::detail {

using utf::ConvertResult;
using utf::InvalidSequenceOption;

enum class Step { kGo, kFull, kInvalid };

// Converts the character at s and advances past it, or reports why it
// cannot.
template <typename To, typename From, InvalidSequenceOption Opt, bool kCounted, bool kWrite>
inline Step Character(To*& d, size_t& r, const From*& s, size_t& n) {
  using Enc = Encoder<To>;
  const Decoded c = Decoder<From, kCounted>::Decode(s, n);
  if (c.len != 0) {
    const size_t k = Enc::template Length<From>(c);
    if (r < k) return Step::kFull;
    if constexpr (kWrite) {
      Enc::template Put<From>(d, s, c, k);
      d += k;
    }
    r -= k;
    s += c.len;
    if constexpr (kCounted) n -= c.len;
    return Step::kGo;
  }
  if constexpr (Opt == utf::ReplaceInvalid) {
    if (r < Enc::kReplacementLength) return Step::kFull;
    if constexpr (kWrite) {
      Enc::PutReplacement(d);
      d += Enc::kReplacementLength;
    }
    r -= Enc::kReplacementLength;
  } else if constexpr (Opt != utf::SkipInvalid) {
    return Step::kInvalid;
  }
  // One unit only: what follows a broken lead is examined afresh.
  ++s;
  if constexpr (kCounted) --n;
  return Step::kGo;
}

// The conversion loop shared by _basic_convert (kWrite) and
// _conversion_length (!kWrite, with room SIZE_MAX: only its decrease counts,
// and d is never touched). kCounted selects the counted source (n units
// left) over the NUL-terminated one (n unused). Leaves d, r, s and n where
// the conversion stopped; RejectInvalid's withdrawal is the caller's.
//
// A counted source goes to the vector kernel of this process's level, which
// takes what it can; the character it stops at, and whatever is left too
// short for it, take the scalar steps below, which alone apply the policy.
template <typename To, typename From, InvalidSequenceOption Opt, bool kCounted, bool kWrite>
inline ConvertResult Transcode(To*& d_io, size_t& r_io, const From*& s_io, size_t& n_io) {
  To* d = d_io;
  size_t r = r_io;
  const From* s = s_io;
  size_t n = n_io;
  // Where a kernel took nothing (ill-formed text, or no room for a whole
  // block), the scalar steps go on this far before it is asked again.
  constexpr size_t kRetryAfter = 32;
  // Only counted sources go to a kernel (a NUL-terminated one may end
  // anywhere inside a vector).
  const UtfKernels* const kernels = kCounted ? ActiveUtfKernels() : nullptr;
  const size_t kernel_min = kCounted ? kernels->min_units : ~size_t{0};
  const From* scalar_until = s;
  ConvertResult result;
  for (;;) {
    if (kCounted && n >= kernel_min && s >= scalar_until) {
      KernelProgress p;
      if constexpr (kWrite) {
        p = ConvertKernelOf<To, From>(*kernels)(d, r, s, n);
        d += p.out;
      } else {
        p = MeasureKernelOf<To, From>(*kernels)(s, n);
      }
      r -= p.out;
      s += p.in;
      n -= p.in;
      scalar_until = s + (p.in != 0 ? 1 : n < kRetryAfter ? n : kRetryAfter);
    }
    const bool at_end = kCounted ? n == 0 : *s == 0;
    // Room first: a full destination is reported even when what is left would
    // write nothing, and room and source running out together is success.
    if (r == 0) {
      result = at_end ? utf::ConvertOk : utf::ConvertDestinationFull;
      break;
    }
    if (at_end) {
      result = utf::ConvertOk;
      break;
    }
    const Step step = Character<To, From, Opt, kCounted, kWrite>(d, r, s, n);
    if (step != Step::kGo) {
      result = step == Step::kFull ? utf::ConvertDestinationFull : utf::ConvertInvalidSequence;
      break;
    }
  }
  d_io = d;
  r_io = r;
  s_io = s;
  n_io = n;
  return result;
}

template <typename To, typename From, InvalidSequenceOption Opt, bool kCounted>
inline ConvertResult Convert(To*& dst, size_t& room, const From*& src, size_t& srclen) {
  if (!dst || !src) return utf::ConvertNullPointer;
  To* d = dst;
  size_t r = room;
  const ConvertResult result = Transcode<To, From, Opt, kCounted, true>(d, r, src, srclen);
  if (Opt != utf::RejectInvalid || result != utf::ConvertInvalidSequence) {
    dst = d;
    room = r;
  }
  return result;
}

template <typename To, typename From, InvalidSequenceOption Opt, bool kCounted>
inline size_t Measure(const From* src, size_t srclen, size_t& consumed) {
  To* d = nullptr;
  size_t r = SIZE_MAX;
  const From* s = src;
  const ConvertResult result = Transcode<To, From, Opt, kCounted, false>(d, r, s, srclen);
  consumed = static_cast<size_t>(s - src);
  if (Opt == utf::RejectInvalid && result == utf::ConvertInvalidSequence) return 0;
  return SIZE_MAX - r;
}

}  // namespace ky::detail

namespace ky::utf {

template <typename To, typename From, InvalidSequenceOption Opt>
size_t _char_convert(To* dst, size_t room, From value) {
  if (!dst) return 0;
  const uint32_t v = value;
  bool valid;
  if constexpr (std::is_same_v<From, unsigned char>) {
    valid = v < 0x80;  // a byte above 0x7F is only a piece of a character
  } else if constexpr (std::is_same_v<From, unsigned short>) {
    valid = (v & 0xF800) != 0xD800;
  } else {
    valid = detail::IsScalarValue(v);
  }
  using Enc = detail::Encoder<To>;
  if (!valid) {
    if constexpr (Opt == ReplaceInvalid) {
      if (room < Enc::kReplacementLength) return 0;
      Enc::PutReplacement(dst);
      return Enc::kReplacementLength;
    } else {
      return 0;
    }
  }
  const size_t n = Enc::ValueLength(v);
  if (room < n) return 0;
  Enc::PutValue(dst, v, n);
  return n;
}

template <typename To, typename From, InvalidSequenceOption Opt>
ConvertResult _basic_convert(To*& dst, size_t& room, const From*& src, size_t& srclen) {
  return detail::Convert<To, From, Opt, true>(dst, room, src, srclen);
}

template <typename To, typename From, InvalidSequenceOption Opt>
ConvertResult _basic_convert(To*& dst, size_t& room, const From*& src) {
  size_t unused = 0;
  return detail::Convert<To, From, Opt, false>(dst, room, src, unused);
}

template <typename To, typename From, InvalidSequenceOption Opt>
size_t _conversion_length(const From* src, size_t srclen, size_t& consumed) {
  if (!src || srclen == 0) return 0;
  return detail::Measure<To, From, Opt, true>(src, srclen, consumed);
}

template <typename To, typename From, InvalidSequenceOption Opt>
size_t _conversion_length(const From* src, size_t& consumed) {
  if (!src) return 0;
  return detail::Measure<To, From, Opt, false>(src, 0, consumed);
}

}  // namespace ky::utf

// Instantiates and exports every member of the engine for destination unit
// type To; each translation unit of src/utf/ takes one destination form, which
// keeps the compile of each within bounds.
#define KY_UTF_INSTANTIATE_POLICY(To, From, Opt)                                                   \
  template KY_API size_t ky::utf::_char_convert<To, From, Opt>(To*, size_t, From);                 \
  template KY_API ky::utf::ConvertResult ky::utf::_basic_convert<To, From, Opt>(                   \
      To*&, size_t&, const From*&, size_t&);                                                       \
  template KY_API ky::utf::ConvertResult ky::utf::_basic_convert<To, From, Opt>(To*&, size_t&,     \
                                                                                const From*&);     \
  template KY_API size_t ky::utf::_conversion_length<To, From, Opt>(const From*, size_t, size_t&); \
  template KY_API size_t ky::utf::_conversion_length<To, From, Opt>(const From*, size_t&);
#define KY_UTF_INSTANTIATE_PAIR(To, From)                      \
  KY_UTF_INSTANTIATE_POLICY(To, From, ky::utf::ReplaceInvalid) \
  KY_UTF_INSTANTIATE_POLICY(To, From, ky::utf::SkipInvalid)    \
  KY_UTF_INSTANTIATE_POLICY(To, From, ky::utf::StopOnInvalid)  \
  KY_UTF_INSTANTIATE_POLICY(To, From, ky::utf::RejectInvalid)
#define KY_UTF_INSTANTIATE_TO(To)             \
  KY_UTF_INSTANTIATE_PAIR(To, unsigned char)  \
  KY_UTF_INSTANTIATE_PAIR(To, unsigned short) \
  KY_UTF_INSTANTIATE_PAIR(To, unsigned int)

#endif  // KY_SRC_UTF_INTERNAL_H
