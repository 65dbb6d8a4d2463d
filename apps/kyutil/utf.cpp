// kyutil transcode, the Unicode case mapping of kyutil case, and the Unicode
// part of the demo.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "ky/utf.h"

namespace kyutil {
namespace {

using ky::utf::ConvertResult;
using ky::utf::InvalidSequenceOption;

// Writes the whole of stdin through a fixed output buffer, draining it
// whenever the conversion reports it full.
template <typename To, typename From, InvalidSequenceOption Opt>
int Transcode(const std::string& input) {
  const auto* src = reinterpret_cast<const From*>(input.data());
  size_t left = input.size() / sizeof(From);
  const size_t total = left;
  if (Opt == ky::utf::RejectInvalid) {
    // Nothing may be written for rejected input, so find the offending unit
    // before writing anything.
    size_t consumed = 0;
    ky::utf::_conversion_length<To, From, Opt>(src, left, consumed);
    if (left != 0 && consumed != total) {
      std::fprintf(stderr, "kyutil transcode: ill-formed input at unit %zu (byte %zu)\n", consumed,
                   consumed * sizeof(From));
      return kExitFailure;
    }
  }
  std::vector<To> out(16384);
  for (;;) {
    To* d = out.data();
    size_t room = out.size();
    const ConvertResult r = ky::utf::_basic_convert<To, From, Opt>(d, room, src, left);
    const size_t n = static_cast<size_t>(d - out.data());
    if (std::fwrite(out.data(), sizeof(To), n, stdout) != n) {
      std::perror("kyutil transcode: stdout");
      return kExitFailure;
    }
    if (r == ky::utf::ConvertDestinationFull) continue;
    if (r == ky::utf::ConvertOk) break;
    const size_t at = total - left;
    std::fflush(stdout);
    std::fprintf(stderr, "kyutil transcode: ill-formed input at unit %zu (byte %zu)\n", at,
                 at * sizeof(From));
    return kExitFailure;
  }
  return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
}

template <typename To, typename From>
int WithPolicy(int policy, const std::string& input) {
  switch (policy) {
    case ky::utf::ReplaceInvalid:
      return Transcode<To, From, ky::utf::ReplaceInvalid>(input);
    case ky::utf::SkipInvalid:
      return Transcode<To, From, ky::utf::SkipInvalid>(input);
    case ky::utf::StopOnInvalid:
      return Transcode<To, From, ky::utf::StopOnInvalid>(input);
    default:
      return Transcode<To, From, ky::utf::RejectInvalid>(input);
  }
}

template <typename To>
int WithSource(int from, int policy, const std::string& input) {
  switch (from) {
    case 8:
      return WithPolicy<To, unsigned char>(policy, input);
    case 16:
      return WithPolicy<To, unsigned short>(policy, input);
    default:
      return WithPolicy<To, unsigned int>(policy, input);
  }
}

int ParseForm(const char* s) {
  if (std::strcmp(s, "utf8") == 0) return 8;
  if (std::strcmp(s, "utf16") == 0) return 16;
  if (std::strcmp(s, "utf32") == 0) return 32;
  return 0;
}

int ParsePolicy(const char* s) {
  const char* const names[] = {"replace", "skip", "stop", "reject"};
  for (int i = 0; i < 4; ++i) {
    if (std::strcmp(s, names[i]) == 0) return i;
  }
  return -1;
}

void PrintUnits(const char* label, const unsigned short* p, size_t n) {
  std::printf("%s", label);
  for (size_t i = 0; i < n; ++i) std::printf(" %04X", p[i]);
  std::printf("\n");
}

}  // namespace

int RunTranscode(int argc, char** argv) {
  int from = 8, to = 8, policy = ky::utf::ReplaceInvalid;
  for (int i = 1; i < argc; ++i) {
    const char* arg = argv[i];
    const char* value = nullptr;
    const char* eq = std::strchr(arg, '=');
    std::string name = eq ? std::string(arg, static_cast<size_t>(eq - arg)) : arg;
    if (name != "--from" && name != "--to" && name != "--policy") {
      return UsageError("transcode", ("unknown argument '" + std::string(arg) + "'").c_str());
    }
    if (eq) {
      value = eq + 1;
    } else if (i + 1 < argc) {
      value = argv[++i];
    } else {
      return UsageError("transcode", (name + " needs a value").c_str());
    }
    if (name == "--policy") {
      policy = ParsePolicy(value);
      if (policy < 0) return UsageError("transcode", "--policy takes replace|skip|stop|reject");
    } else {
      const int form = ParseForm(value);
      if (form == 0) return UsageError("transcode", (name + " takes utf8|utf16|utf32").c_str());
      (name == "--from" ? from : to) = form;
    }
  }

  std::string input;
  char chunk[65536];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, stdin)) > 0) input.append(chunk, got);
  if (std::ferror(stdin)) {
    std::perror("kyutil transcode: stdin");
    return kExitFailure;
  }
  const size_t unit = static_cast<size_t>(from / 8);
  if (input.size() % unit != 0) {
    std::fprintf(stderr,
                 "kyutil transcode: input of %zu bytes is not a whole number of %zu-byte units\n",
                 input.size(), unit);
    return kExitFailure;
  }
  switch (to) {
    case 8:
      return WithSource<unsigned char>(from, policy, input);
    case 16:
      return WithSource<unsigned short>(from, policy, input);
    default:
      return WithSource<unsigned int>(from, policy, input);
  }
}

void DemoUtf() {
  std::puts("== utf: transcoding under the four policies");
  const unsigned char text[] = {'c', 'a', 'f', 0xC3, 0xA9, ' ', 0xFF, ' ', 0xF0, 0x9F, 0x98, 0x80};
  const size_t len = sizeof text;
  std::puts("source: UTF-8 63 61 66 C3 A9 20 FF 20 F0 9F 98 80 (0xFF is ill-formed)");

  std::basic_string<unsigned short> u16;
  ky::utf::convert<ky::utf::ReplaceInvalid>(text, len, u16);
  PrintUnits("  to UTF-16, ReplaceInvalid ->", u16.data(), u16.size());
  ky::utf::convert<ky::utf::SkipInvalid>(text, len, u16);
  PrintUnits("  to UTF-16, SkipInvalid    ->", u16.data(), u16.size());
  const ConvertResult stop = ky::utf::convert<ky::utf::StopOnInvalid>(text, len, u16);
  PrintUnits("  to UTF-16, StopOnInvalid  ->", u16.data(), u16.size());
  std::printf("    result %d (ConvertInvalidSequence is 3)\n", static_cast<int>(stop));

  size_t consumed = 0;
  const size_t need =
      ky::utf::_conversion_length<unsigned short, unsigned char, ky::utf::RejectInvalid>(text, len,
                                                                                         consumed);
  std::printf("  _conversion_length, RejectInvalid -> %zu units, stops at byte %zu\n", need,
              consumed);

  // Resumable: a room of 3 units at a time, drained between calls.
  std::printf("  room of 3, drained between calls:");
  const unsigned char* s = text;
  size_t left = len;
  for (;;) {
    unsigned short buf[3];
    unsigned short* d = buf;
    size_t room = 3;
    const ConvertResult r =
        ky::utf::_basic_convert<unsigned short, unsigned char, ky::utf::ReplaceInvalid>(d, room, s,
                                                                                        left);
    std::printf(" [");
    for (unsigned short* p = buf; p < d; ++p) std::printf("%s%04X", p == buf ? "" : " ", *p);
    std::printf("]");
    if (r != ky::utf::ConvertDestinationFull) break;
  }
  std::printf("\n");

  std::printf("  code points:");
  ky::utf_enumerator<unsigned char> e(text, len);
  for (unsigned int cp; e.next(cp);) std::printf(" U+%04X", cp);
  std::printf(" (%zu)\n", e.index);
}

int CaseUtf8(bool upper) {
  std::string input;
  char chunk[65536];
  size_t got;
  while ((got = std::fread(chunk, 1, sizeof chunk, stdin)) > 0) input.append(chunk, got);
  if (std::ferror(stdin)) {
    std::perror("kyutil case: stdin");
    return kExitFailure;
  }
  const std::string out = upper ? ky::utf::case_convert_utf8<ky::utf::ToUpper>(input)
                                : ky::utf::case_convert_utf8<ky::utf::ToLower>(input);
  if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fflush(stdout) != 0) {
    std::perror("kyutil case: stdout");
    return kExitFailure;
  }
  return kExitOk;
}

void DemoCaseTables() {
  std::puts("== utf: character types and UTF-32 case tables");
  const unsigned char bytes[] = {'7', 'b', 'x', '\t', '_'};
  std::printf("  _char_types:");
  for (unsigned char b : bytes) std::printf(" 0x%02X->0x%02X", b, ky::utf::_char_types[b]);
  std::printf("\n");
  const unsigned int points[] = {0x61, 0xFF, 0x3C2, 0x1C5, 0xDF, 0x10428};
  for (unsigned int cp : points) {
    std::printf("  U+%04X: upper U+%04X, lower U+%04X\n", cp,
                ky::utf::case_convert<ky::utf::ToUpper>(cp),
                ky::utf::case_convert<ky::utf::ToLower>(cp));
  }
  const std::string text =
      "Stra\xC3\x9F"
      "e \xCE\xB1\xCF\x82 \xC8\xBA";
  std::printf("  UTF-8 \"%s\" -> upper \"%s\", lower \"%s\"\n", text.c_str(),
              ky::utf::case_convert_utf8<ky::utf::ToUpper>(text).c_str(),
              ky::utf::case_convert_utf8<ky::utf::ToLower>(text).c_str());
}

}  // namespace kyutil
