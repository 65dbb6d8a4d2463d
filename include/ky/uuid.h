// File: ky/uuid.h
//
// Random (version 4) UUIDs and their text forms.
#ifndef KY_UUID_H
#define KY_UUID_H

#include "ky/export.h"

#endif  // KY_UUID_H
