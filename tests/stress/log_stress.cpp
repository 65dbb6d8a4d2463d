// Many processes and threads appending to one log file through every handle
// mode, then a proof that every record is in the file exactly once and whole.
//
//   log_stress [--processes P] [--threads T] [--records N] [--file PATH]
//
// N records in total (default 400000) from P processes (default 16) of T
// threads (default 4). Each thread keeps to one way of writing, chosen by its
// number, so every way runs in every process:
//   0  the flat writer opening the file per record (OpenPerCall);
//   1  the flat writer holding the file: OpenAndHold for the first record of
//      a batch, UseHeld, UseHeldAndRelease for the last (batches of a
//      process are serialised, as the file lock does not order threads);
//   2  a logger shared by the process, records in Lock/Unlock batches;
//   3  a logger of the thread's own without Lock, each record opening the
//      file.
// Prints records per second and the torn, lost and repeated records; exits
// non-zero unless all three are 0.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ky/log.h"

namespace {

constexpr int kBatch = 8;

struct Options {
  int processes = 16;
  int threads = 4;
  long records = 400000;
  std::string file;
};

// The message of record r of thread t in process p: its numbers, then a run
// of one letter whose length varies, so a record cut or spliced anywhere
// fails to match.
std::string Message(int p, int t, long r) {
  const size_t length = 16 + static_cast<size_t>(p * 131 + t * 17 + r * 7) % 240;
  return std::to_string(p) + " " + std::to_string(t) + " " + std::to_string(r) + " " +
         std::string(length, static_cast<char>('a' + (p + t + r) % 26));
}

void FlatRecord(const char* path, LogFileHandle** slot, int mode, int crlf, const char* format,
                ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_va(path, slot, mode, crlf, "s", 6, "f", 1, "g", format, args);
  va_end(args);
}

void Writer(const Options& o, int p, int t, long count, const ky::log& shared,
            std::mutex& heldBatches) {
  // Member writers take no mutex, so only the Lock batches share the
  // process's logger; the per-record style has a copy of its own.
  const ky::log own(shared);
  const char* path = o.file.c_str();
  const int style = t % 4;
  LogFileHandle* slot = nullptr;
  std::unique_lock<std::mutex> batch(heldBatches, std::defer_lock);
  for (long r = 0; r < count; ++r) {
    const std::string m = Message(p, t, r);
    const bool first = r % kBatch == 0;
    const bool last = r % kBatch == kBatch - 1 || r == count - 1;
    switch (style) {
      case 0:
        FlatRecord(path, nullptr, OpenPerCall, 1, "%s", m.c_str());
        break;
      case 1: {
        if (first) batch.lock();
        const int mode = first ? OpenAndHold : last ? UseHeldAndRelease : UseHeld;
        // A batch whose open failed writes per call rather than losing records.
        FlatRecord(path, &slot, slot || first ? mode : OpenPerCall, 0, "%s", m.c_str());
        if (first && last && slot) ky_log_ex_writedata(path, &slot, UseHeldAndRelease, "", 0);
        if (last) batch.unlock();
        break;
      }
      case 2:
        if (first) shared.Lock();
        shared.Log(6, "f", 1, "g", "%s", m.c_str());
        if (last) shared.Unlock();
        break;
      default:
        own.Log(6, "f", 1, "g", "%s", m.c_str());
        break;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string key = argv[i];
    if (key == "--processes") {
      o.processes = std::atoi(argv[i + 1]);
    } else if (key == "--threads") {
      o.threads = std::atoi(argv[i + 1]);
    } else if (key == "--records") {
      o.records = std::atol(argv[i + 1]);
    } else if (key == "--file") {
      o.file = argv[i + 1];
    } else {
      std::fprintf(stderr, "usage: %s [--processes P] [--threads T] [--records N] [--file PATH]\n",
                   argv[0]);
      return 2;
    }
  }
  if (o.processes < 1 || o.threads < 1 || o.records < 1) return 2;
  const bool ownFile = o.file.empty();
  if (ownFile) {
    const char* tmp = std::getenv("TMPDIR");
    o.file = std::string(tmp && *tmp ? tmp : "/tmp") + "/ky_log_stress." +
             std::to_string(::getpid()) + ".log";
  }
  ::unlink(o.file.c_str());

  const int writers = o.processes * o.threads;
  const long perThread = (o.records + writers - 1) / writers;
  const long total = perThread * writers;

  // The children wait on a pipe so that all of them start together.
  int go[2];
  if (::pipe(go) != 0) return 2;
  std::vector<pid_t> children;
  for (int p = 0; p < o.processes; ++p) {
    const pid_t pid = ::fork();
    if (pid < 0) return 2;
    if (pid > 0) {
      children.push_back(pid);
      continue;
    }
    ::close(go[1]);
    char byte;
    if (::read(go[0], &byte, 1) != 0) ::_exit(2);
    ky::log logger("s", o.file.c_str(), 7, true);
    std::mutex heldBatches;
    std::vector<std::thread> threads;
    for (int t = 0; t < o.threads; ++t) {
      threads.emplace_back(Writer, std::cref(o), p, t, perThread, std::cref(logger),
                           std::ref(heldBatches));
    }
    for (auto& th : threads) th.join();
    ::_exit(0);
  }
  ::close(go[0]);
  const auto start = std::chrono::steady_clock::now();
  ::close(go[1]);
  bool childFailed = false;
  for (const pid_t pid : children) {
    int status = 0;
    childFailed |= ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  // A record is a header line naming the origin, then its message line;
  // blank separator lines come between some of them. Line ends are CR LF or
  // LF depending on the writer.
  std::vector<unsigned char> seen(static_cast<size_t>(total), 0);
  long torn = 0, repeated = 0;
  std::ifstream in(o.file, std::ios::binary);
  const std::string origin = "< g @ f:1 >";
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    std::string body;
    const bool header = line.rfind("{s:in} [ ", 0) == 0 && line.size() > origin.size() &&
                        line.compare(line.size() - origin.size(), origin.size(), origin) == 0;
    if (!header || !std::getline(in, body)) {
      ++torn;
      continue;
    }
    if (!body.empty() && body.back() == '\r') body.pop_back();
    int p = -1, t = -1;
    long r = -1;
    if (std::sscanf(body.c_str(), "%d %d %ld", &p, &t, &r) != 3 || p < 0 || p >= o.processes ||
        t < 0 || t >= o.threads || r < 0 || r >= perThread || body != Message(p, t, r)) {
      ++torn;
      continue;
    }
    unsigned char& mark = seen[static_cast<size_t>((p * o.threads + t) * perThread + r)];
    if (mark) ++repeated;
    mark = 1;
  }
  long lost = 0;
  for (const unsigned char mark : seen) lost += mark == 0;
  if (ownFile) ::unlink(o.file.c_str());

  std::printf(
      "log_stress: %ld records from %d processes x %d threads in %.2f s: %.0f records/s; "
      "torn %ld, lost %ld, repeated %ld\n",
      total, o.processes, o.threads, seconds, static_cast<double>(total) / seconds, torn, lost,
      repeated);
  return childFailed || torn || lost || repeated ? 1 : 0;
}
