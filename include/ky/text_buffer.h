// File: ky/text_buffer.h
//
// A growable text buffer that loads files and reads them line by line.
//
// ky::TextBuffer owns one heap block from ky_malloc holding a text and a
// terminating NUL. ReadLine hands out each line as a pointer into the block
// and a length, without copying and without changing the block, so a line is
// not NUL-terminated where it ends: use the length. A block can be adopted
// from a caller (SetBuffer) or handed back to one (ReleaseBuffer).
//
// Operations report failure by returning false or null and never throw. An
// object serves one thread at a time.
//   ky::TextBuffer text(0);
//   if (text.LoadFile("/etc/hosts")) {
//     size_t n;
//     for (const char* line; (line = text.ReadLine(&n, '\n'));) use(line, n);
//   }
#ifndef KY_TEXT_BUFFER_H
#define KY_TEXT_BUFFER_H

#include <stddef.h>

#include "ky/export.h"

namespace ky {

// One heap block of text from the memory hooks, read line by line in place.
// Not copyable; one object is used by one thread at a time.
class KY_API TextBuffer {
 public:
  // An empty object without a block; every later extension of the block adds
  // growBy bytes beyond what was asked.
  explicit TextBuffer(size_t growBy);

  // Frees the block, if any, with ky_free.
  virtual ~TextBuffer();

  // Replaces the content with the bytes of the file at path (symbolic links
  // followed). The text ends at the first NUL byte of the file, while the
  // capacity covers the whole file and its terminator. Only regular files
  // load: a directory, FIFO or device fails without blocking. The size is
  // taken first, so a file that grows meanwhile loads that many bytes. On
  // failure (missing, unreadable or not a regular file, a file that shrank,
  // no memory) returns false and leaves the object cleared: a block it held
  // stays, empty.
  virtual bool LoadFile(const char* path);

  // Empties the text: a block, if any, is kept with its capacity and gets its
  // terminator at the start; the cursor goes to the start of the block.
  void Clear();

  // Adopts text, a block from ky_malloc, in place of the current one (which is
  // freed). With size non-zero the block holds size bytes and the text is
  // textLength bytes long (at most size - 1; textLength 0 measures the text up
  // to its first NUL within size - 1 bytes); a NUL is written after the text.
  // With size 0 the text is NUL-terminated and the capacity is its length + 1.
  // A null text returns false after clearing, keeping the current block.
  bool SetBuffer(char* text, size_t size, size_t textLength);

  // Returns the next line and stores its length in *lineLength (when
  // lineLength is not null). A line ends after the next delimiter, which
  // counts in its length, or at the end of the text without one. At the end
  // of the text, or without a block, returns null and stores 0. A delimiter of
  // 0 returns the whole rest of the text as one line.
  char* ReadLine(size_t* lineLength, char delimiter);

  // Hands the block to the caller, who frees it with ky_free, and leaves the
  // object empty without a block. Stores the block's size in *capacityOut
  // when capacityOut is not null. Returns null (capacity 0) without a block.
  char* ReleaseBuffer(size_t* capacityOut);

  // Makes room for more bytes beyond the text: the block is resized to
  // length + more + growBy + 1 bytes with ky_realloc, and the cursor follows
  // it when it moves. Returns false, changing nothing, when memory runs out.
  bool _ExtendBuffer(size_t more);

  // The block (null when there is none), the text's length, the block's size,
  // the read position and the growth step.
  char* GetBuffer() const { return buffer; }
  size_t GetLength() const { return length; }
  size_t GetCapacity() const { return capacity; }
  char* GetCursor() const { return cursor; }
  size_t GetGrowBy() const { return growBy; }

  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

 protected:
  // The field order is part of the interface. When buffer is not null,
  // buffer[length] is NUL and cursor lies within buffer[0 .. length].
  size_t growBy;
  char* buffer;
  size_t length;
  size_t capacity;
  char* cursor;
};

}  // namespace ky

#endif  // KY_TEXT_BUFFER_H
