// Joins, fixed-width fields, spans, the bounded append and splitting. Every
// byte stored and not stored is checked against a sentinel-filled destination.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ky/memory.h"
#include "ky/strings.h"
#include "support/random_text.h"
#include "support/test_allocator.h"

namespace {

using namespace std::string_literals;

using ky::test::Text;

struct Dst {
  char buf[32];
  Dst() { std::memset(buf, '#', sizeof buf); }
  // The bytes up to the first sentinel: what the call stored, NULs shown.
  std::string Stored() const {
    return std::string(buf, static_cast<const char*>(std::memchr(buf, '#', sizeof buf)) - buf);
  }
};

using Fn = char* (*)(char*);
#define CALL(f, ...) [](char* d) { return f(d, __VA_ARGS__); }
// ky_str<x>cpy, its _ep twin and the measure ky_str<x>len on the same pieces.
#define JOIN(x, ...)                                                       \
  CALL(ky_str##x##cpy, __VA_ARGS__), CALL(ky_str##x##cpy_ep, __VA_ARGS__), \
      [] { return ky_str##x##len(__VA_ARGS__); }, #x "(" #__VA_ARGS__ ")"

const char* kArr[] = {"a", nullptr, "bc"};
const size_t kLens[] = {1, 4, 1};

// Stored bytes include the NUL; _ep returns, and the measure counts, up to it.
TEST(StrJoin, PlainEndAndMeasureAgree) {
  const std::tuple<Fn, Fn, size_t (*)(), const char*, std::string> cases[] = {
      {JOIN(a, 3, kArr), "abc\0"s},
      {JOIN(va, 3, "a", (char*)0, "bc"), "abc\0"s},
      {JOIN(vla, "ab", "", "c", (char*)0, "x"), "abc\0"s},
      // A cut piece stores no NUL; a short one's NUL is overwritten.
      {JOIN(an, 3, kArr, kLens), "ab\0"s},
      {JOIN(vlan, "abcd", (size_t)2, "xyz", (size_t)5, (char*)0), "abxyz\0"s},
      {JOIN(van, 2, "abcd", (size_t)0, "xyz", (size_t)2), "xy\0"s},
      // Empty lists store nothing at all...
      {JOIN(a, 0, kArr), ""},
      {JOIN(a, 2, nullptr), ""},
      {JOIN(a, 1, kArr + 1), ""},
      {JOIN(van, 0), ""},
      {JOIN(vlan, (char*)0), ""},
      // ...except the counted array join, which keeps storing a NUL for count 0.
      {JOIN(an, 0, kArr, kLens), "\0"s},
  };
  for (const auto& [plain, ep, measure, name, stored] : cases) {
    SCOPED_TRACE(name);
    const size_t len = stored.empty() ? 0 : stored.size() - 1;
    Dst d, e;
    EXPECT_EQ(plain(d.buf), d.buf);
    EXPECT_EQ(ep(e.buf), e.buf + len);
    EXPECT_EQ(measure(), len);
    EXPECT_EQ(d.Stored() + "|" + e.Stored(), stored + "|" + stored);
  }
  // Kept as is: without lens the counted array join stores whole strings and
  // returns dst even as _ep.
  Dst d;
  EXPECT_EQ(ky_strancpy_ep(d.buf, 3, kArr, nullptr), d.buf);
  EXPECT_EQ(d.Stored(), "abc\0"s);
  EXPECT_EQ(ky_stranlen(3, kArr, nullptr), 3u);
  EXPECT_EQ(ky_stracpy(nullptr, 3, kArr), nullptr);
  EXPECT_EQ(ky_strvlancpy(nullptr, "a", (size_t)1, (char*)0), nullptr);
}

TEST(StrFill, FieldsOfFixedWidth) {
  const std::pair<Fn, std::string> cases[] = {
      {CALL(ky_strnbcpy, "ab", 5), "ab   "},       {CALL(ky_strnbcpy, "abcdef", 3), "abc"},
      {CALL(ky_strnfcpy, nullptr, 3, '.'), "..."}, {CALL(ky_strnfcpy, "ab", 0, '.'), ""},
      {CALL(ky_strnbzcpy, "abcdef", 3), "abc\0"s}, {CALL(ky_strnfzcpy, "a", 3, '0'), "a00\0"s},
      {CALL(ky_strnfzcpy, "ab", 0, '.'), "\0"s},
  };
  for (const auto& [fill, stored] : cases) {
    Dst d;
    EXPECT_EQ(fill(d.buf), d.buf);
    EXPECT_EQ(d.Stored(), stored);
  }
  EXPECT_EQ(ky_strnbzcpy(nullptr, "a", 2), nullptr);

  // The cursor form cuts a field to what remains.
  Dst d;
  char* cursor = d.buf;
  size_t remaining = 9;
  EXPECT_EQ(ky_strnbcpy_ex(&cursor, &remaining, "ab", 4), d.buf);
  EXPECT_EQ(ky_strnfcpy_ex(&cursor, &remaining, "xyz", 3, '-'), d.buf + 4);
  // Only 2 of the 6 bytes fit: they are written, and the null result says so.
  EXPECT_EQ(ky_strnfcpy_ex(&cursor, &remaining, "12345678", 6, '-'), nullptr);
  EXPECT_EQ(d.Stored(), "ab  xyz12");
  EXPECT_EQ(cursor, d.buf + 9);
  EXPECT_EQ(remaining, 0u);
  EXPECT_EQ(ky_strnbcpy_ex(&cursor, &remaining, "a", 0), cursor);  // width 0 always fits
  EXPECT_EQ(ky_strnbcpy_ex(nullptr, &remaining, "a", 1), nullptr);
}

std::string g_set;  // the span set, also seen by the predicate
int InSet(int c) { return c >= 0 && c <= 255 && g_set.find(static_cast<char>(c)) != g_set.npos; }

// Sets of every size, both sides of the 4-byte boundary where the set test
// changes. The predicate must get bytes above 0x7F as unsigned char values.
// A span may read the byte at index n but no further: with n inside the text,
// its block ends right there.
TEST(StrSpan, AgainstModel) {
  std::mt19937 rng(7);
  const std::string alphabet = "ab =:,;\t\x80\xff";
  for (int round = 0; round < 3000; ++round) {
    const std::string s = Text(rng, alphabet, 11);
    g_set = Text(rng, alphabet, 6);
    const size_t n = rng() % 14, limit = n ? std::min(n, s.size()) : s.size();
    size_t spn = 0, cspn = 0;
    while (spn < limit && InSet(static_cast<unsigned char>(s[spn]))) ++spn;
    while (cspn < limit && !InSet(static_cast<unsigned char>(s[cspn]))) ++cspn;
    const std::vector<char> b(s.c_str(), s.c_str() + (n && n < s.size() ? n : s.size()) + 1);
    SCOPED_TRACE(s + "|" + g_set + "|" + std::to_string(n));
    EXPECT_EQ(ky_strnspn(b.data(), n, g_set.c_str(), 0), spn);
    EXPECT_EQ(ky_strncspn(b.data(), n, g_set.c_str(), g_set.size()), cspn);
    EXPECT_EQ(ky_strnfspn(b.data(), n, InSet), spn);
    EXPECT_EQ(ky_strnfcspn(b.data(), n, InSet), cspn);
  }
  EXPECT_EQ(ky_strncspn("abc", 0, nullptr, 0), 3u);
  EXPECT_EQ(ky_strnspn("abc", 0, nullptr, 0), 0u);
  EXPECT_EQ(ky_strnspn(nullptr, 0, "a", 0), 0u);
  EXPECT_EQ(ky_strnfspn("123", 0, nullptr), 0u);
}

TEST(StrAppend, GrowsTheCallersBlockExactly) {
  ky::test::AllocScope scope;
  char* p = ky_strdup("abc");
  ASSERT_EQ(ky_strnnapp(&p, 100, "defgh", 3), p);
  EXPECT_STREQ(p, "abcdef");
  EXPECT_EQ(ky::test::BlockSize(p), 7u);
  ASSERT_EQ(ky_strnnapp(&p, 2, "x", 5), p);  // the text is taken as its first 2 bytes
  EXPECT_STREQ(p, "abx");
  ASSERT_EQ(ky_strnnapp(&p, 0, "def", 3), p);  // bufn 0 replaces the text
  EXPECT_EQ(ky_strnnapp(&p, 100, "", 3), p);
  EXPECT_EQ(ky_strnnapp(&p, 100, nullptr, 3), p);
  EXPECT_STREQ(p, "def");
  // A failed resize keeps the caller's block and text.
  char* const before = p;
  ky::test::FailRequest(1);
  EXPECT_EQ(ky_strnnapp_dbg(1, 2, 3, &p, 100, "ghi", 3), nullptr);
  EXPECT_EQ(p, before);
  EXPECT_STREQ(p, "def");
  ky_free(p);

  char* fresh = nullptr;
  ASSERT_NE(ky_strnnapp(&fresh, 0, "defgh", 3), nullptr);
  EXPECT_STREQ(fresh, "def");
  EXPECT_EQ(ky::test::BlockSize(fresh), 4u);
  ky_free(fresh);
  EXPECT_EQ(ky_strnnapp(nullptr, 0, "a", 1), nullptr);
}

using Fields = std::vector<std::string>;
// The fields of a split, both blocks freed; {"<null>"} for a null result,
// which must come with both outputs cleared.
Fields Taken(char* text, char**& fields, size_t& count) {
  if (!text) return {fields || count ? "<not cleared>" : "<null>"};
  Fields out(fields, fields + count);
  ky_free(fields);
  ky_free(text);
  return out;
}

// Random separators too: a NUL separator and an empty set split nothing.
TEST(Split, AgainstModel) {
  ky::test::AllocScope scope;
  std::mt19937 rng(3);
  char *junk[1], **f = junk;
  size_t c = 9;
  for (int round = 0; round < 2000; ++round) {
    const std::string s = Text(rng, "ab ,;\t\n", 9), seps = Text(rng, "ab ,;\t\n", 3);
    const char sep = ",;\0"[rng() % 3];
    auto model = [&](const std::string& set) {
      Fields out{""};
      for (char ch : s)
        set.find(ch) == set.npos ? void(out.back() += ch) : void(out.emplace_back());
      return out;
    };
    EXPECT_EQ(Taken(ky_SplitString(s.c_str(), sep, &f, &c), f, c), model({sep})) << s << sep;
    EXPECT_EQ(Taken(ky_SplitStringEx(s.c_str(), seps.c_str(), &f, &c), f, c), model(seps))
        << s << seps;
  }
  // Null text, or either block refused: nothing is kept.
  for (size_t nth : {0, 1, 2}) {
    const char* s = nth ? "a,b" : nullptr;
    f = junk, c = 9;
    ky::test::FailRequest(nth);
    EXPECT_EQ(Taken(ky_SplitString_dbg(1, 2, 3, s, ',', &f, &c), f, c), Fields{"<null>"});
    f = junk, c = 9;
    ky::test::FailRequest(nth);
    EXPECT_EQ(Taken(ky_SplitStringEx_dbg(1, 2, 3, s, ",", &f, &c), f, c), Fields{"<null>"});
  }
}

// A name-value split's outputs as "found name value", each part as
// offset:text, or "-" for a null start (which must come with length 0).
struct Parts {
  const char *name = "x", *value = "x";
  size_t nl = 99, vl = 99;
  std::string Report(const char* s, int found) const {
    auto part = [&](const char* p, size_t n) {
      return p ? std::to_string(p - s) + ":" + std::string(p, n) : n ? "-len" : "-";
    };
    return std::to_string(found) + " " + part(name, nl) + " " + part(value, vl);
  }
};

// Model: name before the first separator, value after it (later separators
// included), each trimmed on request and null when empty. Counted text sits
// in an exact-size block with no NUL.
TEST(SplitNameValue, AgainstModel) {
  std::mt19937 rng(11);
  const std::pair<const char*, size_t> kSeps[] = {
      {nullptr, 0}, {"", 0}, {"=", 0}, {"=:", 0}, {":=", 1}};
  for (int round = 0; round < 3000; ++round) {
    const std::string s = Text(rng, "ab =:\t", 8);
    const size_t n = rng() % (s.size() + 1);
    const auto [seps, nseps] = kSeps[rng() % 5];
    const bool tn = rng() % 2, tv = rng() % 2;
    const std::string seen = n ? s.substr(0, n) : s, set = !seps ? "" : nseps ? ":" : seps;
    const size_t sep = std::min(seen.find_first_of(set), seen.size());
    auto part = [&](size_t b, size_t e, bool trim) -> std::string {
      while (trim && b < e && std::isspace(static_cast<unsigned char>(seen[b]))) ++b;
      while (trim && e > b && std::isspace(static_cast<unsigned char>(seen[e - 1]))) --e;
      return b == e ? "-" : std::to_string(b) + ":" + seen.substr(b, e - b);
    };
    const std::vector<char> block(s.c_str(), s.c_str() + (n ? n : s.size() + 1));
    const char* p = block.data();
    Parts r;
    const int found =
        ky_SplitNameValueMultiSepEx(p, n, seps, nseps, tn, tv, &r.name, &r.nl, &r.value, &r.vl);
    ASSERT_EQ(r.Report(p, found), std::to_string(sep < seen.size()) + " " + part(0, sep, tn) + " " +
                                      (sep < seen.size() ? part(sep + 1, seen.size(), tv) : "-"))
        << s << "|" << set << "|" << n << tn << tv;
  }
  // The wrappers: one separator byte, NUL-terminated text, trimmed parts.
  const char* t = " k = v:w ";
  Parts a, b, c, d;
  EXPECT_EQ(a.Report(t, ky_SplitNameValue(t, '=', &a.name, &a.nl, &a.value, &a.vl)), "1 1:k 5:v:w");
  EXPECT_EQ(b.Report(t, ky_SplitNameValueEx(t, 0, ':', 0, 1, &b.name, &b.nl, &b.value, &b.vl)),
            "1 0: k = v 7:w");
  EXPECT_EQ(c.Report(t, ky_SplitNameValueMultiSep(t, ":=", 1, &c.name, &c.nl, &c.value, &c.vl)),
            "1 1:k = v 7:w");
  EXPECT_EQ(d.Report(t, ky_SplitNameValue(nullptr, '=', &d.name, &d.nl, &d.value, &d.vl)), "0 - -");
}

}  // namespace
