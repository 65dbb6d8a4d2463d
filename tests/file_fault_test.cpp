// Files that fail under their users: log files on a full device, whose
// directory goes away, that another process renames or truncates, or whose
// path turns into a directory. Whatever happens to the file, a writer must
// not crash or leak, must leave only whole records in a file that can take
// them, and the next write after the fault is repaired must work. Text-buffer
// loads meet directories, FIFOs and files that change while they load.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "ky/log.h"
#include "ky/text_buffer.h"
#include "support/scratch.h"
#include "support/test_allocator.h"

namespace {

namespace fs = std::filesystem;
using ky::test::ReadFile;

void Record(const std::string& path, LogFileHandle** slot, int mode, const char* message, ...) {
  va_list args;
  va_start(args, message);
  ky_log_ex_va(path.c_str(), slot, mode, 0, "fault", 6, "f.cpp", 1, "F", message, args);
  va_end(args);
}

size_t Occurrences(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// Every record in text is whole: it starts at a header and its message is
// followed by its line end; no hole of NULs from a write past a cut.
void ExpectWholeRecords(const std::string& text, std::initializer_list<const char*> messages) {
  EXPECT_EQ(text.find('\0'), std::string::npos) << "a hole in the file";
  if (!text.empty()) {
    EXPECT_EQ(text[0], '{') << text;
  }
  for (const char* m : messages) {
    EXPECT_EQ(Occurrences(text, std::string(">\n") + m + "\n"), 1u) << m << " in\n" << text;
  }
}

// Runs fn in a child process, as another program sharing the file would.
template <typename Fn>
void InOtherProcess(Fn fn) {
  const pid_t pid = ::fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) _exit(fn() ? 0 : 1);
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

struct Fault {
  const char* name;
  // Breaks the log file at path (in directory dir) while a writer may hold it.
  void (*breakIt)(const std::string& dir, const std::string& path);
  // Puts things right again, so that the path can be written.
  void (*repair)(const std::string& dir, const std::string& path);
  // Whether records written while broken must reach the path (a renamed or
  // truncated file is still there to take them).
  bool pathTakesRecords;
};

const Fault kFaults[] = {
    {"DirectoryRemoved", [](const std::string& dir, const std::string&) { fs::remove_all(dir); },
     [](const std::string& dir, const std::string&) { fs::create_directories(dir); }, false},
    {"PathTurnsIntoDirectory",
     [](const std::string&, const std::string& path) {
       fs::remove(path);
       fs::create_directory(path);
     },
     [](const std::string&, const std::string& path) { fs::remove(path); }, false},
    {"RenamedByAnotherProcess",
     [](const std::string&, const std::string& path) {
       InOtherProcess([&] { return ::rename(path.c_str(), (path + ".old").c_str()) == 0; });
     },
     [](const std::string&, const std::string&) {}, true},
    {"TruncatedByAnotherProcess",
     [](const std::string&, const std::string& path) {
       InOtherProcess([&] { return ::truncate(path.c_str(), 0) == 0; });
     },
     [](const std::string&, const std::string&) {}, true},
};

class LogFileFault : public ::testing::TestWithParam<Fault> {
 protected:
  ky::test::ScratchDir scratch_;
  const std::string dir_ = scratch_ / "logs";
  const std::string path_ = dir_ + "/fault.log";
};

TEST_P(LogFileFault, PerCallWriterRecovers) {
  const Fault& fault = GetParam();
  fs::create_directories(dir_);
  ky::test::AllocScope scope;
  Record(path_, nullptr, OpenPerCall, "before");
  fault.breakIt(dir_, path_);
  Record(path_, nullptr, OpenPerCall, "broken");
  fault.repair(dir_, path_);
  Record(path_, nullptr, OpenPerCall, "after");
  const std::string text = ReadFile(path_);
  if (fault.pathTakesRecords) {
    ExpectWholeRecords(text, {"broken", "after"});
  } else {
    ExpectWholeRecords(text, {"after"});
    EXPECT_EQ(Occurrences(text, "broken"), 0u);
  }
}

TEST_P(LogFileFault, HeldFileKeepsWholeRecordsAndIsReleased) {
  const Fault& fault = GetParam();
  fs::create_directories(dir_);
  ky::test::AllocScope scope;
  LogFileHandle* slot = nullptr;
  Record(path_, &slot, OpenAndHold, "held");
  ASSERT_NE(slot, nullptr);
  fault.breakIt(dir_, path_);
  // The held descriptor still names the file it opened, wherever that went.
  Record(path_, &slot, UseHeld, "while broken");
  Record(path_, &slot, UseHeldAndRelease, "release");
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(scope.Taken(), 0u);
  fault.repair(dir_, path_);

  // A logger over the same path holds and writes again at once.
  ky::log logger("fault", path_.c_str(), 7, true);
  logger.SetCrlf(false);
  EXPECT_EQ(logger.Lock(), 1);
  KY_LOG_INFO(logger, "after");
  logger.Unlock();
  const std::string text = ReadFile(path_);
  ExpectWholeRecords(text, {"after"});
  if (std::string(fault.name) == "RenamedByAnotherProcess") {
    ExpectWholeRecords(ReadFile(path_ + ".old"), {"held", "while broken", "release"});
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, LogFileFault, ::testing::ValuesIn(kFaults),
                         [](const auto& info) { return std::string(info.param.name); });

// A device that takes no bytes: every writer and mode fails quietly, the
// held handle is still released, and a logger stays usable.
TEST(LogFullDevice, EveryModeFailsQuietly) {
  ky::test::AllocScope scope;
  const std::string full = "/dev/full";
  if (::access(full.c_str(), W_OK) != 0) GTEST_SKIP() << "no /dev/full";
  Record(full, nullptr, OpenPerCall, "lost");
  ky_log_print(full.c_str(), "lost %d", 1);
  LogFileHandle* slot = nullptr;
  Record(full, &slot, OpenAndHold, "lost");
  ASSERT_NE(slot, nullptr);
  ky_log_ex_writetext(full.c_str(), &slot, UseHeld, 1, "lost");
  ky_log_ex_writedata(full.c_str(), &slot, UseHeldAndRelease, "lost", 4);
  EXPECT_EQ(slot, nullptr);

  ky::log logger("full", full.c_str(), 7, true);
  EXPECT_EQ(logger.Lock(), 1);
  KY_LOG_ERROR(logger, "lost");
  logger.Unlock();
  EXPECT_EQ(logger.Count(), 1u);

  ky::test::ScratchDir scratch;
  const std::string path = scratch / "after.log";
  Record(path, nullptr, OpenPerCall, "after");
  ExpectWholeRecords(ReadFile(path), {"after"});
}

// Text-buffer loads of what is not a plain, steady file. A failed load
// leaves the object cleared with its old block kept, and the next load of a
// good file works; a file that grows after its size was taken loads that size.
std::string g_loadPath;

struct LoadFault {
  const char* name;
  // Prepares g_loadPath; returns false when the machine cannot make the case.
  bool (*make)();
  // Runs inside LoadFile, between the size query and the read.
  void (*during)();
  const char* loads;  // the text a successful load holds; null: the load fails
};

void WriteText(const char* text) { std::ofstream(g_loadPath, std::ios::binary) << text; }

const LoadFault kLoadFaults[] = {
    {"directory", [] { return fs::create_directory(g_loadPath); }, nullptr, nullptr},
    {"fifo", [] { return ::mkfifo(g_loadPath.c_str(), 0600) == 0; }, nullptr, nullptr},
    {"missing", [] { return true; }, nullptr, nullptr},
    {"dangling link", [] { return ::symlink("nowhere", g_loadPath.c_str()) == 0; }, nullptr,
     nullptr},
    {"unreadable",
     [] {
       WriteText("secret\n");
       // The superuser reads whatever the mode says.
       return ::chmod(g_loadPath.c_str(), 0) == 0 && ::access(g_loadPath.c_str(), R_OK) != 0;
     },
     nullptr, nullptr},
    {"shrinks", [] { return WriteText("0123456789\n"), true; },
     [] { fs::resize_file(g_loadPath, 4); }, nullptr},
    {"becomes a fifo", [] { return WriteText("0123456789\n"), true; },
     [] {
       fs::remove(g_loadPath);
       ::mkfifo(g_loadPath.c_str(), 0600);
     },
     nullptr},
    {"grows", [] { return WriteText("0123456789\n"), true; },
     [] { std::ofstream(g_loadPath, std::ios::app) << "more\n"; }, "0123456789\n"},
};

TEST(TextBufferLoadFault, FailsCleanlyAndRecovers) {
  for (const LoadFault& fault : kLoadFaults) {
    SCOPED_TRACE(fault.name);
    ky::test::ScratchDir scratch;
    g_loadPath = scratch / "load";
    const std::string good = scratch / "good";
    std::ofstream(good) << "old text\n";
    if (!fault.make()) {
      std::printf("skipped: %s\n", fault.name);
      continue;
    }
    ky::test::AllocScope allocs;
    ky::TextBuffer buffer(8);
    ASSERT_TRUE(buffer.LoadFile(good.c_str()));
    char* const old = buffer.GetBuffer();
    if (fault.during) ky::test::BeforeNextMalloc(fault.during);
    const bool loaded = buffer.LoadFile(g_loadPath.c_str());
    size_t n = 0;
    const char* line = buffer.ReadLine(&n, '\0');
    if (fault.loads) {
      ASSERT_TRUE(loaded);
      EXPECT_EQ(std::string(line, n), fault.loads);
    } else {
      EXPECT_FALSE(loaded);
      EXPECT_EQ(buffer.GetBuffer(), old) << "the old block is kept";
      EXPECT_EQ(buffer.GetLength(), 0u);
      EXPECT_EQ(line, nullptr);
    }
    ASSERT_TRUE(buffer.LoadFile(good.c_str()));
    EXPECT_STREQ(buffer.GetBuffer(), "old text\n");
  }
}

}  // namespace
