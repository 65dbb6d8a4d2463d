/* The default allocator behind the ky_* hooks: the C library's. It lives in
 * its own shared object so that a product can replace it without relinking
 * libvokyutil. */
#include "ky/memory.h"

#include <stdlib.h>

void* ky_malloc(size_t n) { return malloc(n); }

void ky_free(void* p) { free(p); }

void* ky_realloc(void* p, size_t n) { return realloc(p, n); }
