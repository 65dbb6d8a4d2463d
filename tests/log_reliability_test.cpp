// Records from many processes and threads in one file: none lost, none torn.
// And a lock wait that a signal interrupts goes on waiting.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "ky/log.h"
#include "ky/platform.h"
#include "support/scratch.h"

namespace {

using ky::test::ReadFile;
using ky::test::ScratchDir;

constexpr int kProcesses = 6;  // even: flat writers, odd: held ky::log objects
constexpr int kThreads = 3;
constexpr int kRecords = 150;

// Long enough that a torn record would show: up to ~3 KiB a message.
size_t PayloadLength(int p, int t, int r) {
  return 40 + static_cast<size_t>(p * 97 + t * 31 + r * 53) % 3000;
}
char PayloadChar(int p, int t, int r) { return static_cast<char>('a' + (p * 7 + t * 3 + r) % 26); }

std::string Message(int p, int t, int r) {
  char head[96];
  std::snprintf(head, sizeof head, "P%d T%d R%d pid=%ld tid=%ld ", p, t, r, ky_CurrentProcessId(),
                ky_CurrentThreadId());
  return head + std::string(PayloadLength(p, t, r), PayloadChar(p, t, r)) + " END";
}

void FlatWriter(const std::string& path, int p, int t) {
  const std::string name = "p" + std::to_string(p);
  for (int r = 0; r < kRecords; ++r) {
    ky_log(path.c_str(), name.c_str(), 6, __FILE__, __LINE__, "Writer", "%s",
           Message(p, t, r).c_str());
  }
}

void HeldWriter(const ky::log& logger, int p, int t) {
  // Batches of records under one Lock, some nested, between plain records.
  for (int r = 0; r < kRecords; ++r) {
    if (r % 10 == 0) logger.Lock(__FILE__, __LINE__, __func__);
    if (r % 20 == 5) logger.Lock();
    logger.Log(6, __FILE__, __LINE__, "Writer", "%s", Message(p, t, r).c_str());
    if (r % 20 == 5) logger.Unlock();
    if (r % 10 == 9) logger.Unlock(__FILE__, __LINE__, __func__);
  }
}

[[noreturn]] void RunChild(const std::string& path, int p) {
  std::vector<std::thread> threads;
  ky::log logger(("p" + std::to_string(p)).c_str(), path.c_str(), 6, true);
  for (int t = 0; t < kThreads; ++t) {
    if (p % 2 == 0) {
      threads.emplace_back(FlatWriter, std::cref(path), p, t);
    } else {
      threads.emplace_back(HeldWriter, std::cref(logger), p, t);
    }
  }
  for (auto& th : threads) th.join();
  ::_exit(logger.Count() == (p % 2 ? size_t{kThreads} * kRecords : 0) ? 0 : 3);
}

// Checks one header line and its message; returns the record's key.
bool ParseRecord(const std::string& header, const std::string& message,
                 std::tuple<int, int, int>* key, std::string* why) {
  int hp = 0;
  unsigned long hpid = 0;
  unsigned long htid = 0;
  char level[4] = {};
  char process[64] = {};
  char function[16] = {};
  double elapsed = 0;
  int consumed = 0;
  if (std::sscanf(
          header.c_str(),
          "{p%d:%2[a-z+]} [ %*4d-%*2d-%*2d %*2d:%*2d:%*d.%*d %lf ] (pid=%63[^:]:%lu,tid=%lu) "
          "< %15s @ %*[^:]:%*d >%n",
          &hp, level, &elapsed, process, &hpid, &htid, function, &consumed) != 7 ||
      static_cast<size_t>(consumed) != header.size()) {
    *why = "bad header: " + header.substr(0, 200);
    return false;
  }
  if (std::strcmp(level, "in") != 0 || std::strcmp(process, "log_test") != 0 ||
      std::strcmp(function, "Writer") != 0) {
    *why = "bad header fields: " + header.substr(0, 200);
    return false;
  }
  int p = 0, t = 0, r = 0;
  unsigned long pid = 0, tid = 0;
  int at = 0;
  if (std::sscanf(message.c_str(), "P%d T%d R%d pid=%lu tid=%lu %n", &p, &t, &r, &pid, &tid, &at) !=
      5) {
    *why = "bad message: " + message.substr(0, 200);
    return false;
  }
  const std::string payload = message.substr(static_cast<size_t>(at));
  const std::string expected = std::string(PayloadLength(p, t, r), PayloadChar(p, t, r)) + " END";
  if (payload != expected || p != hp || pid != hpid || tid != htid) {
    *why = "torn or mixed record: " + header.substr(0, 120) + " / " + message.substr(0, 120);
    return false;
  }
  *key = {p, t, r};
  return true;
}

TEST(LogReliability, ManyProcessesAndThreadsNothingLostNothingTorn) {
  ScratchDir dir;
  ASSERT_FALSE(dir.Path().empty());
  const std::string path = dir / "shared.log";
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) RunChild(path, p);
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child status " << status;
  }

  // Split at CR LF: records from held files follow each other directly,
  // those from per-call writers end with a blank line.
  const std::string content = ReadFile(path);
  ASSERT_GE(content.size(), 2u);
  ASSERT_EQ(content.compare(content.size() - 2, 2, "\r\n"), 0);
  std::vector<std::string> lines;
  for (size_t at = 0; at < content.size();) {
    const size_t end = content.find("\r\n", at);
    ASSERT_NE(end, std::string::npos);
    lines.push_back(content.substr(at, end - at));
    at = end + 2;
  }
  std::set<std::tuple<int, int, int>> seen;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].empty()) continue;
    ASSERT_LT(i + 1, lines.size()) << "header without message at the end";
    std::tuple<int, int, int> key;
    std::string why;
    ASSERT_TRUE(ParseRecord(lines[i], lines[i + 1], &key, &why)) << why;
    ASSERT_TRUE(seen.insert(key).second) << "record written twice";
    ++i;
  }
  EXPECT_EQ(seen.size(), size_t{kProcesses} * kThreads * kRecords);
}

std::atomic<int> g_signals{0};
void CountSignal(int) { g_signals.fetch_add(1); }

TEST(LogReliability, InterruptedLockWaitIsRetried) {
  ScratchDir dir;
  ASSERT_FALSE(dir.Path().empty());
  const std::string path = dir / "wait.log";
  int ready[2];
  int release[2];
  ASSERT_EQ(::pipe(ready), 0);
  ASSERT_EQ(::pipe(release), 0);

  // Another process holds the whole-file lock until told to let go.
  const pid_t holder = ::fork();
  ASSERT_GE(holder, 0);
  if (holder == 0) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT, 0600);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (fd < 0 || ::fcntl(fd, F_SETLKW, &lock) != 0) ::_exit(1);
    char c = 'r';
    if (::write(ready[1], &c, 1) != 1 || ::read(release[0], &c, 1) != 1) ::_exit(1);
    ::_exit(0);
  }
  char c = 0;
  ASSERT_EQ(::read(ready[0], &c, 1), 1);

  // No SA_RESTART: the wait for the lock returns EINTR on each signal.
  struct sigaction action {};
  struct sigaction previous {};
  action.sa_handler = CountSignal;
  sigemptyset(&action.sa_mask);
  ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
  g_signals = 0;
  std::atomic<bool> written{false};
  std::thread writer([&] {
    ky_log(path.c_str(), "w", 3, "f", 1, "g", "%s", "after the wait");
    written = true;
  });
  for (int i = 0; i < 3; ++i) {
    ky_Sleep(60);
    ::pthread_kill(writer.native_handle(), SIGUSR1);
  }
  ky_Sleep(60);
  EXPECT_FALSE(written);
  EXPECT_EQ(ReadFile(path), "") << "wrote without the lock";

  c = 'g';
  ASSERT_EQ(::write(release[1], &c, 1), 1);
  writer.join();
  int status = 0;
  ::waitpid(holder, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  ::sigaction(SIGUSR1, &previous, nullptr);
  for (int fd : {ready[0], ready[1], release[0], release[1]}) ::close(fd);

  EXPECT_GE(g_signals, 1);  // some runtimes merge pending signals
  const std::string content = ReadFile(path);
  EXPECT_NE(content.find("after the wait\r\n\r\n"), std::string::npos) << content;
  EXPECT_EQ(content.find("after the wait"), content.rfind("after the wait"));
}

}  // namespace
