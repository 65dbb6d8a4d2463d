// kyutil base64, base32 and hex: filters between bytes and text, and the
// data codec part of the demo.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "commands.h"
#include "ky/codecs.h"

namespace kyutil {
namespace {

namespace dt = ky::data_encoder_type;
constexpr ky::encoding::Encoding kNative = ky::encoding::native;

const char* StatusText(ky::data_decode_status s) {
  switch (s) {
    case ky::data_decode_status::invalid_symbol:
      return "invalid symbol";
    case ky::data_decode_status::bad_padding:
      return "bad padding";
    case ky::data_decode_status::trailing_bits:
      return "non-zero trailing bits";
    case ky::data_decode_status::truncated:
      return "truncated input";
    case ky::data_decode_status::ok:
      break;
  }
  return "ok";
}

// The command's two directions; decoding takes either case of hex digits.
struct Codec {
  void (*encode)(const void*, size_t, std::string&);
  ky::data_decode_result (*decode)(const char*, size_t, std::string&);
};

const Codec kBase64 = {ky::data_encode<dt::base64, kNative>, ky::data_decode<dt::base64, kNative>};
const Codec kBase32 = {ky::data_encode<dt::base32, kNative>, ky::data_decode<dt::base32, kNative>};
const Codec kHex = {ky::data_encode<dt::hex_upper, kNative>,
                    ky::data_decode<dt::hex_upper_anycase, kNative>};

bool ReadAll(const char* path, std::string& out) {
  FILE* f = (path == nullptr || std::strcmp(path, "-") == 0) ? stdin : std::fopen(path, "rb");
  if (f == nullptr) return false;
  char buf[65536];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
  const bool ok = !std::ferror(f);
  if (f != stdin) std::fclose(f);
  return ok;
}

bool WriteAll(const char* p, size_t n) { return std::fwrite(p, 1, n, stdout) == n; }

int Filter(const char* name, const Codec& codec, int argc, char** argv) {
  bool decode = false;
  unsigned long cols = 76;
  const char* path = nullptr;
  for (int i = 1; i < argc; ++i) {
    const char* a = argv[i];
    const char* wrap = nullptr;
    if (std::strcmp(a, "-d") == 0 || std::strcmp(a, "--decode") == 0) {
      decode = true;
    } else if (std::strcmp(a, "-w") == 0) {
      if (++i == argc) return UsageError(name, "-w needs a number of columns");
      wrap = argv[i];
    } else if (std::strncmp(a, "-w", 2) == 0) {
      wrap = a + 2;
    } else if (std::strncmp(a, "--wrap=", 7) == 0) {
      wrap = a + 7;
    } else if (a[0] == '-' && a[1] != '\0') {
      return UsageError(name, "unknown option");
    } else if (path == nullptr) {
      path = a;
    } else {
      return UsageError(name, "takes one FILE");
    }
    if (wrap != nullptr) {
      char* end = nullptr;
      errno = 0;
      cols = std::strtoul(wrap, &end, 10);
      if (*wrap < '0' || *wrap > '9' || *end != '\0' || errno != 0) {
        return UsageError(name, "-w takes a number of columns (0: no wrapping)");
      }
    }
  }
  std::string input;
  if (!ReadAll(path, input)) {
    std::fprintf(stderr, "kyutil %s: %s: %s\n", name, path ? path : "stdin", std::strerror(errno));
    return kExitFailure;
  }
  std::string out;
  if (decode) {
    // Line breaks are the wrapping of the encoder; nothing else is skipped.
    std::string text;
    text.reserve(input.size());
    for (char c : input) {
      if (c != '\n') text += c;
    }
    const ky::data_decode_result r = codec.decode(text.data(), text.size(), out);
    if (!r.ok()) {
      // Back from the offset in the joined text to the offset in the input.
      size_t at = 0;
      for (size_t seen = 0; at < input.size() && (seen < r.offset || input[at] == '\n'); ++at) {
        if (input[at] != '\n') ++seen;
      }
      std::fprintf(stderr, "kyutil %s: %s at byte %zu\n", name, StatusText(r.status), at);
      return kExitFailure;
    }
    if (!WriteAll(out.data(), out.size())) return kExitFailure;
  } else {
    codec.encode(input.data(), input.size(), out);
    for (size_t i = 0; i < out.size();) {
      const size_t line = cols == 0 ? out.size() : std::min<size_t>(cols, out.size() - i);
      if (!WriteAll(out.data() + i, line) || std::fputc('\n', stdout) == EOF) return kExitFailure;
      i += line;
    }
  }
  return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
}

}  // namespace

int RunBase64(int argc, char** argv) { return Filter("base64", kBase64, argc, argv); }
int RunBase32(int argc, char** argv) { return Filter("base32", kBase32, argc, argv); }
int RunHex(int argc, char** argv) { return Filter("hex", kHex, argc, argv); }

void DemoCodecIo() {
  std::puts("== Data codecs ==");
  static const char kBytes[] = "any carnal pleas";
  std::string b64, b32, hex, back;
  ky::data_encode<dt::base64, kNative>(kBytes, sizeof kBytes - 1, b64);
  ky::data_encode<dt::base32, kNative>(kBytes, sizeof kBytes - 1, b32);
  ky::data_encode<dt::hex_lower, kNative>(kBytes, sizeof kBytes - 1, hex);
  std::printf("base64 \"%s\" -> %s\n", kBytes, b64.c_str());
  std::printf("base32 \"%s\" -> %s\n", kBytes, b32.c_str());
  std::printf("hex    \"%s\" -> %s\n", kBytes, hex.c_str());
  ky::data_decode<dt::base64, kNative>(b64.data(), b64.size(), back);
  std::printf("base64 back -> \"%s\"\n", back.c_str());
  static const char kBad[] = "YW55IGNh*m5hbA==";
  back.clear();
  const auto r = ky::data_decode<dt::base64, kNative>(kBad, sizeof kBad - 1, back);
  std::printf("base64 \"%s\" -> %s at offset %zu\n", kBad, StatusText(r.status), r.offset);
}

}  // namespace kyutil
