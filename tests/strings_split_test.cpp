// Splitting into fields and name=value pairs, against a naive model on random
// text, with the allocation failure of each block.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/test_allocator.h"

namespace {

std::vector<std::string> Fields(char* text, char** fields, size_t count) {
  std::vector<std::string> out;
  for (size_t i = 0; i < count; ++i) out.emplace_back(fields[i]);
  ky_free(fields);
  ky_free(text);
  return out;
}

std::vector<std::string> Model(const std::string& s, const std::string& seps) {
  std::vector<std::string> out(1);
  for (char c : s) {
    if (c != '\0' && seps.find(c) != std::string::npos) {
      out.emplace_back();
    } else {
      out.back() += c;
    }
  }
  return out;
}

TEST(Split, AgainstModel) {
  ky::test::AllocScope scope;
  std::mt19937 rng(3);
  const std::string alphabet = "ab ,;\t\n";
  for (int round = 0; round < 2000; ++round) {
    std::string s;
    for (size_t i = rng() % 10; i; --i) s += alphabet[rng() % alphabet.size()];
    char** fields;
    size_t count;
    char* text = ky_SplitString(s.c_str(), ',', &fields, &count);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(Fields(text, fields, count), Model(s, ",")) << s;
    text = ky_SplitStringEx(s.c_str(), ",;\t", &fields, &count);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(Fields(text, fields, count), Model(s, ",;\t")) << s;
  }
}

TEST(Split, EdgesAndExhaustion) {
  ky::test::AllocScope scope;
  char** fields;
  size_t count;
  using V = std::vector<std::string>;
  char* text = ky_SplitString("a,,b,", ',', &fields, &count);
  EXPECT_EQ(Fields(text, fields, count), (V{"a", "", "b", ""}));
  text = ky_SplitString("", ',', &fields, &count);
  EXPECT_EQ(Fields(text, fields, count), (V{""}));
  text = ky_SplitString("a,b", '\0', &fields, &count);  // NUL splits nothing
  EXPECT_EQ(Fields(text, fields, count), (V{"a,b"}));
  text = ky_SplitStringEx("a b;c", "", &fields, &count);
  EXPECT_EQ(Fields(text, fields, count), (V{"a b;c"}));

  EXPECT_EQ(ky_SplitString(nullptr, ',', &fields, &count), nullptr);
  EXPECT_EQ(fields, nullptr);
  EXPECT_EQ(count, 0u);
  // Either block failing leaves nothing allocated and both outputs cleared.
  for (size_t nth : {1, 2}) {
    ky::test::FailRequest(nth);
    EXPECT_EQ(ky_SplitString_dbg(1, 2, 3, "a,b", ',', &fields, &count), nullptr);
    EXPECT_EQ(fields, nullptr);
    EXPECT_EQ(count, 0u);
    ky::test::FailRequest(nth);
    EXPECT_EQ(ky_SplitStringEx_dbg(1, 2, 3, "a,b", ",", &fields, &count), nullptr);
    EXPECT_EQ(scope.Taken(), 0u);
  }
}

// A reported part, "<null>" for a null start.
std::string Part(const char* p, size_t n) { return p ? std::string(p, n) : "<null>"; }

TEST(SplitNameValue, Cases) {
  struct Case {
    const char* text;
    size_t n;
    const char* seps;
    int trim_name, trim_value;
    int found;
    const char* name;
    const char* value;
  };
  const Case cases[] = {
      {" key = some value ", 0, "=", 1, 1, 1, "key", "some value"},
      {" key = some value ", 0, "=", 0, 0, 1, " key ", " some value "},
      {"key", 0, "=", 1, 1, 0, "key", "<null>"},
      {"=v", 0, "=", 1, 1, 1, "<null>", "v"},
      {"k=", 0, "=", 1, 1, 1, "k", "<null>"},
      {"k=  ", 0, "=", 1, 1, 1, "k", "<null>"},
      {"a=b=c", 0, "=", 1, 1, 1, "a", "b=c"},
      {"a:b=c", 0, "=:", 1, 1, 1, "a", "b=c"},
      {"ab=cd", 4, "=", 1, 1, 1, "ab", "c"},
      {"ab=", 3, "=", 1, 1, 1, "ab", "<null>"},
      {"ab=cd", 2, "=", 1, 1, 0, "ab", "<null>"},
      {"  ", 0, "=", 1, 1, 0, "<null>", "<null>"},
      {"a=b", 0, nullptr, 1, 1, 0, "a=b", "<null>"},
      {"a=b", 0, "", 1, 1, 0, "a=b", "<null>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " n=" + std::to_string(c.n));
    const char *name = "x", *value = "x";
    size_t name_len = 99, value_len = 99;
    const int found = ky_SplitNameValueMultiSepEx(c.text, c.n, c.seps, 0, c.trim_name, c.trim_value,
                                                  &name, &name_len, &value, &value_len);
    EXPECT_EQ(found, c.found);
    EXPECT_EQ(Part(name, name_len), c.name);
    EXPECT_EQ(Part(value, value_len), c.value);
    EXPECT_TRUE(name || name_len == 0);
    EXPECT_TRUE(value || value_len == 0);
  }
  const char *name, *value;
  size_t nl, vl;
  EXPECT_EQ(ky_SplitNameValue(" k = v ", '=', &name, &nl, &value, &vl), 1);
  EXPECT_EQ(Part(name, nl) + "|" + Part(value, vl), "k|v");
  EXPECT_EQ(ky_SplitNameValueEx(" k = v ", 0, '=', 0, 1, &name, &nl, &value, &vl), 1);
  EXPECT_EQ(Part(name, nl) + "|" + Part(value, vl), " k |v");
  EXPECT_EQ(ky_SplitNameValueMultiSep("k: v", ":=", 1, &name, &nl, &value, &vl), 1);
  EXPECT_EQ(Part(name, nl) + "|" + Part(value, vl), "k|v");
  EXPECT_EQ(ky_SplitNameValue(nullptr, '=', &name, &nl, &value, &vl), 0);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(value, nullptr);
}

}  // namespace
