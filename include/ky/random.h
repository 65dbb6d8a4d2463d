// File: ky/random.h
//
// The Mersenne Twister engine (MT_*) and the typed random generator ky::random.
#ifndef KY_RANDOM_H
#define KY_RANDOM_H

#include "ky/export.h"

#endif  // KY_RANDOM_H
