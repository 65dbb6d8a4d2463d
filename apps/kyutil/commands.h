// The kyutil commands. Each family of the library brings its own file with its
// command(s) and a section of `kyutil demo`; main.cpp lists them.
#ifndef KYUTIL_COMMANDS_H
#define KYUTIL_COMMANDS_H

namespace kyutil {

struct Command {
  const char* name;
  const char* summary;                // one line for `kyutil help`
  const char* usage;                  // full text for `kyutil <name> --help`
  int (*run)(int argc, char** argv);  // argv[0] is the command name
};

// Exit codes shared by the commands.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;  // the operation failed
constexpr int kExitUsage = 2;    // bad arguments

// Prints "kyutil <command>: <message>" and a hint to stderr; returns kExitUsage.
int UsageError(const char* command, const char* message);

// True if argv holds -h or --help.
bool WantsHelp(int argc, char** argv);

// Commands, one per entry of the table in main.cpp.
int RunFormat(int argc, char** argv);
int RunTranscode(int argc, char** argv);
int RunDemo(int argc, char** argv);
int RunLog(int argc, char** argv);
int RunHexdump(int argc, char** argv);
int RunTrim(int argc, char** argv);
int RunCase(int argc, char** argv);
int RunSplit(int argc, char** argv);
int RunHostport(int argc, char** argv);
int RunLines(int argc, char** argv);

// Maps UTF-8 stdin to upper or lower case on stdout through the Unicode case
// tables; ill-formed input becomes U+FFFD. Returns an exit code.
int CaseUtf8(bool upper);
int RunUrlDecode(int argc, char** argv);
int RunUuid(int argc, char** argv);
int RunRandom(int argc, char** argv);
int RunBase64(int argc, char** argv);
int RunBase32(int argc, char** argv);
int RunHex(int argc, char** argv);

// Sections of `kyutil demo`, one per family.
void DemoStrings();
void DemoStringsEdit();
void DemoStringsList();
void DemoNet();
void DemoPlatform();
void DemoLog();
void DemoUtf();
void DemoTextBuffer();
void DemoCaseTables();
void DemoCodec();
void DemoRandom();
void DemoExceptions();
void DemoCodecIo();

}  // namespace kyutil

#endif  // KYUTIL_COMMANDS_H
