// Records per second into a file on the same file system: ky_log opening the
// file per record, a ky::log held across records, and spdlog's synchronous
// basic file sink flushing every record. Bytes per second count what reached
// the file: the records carry different headers, ours about twice as long.
// Hex dumps of 1 MiB against an xxd-style snprintf-per-byte loop.
#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "ky/log.h"
#include "ky/platform.h"

namespace {

constexpr const char* kText = "the quick brown fox jumps over the lazy dog";

// A fresh file in a private directory of the temporary directory, removed at
// the end of the benchmark.
class BenchFile {
 public:
  BenchFile() {
    dir_ = std::string(ky_TempDir()) + "/kybench.XXXXXX";
    if (!::mkdtemp(dir_.data())) std::abort();
    path_ = dir_ + "/bench.log";
  }
  ~BenchFile() {
    ::unlink(path_.c_str());
    ::rmdir(dir_.c_str());
  }
  const char* Path() const { return path_.c_str(); }
  int64_t Size() const {
    struct stat st {};
    return ::stat(path_.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : 0;
  }

 private:
  std::string dir_;
  std::string path_;
};

void BM_ky_log_OpenPerCall(benchmark::State& state) {
  BenchFile file;
  int i = 0;
  for (auto _ : state) {
    ky_log(file.Path(), "bench", 3, __FILE__, __LINE__, "Bench", "record %d: %s", ++i, kText);
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(file.Size());
}

void BM_ky_log_Held(benchmark::State& state) {
  BenchFile file;
  ky::log logger("bench", file.Path(), 3, true);
  if (logger.Lock() != 1) state.SkipWithError("cannot open the log file");
  int i = 0;
  for (auto _ : state) {
    logger.Log(3, __FILE__, __LINE__, "Bench", "record %d: %s", ++i, kText);
  }
  logger.Unlock();
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(file.Size());
}

void BM_spdlog_basic_file_flush_every(benchmark::State& state) {
  BenchFile file;
  auto logger = spdlog::basic_logger_mt("bench", file.Path(), true);
  logger->flush_on(spdlog::level::trace);
  int i = 0;
  for (auto _ : state) {
    logger->error("record {}: {}", ++i, kText);
  }
  spdlog::drop("bench");
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(file.Size());
}

std::string RandomBytes(size_t n) {
  std::mt19937 rng(1);
  std::string s(n, '\0');
  for (char& c : s) c = static_cast<char>(rng());
  return s;
}

void BM_ky_log_hexdump_1MiB(benchmark::State& state) {
  const std::string data = RandomBytes(1 << 20);
  for (auto _ : state) {
    char* dump = ky_log_hexdump(data.data(), data.size(), 16);
    benchmark::DoNotOptimize(dump);
    ky_log_hexdump_free(dump);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (1 << 20));
}

// The same text as ky_log_hexdump (without folding, which random data never
// triggers), one snprintf per byte as xxd-style tools write it.
void BM_xxd_style_snprintf_1MiB(benchmark::State& state) {
  const std::string data = RandomBytes(1 << 20);
  std::string out((data.size() / 16 + 1) * 80, '\0');
  for (auto _ : state) {
    char* w = out.data();
    for (size_t off = 0; off < data.size(); off += 16) {
      w += std::snprintf(w, 16, "%08x  ", static_cast<unsigned>(off));
      for (size_t i = 0; i < 16; ++i) {
        w += std::snprintf(w, 4, "%02x ", static_cast<unsigned char>(data[off + i]));
      }
      *w++ = ' ';
      for (size_t i = 0; i < 16; ++i) {
        const auto c = static_cast<unsigned char>(data[off + i]);
        w += std::snprintf(w, 2, "%c", c >= 32 && c < 127 ? c : '.');
      }
      *w++ = '\n';
    }
    *w = '\0';
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (1 << 20));
}

// Writers wait in the kernel: rates are per wall-clock second.
BENCHMARK(BM_ky_log_OpenPerCall)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_ky_log_Held)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_spdlog_basic_file_flush_every)->MinTime(1.0)->UseRealTime();
BENCHMARK(BM_ky_log_hexdump_1MiB);
BENCHMARK(BM_xxd_style_snprintf_1MiB);

}  // namespace

BENCHMARK_MAIN();
