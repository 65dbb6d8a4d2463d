// The URL decoder over arbitrary bytes, every instantiation and all three call
// forms, against a byte-at-a-time model. The counted form gets an exact-size
// heap block whose last two bytes are the most its escape look-ahead may read
// past the length, so AddressSanitizer sees any read beyond that.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "ky/codecs.h"

namespace {

template <bool PlusIsSpace, ky::encoding::Encoding E>
std::string Model(const unsigned char* s, size_t length) {
  const bool ebcdic = E == ky::encoding::ebcdic;
  const unsigned char escape = ebcdic ? 0x6C : 0x25, plus = ebcdic ? 0x4E : 0x2B;
  const unsigned char space = ebcdic ? 0x40 : 0x20;
  const unsigned char* tonum = ky::basic_char_to_numeric<char, E>::tonum_;
  std::string out;
  for (size_t i = 0; i < length && s[i] != 0; ++i) {
    if (s[i] == escape && tonum[s[i + 1]] < 16 && tonum[s[i + 2]] < 16) {
      out += static_cast<char>(tonum[s[i + 1]] * 16 + tonum[s[i + 2]]);
      i += 2;
    } else if (PlusIsSpace && s[i] == plus) {
      out += static_cast<char>(space);
    } else {
      out += static_cast<char>(s[i]);
    }
  }
  return out;
}

template <bool PlusIsSpace, ky::encoding::Encoding E>
void Check(const uint8_t* data, size_t size) {
  const ky::basic_url_decoder<PlusIsSpace, E> decode;
  const size_t length = size >= 2 ? size - 2 : 0;
  std::unique_ptr<char[]> counted(new char[size]);
  std::memcpy(counted.get(), data, size);
  std::string out = "x";
  decode(out, counted.get(), length);
  if (out != "x" + Model<PlusIsSpace, E>(data, length)) std::abort();

  // The string and NUL-terminated forms never look past the terminator.
  const std::string whole(reinterpret_cast<const char*>(data), size);
  std::unique_ptr<char[]> terminated(new char[size + 1]);
  std::memcpy(terminated.get(), data, size);
  terminated[size] = '\0';
  const std::string want =
      Model<PlusIsSpace, E>(reinterpret_cast<const uint8_t*>(terminated.get()), size);
  out.clear();
  if (decode(out, whole) != want) std::abort();
  out.clear();
  if (decode(out, terminated.get()) != want) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Check<false, ky::encoding::native>(data, size);
  Check<false, ky::encoding::ascii>(data, size);
  Check<false, ky::encoding::ebcdic>(data, size);
  Check<false, ky::encoding::ascii_variant>(data, size);
  Check<true, ky::encoding::native>(data, size);
  Check<true, ky::encoding::ascii>(data, size);
  Check<true, ky::encoding::ebcdic>(data, size);
  Check<true, ky::encoding::ascii_variant>(data, size);
  return 0;
}
