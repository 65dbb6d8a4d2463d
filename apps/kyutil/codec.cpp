// kyutil urldecode, and the codec part of the demo: the character-set tables
// and URL decoding.
#include <cstdio>
#include <cstring>
#include <string>

#include "commands.h"
#include "ky/codecs.h"

namespace kyutil {
namespace {

void PrintBytes(const char* label, const std::string& bytes) {
  std::printf("%s", label);
  for (unsigned char c : bytes) std::printf(" %02X", c);
  std::puts("");
}

}  // namespace

int RunUrlDecode(int argc, char** argv) {
  bool plus = false;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--plus") == 0) {
      plus = true;
    } else {
      return UsageError("urldecode", "unknown argument");
    }
  }
  std::string in;
  char chunk[1 << 16];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, stdin)) > 0) in.append(chunk, n);
  if (std::ferror(stdin)) {
    std::perror("kyutil urldecode: stdin");
    return kExitFailure;
  }
  // The decoder ends its input at a NUL; a filter passes NULs through and
  // decodes the text between them.
  std::string out;
  for (size_t start = 0; start <= in.size();) {
    size_t end = in.find('\0', start);
    if (end == std::string::npos) end = in.size();
    if (plus) {
      ky::basic_url_decoder<true, ky::encoding::native>()(out, in.data() + start, end - start);
    } else {
      ky::basic_url_decoder<false, ky::encoding::native>()(out, in.data() + start, end - start);
    }
    if (end < in.size()) out += '\0';
    start = end + 1;
  }
  if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fflush(stdout) != 0) {
    std::perror("kyutil urldecode: stdout");
    return kExitFailure;
  }
  return kExitOk;
}

void DemoCodec() {
  std::puts("== codec: character-set tables and URL decoding");
  using Casing = ky::char_casing<char, ky::language::latin>;
  std::printf("ascii_toupper_['q'] -> '%c', ebcdic_to_asciiupper_[0x81] -> '%c'\n",
              Casing::ascii_toupper_['q'], Casing::ebcdic_to_asciiupper_[0x81]);
  const unsigned char* tonum = ky::basic_char_to_numeric<char, ky::encoding::ascii>::tonum_;
  std::printf("tonum_: '7' -> %d, 'z' -> %d, ' ' -> 0x%02X (white space), '#' -> 0x%02X\n",
              tonum['7'], tonum['z'], tonum[' '], tonum['#']);
  std::printf(
      "hex_lower alphabet -> \"%s\"\n",
      ky::basic_data_encoder<ky::data_encoder_type::hex_lower, ky::encoding::native>::encode_tbl_);
  std::printf(
      "base64 alphabet    -> \"%s\"\n",
      ky::basic_data_encoder<ky::data_encoder_type::base64, ky::encoding::native>::encode_tbl_);

  std::string out;
  ky::basic_url_decoder<true, ky::encoding::ascii>()(out, "a+b%20c%2Bd%zz");
  std::printf("form decoding \"a+b%%20c%%2Bd%%zz\" -> \"%s\"\n", out.c_str());
  out.clear();
  ky::basic_url_decoder<false, ky::encoding::ascii>()(out, "a+b%20c%2Bd%zz");
  std::printf("plain decoding of the same -> \"%s\"\n", out.c_str());
  out.clear();
  ky::basic_url_decoder<false, ky::encoding::ebcdic>()(out, "\x6C\xC3\xF1\xC1");
  PrintBytes("EBCDIC \"%C1A\" (6C C3 F1 C1) ->", out);
}

}  // namespace kyutil
