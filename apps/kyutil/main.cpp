// kyutil: the library's face for shell users, one command per family.
#include <cstdio>
#include <cstring>

#include "commands.h"

namespace kyutil {
namespace {

const Command kCommands[] = {
    {"format", "expand a message template with ky_FormatMessage",
     "usage: kyutil format TEMPLATE [ARG...]\n"
     "\n"
     "Prints TEMPLATE with {0}, {1}, ... replaced by the ARGs. Single quotes\n"
     "quote braces ('{0}' stays as written, '' is one quote); backslash escapes\n"
     "such as \\n, \\101 and \\x41 are expanded.\n",
     RunFormat},
    {"log", "append one record to a log file",
     "usage: kyutil log [--file PATH] [--name NAME] [--level LEVEL] [--] [MESSAGE...]\n"
     "\n"
     "Appends one record holding MESSAGE (the words joined by spaces) to the log\n"
     "file, under the file lock that other writers of the file respect. Without\n"
     "MESSAGE every line of stdin becomes a record.\n"
     "\n"
     "  --file PATH    the log file (default: quorvel.log in $TEMP, $TMP or /tmp)\n"
     "  --name NAME    component name shown in the record (default: kyutil)\n"
     "  --level LEVEL  name (ERROR), abbreviation (er) or number (3); default NOTICE\n",
     RunLog},
    {"hexdump", "hex dump of a file or stdin, equal lines folded",
     "usage: kyutil hexdump [--width N] [--prefix TEXT] [FILE]\n"
     "\n"
     "Prints offset, hex bytes and printable characters of FILE (or stdin when\n"
     "FILE is absent or -), N bytes a line (default 16). Runs of equal lines show\n"
     "as one '*' line. TEXT is printed before every line.\n",
     RunHexdump},
    {"transcode", "convert stdin between UTF-8, UTF-16 and UTF-32",
     "usage: kyutil transcode [--from FORM] [--to FORM] [--policy POLICY]\n"
     "\n"
     "Reads stdin as FORM units and writes them to stdout as the other FORM.\n"
     "FORM is utf8, utf16 or utf32 (native byte order, no byte-order mark);\n"
     "both default to utf8, which validates. POLICY says what becomes of\n"
     "ill-formed input: replace (U+FFFD, the default), skip, stop (write what\n"
     "came before it) or reject (write nothing). On stop and reject the offset\n"
     "of the offending unit goes to stderr and the exit status is 1.\n",
     RunTranscode},
    {"demo", "a short tour of the library on built-in sample data",
     "usage: kyutil demo\n"
     "\n"
     "Calls one entry after another on sample data and prints what each returned.\n",
     RunDemo},
};

// The tour of `kyutil demo`, one section per family, in the order a reader
// meets them in the README.
void (*const kDemoSections[])() = {
    DemoStrings,
    DemoUtf,
    DemoPlatform,
    DemoLog,
};

const Command* Find(const char* name) {
  for (const auto& c : kCommands) {
    if (std::strcmp(c.name, name) == 0) return &c;
  }
  return nullptr;
}

void PrintOverview(FILE* out) {
  std::fputs("usage: kyutil <command> [<args>]\n\ncommands:\n", out);
  for (const auto& c : kCommands) std::fprintf(out, "  %-10s %s\n", c.name, c.summary);
  std::fputs("\nSee 'kyutil help <command>' or 'kyutil <command> --help'.\n", out);
}

}  // namespace

int RunDemo(int argc, char**) {
  if (argc > 1) return UsageError("demo", "takes no arguments");
  for (auto section : kDemoSections) {
    section();
    std::puts("");
  }
  return kExitOk;
}

int UsageError(const char* command, const char* message) {
  std::fprintf(stderr, "kyutil %s: %s\nSee 'kyutil %s --help'.\n", command, message, command);
  return kExitUsage;
}

bool WantsHelp(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) return true;
  }
  return false;
}

}  // namespace kyutil

int main(int argc, char** argv) {
  using namespace kyutil;
  if (argc < 2) {
    PrintOverview(stderr);
    return kExitUsage;
  }
  const char* name = argv[1];
  if (std::strcmp(name, "help") == 0 || std::strcmp(name, "--help") == 0 ||
      std::strcmp(name, "-h") == 0) {
    if (argc < 3) {
      PrintOverview(stdout);
      return kExitOk;
    }
    const Command* c = Find(argv[2]);
    if (!c) {
      std::fprintf(stderr, "kyutil: '%s' is not a command. See 'kyutil help'.\n", argv[2]);
      return kExitUsage;
    }
    std::fputs(c->usage, stdout);
    return kExitOk;
  }
  const Command* c = Find(name);
  if (!c) {
    std::fprintf(stderr, "kyutil: '%s' is not a command. See 'kyutil help'.\n", name);
    return kExitUsage;
  }
  if (WantsHelp(argc - 1, argv + 1)) {
    std::fputs(c->usage, stdout);
    return kExitOk;
  }
  return c->run(argc - 1, argv + 1);
}
