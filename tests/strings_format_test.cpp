// Bounded printf forms, cursor forms and message templates.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/test_allocator.h"

namespace {

using ky::test::AllocScope;

TEST(Snprintf, FitsCutsAndRefuses) {
  char buf[8];
  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ky_snprintf(buf, 4, "%s", "abcdef"), -1);
  EXPECT_EQ(std::string(buf, 5), std::string("abc\0#", 5));
  EXPECT_EQ(ky_snzprintf(buf, 4, "%s", "abcdef"), 3);
  EXPECT_STREQ(buf, "abc");
  EXPECT_EQ(ky_snprintf(buf, 8, "%d-%s", 42, "x"), 4);
  EXPECT_STREQ(buf, "42-x");
  EXPECT_EQ(ky_snzprintf(buf, 8, "%d", 7), 1);
  // Exactly full is a cut: the NUL takes the last byte.
  EXPECT_EQ(ky_snprintf(buf, 4, "abcd"), -1);
  EXPECT_STREQ(buf, "abc");

  std::memset(buf, '#', sizeof buf);
  EXPECT_EQ(ky_snprintf(buf, 0, "abc"), 0);
  EXPECT_EQ(ky_snzprintf(buf, 0, "abc"), 0);
  EXPECT_EQ(ky_snprintf(nullptr, 8, "abc"), 0);
  EXPECT_EQ(ky_snprintf(buf, 8, nullptr), 0);
  EXPECT_EQ(ky_snprintf(buf, SIZE_MAX, "abc"), 0);  // the end address wraps: no room
  EXPECT_EQ(std::string(buf, 8), std::string(8, '#'));
}

TEST(SnprintfEx, PiecesAppendAndAdvance) {
  char buf[16];
  char* cursor = buf;
  size_t remaining = sizeof buf;
  EXPECT_EQ(ky_snprintf_ex(&cursor, &remaining, "%s", "ab"), buf);
  EXPECT_EQ(ky_snprintf_ex(&cursor, &remaining, "%s", "cd"), buf + 2);
  EXPECT_EQ(ky_snprintf_ex(&cursor, &remaining, "%s", "ef"), buf + 4);
  EXPECT_STREQ(buf, "abcdef");
  EXPECT_EQ(cursor, buf + 6);
  EXPECT_EQ(remaining, 10u);
  // An empty piece returns its start and moves nothing.
  EXPECT_EQ(ky_snprintf_ex(&cursor, &remaining, "%s", ""), buf + 6);
  EXPECT_EQ(cursor, buf + 6);
}

TEST(SnprintfEx, CutParksOnLastByteThenStepsBack) {
  char buf[8];
  char* cursor = buf;
  size_t remaining = sizeof buf;
  int raw = 99;
  EXPECT_EQ(ky_snprintf_ex2(&cursor, &remaining, &raw, "%s", "abcd"), buf);
  EXPECT_EQ(raw, 4);
  EXPECT_EQ(ky_snprintf_ex2(&cursor, &remaining, &raw, "%s", "efghij"), nullptr);
  EXPECT_EQ(raw, -1);
  EXPECT_EQ(cursor, buf + 7);
  EXPECT_EQ(remaining, 0u);
  EXPECT_STREQ(buf, "abcdefg");
  // With nothing left, the next call loses the last character: callers stop
  // at the first null result.
  EXPECT_EQ(ky_snprintf_ex(&cursor, &remaining, "%s", "x"), nullptr);
  EXPECT_EQ(cursor, buf + 6);
  EXPECT_STREQ(buf, "abcdef");
  EXPECT_EQ(ky_snprintf_ex(nullptr, &remaining, "x"), nullptr);
  EXPECT_EQ(ky_snprintf_ex(&cursor, nullptr, "x"), nullptr);
}

char* VaForm(const char* fmt, int count, ...) {
  va_list args;
  va_start(args, count);
  char* r = ky_FormatMessageVa(fmt, count, args);
  va_end(args);
  return r;
}

struct TemplateCase {
  const char* fmt;
  std::string expected;
};

// Every template is expanded with the arguments {"x", "y", null}.
TEST(FormatMessage, TemplateTable) {
  const TemplateCase cases[] = {
      {"{0} and {1}", "x and y"},
      {"'{0}'", "{0}"},
      {"it''s", "it's"},
      {"'it''s {1}' {1}", "it's {1} y"},
      {"{3}", "{3}"},
      {"{0", "{0"},
      {"{x}", "{x}"},
      {"{-1}", "{-1}"},
      {"{2}|", "|"},  // a null argument expands to nothing
      {"{99999999999999999999}", "{99999999999999999999}"},
      {"{0}{0}{1}{0}", "xxyx"},  // an argument named many times
      {"{00}", "x"},
      {"a\\nb", "a\nb"},
      {"\\a\\b\\t\\v\\f\\r\\\"\\'\\?\\\\", "\a\b\t\v\f\r\"'?\\"},
      {"\\101", "A"},
      {"\\1012", "A2"},
      {"\\7", "\7"},
      {"\\8", "\\8"},
      {"\\477", "?"},  // low eight bits of octal 477
      {"\\x41", "A"},
      {"\\x4", "\\x4"},
      {"\\x4g", "\\x4g"},
      {"\\x-1", "\xff"},  // strtol takes the sign
      {"\\x 9", "\t"},
      {"\\xZZ", "\\xZZ"},
      {"\\q", "\\q"},
      {"end\\", "end\\"},
      {"'\\n{'", "\n{"},  // escapes work inside quotes
      {"'", ""},
      {"", ""},
  };
  const char* args[] = {"x", "y", nullptr};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fmt);
    AllocScope scope;
    char* r = ky_FormatMessage(c.fmt, 3, args);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(std::string(r), c.expected);
    ky_free(r);
  }
}

// Every form, with absent, uncounted and repeated arguments. The result of
// each call is a block of its own that the caller frees.
TEST(FormatMessage, FormsAndArguments) {
  AllocScope scope;
  const std::string big(5000, 'z');
  const char* args[] = {"x"};
  const char* bigs[] = {big.c_str()};
  const struct {
    char* result;
    std::string expected;
  } cases[] = {
      {ky_FormatMessage("[{0}]", 1, nullptr), "[]"},
      {ky_FormatMessage("[{0}]", 0, args), "[{0}]"},
      {ky_FormatMessage("[{0}]", -3, args), "[{0}]"},
      {ky_FormatMessage_dbg(1, 2, 3, "[{0}]", 1, args), "[x]"},
      {ky_FormatMessage("{0}-{0}-{0}", 1, bigs), big + "-" + big + "-" + big},
      {ky_FormatMessageWithArgs("{1}{0}", 2, "a", "b"), "ba"},
      {ky_FormatMessageWithArgs_dbg(0, 0, 0, "{0}", 1, "c"), "c"},
      {VaForm("{0}!", 1, "d"), "d!"},
      {ky_FormatMessageWithArgs("plain", 0), "plain"},
  };
  for (const auto& c : cases) {
    ASSERT_NE(c.result, nullptr) << c.expected;
    EXPECT_EQ(std::string(c.result), c.expected);
    EXPECT_GE(ky::test::BlockSize(c.result), c.expected.size() + 1);
    ky_free(c.result);
  }
  EXPECT_EQ(ky_FormatMessage(nullptr, 1, args), nullptr);
  EXPECT_EQ(ky_FormatMessageWithArgs("x", -1), nullptr);
  EXPECT_EQ(ky_FormatMessageWithArgs(nullptr, 1, "a"), nullptr);  // the array is freed
}

TEST(FormatMessage, ExhaustionLeaksNothing) {
  AllocScope scope;
  ky::test::FailRequest(1);
  EXPECT_EQ(ky_FormatMessage("{0}", 1, nullptr), nullptr);
  // The Va form makes two requests: the argument array, then the result.
  for (size_t nth : {1, 2}) {
    ky::test::FailRequest(nth);
    EXPECT_EQ(ky_FormatMessageWithArgs("{0}", 1, "a"), nullptr) << nth;
  }
  // The argument array is asked for even with count 0, so an allocator that
  // answers 0 bytes with null makes the whole call null.
  ky::test::NullForZeroBytes(true);
  EXPECT_EQ(ky_FormatMessageWithArgs("plain", 0), nullptr);
}

}  // namespace
