#include "ky/platform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "support/scratch.h"

namespace {

using namespace ky::test;

// First on purpose: a timer that failed to start stays failed, so this runs
// in a child process that has not started the timer yet.
TEST(ExecutionTimer, FailedStartStaysFailed) {
  EXPECT_EXIT(
      {
        g_clock = 2;
        int bad = ky_ExecutionTimerStart() != -1;
        g_clock = 0;
        double lap = -1;
        bad |= (ky_ExecutionTimerStart() != -1) << 1 | (ky_ExecutionTimerReset() != -1) << 2 |
               (ky_ExecutionTimerElapsed() != 0.0) << 3 |
               (ky_ExecutionTimerElapsedEx(&lap) != 0.0 || lap != -1) << 4;
        std::_Exit(bad);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ExecutionTimer, ElapsedAndLaps) {
  ClockScope clock;
  SetClock(kInstant, 900000);
  EXPECT_EQ(ky_ExecutionTimerReset(), 1);
  EXPECT_EQ(ky_ExecutionTimerStart(), 1);  // running: not restarted
  SetClock(kInstant + 2, 100000);          // borrows a second
  double lap = -1;
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 1.2);
  EXPECT_DOUBLE_EQ(lap, 1.2);
  SetClock(kInstant + 3, 100000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(nullptr), 2.2);  // still moves the mark
  SetClock(kInstant + 3, 350000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 2.45);
  EXPECT_DOUBLE_EQ(lap, 0.25);
  EXPECT_EQ(ky_ExecutionTimerReset(), 1);
  SetClock(kInstant + 4, 350000);
  EXPECT_DOUBLE_EQ(ky_ExecutionTimerElapsedEx(&lap), 1.0);
  EXPECT_DOUBLE_EQ(lap, 1.0);  // a reset moves the lap mark too
}

// The helpers write into '#'-filled buffers: nothing may land past the size
// they were given.
TEST(PathText, FixStripDirectoryJoin) {
  char buf[80];
  // clang-format off
  const std::tuple<const char*, size_t, const char*> fixes[] = {
      {"a//b///c", 64, "a/b/c"}, {"///a", 64, "//a"}, {"//", 64, "//"}, {"a//", 64, "a/"},
      {"abc", 2, "ab"}, {"a//bc", 4, "a/b"}, {"//abc", 1, "/"}, {"a//b", 0, "a//b"}};
  // clang-format on
  for (const auto& [in, size, out] : fixes) {
    std::memset(buf, '#', sizeof buf);
    std::memcpy(buf, in, std::strlen(in) + 1);
    EXPECT_STREQ(ky_FixPath(buf, size), out) << in << " size " << size;
  }
  EXPECT_EQ(ky_FixPath(nullptr, 8), nullptr);
  // clang-format off
  const std::tuple<const char*, const char*, const char*> strips[] = {  // in, keep, ignoring trailing
      {"a/b/c", "a/b/", "a/b/"}, {"a/b/", "a/b/", "a/"}, {"/", "/", ""}, {"///", "///", ""},
      {"abc", "", ""}, {"/a", "/", "/"}, {"a/", "a/", ""}, {"", "", ""}};
  // clang-format on
  for (const auto& [in, keep, ignoring] : strips) {
    std::strcpy(buf, in);
    EXPECT_STREQ(ky_PathStripFileName(buf), keep) << in;
    EXPECT_EQ(ky_PathFileName(in), in + std::strlen(buf));
    std::strcpy(buf, in);
    EXPECT_STREQ(ky_PathStripFileNameEx(buf, 1), ignoring) << in;
    EXPECT_STREQ(ky_PathDirectory(buf, sizeof buf, in), keep) << in;
    EXPECT_STREQ(ky_PathDirectoryEx(buf, sizeof buf, in, 1), ignoring) << in;
  }
  std::memset(buf, '#', sizeof buf);
  EXPECT_STREQ(ky_PathDirectory(buf, 4, "abc/def/g"), "abc");
  EXPECT_EQ(buf[4], '#');
  // clang-format off
  const std::tuple<const char*, const char*, size_t, const char*> joins[] = {
      {"/tmp/", "/x.log", 64, "/tmp/x.log"}, {nullptr, "x", 64, "x"}, {"", "//srv/x", 64, "//srv/x"},
      {"", "///srv", 64, "/srv"}, {"", "//", 64, "/"}, {"a", nullptr, 64, "a/"},
      {"a//", "//b", 64, "a/b"}, {"///", "b", 64, "/b"}, {"dir", "sub//x//", 64, "dir/sub//x//"},
      {"abcdefg", "x", 5, "abcd"}, {"abc//", "x", 4, "abc"}, {"ab", "cdef", 5, "ab/c"},
      {"", "//x", 3, "//"}, {"abc", "x", 1, ""}};
  // clang-format on
  for (const auto& [first, second, size, out] : joins) {
    std::memset(buf, '#', sizeof buf);
    EXPECT_STREQ(ky_JoinPath(buf, size, first, second), out) << size << (second ? second : "");
    EXPECT_EQ(std::string(buf + size, sizeof buf - size), std::string(sizeof buf - size, '#'));
  }
  char unterminated[5] = {'a', 'b', 'c', 'd', '#'};
  EXPECT_STREQ(ky_AppendPath(unterminated, 4, "x"), "abc");
  EXPECT_EQ(unterminated[4], '#');
}

TEST(FilesAndProcess, ExistDeleteTempDirSleep) {
  ScratchDir dir;
  const std::string file = dir / "f";
  std::ofstream(file) << "x";
  EXPECT_EQ(ky_FileExists(file.c_str()) + 2 * ky_FileExists(dir.path.c_str()), 3);
  EXPECT_EQ(ky_DirExists(dir.path.c_str()) + 2 * ky_DirExists(file.c_str()), 1);
  EXPECT_FALSE(ky_DeleteFile(dir.path.c_str()));
  EXPECT_TRUE(ky_DeleteFile(file.c_str()) && !ky_FileExists(file.c_str()));
  EXPECT_FALSE(ky_DeleteFile(file.c_str()));
  SetEnv("TEMP", nullptr);
  SetEnv("TMP", nullptr);
  EXPECT_STREQ(ky_TempDir(), "/tmp");
  SetEnv("TMP", "/t2");
  EXPECT_STREQ(ky_TempDir(), "/t2");
  SetEnv("TEMP", "");  // set but empty still counts as set
  EXPECT_STREQ(ky_TempDir(), "");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ky_Sleep(20), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}  // ids, in threads and forked children: see the log reliability test

TEST(Stamps, FormatsAndRounding) {
  SetEnv("TZ", "UTC0");
  ClockScope clock;
  // The date-time stamp rounds without carry; the time stamp truncates.
  // clang-format off
  const std::tuple<long, const char*, const char*> cases[] = {
      {49, "2024-03-05 14:07:09.0000", "14:07:09.0000"}, {50, "2024-03-05 14:07:09.0001", "14:07:09.0000"},
      {999949, "2024-03-05 14:07:09.9999", "14:07:09.9999"}, {123456, "2024-03-05 14:07:09.1235", "14:07:09.1234"},
      {999950, "2024-03-05 14:07:09.10000", "14:07:09.9999"}};
  // clang-format on
  char buf[64];
  for (const auto& [micros, dateTime, time] : cases) {
    SetClock(kInstant, micros);
    EXPECT_STREQ(ky_DateTimeStamp(buf, sizeof buf), dateTime);
    EXPECT_STREQ(ky_TimeStamp(buf, sizeof buf), time);
  }
  SetClock(253402300800LL, 999999);  // five-digit years
  EXPECT_STREQ(ky_DateTimeStamp(buf, sizeof buf), "10000-01-01 00:00:00.10000");
  EXPECT_STREQ(ky_DateTimeStamp(buf, 11), "10000-01-0");
  EXPECT_STREQ(ky_TimeStamp(buf, 3), "00");
  EXPECT_EQ(ky_DateStamp(nullptr, 10), nullptr);
  const time_t now = std::time(nullptr);  // the date stamp reads time(), not the test clock
  char today[16];
  std::strftime(today, sizeof today, "%Y-%m-%d", std::gmtime(&now));
  EXPECT_STREQ(ky_DateStamp(buf, sizeof buf), today);
  g_clock = 2;  // without the microsecond clock: whole seconds
  EXPECT_EQ(std::strlen(ky_DateTimeStamp(buf, sizeof buf)), 19u);
  EXPECT_EQ(std::strlen(ky_TimeStamp(buf, sizeof buf)), 8u);
}

}  // namespace
