// File: ky/fixture.h
//
// Every way the public headers document an entry, and one entry that is not
// documented: the reference check must name that one, at its line, and no
// other.
#ifndef KY_FIXTURE_H
#define KY_FIXTURE_H

#include <stddef.h>

#include "ky/export.h"

KY_BEGIN_C

// ---------------------------------------------------------------------------
// A heading: followed by a blank line, so it documents nothing.

// Returns n; one comment over two declarations covers both.
KY_API size_t ky_fixture_plain(size_t n);
KY_API size_t ky_fixture_plain2(size_t n);

KY_API char* ky_fixture_plain_dbg(uintptr_t d1, uintptr_t d2, uintptr_t d3, size_t n);

KY_API int ky_fixture_bare(int x);

// A record with "quoted // text", <angles>, @at, 50% and a \backslash.
typedef struct FixtureRecord {
  int field;  // documented after the member
} FixtureRecord;

KY_END_C

#ifdef __cplusplus
namespace ky {

// Values.
enum FixtureKind {
  // The first.
  FixtureFirst = 0,
  FixtureSecond = 1  // the second
};

// A template with an exported instance.
template <typename T>
KY_API T fixture_identity(T value);
extern template KY_API int fixture_identity<int>(int);

#define KY_FIXTURE_HELPER(T) extern template KY_API T fixture_identity<T>(T);
KY_FIXTURE_HELPER(long)
#undef KY_FIXTURE_HELPER

// A class.
class KY_API fixture {
 public:
  // Makes one.
  fixture() : _value(0) {
    // A note in a body is not documentation, and a lone { in it opens nothing.
    _value = 1;  // nor is this
  }
  // Reads and writes the value.
  int Value() const { return _value; }
  void SetValue(int value) { _value = value; }

 private:
  int _value;
};

}  // namespace ky

// Both macros take x.
#define KY_FIXTURE_ONE(x) (x)
#define KY_FIXTURE_TWO(x) \
  do {                    \
    (void)(x);            \
  } while (0)

#endif  // __cplusplus

#endif  // KY_FIXTURE_H
