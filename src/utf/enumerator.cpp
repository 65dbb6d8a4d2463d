// ky::utf_enumerator: the ReplaceInvalid walk, one code point at a time, on the
// same decoder as the conversions.
#include "ky/utf.h"
#include "unit_codec.h"

namespace ky {

template <typename T>
bool utf_enumerator<T>::next(unsigned int& cp) {
  if (current >= end) {
    cp = 0xFFFD;
    return false;
  }
  const auto c = detail::Decoder<T, true>::Decode(current, static_cast<size_t>(end - current));
  if (c.len != 0) {
    cp = c.cp;
    current += c.len;
  } else {
    cp = 0xFFFD;
    ++current;
  }
  ++index;
  return true;
}

template KY_API bool utf_enumerator<unsigned char>::next(unsigned int&);
template KY_API bool utf_enumerator<unsigned short>::next(unsigned int&);
template KY_API bool utf_enumerator<unsigned int>::next(unsigned int&);

}  // namespace ky
