// File: ky/memory.h
//
// The three allocation hooks of libvokymem. Every block that libvokyutil hands
// to a caller comes from ky_malloc (or was resized by ky_realloc) and goes back
// through ky_free. The default libvokymem routes them to the C allocator; an
// application may ship its own libvokymem.so.1 with the same three entries.
#ifndef KY_MEMORY_H
#define KY_MEMORY_H

#include <stddef.h>

#include "ky/export.h"

KY_BEGIN_C

// Returns a new block of at least n bytes, or null when memory is exhausted.
// What a request for 0 bytes returns is the allocator's business.
KY_API void* ky_malloc(size_t n);

// Gives back a block from ky_malloc or ky_realloc; null is ignored.
KY_API void ky_free(void* p);

// Resizes p (null acts as ky_malloc) to n bytes, keeping its contents. Returns
// the new block, or null on exhaustion, in which case p stays valid and owned
// by the caller.
KY_API void* ky_realloc(void* p, size_t n);

KY_END_C

#endif  // KY_MEMORY_H
