// Internal to libvokyutil: not installed, not to be included outside src/.
#ifndef KY_SRC_NET_INTERNAL_H
#define KY_SRC_NET_INTERNAL_H

#include <cstring>
#include <string>

namespace ky::detail {

inline bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// text without the blanks and tabs around it: host and port texts are trimmed
// of these two only, so a line end stays and is rejected.
inline std::string TrimBlanks(const char* text) {
  while (IsBlank(*text)) ++text;
  size_t len = std::strlen(text);
  while (len && IsBlank(text[len - 1])) --len;
  return std::string(text, len);
}

}  // namespace ky::detail

#endif  // KY_SRC_NET_INTERNAL_H
