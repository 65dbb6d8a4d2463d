// File: ky/exceptions.h
//
// The library's exception classes and the assertion entry.
#ifndef KY_EXCEPTIONS_H
#define KY_EXCEPTIONS_H

#include "ky/export.h"

#endif  // KY_EXCEPTIONS_H
