// kyutil log and kyutil hexdump, and the logging and platform parts of the
// demo.
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "ky/log.h"
#include "ky/platform.h"

namespace kyutil {
namespace {

// Takes "--opt VALUE" or "--opt=VALUE" at argv[*i]; advances *i past it.
// Returns false when argv[*i] is not this option; sets *missing when the
// value is absent.
bool Option(int argc, char** argv, int* i, const char* opt, const char** value, bool* missing) {
  const size_t n = std::strlen(opt);
  if (std::strncmp(argv[*i], opt, n) != 0) return false;
  if (argv[*i][n] == '=') {
    *value = argv[*i] + n + 1;
    return true;
  }
  if (argv[*i][n] != '\0') return false;
  if (*i + 1 >= argc) {
    *missing = true;
    return true;
  }
  *value = argv[++*i];
  return true;
}

// A level given by name, abbreviation or number. LevelOf reads any unknown
// word as EMERG; on the command line that is a typing mistake, not a level.
bool ParseLevel(const char* text, int* level) {
  *level = ky::log::LevelOf(text);
  if (*level != 0) return true;
  char* end = nullptr;
  std::strtol(text, &end, 10);
  if (end != text && *end == '\0') return true;
  return strcasecmp(text, "emerg") == 0 || strcasecmp(text, "em") == 0;
}

bool ReadAll(FILE* in, std::string* out) {
  char chunk[1 << 16];
  size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, in)) > 0) out->append(chunk, n);
  return !std::ferror(in);
}

}  // namespace

int RunLog(int argc, char** argv) {
  const char* file = nullptr;
  const char* name = "kyutil";
  int level = ky::log::LevelNotice;
  std::string message;
  bool words = false;
  for (int i = 1; i < argc; ++i) {
    const char* value = nullptr;
    bool missing = false;
    if (!words && std::strcmp(argv[i], "--") == 0) {
      words = true;
    } else if (!words && Option(argc, argv, &i, "--file", &value, &missing)) {
      if (missing) return UsageError("log", "--file needs a path");
      file = value;
    } else if (!words && Option(argc, argv, &i, "--name", &value, &missing)) {
      if (missing) return UsageError("log", "--name needs a value");
      name = value;
    } else if (!words && Option(argc, argv, &i, "--level", &value, &missing)) {
      if (missing) return UsageError("log", "--level needs a value");
      if (!ParseLevel(value, &level)) return UsageError("log", "unknown level");
    } else if (!words && argv[i][0] == '-' && argv[i][1] != '\0') {
      return UsageError("log", "unknown option");
    } else {
      if (!message.empty()) message += ' ';
      message += argv[i];
      words = true;
    }
  }
  if (!file) file = ky_log_default_logfile();
  if (!words) {
    // Like logger(1): without a message, every line of stdin is a record.
    std::string input;
    if (!ReadAll(stdin, &input)) {
      std::fprintf(stderr, "kyutil log: cannot read stdin: %s\n", std::strerror(errno));
      return kExitFailure;
    }
    size_t at = 0;
    while (at < input.size()) {
      size_t end = input.find('\n', at);
      if (end == std::string::npos) end = input.size();
      const std::string line = input.substr(at, end - at);
      ky_log(file, name, level, "-", 0, "kyutil", "%s", line.c_str());
      at = end + 1;
    }
  } else {
    ky_log(file, name, level, "-", 0, "kyutil", "%s", message.c_str());
  }
  // The writers report nothing; tell the shell user whether the file took it.
  if (!ky_FileExists(file)) {
    std::fprintf(stderr, "kyutil log: cannot write to '%s'\n", file);
    return kExitFailure;
  }
  return kExitOk;
}

int RunHexdump(int argc, char** argv) {
  size_t width = 16;
  const char* prefix = nullptr;
  const char* path = nullptr;
  for (int i = 1; i < argc; ++i) {
    const char* value = nullptr;
    bool missing = false;
    if (Option(argc, argv, &i, "--width", &value, &missing)) {
      if (missing) return UsageError("hexdump", "--width needs a number");
      char* end = nullptr;
      const long w = std::strtol(value, &end, 10);
      if (end == value || *end != '\0' || w < 1 || w > 4096) {
        return UsageError("hexdump", "--width must be 1 to 4096");
      }
      width = static_cast<size_t>(w);
    } else if (Option(argc, argv, &i, "--prefix", &value, &missing)) {
      if (missing) return UsageError("hexdump", "--prefix needs a value");
      prefix = value;
    } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
      return UsageError("hexdump", "unknown option");
    } else if (path) {
      return UsageError("hexdump", "takes at most one FILE");
    } else {
      path = argv[i];
    }
  }
  FILE* in = stdin;
  if (path && std::strcmp(path, "-") != 0) {
    in = std::fopen(path, "rb");
    if (!in) {
      std::fprintf(stderr, "kyutil hexdump: cannot open '%s': %s\n", path, std::strerror(errno));
      return kExitFailure;
    }
  }
  std::string data;
  const bool ok = ReadAll(in, &data);
  if (in != stdin) std::fclose(in);
  if (!ok) {
    std::fprintf(stderr, "kyutil hexdump: read error\n");
    return kExitFailure;
  }
  char* dump = ky_log_hexdump_ex(prefix, "\n", data.data(), data.size(), width);
  if (!dump) {
    std::fputs("kyutil hexdump: out of memory\n", stderr);
    return kExitFailure;
  }
  std::fputs(dump, stdout);
  ky_log_hexdump_free(dump);
  return kExitOk;
}

void DemoPlatform() {
  std::puts("== platform: paths, stamps, timer, ids");
  char path[64];
  std::printf("ky_JoinPath(\"/var/log/\", \"/app.log\") -> \"%s\"\n",
              ky_JoinPath(path, sizeof path, "/var/log/", "/app.log"));
  std::strcpy(path, "//srv///share//x");
  std::printf("ky_FixPath(\"//srv///share//x\") -> \"%s\"\n", ky_FixPath(path, sizeof path));
  std::printf("ky_PathFileName(\"%s\") -> \"%s\"\n", path, ky_PathFileName(path));
  char dir[64];
  std::printf("ky_PathDirectory(\"%s\") -> \"%s\"\n", path,
              ky_PathDirectory(dir, sizeof dir, path));
  std::printf("ky_TempDir() -> \"%s\"\n", ky_TempDir());
  char stamp[64];
  std::printf("ky_DateTimeStamp -> \"%s\"\n", ky_DateTimeStamp(stamp, sizeof stamp));
  std::printf("ky_TimeStamp -> \"%s\"\n", ky_TimeStamp(stamp, sizeof stamp));
  ky_ExecutionTimerStart();
  ky_Sleep(15);
  std::printf("after ky_Sleep(15): ky_ExecutionTimerElapsed() -> %.4f s\n",
              ky_ExecutionTimerElapsed());
  std::printf("ky_CurrentProcessId() -> %ld, ky_CurrentThreadId() -> %ld\n", ky_CurrentProcessId(),
              ky_CurrentThreadId());
}

void DemoLog() {
  std::puts("== log: levels, records, a held logger, a hex dump");
  for (const char* text : {"Warn", "de2", "12", "DEBUG+", "d+", "verbose"}) {
    const int level = ky::log::LevelOf(text);
    std::printf("LevelOf(\"%s\") -> %d (%s, \"%s\")\n", text, level, ky::log::LevelName(level),
                ky::log::LevelAbbreviation(level));
  }

  // A private directory, so the demo never touches the user's own logs.
  std::string dir = std::string(ky_TempDir()) + "/kyutil-demo.XXXXXX";
  if (!::mkdtemp(dir.data())) {
    std::printf("cannot make a directory under %s\n", ky_TempDir());
    return;
  }
  char path[4096];
  ky_JoinPath(path, sizeof path, dir.c_str(), "demo.log");
  ky_log(path, "demo", ky::log::LevelError, __FILE__, __LINE__, __func__, "disk %s is %d%% full",
         "/var", 93);
  {
    ky::log logger("held", path, ky::log::LevelInfo, true);
    ky::log_lock lock(logger);
    KY_LOG_INFO(logger, "two records under one lock,\nthe second line normalised");
    KY_LOG_DEBUG(logger, "not written: DEBUG is above the INFO threshold");
    const char bytes[] = "vokyutil\x01\x02\x03";
    char* dump = ky_log_hexdump_ex("  ", "\n", bytes, sizeof bytes - 1, 8);
    logger._X_WriteText(dump);
    ky_log_hexdump_free(dump);
  }
  std::printf("contents of %s:\n", path);
  if (FILE* in = std::fopen(path, "rb")) {
    std::string text;
    ReadAll(in, &text);
    std::fclose(in);
    // Shown with the CRs dropped, so the terminal shows lines as written.
    for (char c : text) {
      if (c != '\r') std::putchar(c);
    }
  }
  ky_DeleteFile(path);
  ::rmdir(dir.c_str());
}

}  // namespace kyutil
