#include "test_allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace {

std::mutex& Mutex() {
  static std::mutex m;
  return m;
}
std::unordered_map<const void*, size_t>& Blocks() {
  static auto* blocks = new std::unordered_map<const void*, size_t>;
  return *blocks;
}
size_t g_requests = 0;
size_t g_fail_at = 0;  // request number that fails; 0 for none
bool g_null_for_zero = false;
void (*g_before_malloc)() = nullptr;

// Called with the mutex held; true when this request must fail.
bool RequestFails(size_t n) {
  ++g_requests;
  if (g_fail_at != 0 && g_requests == g_fail_at) {
    g_fail_at = 0;
    return true;
  }
  return n == 0 && g_null_for_zero;
}

}  // namespace

extern "C" {

void* ky_malloc(size_t n) {
  void (*before)() = nullptr;
  {
    std::lock_guard<std::mutex> lock(Mutex());
    std::swap(before, g_before_malloc);
  }
  if (before) before();
  std::lock_guard<std::mutex> lock(Mutex());
  if (RequestFails(n)) return nullptr;
  void* p = std::malloc(n ? n : 1);
  if (p) Blocks()[p] = n;
  return p;
}

void ky_free(void* p) {
  if (!p) return;
  std::lock_guard<std::mutex> lock(Mutex());
  Blocks().erase(p);
  std::free(p);
}

void* ky_realloc(void* p, size_t n) {
  std::lock_guard<std::mutex> lock(Mutex());
  if (RequestFails(n)) return nullptr;  // p stays valid, as the contract says
  void* q = std::realloc(p, n ? n : 1);
  if (!q) return nullptr;
  if (p) Blocks().erase(p);
  Blocks()[q] = n;
  return q;
}

}  // extern "C"

namespace ky::test {

size_t LiveBlocks() {
  std::lock_guard<std::mutex> lock(Mutex());
  return Blocks().size();
}

size_t BlockSize(const void* p) {
  std::lock_guard<std::mutex> lock(Mutex());
  auto it = Blocks().find(p);
  return it == Blocks().end() ? SIZE_MAX : it->second;
}

size_t Requests() {
  std::lock_guard<std::mutex> lock(Mutex());
  return g_requests;
}

void FailRequest(size_t nth) {
  std::lock_guard<std::mutex> lock(Mutex());
  g_fail_at = nth ? g_requests + nth : 0;
}

void BeforeNextMalloc(void (*fn)()) {
  std::lock_guard<std::mutex> lock(Mutex());
  g_before_malloc = fn;
}

void NullForZeroBytes(bool on) {
  std::lock_guard<std::mutex> lock(Mutex());
  g_null_for_zero = on;
}

AllocScope::AllocScope() : live_at_start_(LiveBlocks()) {}

AllocScope::~AllocScope() {
  FailRequest(0);
  NullForZeroBytes(false);
  BeforeNextMalloc(nullptr);
  EXPECT_EQ(LiveBlocks(), live_at_start_) << "blocks from ky_malloc leaked in this scope";
}

size_t AllocScope::Taken() const { return LiveBlocks() - live_at_start_; }

}  // namespace ky::test
