// Run-time loading of shared libraries, so that callers need not link the
// loader's interface themselves.
#include <dlfcn.h>

#include "ky/platform.h"

// Local scope keeps a plug-in's symbols from resolving another's.
void* ky_LoadLibrary(const char* fileName) { return ::dlopen(fileName, RTLD_LAZY); }

void* ky_GetLibraryFunction(void* handle, const char* symbol) { return ::dlsym(handle, symbol); }

int ky_FreeLibrary(void** handle) {
  const int r = ::dlclose(*handle);
  // Nulled even on failure: the handle is not to be used again either way.
  *handle = nullptr;
  return r;
}
