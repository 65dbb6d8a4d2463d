// The splitters on fuzzed input. The first byte picks the separators (one
// byte, or a set of the next few); the rest, up to its first NUL, is the
// text. Checked: joining the fields back with the separators seen in the
// input gives the input; the fields lie inside the returned block; the
// name-value split of a counted copy in an exact-size heap block (so ASan
// sees any read past it) agrees with the split of the terminated text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ky/memory.h"
#include "ky/strings.h"

namespace {

void Check(bool ok) {
  if (!ok) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const size_t nseps = 1 + data[0] % 4;
  if (size < 1 + nseps) return 0;
  const std::string seps(reinterpret_cast<const char*>(data + 1), nseps);
  const char* raw = reinterpret_cast<const char*>(data + 1 + nseps);
  const std::string text(raw, ky_strnlen(raw, size - 1 - nseps));
  const std::string set = seps.c_str();  // the separator set ends at a NUL

  char** fields = nullptr;
  size_t count = 0;
  char* block = nseps == 1 ? ky_SplitString(text.c_str(), seps[0], &fields, &count)
                           : ky_SplitStringEx(text.c_str(), set.c_str(), &fields, &count);
  Check(block && fields && count >= 1);
  std::string joined;
  for (size_t i = 0; i < count; ++i) {
    Check(fields[i] >= block && fields[i] <= block + text.size());
    joined += fields[i];
    if (i + 1 < count) joined += text[joined.size()];
  }
  Check(joined == text);
  ky_free(fields);
  ky_free(block);

  // The counted form must not read past its n bytes.
  const char *name, *value, *cname, *cvalue;
  size_t nl, vl, cnl, cvl;
  const int found = ky_SplitNameValueMultiSepEx(text.c_str(), 0, seps.data(), nseps, data[0] & 16,
                                                data[0] & 32, &name, &nl, &value, &vl);
  if (!text.empty()) {
    char* exact = static_cast<char*>(std::malloc(text.size()));
    std::memcpy(exact, text.data(), text.size());
    const int cfound =
        ky_SplitNameValueMultiSepEx(exact, text.size(), seps.data(), nseps, data[0] & 16,
                                    data[0] & 32, &cname, &cnl, &cvalue, &cvl);
    Check(cfound == found && cnl == nl && cvl == vl);
    Check((name ? name - text.c_str() : -1) == (cname ? cname - exact : -1));
    Check((value ? value - text.c_str() : -1) == (cvalue ? cvalue - exact : -1));
    std::free(exact);
  }
  return 0;
}
