// The test executables define ky_malloc, ky_free and ky_realloc themselves.
// Being in the executable, these definitions take the place of libvokymem's
// for every call the library makes, which is how the tests prove that every
// block handed out comes from the hooks, and force exhaustion on cue.
#ifndef KY_TESTS_TEST_ALLOCATOR_H
#define KY_TESTS_TEST_ALLOCATOR_H

#include <cstddef>

namespace ky::test {

// Blocks handed out by the hooks and not yet given back.
size_t LiveBlocks();

// Size requested for a live block, or SIZE_MAX if p is not one of ours: a
// block from outside the hooks shows up here.
size_t BlockSize(const void* p);

// Requests (ky_malloc and ky_realloc) made since the process started.
size_t Requests();

// Makes the nth request from now fail (1: the next one); 0 disarms.
void FailRequest(size_t nth);

// Makes requests for 0 bytes answer null while on.
void NullForZeroBytes(bool on);
// Runs fn once, at the next ky_malloc, before serving it: lets a test change
// the world at an exact point inside a call.
void BeforeNextMalloc(void (*fn)());

// Scope for one test: disarms the knobs on exit and checks that the scope
// gave back every block it took.
class AllocScope {
 public:
  AllocScope();
  ~AllocScope();
  AllocScope(const AllocScope&) = delete;
  AllocScope& operator=(const AllocScope&) = delete;
  size_t Taken() const;  // blocks taken in this scope and still live

 private:
  size_t live_at_start_;
};

}  // namespace ky::test

#endif  // KY_TESTS_TEST_ALLOCATOR_H
