// Percent-decoding into a caller's string, for every character family.
#include <cstring>

#include "ky/codecs.h"

namespace ky {
namespace {

// The bytes that steer decoding, in the family of E.
template <encoding::Encoding E>
struct UrlBytes {
  static constexpr char kEscape = 0x25;
  static constexpr char kPlus = 0x2B;
  static constexpr char kSpace = 0x20;
};
template <>
struct UrlBytes<encoding::ebcdic> {
  static constexpr char kEscape = 0x6C;
  static constexpr char kPlus = 0x4E;
  static constexpr char kSpace = 0x40;
};

// Whether c ends a run of bytes that are copied as they are.
template <bool PlusIsSpace, encoding::Encoding E>
inline bool Special(char c) {
  return c == UrlBytes<E>::kEscape || c == '\0' || (PlusIsSpace && c == UrlBytes<E>::kPlus);
}

}  // namespace

template <bool PlusIsSpace, encoding::Encoding E>
std::string& basic_url_decoder<PlusIsSpace, E>::operator()(std::string& out, const char* text,
                                                           unsigned long length) const {
  if (text == nullptr || length == 0) return out;
  out.reserve(out.size() + length);
  const unsigned char* tonum = basic_char_to_numeric<char, E>::tonum_;
  unsigned long i = 0;
  while (i < length) {
    // Plain text is the common case: copy it a run at a time.
    const unsigned long start = i;
    while (i < length && !Special<PlusIsSpace, E>(text[i])) ++i;
    out.append(text + start, i - start);
    if (i >= length || text[i] == '\0') break;
    if (text[i] != UrlBytes<E>::kEscape) {
      out += UrlBytes<E>::kSpace;
      ++i;
      continue;
    }
    // The second digit is looked at only when the first is one, so the NUL of
    // a string stops the look-ahead before it passes the end.
    const unsigned hi = tonum[static_cast<unsigned char>(text[i + 1])];
    const unsigned lo = hi < 16 ? tonum[static_cast<unsigned char>(text[i + 2])] : 0xFF;
    if (lo < 16) {
      out += static_cast<char>(hi * 16 + lo);
      i += 3;
    } else {
      out += UrlBytes<E>::kEscape;
      ++i;
    }
  }
  return out;
}

template <bool PlusIsSpace, encoding::Encoding E>
std::string& basic_url_decoder<PlusIsSpace, E>::operator()(std::string& out,
                                                           const std::string& text) const {
  return (*this)(out, text.data(), text.size());
}

template <bool PlusIsSpace, encoding::Encoding E>
std::string& basic_url_decoder<PlusIsSpace, E>::operator()(std::string& out,
                                                           const char* text) const {
  if (text == nullptr) return out;
  return (*this)(out, text, std::strlen(text));
}

template struct basic_url_decoder<false, encoding::native>;
template struct basic_url_decoder<false, encoding::ascii>;
template struct basic_url_decoder<false, encoding::ebcdic>;
template struct basic_url_decoder<false, encoding::ascii_variant>;
template struct basic_url_decoder<true, encoding::native>;
template struct basic_url_decoder<true, encoding::ascii>;
template struct basic_url_decoder<true, encoding::ebcdic>;
template struct basic_url_decoder<true, encoding::ascii_variant>;

}  // namespace ky
