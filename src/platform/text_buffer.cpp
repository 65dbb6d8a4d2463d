// ky::TextBuffer: one block from the memory hooks, read line by line in place.
#include "ky/text_buffer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "ky/memory.h"
#include "ky/strings.h"

namespace ky {
namespace {

// Reads size bytes into p, going on after a short read (regular files larger
// than one read call can carry, an interrupted call). Returns the bytes read,
// less than size only at end of file or on error.
size_t ReadFully(int fd, char* p, size_t size) {
  size_t got = 0;
  while (got < size) {
    const ssize_t r = ::read(fd, p + got, size - got);
    if (r > 0) {
      got += static_cast<size_t>(r);
    } else if (r == 0 || errno != EINTR) {
      break;
    }
  }
  return got;
}

// A large file lands in fresh memory that the read faults in page by page;
// asking for huge pages over the block's whole pages cuts those faults by
// hundreds, which is most of the load's cost. Advice only: the block stays
// the allocator's, and a kernel without the feature ignores it.
void AdviseLargeBlock(char* block, size_t size) {
  constexpr size_t kHuge = size_t{2} << 20;
  if (size < 2 * kHuge) return;
  const uintptr_t start = (reinterpret_cast<uintptr_t>(block) + kHuge - 1) & ~(kHuge - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + size) & ~(kHuge - 1);
  if (end > start) ::madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

}  // namespace

TextBuffer::TextBuffer(size_t growBy)
    : growBy(growBy), buffer(nullptr), length(0), capacity(0), cursor(nullptr) {}

TextBuffer::~TextBuffer() {
  if (buffer) ky_free(buffer);
}

void TextBuffer::Clear() {
  if (buffer) buffer[0] = '\0';
  length = 0;
  cursor = buffer;
}

bool TextBuffer::SetBuffer(char* text, size_t size, size_t textLength) {
  Clear();
  if (!text) return false;
  // Adopting the block already owned must not free it.
  if (buffer && buffer != text) ky_free(buffer);
  buffer = text;
  if (size != 0) {
    if (textLength == 0) {
      length = ky_strnlen(text, size - 1);
    } else {
      length = textLength < size ? textLength : size - 1;
    }
    text[length] = '\0';
    capacity = size;
  } else {
    length = std::strlen(text);
    capacity = length + 1;
  }
  cursor = buffer;
  return true;
}

bool TextBuffer::LoadFile(const char* path) {
  Clear();
  struct stat st;
  // Only a regular file has a size that says what a read will bring: a FIFO
  // would block the open, a directory fails the read.
  if (!path || ::stat(path, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0) return false;
  const size_t size = static_cast<size_t>(st.st_size);
  char* block = static_cast<char*>(ky_malloc(size + 1));
  if (!block) return false;
  AdviseLargeBlock(block, size);
  // Non-blocking in case the path became a FIFO after the status query;
  // a regular file reads the same either way.
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    ky_free(block);
    return false;
  }
  const size_t got = ReadFully(fd, block, size);
  ::close(fd);
  if (got < size) {
    ky_free(block);
    return false;
  }
  block[size] = '\0';
  // Measured up to the first NUL, so a file with a NUL byte reads as text
  // that ends there, while the capacity still covers every byte read.
  return SetBuffer(block, size + 1, 0);
}

char* TextBuffer::ReadLine(size_t* lineLength, char delimiter) {
  char* const end = buffer + length;
  if (!cursor || cursor == end) {
    if (lineLength) *lineLength = 0;
    return nullptr;
  }
  char* const line = cursor;
  const size_t rest = static_cast<size_t>(end - line);
  // A NUL delimiter would only ever meet the terminator, so the rest is one
  // line; the length decides even where the text holds NUL bytes.
  char* const hit =
      delimiter != '\0' ? static_cast<char*>(std::memchr(line, delimiter, rest)) : nullptr;
  cursor = hit ? hit + 1 : end;
  if (lineLength) *lineLength = static_cast<size_t>(cursor - line);
  return line;
}

char* TextBuffer::ReleaseBuffer(size_t* capacityOut) {
  char* const block = buffer;
  if (capacityOut) *capacityOut = capacity;
  buffer = nullptr;
  capacity = 0;
  Clear();
  return block;
}

bool TextBuffer::_ExtendBuffer(size_t more) {
  // Linear growth on purpose: each extension adds growBy beyond the request.
  size_t newCapacity;
  if (__builtin_add_overflow(more, length, &newCapacity) ||
      __builtin_add_overflow(newCapacity, growBy, &newCapacity) ||
      __builtin_add_overflow(newCapacity, size_t{1}, &newCapacity)) {
    return false;
  }
  // Taken before the resize: the old address must not be used once freed.
  const size_t offset = cursor ? static_cast<size_t>(cursor - buffer) : 0;
  char* const block = static_cast<char*>(ky_realloc(buffer, newCapacity));
  if (!block) return false;
  // A fresh block gets its terminator, so the empty text reads as empty.
  if (!buffer) block[0] = '\0';
  buffer = block;
  cursor = block + offset;
  capacity = newCapacity;
  return true;
}

}  // namespace ky
