#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "ky/uuid.h"

namespace {

using Bytes = std::string;  // the 16 value bytes

void ExpectVersion4(const std::string& hex) {
  ASSERT_EQ(hex.size(), 32u);
  EXPECT_EQ(hex[12], '4') << hex;
  EXPECT_NE(std::string("89abAB").find(hex[16]), std::string::npos) << hex;
}

TEST(Uuid, RenderersAndCase) {
  ky::uuid upper, lower(true);
  std::string text(40, 'x');
  upper.hexstr(text);
  ExpectVersion4(text);
  EXPECT_EQ(text.find_first_of("abcdef"), std::string::npos);
  lower.hexstr(text);
  ExpectVersion4(text);
  EXPECT_EQ(text.find_first_of("ABCDEF"), std::string::npos);

  std::string dashed(50, 'y');
  lower.str(dashed);
  ASSERT_EQ(dashed.size(), 36u);
  std::string undashed;
  for (size_t i = 0; i < dashed.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      EXPECT_EQ(dashed[i], '-');
    } else {
      undashed += dashed[i];
    }
  }
  EXPECT_EQ(undashed, text);
  upper.str(dashed, true);
  EXPECT_EQ(dashed.find_first_of("ABCDEF"), std::string::npos);

  char buf[40];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(lower.hexstr(buf, 33), buf);
  EXPECT_EQ(std::string(buf), text);
  EXPECT_EQ(buf[33], '#');
}

TEST(Uuid, FlatEntryBounds) {
  char buf[40];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ky_uuid_get_hex(buf, 32, 1), nullptr);
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(buf[1], '#');
  EXPECT_EQ(ky_uuid_get_hex(nullptr, 40, 1), nullptr);
  EXPECT_EQ(ky_uuid_get_hex(buf, 33, 1), buf);
  ExpectVersion4(buf);
  EXPECT_EQ(std::strspn(buf, "0123456789abcdef"), 32u);
  EXPECT_EQ(buf[34], '#');
}

TEST(Uuid, ThreadsNeverShareAValue) {
  constexpr int kThreads = 8, kEach = 2000;
  std::vector<std::vector<Bytes>> made(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&made, t] {
      for (int i = 0; i < kEach; ++i) {
        ky::uuid u;
        made[t].emplace_back(reinterpret_cast<const char*>(u.value()), 16);
      }
    });
  }
  for (auto& t : threads) t.join();
  std::set<Bytes> all;
  for (const auto& v : made) {
    for (const auto& b : v) {
      ASSERT_EQ(static_cast<unsigned char>(b[6]) >> 4, 4);
      ASSERT_EQ(static_cast<unsigned char>(b[8]) >> 6, 2);
      all.insert(b);
    }
  }
  EXPECT_EQ(all.size(), size_t{kThreads} * kEach);
}

// A pre-forking server: the parent draws, then forks workers that each make
// UUIDs. Without a reseed in the child they would all repeat one sequence.
TEST(Uuid, ForkedChildrenNeverRepeatEachOther) {
  constexpr int kChildren = 8, kEach = 10000;
  ky::uuid before;
  std::vector<FILE*> files;
  std::vector<pid_t> pids;
  for (int c = 0; c < kChildren; ++c) {
    FILE* f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    files.push_back(f);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      unsigned char all[kEach][16];
      for (auto& slot : all) std::memcpy(slot, ky::uuid().value(), 16);
      ssize_t n = write(fileno(f), all, sizeof all);
      _exit(n == static_cast<ssize_t>(sizeof all) ? 0 : 1);
    }
    pids.push_back(pid);
  }
  std::set<Bytes> all;
  all.emplace(reinterpret_cast<const char*>(before.value()), 16);
  for (int c = 0; c < kChildren; ++c) {
    int status = 0;
    ASSERT_EQ(waitpid(pids[c], &status, 0), pids[c]);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    std::vector<char> data(size_t{kEach} * 16);
    std::rewind(files[c]);
    ASSERT_EQ(std::fread(data.data(), 1, data.size(), files[c]), data.size());
    std::fclose(files[c]);
    for (size_t i = 0; i < data.size(); i += 16) all.emplace(data.data() + i, 16);
  }
  EXPECT_EQ(all.size(), size_t{kChildren} * kEach + 1);
  // The parent's own sequence goes on undisturbed by the fork handlers.
  std::string next;
  ExpectVersion4(ky::uuid().hexstr(next));
}

}  // namespace
