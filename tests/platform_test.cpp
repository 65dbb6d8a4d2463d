#include "ky/platform.h"

#include <gtest/gtest.h>
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

constexpr long long kInstant = 1709647629;  // 2024-03-05 14:07:09 UTC

// First on purpose: a timer that failed to start stays failed, so this runs
// in a child process that has not started the timer yet.
TEST(ExecutionTimer, FailedStartStaysFailed) {
  EXPECT_EXIT(
      {
        ky_test_BreakClock();
        int bad = ky_ExecutionTimerStart() != -1;
        ky_test_RealClock();
        double lap = -1;
        bad |= (ky_ExecutionTimerStart() != -1) << 1 | (ky_ExecutionTimerReset() != -1) << 2 |
               (ky_ExecutionTimerElapsed() != 0.0) << 3 |
               (ky_ExecutionTimerElapsedEx(&lap) != 0.0 || lap != -1) << 4;
        std::_Exit(bad);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(FixPath, CollapsesSeparators) {
  struct Case {
    const char* in;
    size_t size;
    const char* out;
  };
  const Case cases[] = {
      {"a//b///c", 64, "a/b/c"},
      {"//a//b", 64, "//a/b"},
      {"///a", 64, "//a"},
      {"//", 64, "//"},
      {"", 64, ""},
      {"a//", 64, "a/"},
      // Examines size characters and stores the NUL after what it kept.
      {"abc", 2, "ab"},
      {"a//bc", 4, "a/b"},
      {"//abc", 1, "/"},
  };
  for (const auto& c : cases) {
    char buf[80];
    std::strcpy(buf, c.in);
    EXPECT_EQ(ky_FixPath(buf, c.size), buf);
    EXPECT_STREQ(buf, c.out) << c.in << " size " << c.size;
  }
  char untouched[] = "a//b";
  EXPECT_STREQ(ky_FixPath(untouched, 0), "a//b");
  EXPECT_EQ(ky_FixPath(nullptr, 8), nullptr);
}

TEST(PathStripFileName, BothModesAndTheDirectoryCopy) {
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
    EXPECT_STREQ(ky_PathStripFileName(buf), c.keep) << c.in;
    std::strcpy(buf, c.in);
    EXPECT_STREQ(ky_PathStripFileNameEx(buf, 1), c.ignoreTrailing) << c.in;
    // The directory copy cuts at the same place without changing its input.
    EXPECT_STREQ(ky_PathDirectory(buf, sizeof buf, c.in), c.keep) << c.in;
    EXPECT_STREQ(ky_PathDirectoryEx(buf, sizeof buf, c.in, 1), c.ignoreTrailing) << c.in;
  }
  char out[8];
  std::memset(out, '#', sizeof out);
  EXPECT_STREQ(ky_PathDirectory(out, 4, "abc/def/g"), "abc");
  EXPECT_EQ(out[4], '#');

  const char* path = "/a/b.log";
  EXPECT_EQ(ky_PathFileName(path), path + 3);
  EXPECT_EQ(ky_PathFileName(path + 7), path + 7);  // no separator: the whole string
  const char* dir = "dir/";
  EXPECT_EQ(ky_PathFileName(dir), dir + 4);
}

TEST(JoinPath, OneSeparatorBetweenAndCutToSize) {
  struct Case {
    const char* first;
    const char* second;
    size_t size;
    const char* out;
  };
  const Case cases[] = {
      {"/tmp", "x.log", 64, "/tmp/x.log"},
      {"/tmp/", "/x.log", 64, "/tmp/x.log"},
      {nullptr, "x", 64, "x"},
      {"", "//srv/x", 64, "//srv/x"},  // a network-style start survives
      {"", "///srv", 64, "/srv"},      // three or more collapse
      {"", nullptr, 64, ""},
      {"", "//", 64, "/"},
      {"a", nullptr, 64, "a/"},
      {"a", "/", 64, "a/"},
      {"a//", "//b", 64, "a/b"},
      {"/", "b", 64, "/b"},
      {"///", "b", 64, "/b"},
      {"dir", "sub//x//", 64, "dir/sub//x//"},
      {"abcdefg", "x", 5, "abcd"},
      {"abc//", "x", 4, "abc"},
      {"ab", "cdef", 5, "ab/c"},
      {"", "//x", 3, "//"},
      {"abc", "x", 1, ""},
  };
  for (const auto& c : cases) {
    char buf[80];
    std::memset(buf, '#', sizeof buf);
    EXPECT_STREQ(ky_JoinPath(buf, c.size, c.first, c.second), c.out)
        << (c.first ? c.first : "(null)") << " + " << (c.second ? c.second : "(null)");
    for (size_t i = c.size; i < sizeof buf; ++i) ASSERT_EQ(buf[i], '#') << "wrote past " << c.size;
  }
  char unterminated[4] = {'a', 'b', 'c', 'd'};
  EXPECT_STREQ(ky_AppendPath(unterminated, sizeof unterminated, "x"), "abc");
  EXPECT_EQ(ky_AppendPath(nullptr, 8, "x"), nullptr);
}

TEST(FileTests, ExistDeleteAndDirectories) {
  ScratchDir dir;
  ASSERT_FALSE(dir.Path().empty());
  const std::string file = dir / "f";
  const std::string dangling = dir / "dangling";
  { std::ofstream(file) << "x"; }
  ASSERT_EQ(::symlink((dir / "none").c_str(), dangling.c_str()), 0);

  EXPECT_EQ(ky_FileExists(file.c_str()), 1);
  EXPECT_EQ(ky_FileExists(dir.Path().c_str()), 1);
  EXPECT_EQ(ky_FileExists(dangling.c_str()), 0);  // the check follows links
  EXPECT_EQ(ky_DirExists(dir.Path().c_str()), 1);
  EXPECT_EQ(ky_DirExists(file.c_str()), 0);
  EXPECT_EQ(ky_DirExists(nullptr), 0);

  EXPECT_FALSE(ky_DeleteFile(dir.Path().c_str()));
  EXPECT_TRUE(ky_DeleteFile(file.c_str()));
  EXPECT_EQ(ky_FileExists(file.c_str()), 0);
  EXPECT_FALSE(ky_DeleteFile(file.c_str()));
  EXPECT_TRUE(ky_DeleteFile(dangling.c_str()));  // the name goes, not its target
  EXPECT_EQ(ky_FullPath(), nullptr);
}

TEST(TempDir, TempThenTmpThenSlashTmp) {
  EnvVar temp("TEMP", nullptr);
  EnvVar tmp("TMP", nullptr);
  EXPECT_STREQ(ky_TempDir(), "/tmp");
  tmp.Set("/t2");
  EXPECT_STREQ(ky_TempDir(), "/t2");
  temp.Set("/t1");
  EXPECT_STREQ(ky_TempDir(), "/t1");
  temp.Set("");  // set but empty still counts as set
  EXPECT_STREQ(ky_TempDir(), "");
}

TEST(Stamps, FormatsAndRounding) {
  UtcScope utc;
  ClockScope clock;
  struct Case {
    long micros;
    const char* dateTimeFraction;
    const char* timeFraction;
  };
  // The date-time stamp rounds without carry; the time stamp truncates.
  const Case cases[] = {
      {0, "0000", "0000"},      {49, "0000", "0000"},     {50, "0001", "0000"},
      {31600, "0316", "0316"},  {999949, "9999", "9999"}, {999950, "10000", "9999"},
      {123456, "1235", "1234"},
  };
  char buf[64];
  for (const auto& c : cases) {
    ky_test_SetClock(kInstant, c.micros);
    EXPECT_EQ(std::string(ky_DateTimeStamp(buf, sizeof buf)),
              std::string("2024-03-05 14:07:09.") + c.dateTimeFraction);
    EXPECT_EQ(std::string(ky_TimeStamp(buf, sizeof buf)),
              std::string("14:07:09.") + c.timeFraction);
  }
  ky_test_SetClock(253402300800LL, 999999);  // five-digit years
  EXPECT_STREQ(ky_DateTimeStamp(buf, sizeof buf), "10000-01-01 00:00:00.10000");
  ky_test_SetClock(kInstant, 500);
  EXPECT_STREQ(ky_DateTimeStamp(buf, 11), "2024-03-05");
  EXPECT_STREQ(ky_TimeStamp(buf, 3), "14");
  EXPECT_EQ(ky_DateStamp(nullptr, 10), nullptr);

  // Without the microsecond clock: whole seconds, no fraction.
  ky_test_BreakClock();
  EXPECT_EQ(std::strlen(ky_DateTimeStamp(buf, sizeof buf)), 19u) << buf;
  EXPECT_EQ(std::strlen(ky_TimeStamp(buf, sizeof buf)), 8u) << buf;

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
  ky_test_SetClock(kInstant + 4, 350000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 1.0);
  EXPECT_DOUBLE_EQ(lap, 1.0);  // a reset moves the lap mark too
}

TEST(SleepAndIds, SleepsAndKnowsWhoItIs) {
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ky_Sleep(20), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));

  EXPECT_EQ(ky_CurrentProcessId(), static_cast<long>(::getpid()));
  EXPECT_EQ(ky_CurrentThreadId(), static_cast<long>(::syscall(SYS_gettid)));
  long other = 0;
  std::thread([&] { other = ky_CurrentThreadId(); }).join();
  EXPECT_NE(other, ky_CurrentThreadId());
  // Ids are kept once known; a forked child must not report its parent's.
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(ky_CurrentProcessId() == ::getpid() && ky_CurrentThreadId() == ::syscall(SYS_gettid)
                ? 0
                : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

}  // namespace
