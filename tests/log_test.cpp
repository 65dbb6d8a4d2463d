// Levels, the record format, handle modes and the logger object.
#include "ky/log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "ky/platform.h"
#include "log_test_util.h"
#include "support/fake_clock.h"
#include "support/scratch.h"
#include "support/test_allocator.h"

namespace {

using ky::test::AllocScope;
using ky::test::EnvVar;
using ky::test::kInstant;
using ky::test::kSeconds;
using ky::test::LockedByAnotherProcess;
using ky::test::LogEx;
using ky::test::MatchesWithSeconds;
using ky::test::PrintEx;
using ky::test::ReadFile;
using ky::test::ScratchDir;

// ---------------------------------------------------------------------------
// Levels

TEST(LogLevel, NamesAndAbbreviations) {
  struct Case {
    int level;
    const char* name;
    const char* abbreviation;
  };
  const Case cases[] = {
      {INT_MIN, "ALWAYS", "a+"}, {-5, "ALWAYS", "a+"},      {-1, "ALWAYS", "a+"},
      {0, "EMERG", "em"},        {1, "ALERT", "al"},        {2, "CRIT", "cr"},
      {3, "ERROR", "er"},        {4, "WARN", "wa"},         {5, "NOTICE", "no"},
      {6, "INFO", "in"},         {7, "DEBUG", "de"},        {8, "DEBUG+", "d+"},
      {1000, "DEBUG+", "d+"},    {INT_MAX, "DEBUG+", "d+"},
  };
  for (const auto& c : cases) {
    EXPECT_STREQ(ky::log::LevelName(c.level), c.name) << c.level;
    EXPECT_STREQ(ky::log::LevelAbbreviation(c.level), c.abbreviation) << c.level;
  }
}

TEST(LogLevel, ParsesNamesAbbreviationsAndNumbers) {
  struct Case {
    const char* text;
    int level;
  };
  // clang-format off
  const Case cases[] = {
      {nullptr, 3}, {"", 3}, {"ALWAYS", -1}, {"a+", -1}, {"A+", -1}, {"EMERG", 0}, {"em", 0},
      {"alert", 1}, {"Crit", 2}, {"er", 3}, {"Warn", 4}, {"WA", 4}, {"notice", 5}, {"in", 6},
      {"DEBUG", 7}, {"debug3", 10}, {"DEBUG 4", 11}, {"DEBUG-3", 7}, {"DEBUGGING", 7},
      {"de", 7}, {"de5", 12}, {"destroy", 7}, {"4", 4}, {"12abc", 12}, {"  8", 8}, {"+6", 6},
      {"-1", -1}, {"-9", -1}, {"4294967297", 1}, {"2147483648", -1},
      {"DEBUG99999999999", INT_MAX},  // huge debug levels stay debug levels
      // Kept asymmetries: the abbreviation of debug-plus does not parse back,
      // "DEBUG+" is plain DEBUG, and an unknown word is the most severe level.
      {"d+", 0}, {"DEBUG+", 7}, {"verbose", 0}, {"ERRORS", 0},
  };
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_EQ(ky::log::LevelOf(c.text), c.level) << (c.text ? c.text : "(null)");
  }
  for (int level = -1; level <= 7; ++level) {
    EXPECT_EQ(ky::log::LevelOf(ky::log::LevelName(level)), level);
    EXPECT_EQ(ky::log::LevelOf(ky::log::LevelAbbreviation(level)), level);
  }
}

// ---------------------------------------------------------------------------
// Records

class LogRecord : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.Path().empty());
    ky_test_SetClock(kInstant, 31600);
  }
  // The record pattern with a fixed clock: only the timer reading varies.
  std::string Pattern(const std::string& braces, const std::string& origin, const std::string& rest,
                      const char* eol = "\r\n") const {
    return braces + " [ 2024-03-05 14:07:09.0316 " + kSeconds +
           " ] (pid=log_test:" + std::to_string(::getpid()) +
           ",tid=" + std::to_string(ky_CurrentThreadId()) + ") " + origin + eol + rest;
  }
  bool Matches(const std::string& pattern) const {
    return MatchesWithSeconds(ReadFile(path_), pattern);
  }
  void Reset() const { ::unlink(path_.c_str()); }

  ky::test::UtcScope utc_;
  ky::test::ClockScope clock_;
  ScratchDir dir_;
  std::string path_ = dir_ / "t.log";
};

TEST_F(LogRecord, ExactFormat) {
  ky_log(path_.c_str(), "svc", 3, "worker", 42, "Run", "%s", "started");
  const std::string content = ReadFile(path_);
  EXPECT_TRUE(
      MatchesWithSeconds(content, Pattern("{svc:er}", "< Run @ worker:42 >", "started\r\n\r\n")))
      << content;
  struct stat st;
  ASSERT_EQ(::stat(path_.c_str(), &st), 0);
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(st.st_mode & 0777, 0660 & ~mask);
}

TEST_F(LogRecord, TimerReadingAsPrintfShowsIt) {
  // Includes last-two-digit ties, whose rounding depends on the double.
  const long long micros[] = {
      0,       49,       50,        51,         150,       250,
      999949,  999950,   999999,    1000050,    1234550,   3000000,
      7654321, 86399999, 123456789, 9876543250, 1LL << 40, (1LL << 50) + 50};
  ky_test_SetClock(kInstant, 0);
  ASSERT_EQ(ky_ExecutionTimerReset(), 1);
  for (long long m : micros) {
    ky_test_SetClock(kInstant + m / 1000000, static_cast<long>(m % 1000000));
    char expected[64];
    std::snprintf(expected, sizeof expected, "%0.4lf", ky_ExecutionTimerElapsed());
    Reset();
    ky_log(path_.c_str(), "n", 3, "f", 1, "g", "m");
    const std::string content = ReadFile(path_);
    // "{n:er} [ date time SECONDS ] ..."
    const size_t at = content.find(' ', content.find(' ', content.find("[ ") + 2) + 1) + 1;
    EXPECT_EQ(content.substr(at, content.find(' ', at) - at), expected) << m;
  }
}

TEST_F(LogRecord, HeaderParts) {
  struct Case {
    const char* name;
    int level;
    const char* file;
    const char* function;
    const char* braces;
    const char* origin;
  };
  const Case cases[] = {
      {nullptr, 3, "f.cpp", "Fn", "{er}", "< Fn @ f.cpp:7 >"},
      {"", 3, "f.cpp", "Fn", "{:er}", "< Fn @ f.cpp:7 >"},
      {"svc", 12, "f.cpp", "Fn", "{svc:d+}", "< Fn @ f.cpp:7 >"},
      {"svc", -1, "f.cpp", "Fn", "{svc:a+}", "< Fn @ f.cpp:7 >"},
      {"svc", 0, nullptr, nullptr, "{svc:em}", "< (null) @ (null):7 >"},
      // Header parts are normalised like the message.
      {"a\nb", 3, "fi\rle", "fn\r\n", "{a\r\nb:er}", "< fn\r\n @ fi\r\nle:7 >"},
  };
  for (const auto& c : cases) {
    Reset();
    ky_log(path_.c_str(), c.name, c.level, c.file, 7, c.function, "m");
    EXPECT_TRUE(Matches(Pattern(c.braces, c.origin, "m\r\n\r\n"))) << c.braces;
  }
  // A null format formats to nothing: the header line and the separator.
  Reset();
  LogEx(path_.c_str(), nullptr, OpenPerCall, 1, "n", 3, "f", 5, "g", nullptr);
  EXPECT_TRUE(Matches(Pattern("{n:er}", "< g @ f:5 >", "\r\n")));
}

TEST_F(LogRecord, LineBreaksNormalised) {
  struct Case {
    const char* message;
    int crlf;
    const char* body;  // what follows the header line, separator included
  };
  const Case cases[] = {
      {"a\nb", 1, "a\r\nb\r\n\r\n"},
      // The message's own break, then the record's line end, then the
      // separator: two blank lines.
      {"x\r\n", 1, "x\r\n\r\n\r\n"},
      {"", 1, "\r\n"},
      {"a\n\rb", 1, "a\r\n\r\nb\r\n\r\n"},  // LF CR is two breaks
      {"a\rb", 1, "a\r\nb\r\n\r\n"},
      {"\n", 1, "\r\n\r\n\r\n"},
      {"a\r\nb", 0, "a\nb\n\n"},
      {"a\rb\n", 0, "a\nb\n\n\n"},
      {"", 0, "\n"},
  };
  for (const auto& c : cases) {
    Reset();
    LogEx(path_.c_str(), nullptr, OpenPerCall, c.crlf, "n", 3, "f", 1, "g", "%s", c.message);
    const char* eol = c.crlf ? "\r\n" : "\n";
    EXPECT_TRUE(Matches(Pattern("{n:er}", "< g @ f:1 >", c.body, eol)))
        << "message " << ::testing::PrintToString(std::string(c.message)) << " crlf " << c.crlf
        << ": " << ::testing::PrintToString(ReadFile(path_));
  }
}

TEST_F(LogRecord, PartsCutAtTheirBuffers) {
  const std::string longMessage(20000, 'm');
  ky_log(path_.c_str(), "n", 3, "f", 1, "g", "%s", longMessage.c_str());
  EXPECT_TRUE(Matches(Pattern("{n:er}", "< g @ f:1 >", std::string(16383, 'm') + "\r\n\r\n")));

  // Parts 1 to 9 hold 1023 characters: a long name swallows the rest of them.
  Reset();
  const std::string longName(2000, 'n');
  ky_log(path_.c_str(), longName.c_str(), 3, "f", 1, "g", "x");
  std::string content = ReadFile(path_);
  const std::string start = "{" + std::string(1022, 'n') + "(pid=";
  EXPECT_EQ(content.compare(0, start.size(), start), 0);

  // The origin holds 8191 characters.
  Reset();
  const std::string longFunction(10000, 'f');
  ky_log(path_.c_str(), "n", 3, "f", 1, longFunction.c_str(), "x");
  content = ReadFile(path_);
  const size_t origin = content.find("(pid=");
  const size_t eol = content.find("\r\n");
  ASSERT_NE(origin, std::string::npos);
  EXPECT_EQ(eol - origin, 8191u);
  EXPECT_EQ(content.substr(eol), "\r\nx\r\n\r\n");
}

TEST_F(LogRecord, PrintTextAndData) {
  ky_log_print(path_.c_str(), "%d items", 3);
  EXPECT_EQ(ReadFile(path_), "3 items");
  ky_log_print(path_.c_str(), "|a\nb\r");
  EXPECT_EQ(ReadFile(path_), "3 items|a\r\nb\r\n");
  PrintEx(path_.c_str(), nullptr, OpenPerCall, 0, "|%s\r\n", "c");
  EXPECT_EQ(ReadFile(path_), "3 items|a\r\nb\r\n|c\n");

  // Free text is not cut, whatever its length.
  Reset();
  const std::string text = std::string(40000, 't') + "\n" + std::string(30000, 'u');
  ky_log_ex_writetext(path_.c_str(), nullptr, OpenPerCall, 1, text.c_str());
  EXPECT_EQ(ReadFile(path_), std::string(40000, 't') + "\r\n" + std::string(30000, 'u'));

  // Raw data goes through unchanged, NUL and lone LF included.
  Reset();
  const char data[] = {'a', '\n', '\0', '\r', 'b'};
  ky_log_ex_writedata(path_.c_str(), nullptr, OpenPerCall, data, sizeof data);
  EXPECT_EQ(ReadFile(path_), std::string(data, sizeof data));
}

template <class... Args>
void ExpectPrintfText(const std::string& path, const char* format, Args... args) {
  ::unlink(path.c_str());
  ky_log_print(path.c_str(), format, args...);
  char expected[256];
  std::snprintf(expected, sizeof expected, format, args...);
  EXPECT_EQ(ReadFile(path), expected) << format;
}

TEST_F(LogRecord, MessagesAsPrintfFormatsThem) {
  ExpectPrintfText(path_, "plain text, 100%% sure");
  ExpectPrintfText(path_, "%s|%d|%i|%u|", "x", -5, INT_MIN, 4000000000u);
  ExpectPrintfText(path_, "%ld|%li|%lu|%d", LONG_MIN, 0L, ULONG_MAX, INT_MAX);
  const char* volatile none = nullptr;  // hidden from the format checker
  ExpectPrintfText(path_, "[%s]", static_cast<const char*>(none));
  ExpectPrintfText(path_, "%5d|%-3s|%.2s|%x|%c|%08.3f", 42, "a", "abc", 255u, 'z', 3.14159);
  ExpectPrintfText(path_, "%lx %zu %%%s", 255ul, size_t{7}, "end");
  // A message longer than its buffer is cut the same way on both paths.
  const std::string big(20000, 'b');
  for (const char* format : {"%s", "%5s"}) {
    Reset();
    ky_log_print(path_.c_str(), format, big.c_str());
    EXPECT_EQ(ReadFile(path_), std::string(16383, 'b')) << format;
  }
}

TEST_F(LogRecord, ManyLineBreaksStayInOrder) {
  std::string message;
  std::string expected;
  for (int i = 0; i < 500; ++i) {
    message += std::to_string(i) + "\n";
    expected += std::to_string(i) + "\r\n";
  }
  ky_log(path_.c_str(), "n", 3, "f", 1, "g", "%s", message.c_str());
  EXPECT_TRUE(Matches(Pattern("{n:er}", "< g @ f:1 >", expected + "\r\n\r\n")));

  // Long lines, more of them than one write can gather.
  message.clear();
  expected.clear();
  for (int i = 0; i < 150; ++i) {
    const std::string line = std::to_string(i) + std::string(600, static_cast<char>('a' + i % 26));
    message += line + (i % 2 ? "\r" : "\n");
    expected += line + "\r\n";
  }
  Reset();
  ky_log_ex_writetext(path_.c_str(), nullptr, OpenPerCall, 1, message.c_str());
  EXPECT_EQ(ReadFile(path_), expected);
}

// ---------------------------------------------------------------------------
// Handle modes

class LogModes : public LogRecord {};

TEST_F(LogModes, HoldUseRelease) {
  AllocScope scope;
  LogFileHandle* slot = nullptr;
  LogEx(path_.c_str(), &slot, OpenAndHold, 1, "h", 3, "f", 1, "g", "one");
  ASSERT_NE(slot, nullptr);
  EXPECT_EQ(ky::test::BlockSize(slot), sizeof(LogFileHandle));
  EXPECT_TRUE(LockedByAnotherProcess(path_));
  const LogFileHandle* held = slot;

  LogEx(path_.c_str(), &slot, UseHeld, 1, "h", 3, "f", 1, "g", "two");
  EXPECT_EQ(slot, held);
  ky_log_ex_writetext(path_.c_str(), &slot, UseHeld, 1, "text\n");
  EXPECT_TRUE(LockedByAnotherProcess(path_));
  // Records through a held file follow each other without the blank line.
  const std::string head = Pattern("{h:er}", "< g @ f:1 >", "");
  EXPECT_TRUE(Matches(head + "one\r\n" + head + "two\r\ntext\r\n"));

  LogEx(path_.c_str(), &slot, UseHeldAndRelease, 1, "h", 3, "f", 1, "g", "three");
  EXPECT_EQ(slot, nullptr);
  EXPECT_FALSE(LockedByAnotherProcess(path_));
  EXPECT_TRUE(Matches(head + "one\r\n" + head + "two\r\ntext\r\n" + head + "three\r\n\r\n"));

  // Without a slot there is nothing to hold: the call closes as per call.
  Reset();
  LogEx(path_.c_str(), nullptr, OpenAndHold, 1, "h", 3, "f", 1, "g", "one");
  EXPECT_FALSE(LockedByAnotherProcess(path_));
  EXPECT_TRUE(Matches(head + "one\r\n\r\n"));
}

TEST_F(LogModes, HandleAllocationFailureHoldsNothing) {
  AllocScope scope;
  LogFileHandle* slot = nullptr;
  ky::test::FailRequest(1);
  LogEx(path_.c_str(), &slot, OpenAndHold, 1, "h", 3, "f", 1, "g", "one");
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(ReadFile(path_), "");
  EXPECT_FALSE(LockedByAnotherProcess(path_));
}

TEST_F(LogModes, NothingWrittenWithoutPathOrHandle) {
  LogFileHandle* empty = nullptr;
  struct Case {
    const char* path;
    LogFileHandle** slot;
    int mode;
  };
  const char* path = path_.c_str();
  const Case cases[] = {
      {path, nullptr, -1},
      {path, nullptr, 4},
      {path, &empty, 99},
      {nullptr, nullptr, 0},
      {"", nullptr, 0},
      {nullptr, &empty, 1},
      {"", &empty, 1},
      {path, nullptr, UseHeld},
      {path, &empty, UseHeld},
      {path, nullptr, UseHeldAndRelease},
      {path, &empty, UseHeldAndRelease},
  };
  for (const auto& c : cases) {
    LogEx(c.path, c.slot, c.mode, 1, "n", 3, "f", 1, "g", "m");
    PrintEx(c.path, c.slot, c.mode, 1, "m");
    ky_log_ex_writetext(c.path, c.slot, c.mode, 1, "m");
    ky_log_ex_writedata(c.path, c.slot, c.mode, "m", 1);
    EXPECT_EQ(empty, nullptr);
    EXPECT_FALSE(ky_FileExists(path_.c_str())) << "mode " << c.mode;
  }
  ky_log(nullptr, "n", 3, "f", 1, "g", "m");
  ky_log("", "n", 3, "f", 1, "g", "m");
  ky_log_print(nullptr, "m");
  ky_log_print("", "m");
}

TEST_F(LogModes, UnopenableFileWritesNothing) {
  AllocScope scope;
  const std::string missing = dir_ / "missing/x.log";
  const std::string readOnly = dir_ / "ro";
  ASSERT_EQ(::mkdir(readOnly.c_str(), 0500), 0);
  const std::string denied = readOnly + "/x.log";
  std::vector<std::string> paths = {missing, dir_.Path()};
  // Root writes anywhere; the permission case only means something without it.
  if (::geteuid() != 0) paths.push_back(denied);
  for (const auto& p : paths) {
    LogFileHandle* slot = nullptr;
    ky_log(p.c_str(), "n", 3, "f", 1, "g", "m");
    ky_log_print(p.c_str(), "m");
    LogEx(p.c_str(), &slot, OpenAndHold, 1, "n", 3, "f", 1, "g", "m");
    EXPECT_EQ(slot, nullptr) << p;
    ky::log logger("n", p.c_str(), 3, true);
    EXPECT_EQ(logger.Lock(), 0) << p;
    logger.Log(3, "f", 1, "g", "m");
    EXPECT_EQ(logger.Unlock(), 0);
    EXPECT_EQ(logger.Count(), 1u);
  }
  EXPECT_FALSE(ky_FileExists((dir_ / "missing").c_str()));
  EXPECT_FALSE(ky_FileExists(denied.c_str()));
  EXPECT_TRUE(ky_DirExists(dir_.Path().c_str()));
}

TEST(LogFailure, FullDeviceLosesTheRecordHarmlessly) {
  if (!ky_FileExists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  AllocScope scope;
  ky_log("/dev/full", "n", 3, "f", 1, "g", "%s", "lost");
  ky_log_print("/dev/full", "lost");
  ky::log logger("n", "/dev/full", 3, true);
  EXPECT_EQ(logger.Lock(), 1);
  logger.Log(3, "f", 1, "g", "lost");
  logger._X_WriteData("x", 1);
  EXPECT_EQ(logger.Unlock(), 0);
  EXPECT_EQ(logger.Count(), 2u);
}

// ---------------------------------------------------------------------------
// The logger object

class LoggerObject : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_FALSE(dir_.Path().empty()); }
  ScratchDir dir_;
  EnvVar temp_{"TEMP", dir_.Path().c_str()};
  EnvVar tmp_{"TMP"};
  std::string path_ = dir_ / "obj.log";
  std::string default_ = dir_ / "quorvel.log";
};

TEST_F(LoggerObject, Constructors) {
  struct Case {
    ky::log logger;
    const char* name;
    std::string file;
    int level;
    bool enabled;
  };
  const Case cases[] = {
      {ky::log(), "", default_, 3, false},
      {ky::log(true), "", default_, 3, true},
      {ky::log("svc"), "svc", default_, 3, false},
      {ky::log(static_cast<const char*>(nullptr)), "", default_, 3, false},
      {ky::log("svc", "", 6, true), "svc", default_, 6, true},
      {ky::log("svc", nullptr, -1, false), "svc", default_, -1, false},
      {ky::log(nullptr, "/x/y.log", 6, true), "", "/x/y.log", 6, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.logger.Name(), c.name);
    EXPECT_EQ(c.logger.File(), c.file);
    EXPECT_EQ(c.logger.Level(), c.level);
    EXPECT_EQ(c.logger.Enabled(), c.enabled);
    EXPECT_TRUE(c.logger.Crlf());
    EXPECT_EQ(c.logger.Count(), 0u);
  }
}

TEST_F(LoggerObject, DefaultFileFollowsTheTemporaryDirectory) {
  temp_.Set("/var/tmp");
  EXPECT_EQ(ky::log().File(), "/var/tmp/quorvel.log");
  temp_.Set("/var/tmp/");
  EXPECT_EQ(ky::log().File(), "/var/tmp/quorvel.log");
  temp_.Set(nullptr);
  EXPECT_EQ(ky::log().File(), "/tmp/quorvel.log");
  tmp_.Set("/t");
  EXPECT_EQ(ky::log().File(), "/t/quorvel.log");

  ky::log logger;
  logger._setTempFileName("x.log");
  EXPECT_EQ(logger.File(), "/t/x.log");
  logger._setTempFileName("");
  EXPECT_EQ(logger.File(), "/t/quorvel.log");
  const std::string longDir = "/" + std::string(5000, 'd');
  tmp_.Set(longDir.c_str());
  logger._setTempFileName(nullptr);
  EXPECT_EQ(logger.File(), longDir.substr(0, 4095));

  // The flat default is fixed by its first call, whatever TEMP says later.
  const char* fixed = ky_log_default_logfile();
  const std::string text = fixed;
  temp_.Set("/elsewhere");
  EXPECT_EQ(ky_log_default_logfile(), fixed);
  EXPECT_EQ(ky_log_default_logfile(), text);
  EXPECT_STREQ(ky_PathFileName(fixed), "quorvel.log");
}

TEST_F(LoggerObject, CopyAndAssign) {
  ky::log source("src", path_.c_str(), 5, true);
  source.SetCrlf(false);
  source.Log(3, "f", 1, "g", "x");
  auto sameSettings = [&](const ky::log& l) {
    return l.Name() == "src" && l.File() == path_ && l.Level() == 5 && l.Enabled() && !l.Crlf();
  };
  ky::log copy(source);
  EXPECT_TRUE(sameSettings(copy));
  EXPECT_EQ(copy.Count(), 0u);

  // Assignment copies the settings and keeps the count and the held file.
  const std::string other = dir_ / "other.log";
  ky::log target("dst", other.c_str(), 1, false);
  target.Log(3, "f", 1, "g", "x");
  ASSERT_EQ(target.Lock(), 1);
  target = source;
  EXPECT_TRUE(sameSettings(target));
  EXPECT_EQ(target.Count(), 1u);
  EXPECT_TRUE(LockedByAnotherProcess(other));
  EXPECT_EQ(target.Unlock(), 0);
  EXPECT_FALSE(LockedByAnotherProcess(other));
}

TEST_F(LoggerObject, SelfAssignmentTakesNoLock) {
  ky::log logger("svc", path_.c_str(), 4, true);
  ASSERT_EQ(logger.Lock(), 1);  // held by this thread
  std::atomic<bool> done{false};
  std::thread other([&] {
    ky::log& self = logger;
    logger = self;
    done = true;
  });
  for (int i = 0; i < 200 && !done; ++i) ky_Sleep(10);
  EXPECT_TRUE(done) << "self-assignment waited for the mutex";
  logger.Unlock();
  other.join();
  EXPECT_EQ(logger.Name(), "svc");
  EXPECT_EQ(logger.Level(), 4);
}

TEST_F(LoggerObject, NestedLockHoldsTheFileUntilTheLastUnlock) {
  AllocScope scope;
  ky::log logger("svc", path_.c_str(), 3, true);
  EXPECT_EQ(logger.Lock(__FILE__, __LINE__, __func__), 1);
  EXPECT_EQ(logger.Lock(), 0);  // nested: the mutex result
  logger.Log(3, "f", 1, "g", "held");
  EXPECT_EQ(logger.Unlock(), 0);
  EXPECT_TRUE(LockedByAnotherProcess(path_));
  logger.Print("printed\n");
  EXPECT_EQ(logger.Unlock(), 0);
  EXPECT_FALSE(LockedByAnotherProcess(path_));
  logger.Log(3, "f", 1, "g", "after");
  EXPECT_EQ(logger.Count(), 3u);
  const std::string content = ReadFile(path_);
  EXPECT_NE(content.find("held\r\nprinted\r\n{svc:er}"), std::string::npos) << content;
  EXPECT_EQ(content.substr(content.size() - 9), "after\r\n\r\n");
}

TEST_F(LoggerObject, FailedLockRetriesOnTheNextOutermostLock) {
  const std::string sub = dir_ / "later";
  ky::log logger("svc", (sub + "/x.log").c_str(), 3, true);
  EXPECT_EQ(logger.Lock(), 0);
  EXPECT_EQ(logger.Lock(), 0);
  EXPECT_EQ(logger.Unlock(), 0);
  EXPECT_EQ(logger.Unlock(), 0);
  ASSERT_EQ(::mkdir(sub.c_str(), 0700), 0);
  EXPECT_EQ(logger.Lock(), 1);
  EXPECT_EQ(logger.Unlock(), 0);
  EXPECT_TRUE(ky_FileExists((sub + "/x.log").c_str()));
}

TEST_F(LoggerObject, DestructorReleasesAHeldFile) {
  AllocScope scope;
  {
    ky::log logger("svc", path_.c_str(), 3, true);
    ASSERT_EQ(logger.Lock(), 1);
    logger.Lock();
    EXPECT_TRUE(LockedByAnotherProcess(path_));
  }
  EXPECT_FALSE(LockedByAnotherProcess(path_));
  EXPECT_TRUE(ky_FileExists(path_.c_str()));  // never deleted by destruction
}

TEST_F(LoggerObject, DeleteRemovesTheFile) {
  ky::log logger("svc", path_.c_str(), 3, true);
  EXPECT_FALSE(logger._Delete());
  logger.Log(3, "f", 1, "g", "x");
  EXPECT_TRUE(logger._Delete());
  EXPECT_FALSE(ky_FileExists(path_.c_str()));
  logger.Log(3, "f", 1, "g", "again");
  EXPECT_NE(ReadFile(path_).find("again"), std::string::npos);
}

TEST_F(LoggerObject, MacrosSkipUnwantedRecords) {
  ky::log logger("m", path_.c_str(), 3, false);
  int evaluated = 0;
  auto arg = [&] { return ++evaluated; };
  KY_LOG_ERROR(logger, "error %d", arg());
  EXPECT_EQ(evaluated, 0);
  EXPECT_FALSE(ky_FileExists(path_.c_str()));
  KY_LOG_ALWAYS(logger, "always %d", arg());  // negative levels pass even disabled
  EXPECT_EQ(evaluated, 1);

  logger.SetEnabled(true);
  KY_LOG_ERROR(logger, "error %d", arg());
  KY_LOG_CRIT(logger, "crit %d", arg());
  KY_LOG_WARN(logger, "warn %d", arg());
  KY_LOG_INFO(logger, "info %d", arg());
  KY_LOG(logger, 3, "three %d", arg());
  EXPECT_EQ(evaluated, 4);
  EXPECT_EQ(logger.Count(), 4u);
  EXPECT_TRUE(logger.Wants(-7));
  EXPECT_FALSE(logger.Wants(4));
  logger.SetLevel(9);
  EXPECT_TRUE(logger.Wants(9));
  EXPECT_EQ(logger.Level(), 9);

  const std::string content = ReadFile(path_);
  for (const char* text : {"{m:a+}", "always 1", "error 2", "{m:cr}", "crit 3", "three 4"}) {
    EXPECT_NE(content.find(text), std::string::npos) << text;
  }
  EXPECT_NE(content.find(std::string("< TestBody @ ") + __FILE__ + ":"), std::string::npos);
  EXPECT_EQ(content.find("warn"), std::string::npos);
}

}  // namespace
