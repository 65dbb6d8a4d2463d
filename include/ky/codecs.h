// File: ky/codecs.h
//
// Character-set tables (ASCII/EBCDIC), binary-to-text encoder alphabets, URL decoding and integer
// formatting.
#ifndef KY_CODECS_H
#define KY_CODECS_H

#include "ky/export.h"

#endif  // KY_CODECS_H
