// The exported instance of the integer formatter: host:port texts and callers
// that format ports and counts share it.
#include "ky/codecs.h"

namespace ky {

template KY_API std::string&
to_basic_string<char, std::char_traits<char>, std::allocator<char>, int>(std::string&, const int&);

}  // namespace ky
