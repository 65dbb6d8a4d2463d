// File: ky/platform.h
//
// Platform services with C linkage: path text, file tests, the temporary
// directory, date and time stamps, the execution timer, sleeping, process and
// thread ids, and dynamic library loading.
#ifndef KY_PLATFORM_H
#define KY_PLATFORM_H

#include <stddef.h>

#include "ky/export.h"

KY_BEGIN_C

KY_END_C

#endif  // KY_PLATFORM_H
