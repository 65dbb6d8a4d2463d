// Splitting into fields and name=value pairs.
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"

namespace {

// Cuts a copy of s at every separator that find(from, end) locates (null when
// there is none left), then points the field array, allocated at its exact
// size, at the pieces. Both passes run on the C library's vectorised scans.
template <class Find>
char* Split(const char* s, Find find, char*** fields, size_t* count) {
  *fields = nullptr;
  *count = 0;
  char* const text = ky_strdup(s);
  if (!text) return nullptr;
  char* const end = text + std::strlen(text);
  size_t n = 1;
  for (char* p = text; (p = find(p, end)) != nullptr; ++n) *p++ = '\0';
  auto** array = static_cast<char**>(ky_malloc(n * sizeof(char*)));
  if (!array) {
    ky_free(text);
    return nullptr;
  }
  char* field = text;
  for (size_t f = 0; f < n; ++f) {
    array[f] = field;
    field += std::strlen(field) + 1;
  }
  *fields = array;
  *count = n;
  return text;
}

// A part of the name-value text: null start and 0 when empty.
void Report(const char* start, size_t len, const char** out, size_t* out_len) {
  *out = len ? start : nullptr;
  *out_len = len;
}

}  // namespace

extern "C" {

char* ky_SplitString(const char* s, char sep, char*** fields, size_t* count) {
  // A NUL separator never meets a byte of the text, so it splits nothing.
  auto find = [sep](char* p, char* end) {
    return sep ? static_cast<char*>(std::memchr(p, sep, static_cast<size_t>(end - p))) : nullptr;
  };
  return Split(s, find, fields, count);
}

char* ky_SplitStringEx(const char* s, const char* seps, char*** fields, size_t* count) {
  // The text ahead of p holds no NUL but its end, so strpbrk stops there.
  auto find = [seps](char* p, char*) { return std::strpbrk(p, seps); };
  return Split(s, find, fields, count);
}

char* ky_SplitString_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s, char sep, char*** fields,
                         size_t* count) {
  return ky_SplitString(s, sep, fields, count);
}

char* ky_SplitStringEx_dbg(uintptr_t, uintptr_t, uintptr_t, const char* s, const char* seps,
                           char*** fields, size_t* count) {
  return ky_SplitStringEx(s, seps, fields, count);
}

int ky_SplitNameValueMultiSepEx(const char* s, size_t n, const char* seps, size_t nseps,
                                int trimName, int trimValue, const char** name, size_t* nameLen,
                                const char** value, size_t* valueLen) {
  if (!s) {
    Report(nullptr, 0, name, nameLen);
    Report(nullptr, 0, value, valueLen);
    return 0;
  }
  if (!seps) {
    nseps = 0;
  } else if (nseps == 0) {
    nseps = std::strlen(seps);
  }
  // With no separator bytes every byte belongs to the name (an empty counted
  // set would otherwise read as NUL-terminated).
  const size_t k = nseps ? ky_strncspn(s, n, seps, nseps) : (n ? ky_strnlen(s, n) : std::strlen(s));
  size_t lead = 0, len = 0;
  if (trimName) {
    ky_strntrimlen(s, k, &lead, &len);
  } else {
    len = ky_strnlen(s, k);
  }
  Report(s + lead, len, name, nameLen);

  // A counted input takes the byte after the name as the separator, whatever
  // it is: such input must hold no NUL within its n bytes.
  const bool found = n ? k < n : s[k] != '\0';
  if (!found) {
    Report(nullptr, 0, value, valueLen);
    return 0;
  }
  const char* const v = s + k + 1;
  lead = 0;
  if (n) {
    const size_t rest = n - k - 1;
    if (trimValue) {
      ky_strntrimlen(v, rest, &lead, &len);
    } else {
      len = ky_strnlen(v, rest);
    }
  } else if (trimValue) {
    ky_strtrimlen(v, &lead, &len);
  } else {
    len = std::strlen(v);
  }
  Report(v + lead, len, value, valueLen);
  return 1;
}

int ky_SplitNameValueEx(const char* s, size_t n, char sep, int trimName, int trimValue,
                        const char** name, size_t* nameLen, const char** value, size_t* valueLen) {
  return ky_SplitNameValueMultiSepEx(s, n, &sep, 1, trimName, trimValue, name, nameLen, value,
                                     valueLen);
}

int ky_SplitNameValueMultiSep(const char* s, const char* seps, size_t nseps, const char** name,
                              size_t* nameLen, const char** value, size_t* valueLen) {
  return ky_SplitNameValueMultiSepEx(s, 0, seps, nseps, 1, 1, name, nameLen, value, valueLen);
}

int ky_SplitNameValue(const char* s, char sep, const char** name, size_t* nameLen,
                      const char** value, size_t* valueLen) {
  return ky_SplitNameValueMultiSepEx(s, 0, &sep, 1, 1, 1, name, nameLen, value, valueLen);
}

}  // extern "C"
