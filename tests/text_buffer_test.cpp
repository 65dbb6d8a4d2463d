#include "ky/text_buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ky/memory.h"
#include "support/scratch.h"
#include "support/test_allocator.h"

namespace {

using namespace ky::test;

// A block from the hooks holding exactly the bytes of s, without a NUL unless
// s has one, so ASan catches any read past the size given to SetBuffer.
char* Block(const std::string& s) {
  char* p = static_cast<char*>(ky_malloc(s.size()));
  std::memcpy(p, s.data(), s.size());
  return p;
}

// A block from the hooks holding s and its NUL.
char* Terminated(const char* s) { return Block(std::string(s) + '\0'); }

std::vector<std::string> ReadAll(ky::TextBuffer& text, char delimiter) {
  std::vector<std::string> lines;
  size_t n = 99;
  for (const char* line; (line = text.ReadLine(&n, delimiter));) lines.emplace_back(line, n);
  EXPECT_EQ(n, 0u);
  // The end is sticky, and the length pointer is optional.
  EXPECT_EQ(text.ReadLine(nullptr, delimiter), nullptr);
  return lines;
}

TEST(TextBuffer, ReadLineSplitsAfterEachDelimiter) {
  struct Case {
    const char* text;
    char delimiter;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {"a\nbc", '\n', {"a\n", "bc"}},
      {"a\nbc\n", '\n', {"a\n", "bc\n"}},
      {"a\n\nb", '\n', {"a\n", "\n", "b"}},
      {"\n\n", '\n', {"\n", "\n"}},
      {"", '\n', {}},
      {"x,y,,z", ',', {"x,", "y,", ",", "z"}},
      {"no delimiter", '\n', {"no delimiter"}},
      // Delimiter 0 only ever meets the end: the rest is one line.
      {"a\nb\n", '\0', {"a\nb\n"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    AllocScope scope;
    ky::TextBuffer text(0);
    ASSERT_TRUE(text.SetBuffer(Terminated(c.text), 0, 0));
    EXPECT_EQ(ReadAll(text, c.delimiter), c.lines);
    EXPECT_EQ(std::string(text.GetBuffer()), c.text);  // reading changes nothing
  }
}

TEST(TextBuffer, SetBufferSizesTheText) {
  struct Case {
    std::string bytes;  // the whole block
    size_t size, textLength, length, capacity;
  };
  const Case cases[] = {
      {std::string(10, 'x'), 10, 20, 9, 10},  // a length past the block is cut
      {std::string(10, 'x'), 10, 10, 9, 10},
      {std::string(10, 'x'), 10, 3, 3, 10},
      {std::string("abc\0xxxxxx", 10), 10, 0, 3, 10},
      {"abcd", 4, 0, 3, 4},  // measured within size - 1 bytes only
      {std::string("abc\0", 4), 0, 0, 3, 4},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.bytes.c_str());
    AllocScope scope;
    ky::TextBuffer text(0);
    char* block = Block(c.bytes);
    ASSERT_TRUE(text.SetBuffer(block, c.size, c.textLength));
    EXPECT_EQ(text.GetBuffer(), block);
    EXPECT_EQ(text.GetCursor(), block);
    EXPECT_EQ(text.GetLength(), c.length);
    EXPECT_EQ(text.GetCapacity(), c.capacity);
    EXPECT_EQ(block[c.length], '\0');
  }
}

// A length given by the caller holds even across NUL bytes of the text.
TEST(TextBuffer, GivenLengthReadsPastEmbeddedNul) {
  AllocScope scope;
  ky::TextBuffer text(0);
  ASSERT_TRUE(text.SetBuffer(Block(std::string("a\0b\nc\0", 7)), 7, 5));
  EXPECT_EQ(ReadAll(text, '\n'), (std::vector<std::string>{std::string("a\0b\n", 4), "c"}));
}

TEST(TextBuffer, AdoptsAndReleasesBlocks) {
  AllocScope scope;
  char* kept = nullptr;
  {
    ky::TextBuffer text(0);
    ASSERT_TRUE(text.SetBuffer(Terminated("one"), 4, 0));
    ASSERT_TRUE(text.SetBuffer(Terminated("two"), 4, 0));
    EXPECT_EQ(scope.Taken(), 1u);  // the first block was freed
    kept = text.GetBuffer();
    ASSERT_TRUE(text.SetBuffer(kept, 4, 0));  // adopting its own block again
    EXPECT_EQ(BlockSize(kept), 4u);

    // A null text clears but keeps the block.
    text.ReadLine(nullptr, '\n');
    EXPECT_FALSE(text.SetBuffer(nullptr, 4, 0));
    EXPECT_EQ(text.GetBuffer(), kept);
    EXPECT_EQ(text.GetLength(), 0u);
    EXPECT_EQ(text.GetCursor(), kept);
    EXPECT_EQ(kept[0], '\0');

    size_t capacity = 0;
    EXPECT_EQ(text.ReleaseBuffer(&capacity), kept);
    EXPECT_EQ(capacity, 4u);
    EXPECT_EQ(text.GetBuffer(), nullptr);
    EXPECT_EQ(text.GetCapacity(), 0u);
    EXPECT_EQ(text.GetCursor(), nullptr);
    EXPECT_EQ(text.ReadLine(nullptr, '\n'), nullptr);
    EXPECT_EQ(text.ReleaseBuffer(&capacity), nullptr);
    EXPECT_EQ(capacity, 0u);
  }
  EXPECT_EQ(BlockSize(kept), 4u);  // the destructor left the released block alone
  ky_free(kept);
}

TEST(TextBuffer, ExtendKeepsTheCursorWhenTheBlockMoves) {
  AllocScope scope;
  ky::TextBuffer text(7);
  ASSERT_TRUE(text.SetBuffer(Terminated("first\nsecond\n"), 0, 0));
  size_t n;
  ASSERT_NE(text.ReadLine(&n, '\n'), nullptr);
  const size_t offset = static_cast<size_t>(text.GetCursor() - text.GetBuffer());

  // Large enough that the block cannot grow where it is in most allocators.
  ASSERT_TRUE(text._ExtendBuffer(1 << 20));
  EXPECT_EQ(text.GetCapacity(), (1u << 20) + 13 + 7 + 1);
  EXPECT_EQ(BlockSize(text.GetBuffer()), text.GetCapacity());
  EXPECT_EQ(static_cast<size_t>(text.GetCursor() - text.GetBuffer()), offset);
  EXPECT_EQ(text.GetLength(), 13u);
  const char* line = text.ReadLine(&n, '\n');
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(std::string(line, n), "second\n");

  // Failure changes nothing.
  char* before = text.GetBuffer();
  FailRequest(1);
  EXPECT_FALSE(text._ExtendBuffer(1));
  EXPECT_EQ(text.GetBuffer(), before);
  EXPECT_EQ(text.GetCapacity(), (1u << 20) + 21);
  EXPECT_FALSE(text._ExtendBuffer(SIZE_MAX - 5));  // the size would overflow
  EXPECT_EQ(text.GetCapacity(), (1u << 20) + 21);
}

TEST(TextBuffer, ExtendWithoutBlockMakesAnEmptyOne) {
  AllocScope scope;
  ky::TextBuffer text(4);
  ASSERT_TRUE(text._ExtendBuffer(3));
  ASSERT_NE(text.GetBuffer(), nullptr);
  EXPECT_EQ(text.GetCapacity(), 8u);
  EXPECT_EQ(text.GetCursor(), text.GetBuffer());
  EXPECT_EQ(text.ReadLine(nullptr, '\n'), nullptr);
}

TEST(TextBuffer, LoadFile) {
  ScratchDir dir;
  const std::string lines = dir / "lines", nul = dir / "nul", empty = dir / "empty";
  std::ofstream(lines, std::ios::binary) << "one\n\nthree";
  std::ofstream(nul, std::ios::binary) << std::string("ab\0cd", 5);
  std::ofstream(empty, std::ios::binary);
  AllocScope scope;
  ky::TextBuffer text(0);

  ASSERT_TRUE(text.LoadFile(lines.c_str()));
  EXPECT_EQ(ReadAll(text, '\n'), (std::vector<std::string>{"one\n", "\n", "three"}));
  EXPECT_EQ(text.GetCapacity(), 11u);

  // The text stops at the NUL byte; the block holds the whole file.
  ASSERT_TRUE(text.LoadFile(nul.c_str()));
  EXPECT_EQ(text.GetLength(), 2u);
  EXPECT_EQ(text.GetCapacity(), 6u);
  EXPECT_EQ(std::memcmp(text.GetBuffer(), "ab\0cd", 6), 0);
  EXPECT_EQ(ReadAll(text, '\n'), std::vector<std::string>{"ab"});

  ASSERT_TRUE(text.LoadFile(empty.c_str()));
  EXPECT_EQ(text.GetLength(), 0u);
  EXPECT_EQ(text.GetCapacity(), 1u);
  EXPECT_EQ(scope.Taken(), 1u);  // each load replaced the block before it

  // A file of many megabytes takes the path that advises huge pages; every
  // byte must still arrive in place.
  const std::string big = dir / "big";
  std::string content(9u << 20, 'x');
  for (size_t i = 0; i < content.size(); i += 4093) content[i] = '\n';
  std::ofstream(big, std::ios::binary) << content;
  ASSERT_TRUE(text.LoadFile(big.c_str()));
  ASSERT_EQ(text.GetLength(), content.size());
  EXPECT_TRUE(std::string(text.GetBuffer(), text.GetLength()) == content);
}

TEST(TextBuffer, FailedLoadLeavesTheObjectClearedAndUsable) {
  ScratchDir dir;
  const std::string path = dir / "lines";
  std::ofstream(path, std::ios::binary) << "a\nb\n";
  AllocScope scope;
  ky::TextBuffer text(0);
  // No memory, no file, a directory.
  const std::string failures[] = {path, dir / "missing", dir.path};
  for (const std::string& p : failures) {
    SCOPED_TRACE(p);
    ASSERT_TRUE(text.LoadFile(path.c_str()));
    text.ReadLine(nullptr, '\n');  // cursor mid-text
    char* block = text.GetBuffer();
    if (p == path) FailRequest(1);
    EXPECT_FALSE(text.LoadFile(p.c_str()));
    EXPECT_EQ(text.GetBuffer(), block);
    EXPECT_EQ(text.GetCapacity(), 5u);
    EXPECT_EQ(text.GetLength(), 0u);
    EXPECT_EQ(text.GetCursor(), block);
    EXPECT_EQ(text.ReadLine(nullptr, '\n'), nullptr);
    EXPECT_EQ(scope.Taken(), 1u);
  }
  EXPECT_FALSE(text.LoadFile(nullptr));
  ASSERT_TRUE(text.LoadFile(path.c_str()));
  EXPECT_EQ(ReadAll(text, '\n'), (std::vector<std::string>{"a\n", "b\n"}));
}

}  // namespace
