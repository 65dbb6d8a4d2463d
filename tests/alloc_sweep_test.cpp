// Allocation-failure sweep over every entry that takes memory from ky_malloc.
//
// Each row runs its call once to count the requests it makes, then once more
// for each request k with the k-th one failing. Every run must end as the
// entry's contract says (a null result, a record left unwritten, a lock that
// reports 0), give back every block it took, and leave the caller's input
// block as it was; the run after the failures must succeed again.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>

#include "ky/log.h"
#include "ky/memory.h"
#include "ky/random.h"
#include "ky/strings.h"
#include "ky/text_buffer.h"
#include "ky/uuid.h"
#include "support/scratch.h"
#include "support/test_allocator.h"

// The random classes take their engine record and generator objects from the
// global operator new, not from ky_malloc. While a sweep is armed these
// replacements count the requests, fail the chosen one, and keep a tally of
// the blocks that the armed run still holds.
namespace new_sweep {
std::atomic<bool> armed{false};
std::atomic<size_t> requests{0};
std::atomic<size_t> failing{0};
std::atomic<long> live{0};

// Each block carries a header that says whether an armed run took it.
constexpr size_t kHeader = alignof(std::max_align_t);

void* Take(size_t n) {
  const bool counted = armed.load();
  if (counted && ++requests == failing.load()) return nullptr;
  char* p = static_cast<char*>(std::malloc(kHeader + (n ? n : 1)));
  if (!p) return nullptr;
  *reinterpret_cast<bool*>(p) = counted;
  if (counted) ++live;
  return p + kHeader;
}

void Give(void* block) {
  if (!block) return;
  char* p = static_cast<char*>(block) - kHeader;
  if (*reinterpret_cast<bool*>(p)) --live;
  std::free(p);
}
}  // namespace new_sweep

void* operator new(size_t n) {
  if (void* p = new_sweep::Take(n)) return p;
  throw std::bad_alloc();
}
void* operator new(size_t n, const std::nothrow_t&) noexcept { return new_sweep::Take(n); }
void operator delete(void* p) noexcept { new_sweep::Give(p); }
void operator delete(void* p, size_t) noexcept { new_sweep::Give(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { new_sweep::Give(p); }

namespace {

using ky::test::ReadFile;

// Where the writer rows append; set by the fixture.
std::string g_logPath;

// What a row's run reports: the call finished with its full result, or it
// reported exhaustion the way its contract says (a null result; for a class,
// std::bad_alloc caught by the row, after which the row checks that the
// object still works). Anything else is a failed expectation inside the run.
enum class Ran { Complete, Exhausted };

// Checks a returned block against the text it must hold and frees it; a
// null block is exhaustion.
Ran ExpectBlock(char* block, const std::string& want) {
  if (!block) return Ran::Exhausted;
  const size_t size = ky::test::BlockSize(block);
  EXPECT_NE(size, SIZE_MAX) << "block not from ky_malloc";
  EXPECT_GE(size, want.size() + 1);
  EXPECT_EQ(std::string(block), want);
  ky_free(block);
  return Ran::Complete;
}

char* FormatVa(bool dbg, const char* fmt, int count, ...) {
  va_list args;
  va_start(args, count);
  char* r = dbg ? ky_FormatMessageVa_dbg(1, 2, 3, fmt, count, args)
                : ky_FormatMessageVa(fmt, count, args);
  va_end(args);
  return r;
}

void LogVa(LogFileHandle** slot, int mode, const char* format, ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_va(g_logPath.c_str(), slot, mode, 0, "sweep", 6, "f.cpp", 1, "F", format, args);
  va_end(args);
}

void PrintVa(LogFileHandle** slot, int mode, const char* format, ...) {
  va_list args;
  va_start(args, format);
  ky_log_ex_print_va(g_logPath.c_str(), slot, mode, 0, format, args);
  va_end(args);
}

// A writer holding the file allocates only its handle. When that fails it
// must write nothing and leave the slot empty; otherwise the held handle is
// released again so the row leaves no state behind.
template <typename Write>
Ran HoldThenRelease(const std::string& text, Write write) {
  const std::string before = ReadFile(g_logPath);
  LogFileHandle* slot = nullptr;
  write(&slot, text.c_str());
  if (!slot) {
    EXPECT_EQ(ReadFile(g_logPath), before) << "a writer that could not hold the file wrote";
    return Ran::Exhausted;
  }
  ky_log_ex_writedata(g_logPath.c_str(), &slot, UseHeldAndRelease, "", 0);
  EXPECT_EQ(slot, nullptr);
  EXPECT_NE(ReadFile(g_logPath).find(text, before.size()), std::string::npos);
  return Ran::Complete;
}

// The logger allocates only the handle its outermost Lock holds. Without it
// Lock reports 0 and the records still go out, each opening the file itself.
Ran LoggerLock(const char* text) {
  static const ky::log logger("sweep", g_logPath.c_str(), 7, true);
  const std::string before = ReadFile(g_logPath);
  const int opened = logger.Lock();
  logger.Print("%s", text);
  logger.Unlock();
  EXPECT_NE(ReadFile(g_logPath).find(text, before.size()), std::string::npos);
  return opened == 1 ? Ran::Complete : Ran::Exhausted;
}

// A split's two blocks: the fields must be those of "a,b;c" cut at sep (or
// at any byte of seps), and exhaustion must clear both outputs.
Ran ExpectFields(char* text, char** fields, size_t count, const std::string& want) {
  if (!text) {
    EXPECT_EQ(fields, nullptr);
    EXPECT_EQ(count, 0u);
    return Ran::Exhausted;
  }
  std::string joined;
  for (size_t i = 0; i < count; ++i) joined += std::string(i ? "|" : "") + fields[i];
  EXPECT_EQ(joined, want);
  ky_free(fields);
  ky_free(text);
  return Ran::Complete;
}

template <typename Split>
Ran RunSplit(Split split, const std::string& want) {
  char** fields = reinterpret_cast<char**>(1);
  size_t count = 99;
  char* text = split(&fields, &count);
  return ExpectFields(text, fields, count, want);
}

// The append takes a block of its own first (a request of the row), so that
// a failed resize can be seen to leave that block and its text as they were.
Ran Append(bool dbg, const char* add) {
  char* p = ky_strdup("head:");
  if (!p) return Ran::Exhausted;
  char* const before = p;
  char* r = dbg ? ky_strnnapp_dbg(1, 2, 3, &p, 100, add, 100) : ky_strnnapp(&p, 100, add, 100);
  if (!r) {
    EXPECT_EQ(p, before);
    EXPECT_STREQ(p, "head:");
    ky_free(p);
    return Ran::Exhausted;
  }
  EXPECT_EQ(r, p);
  const Ran ran = ExpectBlock(p, std::string("head:") + add);
  return ran;
}

// A text buffer whose load or extension failed is cleared, or keeps its
// text, and stays usable: the same object loads again.
Ran LoadText(const char* text) {
  const std::string path = g_logPath + ".text";
  std::ofstream(path, std::ios::binary) << text;
  ky::TextBuffer buffer(16);
  const bool loaded = buffer.LoadFile(path.c_str());
  size_t n = 0;
  const char* line = buffer.ReadLine(&n, '\n');
  if (!loaded) {
    EXPECT_EQ(line, nullptr);
    return Ran::Exhausted;
  }
  EXPECT_EQ(std::string(line, n), text);
  return Ran::Complete;
}

Ran ExtendText(const char* text) {
  ky::TextBuffer buffer(16);
  char* block = ky_strdup(text);
  if (!block) return Ran::Exhausted;
  buffer.SetBuffer(block, 0, 0);
  const bool grown = buffer._ExtendBuffer(64);
  size_t n = 0;
  const char* line = buffer.ReadLine(&n, '\n');
  EXPECT_EQ(std::string(line, n), text) << "an extension must keep the text";
  return grown ? Ran::Complete : Ran::Exhausted;
}

struct Row {
  // The entry as the ABI lists print it.
  const char* name;
  // Text the driver hands to the run in a block of its own from ky_malloc.
  const char* input;
  Ran (*run)(const char* input);
};

const char* kArgs[] = {"one", "two"};
const std::string kDump =
    "00000000  73 77 65 65 70 20 69 6e 70 75 74 20 31 32 33 34  sweep input 1234\n";

const Row kRows[] = {
    {"ky_strdup", "sweep input 1234", [](const char* s) { return ExpectBlock(ky_strdup(s), s); }},
    {"ky_strdup_dbg", "sweep input 1234",
     [](const char* s) { return ExpectBlock(ky_strdup_dbg(1, 2, 3, s), s); }},
    {"ky_strndup", "sweep input 1234",
     [](const char* s) { return ExpectBlock(ky_strndup(s, 5), "sweep"); }},
    {"ky_strndup_dbg", "sweep input 1234",
     [](const char* s) { return ExpectBlock(ky_strndup_dbg(1, 2, 3, s, 5), "sweep"); }},
    {"ky_FormatMessage", "{1} and {0}",
     [](const char* s) { return ExpectBlock(ky_FormatMessage(s, 2, kArgs), "two and one"); }},
    {"ky_FormatMessage_dbg", "{1} and {0}",
     [](const char* s) {
       return ExpectBlock(ky_FormatMessage_dbg(1, 2, 3, s, 2, kArgs), "two and one");
     }},
    {"ky_FormatMessageVa", "{1} and {0}",
     [](const char* s) { return ExpectBlock(FormatVa(false, s, 2, "a", "b"), "b and a"); }},
    {"ky_FormatMessageVa_dbg", "{1} and {0}",
     [](const char* s) { return ExpectBlock(FormatVa(true, s, 2, "a", "b"), "b and a"); }},
    {"ky_FormatMessageWithArgs", "{1} and {0}",
     [](const char* s) {
       return ExpectBlock(ky_FormatMessageWithArgs(s, 2, "a", "b"), "b and a");
     }},
    {"ky_FormatMessageWithArgs_dbg", "{1} and {0}",
     [](const char* s) {
       return ExpectBlock(ky_FormatMessageWithArgs_dbg(1, 2, 3, s, 2, "a", "b"), "b and a");
     }},
    {"ky_log_hexdump", "sweep input 1234",
     [](const char* s) { return ExpectBlock(ky_log_hexdump(s, 16, 16), kDump); }},
    {"ky_log_hexdump_ex", "sweep input 1234",
     [](const char* s) {
       return ExpectBlock(ky_log_hexdump_ex("> ", "\n", s, 16, 16), "> " + kDump);
     }},
    {"ky_log_ex_va", "record text",
     [](const char* s) {
       return HoldThenRelease(
           s, [](LogFileHandle** slot, const char* t) { LogVa(slot, OpenAndHold, "%s", t); });
     }},
    {"ky_log_ex_print_va", "printed text",
     [](const char* s) {
       return HoldThenRelease(
           s, [](LogFileHandle** slot, const char* t) { PrintVa(slot, OpenAndHold, "%s", t); });
     }},
    {"ky_log_ex_writetext", "plain text",
     [](const char* s) {
       return HoldThenRelease(s, [](LogFileHandle** slot, const char* t) {
         ky_log_ex_writetext(g_logPath.c_str(), slot, OpenAndHold, 0, t);
       });
     }},
    {"ky_log_ex_writedata", "raw bytes",
     [](const char* s) {
       return HoldThenRelease(s, [](LogFileHandle** slot, const char* t) {
         ky_log_ex_writedata(g_logPath.c_str(), slot, OpenAndHold, t, std::strlen(t));
       });
     }},
    {"ky::log::Lock(char const*, int, char const*) const", "locked text", &LoggerLock},
    {"ky_strduplwr", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strduplwr(s), "sweep input"); }},
    {"ky_strduplwr_dbg", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strduplwr_dbg(1, 2, 3, s), "sweep input"); }},
    {"ky_strdupupr", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strdupupr(s), "SWEEP INPUT"); }},
    {"ky_strdupupr_dbg", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strdupupr_dbg(1, 2, 3, s), "SWEEP INPUT"); }},
    {"ky_strnduplwr", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strnduplwr(s, 5), "sweep"); }},
    {"ky_strnduplwr_dbg", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strnduplwr_dbg(1, 2, 3, s, 5), "sweep"); }},
    {"ky_strndupupr", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strndupupr(s, 5), "SWEEP"); }},
    {"ky_strndupupr_dbg", "Sweep Input",
     [](const char* s) { return ExpectBlock(ky_strndupupr_dbg(1, 2, 3, s, 5), "SWEEP"); }},
    {"ky_SplitString", "a,b;c",
     [](const char* s) {
       return RunSplit([s](char*** f, size_t* n) { return ky_SplitString(s, ',', f, n); }, "a|b;c");
     }},
    {"ky_SplitString_dbg", "a,b;c",
     [](const char* s) {
       return RunSplit(
           [s](char*** f, size_t* n) { return ky_SplitString_dbg(1, 2, 3, s, ',', f, n); },
           "a|b;c");
     }},
    {"ky_SplitStringEx", "a,b;c",
     [](const char* s) {
       return RunSplit([s](char*** f, size_t* n) { return ky_SplitStringEx(s, ",;", f, n); },
                       "a|b|c");
     }},
    {"ky_SplitStringEx_dbg", "a,b;c",
     [](const char* s) {
       return RunSplit(
           [s](char*** f, size_t* n) { return ky_SplitStringEx_dbg(1, 2, 3, s, ",;", f, n); },
           "a|b|c");
     }},
    {"ky::TextBuffer::LoadFile(char const*)", "line of text", &LoadText},
    {"ky::TextBuffer::_ExtendBuffer(unsigned long)", "line of text", &ExtendText},
    {"ky_strnnapp", "tail", [](const char* s) { return Append(false, s); }},
    {"ky_strnnapp_dbg", "tail", [](const char* s) { return Append(true, s); }},
};

// Which exported names allocate: those whose name holds a word that says
// they return a new block (kAllocating: duplicates, message templates, dumps,
// joins, splits, and every `_dbg` twin), less the few that only share the word
// (kNotAllocating). Each of them needs a row; a row may also cover an entry
// the pattern misses (the writers that hold a file), but must name an
// exported symbol.
const char* const kAllocating[] = {"dup",   "FormatMessage", "hexdump", "Split",
                                   "split", "Join",          "join",    "_dbg"};
const std::set<std::string> kNotAllocating = {
    "ky_log_hexdump_free",       "ky_JoinPath",
    "ky_SplitNameValue",         "ky_SplitNameValueEx",
    "ky_SplitNameValueMultiSep", "ky_SplitNameValueMultiSepEx"};

std::set<std::string> ExportedNames() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(KY_ABI_LIST_DIR)) {
    if (entry.path().extension() != ".txt") continue;
    std::ifstream in(entry.path());
    for (std::string line; std::getline(in, line);) {
      if (!line.empty()) names.insert(line);
    }
  }
  return names;
}

TEST(AllocSweepTable, CoversEveryAllocatingExport) {
  const std::set<std::string> exported = ExportedNames();
  ASSERT_FALSE(exported.empty()) << "no ABI lists in " << KY_ABI_LIST_DIR;
  std::set<std::string> rows;
  for (const Row& row : kRows) {
    EXPECT_TRUE(rows.insert(row.name).second) << "two rows for " << row.name;
    EXPECT_EQ(exported.count(row.name), 1u) << row.name << " is not exported";
  }
  for (const std::string& name : exported) {
    bool allocating = false;
    for (const char* mark : kAllocating) allocating |= name.find(mark) != std::string::npos;
    if (allocating && !kNotAllocating.count(name)) {
      EXPECT_EQ(rows.count(name), 1u) << name << " allocates but has no row in kRows";
    }
  }
}

class AllocSweep : public ::testing::Test {
 protected:
  void SetUp() override { g_logPath = dir_ / "sweep.log"; }
  ky::test::ScratchDir dir_;
};

TEST_F(AllocSweep, EveryRequestFailsInTurn) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    // The caller's block is taken before the scope: it must outlive every run.
    const size_t inputSize = std::strlen(row.input) + 1;
    char* input = static_cast<char*>(ky_malloc(inputSize));
    ASSERT_NE(input, nullptr);
    std::memcpy(input, row.input, inputSize);
    {
      ky::test::AllocScope scope;
      const auto run = [&](size_t failing) {
        ky::test::FailRequest(failing);
        const size_t before = ky::test::Requests();
        const Ran ran = row.run(input);
        const size_t made = ky::test::Requests() - before;
        ky::test::FailRequest(0);
        EXPECT_EQ(scope.Taken(), 0u) << "leak with request " << failing << " failing";
        EXPECT_EQ(ky::test::BlockSize(input), inputSize);
        EXPECT_STREQ(input, row.input) << "caller's block changed";
        return std::make_pair(ran, made);
      };
      const auto [first, requests] = run(0);
      EXPECT_EQ(first, Ran::Complete);
      EXPECT_GE(requests, 1u) << "a row whose call takes no memory";
      for (size_t k = 1; k <= requests; ++k) {
        const auto [ran, made] = run(k);
        EXPECT_EQ(ran, Ran::Exhausted) << "request " << k << " of " << requests << " failed unseen";
        EXPECT_GE(made, k) << "failing request " << k << " was never made";
      }
      EXPECT_EQ(run(0).first, Ran::Complete) << "no recovery after the failures";
    }
    ky_free(input);
  }
}

// An allocator that answers a request for 0 bytes with null is allowed; the
// message forms that borrow an empty argument array must report it as
// exhaustion, and the others must not be affected.
TEST_F(AllocSweep, NullForZeroBytes) {
  ky::test::AllocScope scope;
  ky::test::NullForZeroBytes(true);
  EXPECT_EQ(ky_FormatMessageWithArgs("plain", 0), nullptr);
  EXPECT_EQ(ExpectBlock(ky_FormatMessage("plain", 0, nullptr), "plain"), Ran::Complete);
  EXPECT_EQ(ExpectBlock(ky_strdup(""), ""), Ran::Complete);
}

// Rows for the entries that allocate with operator new. A run reports
// Exhausted when the call threw std::bad_alloc or returned the null its
// contract gives; a failed run leaves no block behind, a complete one only
// the blocks the entry keeps on purpose.
struct NewRow {
  const char* name;
  long kept;  // blocks a complete run keeps for the process
  std::function<Ran()> run;
};

const unsigned kKey[3] = {1, 2, 3};

Ran Draws(const ky::random& r) {
  // A generator that came through is a working one.
  const unsigned a = r.get<unsigned>(0, 999), b = r.get<unsigned>(0, 999);
  EXPECT_TRUE(a < 1000 && b < 1000);
  return Ran::Complete;
}

template <typename Make>
Ran Construct(Make make) {
  try {
    return Draws(*make());
  } catch (const std::bad_alloc&) {
    return Ran::Exhausted;
  }
}

const NewRow kNewRows[] = {
    // The shared UUID generator is made by the first UUID of the process and
    // must be retried after a failure; the row comes first so that no other
    // row has made it.
    {"ky::uuid::uuid(bool)", 2,
     [] {
       try {
         ky::uuid id(true);
         EXPECT_EQ(id.value()[6] >> 4, 4);
         return Ran::Complete;
       } catch (const std::bad_alloc&) {
         EXPECT_EQ(ky::uuid::prand_, nullptr);
         return Ran::Exhausted;
       }
     }},
    {"MT_create_rand", 0,
     [] {
       MtState* s = MT_create_rand(5489);
       if (!s) return Ran::Exhausted;
       MT_destroy_rand(&s);
       return Ran::Complete;
     }},
    {"MT_create_rand2", 0,
     [] {
       MtState* s = MT_create_rand2(kKey, 3);
       if (!s) return Ran::Exhausted;
       MT_destroy_rand(&s);
       return Ran::Complete;
     }},
    {"ky::random::random()", 0,
     [] { return Construct([] { return std::make_unique<ky::random>(); }); }},
    {"ky::random::random(unsigned int, bool)", 0,
     [] { return Construct([] { return std::make_unique<ky::random>(7u, true); }); }},
    {"ky::random::random(unsigned int const*, int, bool)", 0,
     [] { return Construct([] { return std::make_unique<ky::random>(kKey, 3, true); }); }},
    {"ky::random::randomize(unsigned int const*, int) const", 0,
     [] {
       new_sweep::armed = false;
       ky::random r(7u);
       new_sweep::armed = true;
       try {
         r.randomize(kKey, 3);
       } catch (const std::bad_alloc&) {
         Draws(r);
         return Ran::Exhausted;
       }
       return Draws(r);
     }},
};

// The k-th request fails for k = 1, 2, ... until a run makes fewer than k
// requests, which is then the run that completed: this order also reaches
// the one-time allocations, which a counting run first would use up.
TEST(AllocSweepNew, EveryRequestFailsInTurn) {
  const std::set<std::string> exported = ExportedNames();
  for (const NewRow& row : kNewRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(exported.count(row.name), 1u) << row.name << " is not exported";
    size_t failures = 0;
    for (size_t k = 1;; ++k) {
      new_sweep::requests = 0;
      new_sweep::failing = k;
      new_sweep::live = 0;
      new_sweep::armed = true;
      const Ran ran = row.run();
      new_sweep::armed = false;
      if (new_sweep::requests < k) {
        EXPECT_EQ(ran, Ran::Complete);
        EXPECT_EQ(new_sweep::live, row.kept) << "leak in the complete run";
        break;
      }
      EXPECT_EQ(new_sweep::live, 0) << "leak with request " << k << " failing";
      EXPECT_EQ(ran, Ran::Exhausted) << "request " << k << " failed unseen";
      ++failures;
    }
    EXPECT_GE(failures, 1u) << "a row whose call takes no memory";
  }
  char hex[33];
  EXPECT_NE(ky_uuid_get_hex(hex, sizeof hex, 1), nullptr);
}

}  // namespace
