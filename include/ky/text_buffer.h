// File: ky/text_buffer.h
//
// A growable text buffer that loads files and reads them line by line.
#ifndef KY_TEXT_BUFFER_H
#define KY_TEXT_BUFFER_H

#include "ky/export.h"

#endif  // KY_TEXT_BUFFER_H
