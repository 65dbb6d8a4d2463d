#include "ky/platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include "support/fake_clock.h"
#include "support/scratch.h"

namespace {

using ky::test::ClockScope;
using ky::test::EnvVar;
using ky::test::ScratchDir;
using ky::test::UtcScope;

// 2024-03-05 14:07:09 UTC.
constexpr long long kInstant = 1709647629;

// '9' in shape stands for any digit.
bool HasShape(const std::string& text, const std::string& shape) {
  if (text.size() != shape.size()) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool ok = shape[i] == '9' ? text[i] >= '0' && text[i] <= '9' : text[i] == shape[i];
    if (!ok) return false;
  }
  return true;
}

// First on purpose: a timer that failed to start stays failed, so this runs
// in a child process that has not started the timer yet.
TEST(ExecutionTimer, FailedStartStaysFailed) {
  EXPECT_EXIT(
      {
        ky_test_BreakClock();
        int bad = 0;
        if (ky_ExecutionTimerStart() != -1) bad |= 1;
        ky_test_RealClock();
        if (ky_ExecutionTimerStart() != -1) bad |= 2;
        if (ky_ExecutionTimerReset() != -1) bad |= 4;
        if (ky_ExecutionTimerElapsed() != 0.0) bad |= 8;
        double lap = -1;
        if (ky_ExecutionTimerElapsedEx(&lap) != 0.0 || lap != -1) bad |= 16;
        std::_Exit(bad);
      },
      ::testing::ExitedWithCode(0), "");
}

struct FixCase {
  const char* in;
  size_t size;
  const char* out;
};

TEST(FixPath, CollapsesSeparators) {
  const FixCase cases[] = {
      {"a//b///c", 64, "a/b/c"},
      {"//a//b", 64, "//a/b"},
      {"///a", 64, "//a"},
      {"//", 64, "//"},
      {"/", 64, "/"},
      {"", 64, ""},
      {"a/", 64, "a/"},
      {"a//", 64, "a/"},
      // Examines size characters and stores the NUL after them.
      {"abc", 2, "ab"},
      {"a//bc", 4, "a/b"},
      {"//abc", 1, "/"},
  };
  for (const auto& c : cases) {
    char buf[80];
    std::memset(buf, '#', sizeof buf);
    std::strcpy(buf, c.in);
    EXPECT_EQ(ky_FixPath(buf, c.size), buf);
    EXPECT_STREQ(buf, c.out) << c.in << " size " << c.size;
    EXPECT_LE(std::strlen(buf), c.size) << c.in;
  }
  char untouched[] = "a//b";
  EXPECT_EQ(ky_FixPath(untouched, 0), untouched);
  EXPECT_STREQ(untouched, "a//b");
  EXPECT_EQ(ky_FixPath(nullptr, 8), nullptr);
}

TEST(PathStripFileName, BothModes) {
  struct Case {
    const char* in;
    const char* keep;
    const char* ignoreTrailing;
  };
  const Case cases[] = {
      {"a/b/c", "a/b/", "a/b/"},
      {"a/b/", "a/b/", "a/"},
      {"a/b/c/", "a/b/c/", "a/b/"},
      {"/", "/", ""},
      {"///", "///", ""},
      {"abc", "", ""},
      {"/a", "/", "/"},
      {"a/", "a/", ""},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    char buf[32];
    std::strcpy(buf, c.in);
    EXPECT_EQ(ky_PathStripFileName(buf), buf);
    EXPECT_STREQ(buf, c.keep) << c.in;
    std::strcpy(buf, c.in);
    EXPECT_STREQ(ky_PathStripFileNameEx(buf, 1), c.ignoreTrailing) << c.in;

    // The directory copy cuts at the same place without changing its input.
    char out[32];
    EXPECT_STREQ(ky_PathDirectory(out, sizeof out, c.in), c.keep) << c.in;
    EXPECT_STREQ(ky_PathDirectoryEx(out, sizeof out, c.in, 1), c.ignoreTrailing) << c.in;
  }
}

TEST(PathFileName, PointsIntoTheArgument) {
  const char* dir = "dir/";
  EXPECT_EQ(ky_PathFileName(dir), dir + 4);
  const char* file = "file";
  EXPECT_EQ(ky_PathFileName(file), file);
  const char* full = "/a/b.log";
  EXPECT_EQ(ky_PathFileName(full), full + 3);
  const char* empty = "";
  EXPECT_EQ(ky_PathFileName(empty), empty);
}

TEST(PathDirectory, CutsToTheBuffer) {
  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_STREQ(ky_PathDirectory(out, 4, "abc/def/g"), "abc");
  EXPECT_EQ(out[4], '#');
  EXPECT_STREQ(ky_PathDirectory(out, 1, "abc/def/g"), "");
  EXPECT_EQ(out[1], 'b');  // from the call before: nothing past the NUL
}

struct JoinCase {
  const char* first;
  const char* second;
  size_t size;
  const char* out;
};

TEST(JoinPath, OneSeparatorBetween) {
  const JoinCase cases[] = {
      {"/tmp", "x.log", 64, "/tmp/x.log"},
      {"/tmp/", "/x.log", 64, "/tmp/x.log"},
      {nullptr, "x", 64, "x"},
      {"", "//srv/x", 64, "//srv/x"},
      {"", "///srv", 64, "/srv"},
      {"", "/abs", 64, "/abs"},
      {"", "x", 64, "x"},
      {"", nullptr, 64, ""},
      {"", "", 64, ""},
      {"", "//", 64, "/"},
      {"a", nullptr, 64, "a/"},
      {"a", "", 64, "a/"},
      {"a", "/", 64, "a/"},
      {"a//", "b", 64, "a/b"},
      {"a", "//b", 64, "a/b"},
      {"/", "b", 64, "/b"},
      {"///", "b", 64, "/b"},
      {"dir", "sub/", 64, "dir/sub/"},
      {"dir", "sub//x//", 64, "dir/sub//x//"},
      // Cut to size - 1 characters, trailing separators and all.
      {"abcdefg", "x", 5, "abcd"},
      {"abc", "x", 4, "abc"},
      {"abc//", "x", 4, "abc"},
      {"ab", "cdef", 5, "ab/c"},
      {"ab", "cdef", 4, "ab/"},
      {"", "/x", 2, "/"},
      {"", "//x", 3, "//"},
      {"abc", "x", 1, ""},
  };
  for (const auto& c : cases) {
    char buf[80];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(ky_JoinPath(buf, c.size, c.first, c.second), buf);
    EXPECT_STREQ(buf, c.out) << (c.first ? c.first : "(null)") << " + "
                             << (c.second ? c.second : "(null)") << " in " << c.size;
    for (size_t i = c.size; i < sizeof buf; ++i) ASSERT_EQ(buf[i], '#') << "wrote past " << c.size;
  }
}

TEST(AppendPath, ToleratesUnterminatedBufferAndNulls) {
  char buf[4] = {'a', 'b', 'c', 'd'};
  EXPECT_STREQ(ky_AppendPath(buf, sizeof buf, "x"), "abc");
  EXPECT_EQ(ky_AppendPath(nullptr, 8, "x"), nullptr);
  char small[2] = {'#', '#'};
  EXPECT_EQ(ky_AppendPath(small, 0, "x"), small);
  EXPECT_EQ(small[0], '#');
  EXPECT_EQ(ky_JoinPath(small, 0, "a", "x"), small);
  EXPECT_EQ(small[0], '#');
}

TEST(FileTests, ExistDeleteAndDirectories) {
  ScratchDir dir;
  ASSERT_FALSE(dir.Path().empty());
  const std::string file = dir / "f";
  const std::string link = dir / "link";
  const std::string dangling = dir / "dangling";
  EXPECT_EQ(ky_FileExists(file.c_str()), 0);
  { std::ofstream(file) << "x"; }
  ASSERT_EQ(::symlink(dir.Path().c_str(), link.c_str()), 0);
  ASSERT_EQ(::symlink((dir / "none").c_str(), dangling.c_str()), 0);

  EXPECT_EQ(ky_FileExists(file.c_str()), 1);
  EXPECT_EQ(ky_FileExists(dir.Path().c_str()), 1);
  EXPECT_EQ(ky_FileExists(dangling.c_str()), 0);  // the check follows links
  EXPECT_EQ(ky_DirExists(dir.Path().c_str()), 1);
  EXPECT_EQ(ky_DirExists(link.c_str()), 1);
  EXPECT_EQ(ky_DirExists(file.c_str()), 0);
  EXPECT_EQ(ky_DirExists((dir / "none").c_str()), 0);
  EXPECT_EQ(ky_FileExists(nullptr), 0);
  EXPECT_EQ(ky_DirExists(nullptr), 0);

  EXPECT_FALSE(ky_DeleteFile(dir.Path().c_str()));
  EXPECT_EQ(ky_DirExists(dir.Path().c_str()), 1);
  EXPECT_TRUE(ky_DeleteFile(file.c_str()));
  EXPECT_EQ(ky_FileExists(file.c_str()), 0);
  EXPECT_FALSE(ky_DeleteFile(file.c_str()));
  EXPECT_TRUE(ky_DeleteFile(dangling.c_str()));  // the name goes, not its target
  EXPECT_FALSE(ky_DeleteFile(nullptr));
  EXPECT_EQ(ky_FullPath(), nullptr);
}

TEST(TempDir, TempThenTmpThenSlashTmp) {
  EnvVar temp("TEMP");
  EnvVar tmp("TMP");
  temp.Set(nullptr);
  tmp.Set(nullptr);
  EXPECT_STREQ(ky_TempDir(), "/tmp");
  tmp.Set("/t2");
  EXPECT_STREQ(ky_TempDir(), "/t2");
  temp.Set("/t1");
  EXPECT_STREQ(ky_TempDir(), "/t1");
  // Set but empty still counts as set.
  temp.Set("");
  EXPECT_STREQ(ky_TempDir(), "");
}

TEST(Stamps, FormatsAndRounding) {
  UtcScope utc;
  ClockScope clock;
  char buf[64];
  ky_test_SetClock(kInstant, 31600);
  EXPECT_STREQ(ky_DateTimeStamp(buf, sizeof buf), "2024-03-05 14:07:09.0316");
  EXPECT_STREQ(ky_TimeStamp(buf, sizeof buf), "14:07:09.0316");

  struct Case {
    long micros;
    const char* dateTimeFraction;
    const char* timeFraction;
  };
  // The date-time stamp rounds without carry; the time stamp truncates.
  const Case cases[] = {
      {0, "0000", "0000"},      {49, "0000", "0000"},      {50, "0001", "0000"},
      {999949, "9999", "9999"}, {999950, "10000", "9999"}, {999999, "10000", "9999"},
      {123456, "1235", "1234"},
  };
  for (const auto& c : cases) {
    ky_test_SetClock(kInstant, c.micros);
    EXPECT_EQ(std::string(ky_DateTimeStamp(buf, sizeof buf)),
              std::string("2024-03-05 14:07:09.") + c.dateTimeFraction)
        << c.micros;
    EXPECT_EQ(std::string(ky_TimeStamp(buf, sizeof buf)), std::string("14:07:09.") + c.timeFraction)
        << c.micros;
  }

  ky_test_SetClock(253402300800LL, 999999);  // five-digit years
  EXPECT_STREQ(ky_DateTimeStamp(buf, sizeof buf), "10000-01-01 00:00:00.10000");

  ky_test_SetClock(kInstant, 500);
  EXPECT_STREQ(ky_DateTimeStamp(buf, 11), "2024-03-05");
  EXPECT_STREQ(ky_TimeStamp(buf, 3), "14");
  char untouched[2] = {'#', '#'};
  EXPECT_EQ(ky_DateTimeStamp(untouched, 0), untouched);
  EXPECT_EQ(untouched[0], '#');
  EXPECT_EQ(ky_DateStamp(nullptr, 10), nullptr);
}

TEST(Stamps, WholeSecondsWithoutMicrosecondClock) {
  UtcScope utc;
  ClockScope clock;
  ky_test_BreakClock();
  char buf[64];
  EXPECT_TRUE(HasShape(ky_DateTimeStamp(buf, sizeof buf), "9999-99-99 99:99:99")) << buf;
  EXPECT_TRUE(HasShape(ky_TimeStamp(buf, sizeof buf), "99:99:99")) << buf;
}

TEST(Stamps, DateFromTheSecondsClock) {
  UtcScope utc;
  char buf[64];
  const time_t now = std::time(nullptr);
  tm t{};
  gmtime_r(&now, &t);
  char expected[16];
  std::strftime(expected, sizeof expected, "%Y-%m-%d", &t);
  EXPECT_STREQ(ky_DateStamp(buf, sizeof buf), expected);
  EXPECT_EQ(std::string(ky_DateStamp(buf, 5)), std::string(expected, 4));
}

TEST(ExecutionTimer, ElapsedAndLaps) {
  ClockScope clock;
  ky_test_SetClock(kInstant, 900000);
  EXPECT_EQ(ky_ExecutionTimerReset(), 1);
  EXPECT_EQ(ky_ExecutionTimerStart(), 1);  // running: not restarted
  EXPECT_EQ(ky_ExecutionTimerElapsed(), 0.0);

  ky_test_SetClock(kInstant + 2, 100000);  // borrows a second
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsed(), 1.2);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerCount(), 1.2);
  double lap = -1;
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 1.2);
  EXPECT_DOUBLE_EQ(lap, 1.2);

  ky_test_SetClock(kInstant + 3, 100000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(nullptr), 2.2);  // still moves the mark
  ky_test_SetClock(kInstant + 3, 350000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 2.45);
  EXPECT_DOUBLE_EQ(lap, 0.25);

  EXPECT_EQ(ky_ExecutionTimerReset(), 1);
  EXPECT_EQ(ky_ExecutionTimerElapsed(), 0.0);
  ky_test_SetClock(kInstant + 4, 350000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 1.0);
  EXPECT_DOUBLE_EQ(lap, 1.0);  // a reset moves the lap mark too
}

TEST(Sleep, WaitsAtLeastTheTime) {
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ky_Sleep(0), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
  start = std::chrono::steady_clock::now();
  EXPECT_EQ(ky_Sleep(20), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST(Ids, KernelThreadAndProcess) {
  EXPECT_EQ(ky_CurrentProcessId(), static_cast<long>(::getpid()));
  const long main = ky_CurrentThreadId();
  EXPECT_EQ(main, static_cast<long>(::syscall(SYS_gettid)));
  long other = 0;
  long otherPid = 0;
  std::thread([&] {
    other = ky_CurrentThreadId();
    otherPid = ky_CurrentProcessId();
  }).join();
  EXPECT_NE(other, main);
  EXPECT_GT(other, 0);
  EXPECT_EQ(otherPid, ky_CurrentProcessId());

  // Ids are kept once known; a forked child must not report its parent's.
  const pid_t child = ::fork();
  if (child == 0) {
    const bool own = ky_CurrentProcessId() == static_cast<long>(::getpid()) &&
                     ky_CurrentThreadId() == static_cast<long>(::syscall(SYS_gettid));
    ::_exit(own ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
