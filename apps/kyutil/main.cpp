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
    {"trim", "strip white space from the ends of each stdin line",
     "usage: kyutil trim [--spc] [--left | --right]\n"
     "\n"
     "Prints every line of stdin with its white space trimmed at both ends, or\n"
     "only at the left or the right end. White space is whatever isspace accepts\n"
     "in the current locale; with --spc only blank and tab are white, so carriage\n"
     "returns and form feeds stay.\n",
     RunTrim},
    {"case", "convert each stdin line to upper or lower case",
     "usage: kyutil case [--utf8] --upper | --lower\n"
     "\n"
     "Prints every line of stdin converted byte by byte through toupper or\n"
     "tolower of the current locale; multi-byte characters pass unchanged.\n"
     "With --utf8, stdin is read as UTF-8 and every character is mapped through\n"
     "the Unicode 6.1 simple case tables (ill-formed bytes become U+FFFD).\n",
     RunCase},
    {"split", "cut each stdin line into fields or a name=value pair",
     "usage: kyutil split [--sep CHARS] [--trim] [--pair]\n"
     "\n"
     "Prints the fields of every line of stdin in brackets, cut at each byte of\n"
     "CHARS (default ','): adjacent separators give empty fields, and there is\n"
     "always one field more than separators. --trim trims each field's white\n"
     "space. With --pair only the first separator cuts, into a name and a value\n"
     "(a line without a separator prints its name alone).\n",
     RunSplit},
    {"hostport", "split a host:port text, or build one",
     "usage: kyutil hostport [--normalize] [--special PORT] TEXT\n"
     "       kyutil hostport --format [--raw] [--bare] [--special PORT] HOST PORT\n"
     "\n"
     "Prints the host and the port that TEXT holds: '[v6]:port', 'host:port', a\n"
     "bare port ('8080') or a bare host; an unbracketed IPv6 address has no port,\n"
     "and a port that is not 1..65535 (or the --special one) reads as 0.\n"
     "--normalize gives IPv4 and IPv6 addresses their canonical spelling.\n"
     "With --format, prints HOST and PORT as one text, IPv6 in brackets; --raw\n"
     "keeps HOST as written, --bare leaves the ':' out before a port with no host.\n",
     RunHostport},
    {"lines", "count the lines of a file and the longest one",
     "usage: kyutil lines FILE\n"
     "\n"
     "Loads FILE into a text buffer and prints the number of lines, the length\n"
     "in bytes of the longest line without its line feed, and FILE, as\n"
     "`wc -l -L` does. A last line without a line feed counts; the text ends at\n"
     "the first NUL byte of the file.\n",
     RunLines},
    {"base64", "Base64 encode or decode a file or stdin",
     "usage: kyutil base64 [-d] [-w COLS] [FILE]\n"
     "\n"
     "Writes FILE (or stdin when FILE is absent or -) as Base64 with padding,\n"
     "in lines of COLS characters (default 76; -w 0: one line). With -d (or\n"
     "--decode) reads Base64 and writes the bytes; line breaks are skipped,\n"
     "anything else that is no symbol or padding fails with its byte offset\n"
     "and exit status 1.\n",
     RunBase64},
    {"base32", "Base32 encode or decode a file or stdin",
     "usage: kyutil base32 [-d] [-w COLS] [FILE]\n"
     "\n"
     "As base64, with the upper-case Base32 alphabet and groups of 8 symbols.\n",
     RunBase32},
    {"hex", "hexadecimal encode or decode a file or stdin",
     "usage: kyutil hex [-d] [-w COLS] [FILE]\n"
     "\n"
     "As base64, with two upper-case hex digits per byte and no padding;\n"
     "decoding takes digits of either case.\n",
     RunHex},
    {"urldecode", "decode percent-escapes from stdin to stdout",
     "usage: kyutil urldecode [--plus]\n"
     "\n"
     "Copies stdin to stdout with each %XX (two hex digits of either case)\n"
     "replaced by that byte. A '%' not followed by two hex digits is kept as it\n"
     "is. With --plus, '+' becomes a space, as in form data.\n",
     RunUrlDecode},
    {"uuid", "random (version 4) UUIDs, one per line",
     "usage: kyutil uuid [-n COUNT] [--lower] [--hex]\n"
     "\n"
     "Prints COUNT (default 1) new random UUIDs in the 8-4-4-4-12 form, uppercase\n"
     "unless --lower is given; --hex prints the 32 digits without dashes.\n",
     RunUuid},
    {"random", "draws of the Mersenne Twister engine",
     "usage: kyutil random [--seed S] [-n COUNT] [--range LO HI]\n"
     "\n"
     "Prints COUNT (default 1) draws, one per line: 32-bit unsigned numbers, or\n"
     "with --range numbers uniform on LO..HI inclusive (signed 32-bit, either\n"
     "order). With --seed S (0..4294967295) the output is the same on every run;\n"
     "without it the engine starts from process entropy.\n",
     RunRandom},
    {"demo", "a short tour of the library on built-in sample data",
     "usage: kyutil demo\n"
     "\n"
     "Calls one entry after another on sample data and prints what each returned.\n",
     RunDemo},
};

// The tour of `kyutil demo`, one section per family, in the order a reader
// meets them in the README.
void (*const kDemoSections[])() = {
    DemoStrings,      //
    DemoStringsEdit,  //
    DemoStringsList,  //
    DemoUtf,          //
    DemoCaseTables,   //
    DemoCodec,        //
    DemoCodecIo,      //
    DemoPlatform,     //
    DemoTextBuffer,   //
    DemoNet,          //
    DemoRandom,       //
    DemoExceptions,   //
    DemoLog,          //
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

// `kyutil --command-table`: the table as the build reads it to generate the
// manual page and the shell completion, so neither can drift from the help
// texts. Each command is a line "name<TAB>summary" followed by its usage
// text, every line of it after a tab. Not listed in the help.
void PrintTable() {
  for (const auto& c : kCommands) {
    std::printf("%s\t%s\n", c.name, c.summary);
    for (const char* line = c.usage; *line;) {
      const char* end = std::strchr(line, '\n');
      const int length = static_cast<int>(end ? end - line : std::strlen(line));
      std::printf("\t%.*s\n", length, line);
      line += length + (end ? 1 : 0);
    }
  }
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
  if (std::strcmp(name, "--command-table") == 0) {
    PrintTable();
    return kExitOk;
  }
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
