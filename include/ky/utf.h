// File: ky/utf.h
//
// Unicode transcoding between UTF-8, UTF-16 and UTF-32 code units (namespace ky::utf).
#ifndef KY_UTF_H
#define KY_UTF_H

#include "ky/export.h"

#endif  // KY_UTF_H
