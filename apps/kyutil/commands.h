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

// Sections of `kyutil demo`, one per family.
void DemoStrings();
void DemoPlatform();
void DemoLog();
void DemoUtf();

}  // namespace kyutil

#endif  // KYUTIL_COMMANDS_H
