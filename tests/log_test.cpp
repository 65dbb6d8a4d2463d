// Levels, the record format, handle modes, the logger object, hex dumps, and
// many processes and threads sharing one file.
#include "ky/log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <climits>
#include <set>
#include <thread>
#include <tuple>

#include "ky/platform.h"
#include "support/scratch.h"
#include "support/test_allocator.h"

namespace {

using namespace ky::test;

// Deliberately without a format attribute, so tests can pass a null format.
void LogEx(const char* path, LogFileHandle** slot, int mode, int crlf, const char* name,
           const char* message, int level = 3, const char* file = "f", const char* function = "g",
           ...) {
  va_list args;
  va_start(args, function);
  ky_log_ex_va(path, slot, mode, crlf, name, level, file, 1, function, message, args);
  va_end(args);
}

// Whether another process holds a write lock on the file: a child asks for
// it without waiting. Call only while this process runs a single thread.
bool LockedByAnotherProcess(const std::string& path) {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  const pid_t child = ::fork();
  if (child == 0) {
    const int fd = ::open(path.c_str(), O_WRONLY);
    ::_exit(fd < 0 ? 2 : ::fcntl(fd, F_SETLK, &lock) == 0 ? 0 : 1);
  }
  int status = 0;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

TEST(LogLevel, NamesAndParsing) {
  // clang-format off
  const std::tuple<int, const char*, const char*> names[] = {
      {INT_MIN, "ALWAYS", "a+"}, {-1, "ALWAYS", "a+"}, {0, "EMERG", "em"}, {1, "ALERT", "al"},
      {2, "CRIT", "cr"}, {3, "ERROR", "er"}, {4, "WARN", "wa"}, {5, "NOTICE", "no"},
      {6, "INFO", "in"}, {7, "DEBUG", "de"}, {8, "DEBUG+", "d+"}, {INT_MAX, "DEBUG+", "d+"}};
  // clang-format on
  for (const auto& [level, name, abbreviation] : names) {
    EXPECT_STREQ(ky::log::LevelName(level), name) << level;
    EXPECT_STREQ(ky::log::LevelAbbreviation(level), abbreviation) << level;
    if (level < -1 || level > 7) continue;  // names and abbreviations parse back
    EXPECT_EQ(ky::log::LevelOf(name), level);
    EXPECT_EQ(ky::log::LevelOf(abbreviation), level);
  }
  // clang-format off
  const std::pair<const char*, int> cases[] = {
      {nullptr, 3}, {"", 3}, {"A+", -1}, {"Warn", 4}, {"wA", 4}, {"debug3", 10}, {"DEBUG 4", 11},
      {"DEBUG-3", 7}, {"de5", 12}, {"destroy", 7}, {"12abc", 12}, {"  8", 8}, {"-9", -1},
      {"4294967297", 1}, {"2147483648", -1}, {"DEBUG99999999999", INT_MAX},
      // Kept asymmetries: debug-plus's abbreviation does not parse back,
      // "DEBUG+" is plain DEBUG, and an unknown word is the most severe level.
      {"d+", 0}, {"DEBUG+", 7}, {"verbose", 0}, {"ERRORS", 0}};
  // clang-format on
  for (const auto& [text, level] : cases) EXPECT_EQ(ky::log::LevelOf(text), level) << text;
}

class LogRecord : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(dir_.made, nullptr);
    SetEnv("TZ", "UTC0");
    SetClock(kInstant, 31600);
    ky_ExecutionTimerStart();
    ky_ExecutionTimerReset();  // the timer reads 0.0000 while the clock stands
  }
  static constexpr const char* kOrigin = "< g @ f:1 >";
  static std::string Head(const std::string& braces, const std::string& origin = kOrigin,
                          const char* eol = "\r\n", long pid = ::getpid(),
                          long tid = ky_CurrentThreadId()) {
    return braces + " [ 2024-03-05 14:07:09.0316 0.0000 ] (pid=log_test:" + std::to_string(pid) +
           ",tid=" + std::to_string(tid) + ") " + origin + eol;
  }
  std::string Read() const { return ReadFile(path_); }
  void Reset() const { ::unlink(p_); }

  ClockScope clock_;
  ScratchDir dir_;
  std::string path_ = dir_ / "t.log";
  const char* p_ = path_.c_str();
};

TEST_F(LogRecord, FormatAndLineBreaks) {
  const char* o = kOrigin;
  // name, file, function, message, level, crlf; braces, origin, what follows the header line
  // clang-format off
  const std::tuple<const char*, const char*, const char*, const char*, int, int, const char*,
                   const char*, const char*> cases[] = {
      {"svc", "worker", "Run", "started", 3, 1, "{svc:er}", "< Run @ worker:1 >", "started\r\n\r\n"},
      {nullptr, "f", "g", "m", 3, 1, "{er}", o, "m\r\n\r\n"},
      {"", "f", "g", "m", 3, 1, "{:er}", o, "m\r\n\r\n"},
      {"s", "f", "g", "m", 12, 1, "{s:d+}", o, "m\r\n\r\n"},
      {"s", nullptr, nullptr, "m", 0, 1, "{s:em}", "< (null) @ (null):1 >", "m\r\n\r\n"},
      // Header parts are normalised like the message.
      {"a\nb", "fi\rle", "fn\r\n", "m", 3, 1, "{a\r\nb:er}", "< fn\r\n @ fi\r\nle:1 >", "m\r\n\r\n"},
      {"n", "f", "g", nullptr, 3, 1, "{n:er}", o, "\r\n"},  // a null format: no message line
      {"n", "f", "g", "a\n\rb\rc", 3, 1, "{n:er}", o, "a\r\n\r\nb\r\nc\r\n\r\n"},  // LF CR: two
      {"n", "f", "g", "a\r\nb\rc\n", 3, 0, "{n:er}", o, "a\nb\nc\n\n\n"},
  };
  // clang-format on
  for (const auto& [name, file, function, message, level, crlf, braces, origin, body] : cases) {
    Reset();
    LogEx(p_, nullptr, OpenPerCall, crlf, name, message, level, file, function);
    EXPECT_EQ(Read(), Head(braces, origin, crlf ? "\r\n" : "\n") + body);
  }
  struct stat st {};
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(::stat(p_, &st) == 0 ? st.st_mode & 0777 : 0, 0660 & ~mask);
}

TEST_F(LogRecord, TimerReadingAsPrintfShowsIt) {
  // Includes last-two-digit ties, whose rounding depends on the double.
  for (long long m :
       {49LL, 50LL, 51LL, 150LL, 999950LL, 999999LL, 1234550LL, 9876543250LL, (1LL << 50) + 50}) {
    SetClock(kInstant + (31600 + m) / 1000000, static_cast<long>((31600 + m) % 1000000));
    char expected[64], got[64] = "";
    std::snprintf(expected, sizeof expected, "%0.4lf", ky_ExecutionTimerElapsed());
    Reset();
    ky_log(p_, "n", 3, "f", 1, "g", "m");
    std::sscanf(Read().c_str(), "{n:er} [ %*s %*s %63s", got);
    EXPECT_STREQ(got, expected) << m;
  }
}

// Plain conversions are formatted by hand, the others by the printf engine:
// both must agree with printf, and cut at the same length.
template <class... Args>
void ExpectAsPrintf(const char* path, const char* format, Args... args) {
  ::unlink(path);
  ky_log_print(path, format, args...);
  char expected[16384];  // messages are cut where this buffer cuts them
  std::snprintf(expected, sizeof expected, format, args...);
  EXPECT_EQ(ReadFile(path), expected) << format;
}

TEST_F(LogRecord, TextsCutOnlyWhereTheirBuffersEnd) {
  const char* volatile none = nullptr;  // hidden from the format checker
  ExpectAsPrintf(p_, "%s|%d|%i|%u|100%%", "x", -5, INT_MIN, 4000000000u);
  ExpectAsPrintf(p_, "%ld|%li|%lu|[%s]", LONG_MIN, 0L, ULONG_MAX, static_cast<const char*>(none));
  ExpectAsPrintf(p_, "%5d|%-3s|%.2s|%x|%c|%08.3f|%zu", 42, "a", "abc", 255u, 'z', 3.14, size_t{7});
  ExpectAsPrintf(p_, "%s", std::string(20000, 'b').c_str());
  ExpectAsPrintf(p_, "%5s", std::string(20000, 'b').c_str());
  // A record's header holds 1023 characters up to the timer (a long name
  // fills it), the origin 8191.
  Reset();
  ky_log(p_, std::string(2000, 'n').c_str(), 3, "f", 1, std::string(10000, 'f').c_str(), "x");
  const std::string content = Read();
  EXPECT_EQ(content.rfind("{" + std::string(1022, 'n') + "(pid=", 0), 0u);
  EXPECT_EQ(content.substr(1023 + 8191), "\r\nx\r\n\r\n");
  // Free text is never cut, and keeps its order when it has more pieces
  // than one write gathers: long lines, and short ones that fill the staging.
  Reset();
  std::string text, expected;
  for (int i = 0; i < 400; ++i) {
    const std::string line(i % 4 ? 7 : 600, static_cast<char>('a' + i % 26));
    text += line + (i % 2 ? "\r" : "\n");
    expected += line + "\r\n";
  }
  text += std::string(40000, 't');
  ky_log_ex_writetext(p_, nullptr, OpenPerCall, 1, text.c_str());
  // Raw data goes through unchanged, NUL and lone LF included.
  ky_log_ex_writedata(p_, nullptr, OpenPerCall, "a\n\0\rb", 5);
  EXPECT_EQ(Read(), expected + std::string(40000, 't') + std::string("a\n\0\rb", 5));
}

// Bad arguments and files that cannot be opened write nothing and leak
// nothing; a held file takes records without the blank line, locked until
// released.
TEST_F(LogRecord, HandleModes) {
  AllocScope scope;
  LogFileHandle* slot = nullptr;
  const std::string missing = dir_ / "missing/t.log", dir = dir_ / "missing";
  // clang-format off
  const std::tuple<const char*, LogFileHandle**, int> cases[] = {
      {p_, nullptr, -1}, {p_, &slot, 4}, {nullptr, nullptr, 0}, {"", nullptr, 0},
      {nullptr, &slot, 1}, {"", &slot, 1}, {p_, nullptr, UseHeld}, {p_, &slot, UseHeld},
      {p_, &slot, UseHeldAndRelease}, {missing.c_str(), &slot, 0}, {missing.c_str(), &slot, 1},
      {dir_.path.c_str(), nullptr, 0}, {dir_.path.c_str(), &slot, 1}};
  // clang-format on
  for (const auto& [path, s, mode] : cases) {
    LogEx(path, s, mode, 1, "n", "m");
    if (mode == OpenPerCall) ky_log_print(path, "m");
    ky_log_ex_writetext(path, s, mode, 1, "m");
    ky_log_ex_writedata(path, s, mode, "m", 1);
    EXPECT_TRUE(slot == nullptr && !ky_FileExists(p_) && !ky_FileExists(dir.c_str()) &&
                ky_DirExists(dir_.path.c_str()))
        << (path ? path : "(null)") << " mode " << mode;
  }
  FailRequest(1);  // no handle: nothing held, nothing written
  LogEx(p_, &slot, OpenAndHold, 1, "h", "one");
  EXPECT_TRUE(slot == nullptr && Read().empty() && !LockedByAnotherProcess(path_));

  LogEx(p_, &slot, OpenAndHold, 1, "h", "one");
  ASSERT_EQ(BlockSize(slot), sizeof(LogFileHandle));  // a handle from ky_malloc
  const LogFileHandle* held = slot;
  LogEx(p_, &slot, UseHeld, 1, "h", "two");
  ky_log_ex_writetext(p_, &slot, UseHeld, 1, "text\n");
  EXPECT_TRUE(slot == held && LockedByAnotherProcess(path_));
  LogEx(p_, &slot, UseHeldAndRelease, 1, "h", "three");
  EXPECT_TRUE(slot == nullptr && !LockedByAnotherProcess(path_));
  const std::string head = Head("{h:er}");
  EXPECT_EQ(Read(), head + "one\r\n" + head + "two\r\ntext\r\n" + head + "three\r\n\r\n");

  Reset();  // without a slot there is nothing to hold
  LogEx(p_, nullptr, OpenAndHold, 1, "h", "one");
  EXPECT_FALSE(LockedByAnotherProcess(path_));
  EXPECT_EQ(Read(), head + "one\r\n\r\n");
}

TEST_F(LogRecord, LoggerDefaultsCopyAndAssign) {
  SetEnv("TEMP", "/var/tmp/");
  ky::log plain, unnamed(nullptr, "", 6, true);
  EXPECT_TRUE(plain.Name().empty() && plain.Level() == 3 && !plain.Enabled() && plain.Crlf());
  EXPECT_TRUE(plain.File() == "/var/tmp/quorvel.log" && unnamed.File() == plain.File());
  SetEnv("TEMP", ("/" + std::string(5000, 'd')).c_str());
  plain._setTempFileName("x.log");
  EXPECT_EQ(plain.File(), "/" + std::string(4094, 'd'));  // cut to 4095 characters
  // The flat default is fixed by its first call, whatever TEMP says later.
  const std::string fixed = ky_log_default_logfile();
  SetEnv("TEMP", "/elsewhere");
  EXPECT_EQ(ky_log_default_logfile(), fixed);

  ky::log source("src", p_, 5, true);
  source.SetCrlf(false);
  source.Log(3, "f", 1, "g", "x");
  auto sameSettings = [&](const ky::log& l) {
    return l.Name() == "src" && l.File() == path_ && l.Level() == 5 && l.Enabled() && !l.Crlf();
  };
  ky::log copy(source);
  EXPECT_TRUE(sameSettings(copy) && copy.Count() == 0);
  // Assignment copies the settings and keeps the count and the held file.
  const std::string other = dir_ / "other.log";
  ky::log target("dst", other.c_str(), 1, false);
  target.Log(3, "f", 1, "g", "x");
  ASSERT_EQ(target.Lock(), 1);
  target = source;
  EXPECT_TRUE(sameSettings(target) && target.Count() == 1 && LockedByAnotherProcess(other));
  target = static_cast<const ky::log&>(target);  // does nothing
  EXPECT_TRUE(sameSettings(target) && target.Count() == 1 && LockedByAnotherProcess(other));
  EXPECT_EQ(target.Unlock(), 0);
  EXPECT_FALSE(LockedByAnotherProcess(other));
}

TEST_F(LogRecord, LoggerLockMacrosAndDelete) {
  AllocScope scope;
  const std::string sub = dir_ / "later", file = sub + "/x.log";
  {
    ky::log logger("svc", file.c_str(), 3, true);
    EXPECT_EQ(logger.Lock(), 0);  // cannot open: the mutex is held, no file
    EXPECT_EQ(logger.Unlock(), 0);
    ASSERT_EQ(::mkdir(sub.c_str(), 0700), 0);
    EXPECT_FALSE(logger._Delete());                           // no file yet
    EXPECT_EQ(logger.Lock(__FILE__, __LINE__, __func__), 1);  // retried
    EXPECT_EQ(logger.Lock(), 0);                              // nested: the mutex result
    logger.Log(3, "f", 1, "g", "held");
    EXPECT_EQ(logger.Unlock(), 0);
    EXPECT_TRUE(LockedByAnotherProcess(file));
    logger.Print("printed\n");
    EXPECT_EQ(logger.Unlock(), 0);
    EXPECT_FALSE(LockedByAnotherProcess(file));
    // The macros skip unwanted records without evaluating their arguments.
    int evaluated = 0;
    KY_LOG_WARN(logger, "%d", ++evaluated);
    KY_LOG_CRIT(logger, "crit %d", ++evaluated);
    const int crit = __LINE__ - 1;
    logger.SetEnabled(false);
    KY_LOG_ERROR(logger, "%d", ++evaluated);
    KY_LOG_ALWAYS(logger, "always %d", ++evaluated);  // negative levels pass even disabled
    const int always = __LINE__ - 1;
    auto site = [](int line) { return "< TestBody @ " __FILE__ ":" + std::to_string(line) + " >"; };
    EXPECT_EQ(logger.Count(), 4u);
    EXPECT_EQ(ReadFile(file), Head("{svc:er}") + "held\r\nprinted\r\n" +
                                  Head("{svc:cr}", site(crit)) + "crit 1\r\n\r\n" +
                                  Head("{svc:a+}", site(always)) + "always 2\r\n\r\n");
    EXPECT_EQ(logger.Lock(), 1);
    logger.Lock();
  }  // the destructor releases the held file, and never deletes it
  EXPECT_FALSE(LockedByAnotherProcess(file));
  ky::log logger("svc", file.c_str(), 3, true);
  EXPECT_TRUE(logger._Delete() && !ky_FileExists(file.c_str()));
}

TEST(HexDump, FormatFoldingAndFailures) {
  const std::string mark = "       *           \n";  // for two bytes a line
  // clang-format off
  const std::tuple<std::string, size_t, const char*, const char*, std::string> cases[] = {
      {"AB\n", 4, nullptr, nullptr, "00000000  41 42 0a     AB. \n"},
      {"", 16, nullptr, nullptr, ""},
      {std::string("\0\x1f\x20\x7e\x7f\x80\xff", 7), 7, "", nullptr, "00000000  00 1f 20 7e 7f 80 ff  .. ~...\n"},
      {"hello", 8, "> ", "\r\n", "> 00000000  68 65 6c 6c 6f           hello   \r\n"},
      // A run of equal lines folds into one marker; the last line never does.
      {"aaaaaaaab", 2, nullptr, nullptr, "00000000  61 61  aa\n" + mark + "00000008  62     b \n"},
      {"aaaaabab", 2, nullptr, nullptr, "00000000  61 61  aa\n" + mark + "00000004  61 62  ab\n00000006  61 62  ab\n"},
      {"aaaaab", 2, "| ", "\r\n", "| 00000000  61 61  aa\r\n|        *           \r\n| 00000004  61 62  ab\r\n"}};
  // clang-format on
  AllocScope scope;
  for (const auto& [data, perLine, prefix, lineEnd, dump] : cases) {
    char* text = prefix || lineEnd
                     ? ky_log_hexdump_ex(prefix, lineEnd, data.data(), data.size(), perLine)
                     : ky_log_hexdump(data.data(), data.size(), perLine);
    EXPECT_EQ(text ? text : "(null)", dump);
    ky_log_hexdump_free(text);
  }
  EXPECT_EQ(ky_log_hexdump("x", 1, 0), nullptr);
  EXPECT_EQ(ky_log_hexdump(nullptr, 5, 16), nullptr);
  EXPECT_EQ(ky_log_hexdump("x", SIZE_MAX / 2, SIZE_MAX / 4), nullptr);
}

// Six processes of three threads append records of up to ~3 KiB: even ones
// through the flat writer, odd ones through a shared logger in nested Lock
// batches. Each message names its writer's ids as the kernel knows them, so
// every record can be rebuilt whole: ids kept from before a fork would show.
// (log_stress covers every handle mode at volume.)
std::string Message(int p, int t, int r, long pid, long tid) {
  return std::to_string(p) + " " + std::to_string(t) + " " + std::to_string(r) + " " +
         std::to_string(pid) + " " + std::to_string(tid) + " " +
         std::string(40 + (p * 97 + t * 31 + r * 53) % 3000, 'a' + r % 26);
}

using LogReliability = LogRecord;

TEST_F(LogReliability, ManyProcessesAndThreadsNothingLostNothingTorn) {
  constexpr int kProcesses = 6, kRecords = 150;  // three threads each, one the main thread
  ASSERT_EQ(ky_CurrentProcessId(), ::getpid());  // known before the forks
  ASSERT_EQ(ky_CurrentThreadId(), ::syscall(SYS_gettid));
  for (int p = 0; p < kProcesses; ++p) {
    if (::fork() != 0) continue;
    ky::log logger(std::to_string(p).c_str(), p_, 6, true);
    auto write = [&](int t) {
      for (int r = 0; r < kRecords; ++r) {
        const auto m = Message(p, t, r, ::getpid(), ::syscall(SYS_gettid));
        if (p % 2 == 0) {
          ky_log(p_, logger.Name().c_str(), 6, "f", 1, "g", "%s", m.c_str());
          continue;
        }
        if (r % 10 == 0) logger.Lock();
        ky::log_lock nested(logger);
        logger.Log(6, "f", 1, "g", "%s", m.c_str());
        if (r % 10 == 9) logger.Unlock();
      }
    };
    std::thread one(write, 1), two(write, 2);
    write(0);
    one.join();
    two.join();
    ::_exit(0);
  }
  int status = 0;
  for (int p = 0; p < kProcesses; ++p) ASSERT_TRUE(::wait(&status) > 0 && status == 0);
  std::istringstream in(Read());  // per-call records end with a blank line
  std::set<std::string> seen;
  for (std::string head, body; std::getline(in, head);) {
    if (head == "\r") continue;
    ASSERT_TRUE(std::getline(in, body));
    int p = -1, t = 0, r = 0;
    long pid = 0, tid = 0;
    std::sscanf(body.c_str(), "%d %d %d %ld %ld", &p, &t, &r, &pid, &tid);
    ASSERT_EQ(head + "\n" + body,
              Head("{" + std::to_string(p) + ":in}", kOrigin, "\r\n", pid, tid) +
                  Message(p, t, r, pid, tid) + "\r");
    ASSERT_TRUE(seen.insert(body).second) << "record written twice";
  }
  EXPECT_EQ(seen.size(), size_t{kProcesses} * 3 * kRecords);
}

TEST_F(LogReliability, InterruptedLockWaitIsRetried) {
  const pid_t holder = ::fork();  // holds the file lock until killed
  if (holder == 0) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    if (::fcntl(::open(p_, O_WRONLY | O_CREAT, 0600), F_SETLKW, &lock) == 0) ::pause();
    ::_exit(1);
  }
  for (int i = 0; !LockedByAnotherProcess(path_); ++i, ky_Sleep(5)) ASSERT_LT(i, 400);
  // No SA_RESTART: the wait for the lock returns EINTR on each signal.
  static std::atomic<int> signals{0};
  struct sigaction action = {}, previous = {};
  action.sa_handler = [](int) { signals.fetch_add(1); };
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  std::thread writer([&] { ky_log(p_, "w", 3, "f", 1, "g", "after the wait"); });
  for (int i = 0; i < 4; ++i, ky_Sleep(60)) ::pthread_kill(writer.native_handle(), SIGUSR1);
  EXPECT_EQ(Read(), "") << "wrote without the lock";
  ::kill(holder, SIGKILL);
  ::waitpid(holder, nullptr, 0);
  writer.join();
  ::sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_GE(signals, 1);  // pending signals may merge
  const std::string content = Read();
  EXPECT_EQ(content.find("after the wait"), content.size() - 18) << content;  // once, whole
}

}  // namespace
