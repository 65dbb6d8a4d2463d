#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ky/uuid.h"

namespace {

// 32 hex digits out of digits, version 4 and variant 10.
void ExpectVersion4(const std::string& hex, const char* digits = "0123456789ABCDEFabcdef") {
  ASSERT_EQ(hex.size(), 32u);
  EXPECT_EQ(hex.find_first_not_of(digits), std::string::npos) << hex;
  EXPECT_EQ(hex[12], '4') << hex;
  EXPECT_NE(std::string("89abAB").find(hex[16]), std::string::npos) << hex;
}

TEST(Uuid, RenderersCaseAndBounds) {
  const ky::uuid upper, lower(true);
  std::string hex(40, 'x'), dashed(50, 'y');
  ExpectVersion4(upper.hexstr(hex), "0123456789ABCDEF");
  EXPECT_EQ(upper.str(dashed, true).find_first_of("ABCDEF"), std::string::npos);
  ExpectVersion4(lower.hexstr(hex), "0123456789abcdef");
  EXPECT_EQ(lower.str(dashed), hex.substr(0, 8) + '-' + hex.substr(8, 4) + '-' + hex.substr(12, 4) +
                                   '-' + hex.substr(16, 4) + '-' + hex.substr(20));
  // Too small a buffer gets an empty string, and nothing past it.
  char buf[40];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ky_uuid_get_hex(buf, 32, 1), nullptr);
  EXPECT_EQ(std::string(buf, 2), std::string("\0#", 2));
  EXPECT_EQ(ky_uuid_get_hex(nullptr, 40, 1), nullptr);
  EXPECT_EQ(lower.hexstr(buf, 33), buf);
  EXPECT_EQ(std::string(buf), hex);
  EXPECT_EQ(buf[33], '#');
  EXPECT_EQ(ky_uuid_get_hex(buf, 33, 1), buf);
  ExpectVersion4(buf, "0123456789abcdef");
  EXPECT_EQ(buf[33], '#');
}

// Adds the UUIDs in the n bytes at b to all, checking version 4, variant 10.
void Add(std::set<std::string>& all, const unsigned char* b, size_t n) {
  for (; n >= 16; b += 16, n -= 16) {
    ASSERT_EQ(b[6] >> 4, 4);
    ASSERT_EQ(b[8] >> 6, 2);
    all.emplace(reinterpret_cast<const char*>(b), 16);
  }
}

TEST(Uuid, ThreadsNeverShareAValue) {
  constexpr int kThreads = 8, kEach = 2000;
  std::vector<unsigned char> made(size_t{kThreads} * kEach * 16);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&made, t] {
      for (size_t i = t * kEach; i < (t + 1) * kEach; ++i) {
        std::memcpy(&made[i * 16], ky::uuid().value(), 16);
      }
    });
  }
  for (auto& t : threads) t.join();
  std::set<std::string> all;
  Add(all, made.data(), made.size());
  EXPECT_EQ(all.size(), size_t{kThreads} * kEach);
}

// A pre-forking server: the parent draws, then forks workers that each make
// UUIDs. Without a reseed in the child they would all repeat one sequence.
TEST(Uuid, ForkedChildrenNeverRepeatEachOther) {
  constexpr int kChildren = 8, kEach = 10000;
  const size_t bytes = size_t{kChildren} * kEach * 16;
  void* map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(map, MAP_FAILED);
  auto* made = static_cast<unsigned char*>(map);
  std::set<std::string> all;
  Add(all, ky::uuid().value(), 16);
  std::vector<pid_t> pids;
  for (int c = 0; c < kChildren; ++c) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      for (int i = c * kEach; i < (c + 1) * kEach; ++i) {
        std::memcpy(made + 16 * i, ky::uuid().value(), 16);
      }
      _exit(0);
    }
    pids.push_back(pid);
  }
  for (pid_t pid : pids) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  Add(all, made, bytes);
  munmap(map, bytes);
  EXPECT_EQ(all.size(), size_t{kChildren} * kEach + 1);
  // The parent's own sequence goes on undisturbed by the fork handlers.
  std::string next;
  ExpectVersion4(ky::uuid().hexstr(next));
}

}  // namespace
